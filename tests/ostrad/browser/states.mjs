// Every state and every dialog of the web interface: each says what to do, and axe finds nothing
// serious in it, in any look.
import { mkdirSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';
import assert from 'node:assert/strict';
import { addLibrary, ask, audit, cleanUp, folder, inEveryLook, makeSound, makeVideo, openPage, runSteps, startServer } from './harness.mjs';

const go = (page, place) => page.evaluate(hash => { location.hash = hash; }, place);
const everywhere = (page, what) => inEveryLook(page, look => audit(page, `${what}, ${look}`));

const steps = {
  async 'nothing yet: offers to add a folder'(page) {
    await page.getByRole('button', { name: 'Add your first folder' }).waitFor();
    await everywhere(page, 'the first page without libraries');
  },

  async 'adding a folder: says what is wrong and shows folders'(page) {
    await page.getByRole('button', { name: 'Add your first folder' }).click();
    await page.getByRole('button', { name: 'Add folder' }).click();
    await page.getByRole('alert').filter({ hasText: 'Choose a folder first.' }).waitFor();
    await page.getByRole('textbox', { name: 'Folder', exact: true }).fill(join(folder, 'nowhere'));
    await page.keyboard.press('Enter');
    await page.getByRole('alert').filter({ hasText: /./ }).waitFor();
    await page.getByRole('textbox', { name: 'Folder', exact: true }).fill(folder);
    await page.getByRole('button', { name: 'Browse' }).click();
    await page.getByRole('button', { name: 'shows' }).waitFor();
    await everywhere(page, 'adding a folder');
    await page.keyboard.press('Escape');
    // Back to the button that opened it.
    assert.equal(await page.evaluate(() => document.activeElement.textContent), 'Add your first folder');
  },

  async 'nothing of a kind: says where it comes from'(page, server) {
    await addLibrary(server, 'games', join(folder, 'games'));
    await go(page, '#/m/games');
    await page.getByText(/No games here yet\. Put some into a folder|No platforms here yet\. Put some into a folder/).waitFor();
    await everywhere(page, 'a kind without items');
  },

  async 'browsing: the first page, tiles, rows, one item'(page, server) {
    await addLibrary(server, 'tv', join(folder, 'shows'));
    await addLibrary(server, 'music', join(folder, 'music'));
    const show = (await ask(server, 'api/entities?type=tv.show')).body[0].id;
    const season = (await ask(server, 'api/entities?type=tv.season')).body[0].id;
    for (const place of ['#/', '#/m/tv', '#/m/tv/tv.episode', '#/m/music/music.artist', '#/m/music/music.track', `#/e/${show}`, `#/e/${season}`, '#/s/one']) {
      await go(page, place);
      await page.locator('#page .tile:visible, #page .row:visible').first().waitFor();
      await everywhere(page, place);
    }
  },

  async 'says where one is, also in a narrow window'(page, server) {
    const show = (await ask(server, 'api/entities?type=tv.show')).body[0].id;
    const season = (await ask(server, 'api/entities?type=tv.season')).body[0].id;
    // The link of the kind that is looked at, whole within the bar.
    const current = () => page.evaluate(() => {
      const bar = document.getElementById('nav').getBoundingClientRect();
      return [...document.querySelectorAll('#nav [aria-current]')].filter(one => {
        const link = one.getBoundingClientRect();
        return link.left >= bar.left && link.right <= bar.right + 1;
      }).map(one => one.title);
    });
    await page.setViewportSize({ width: 320, height: 800 });
    for (const [place, heading, name] of [['#/m/tv', 'TV', 'TV'], [`#/e/${show}`, 'A Show', 'TV'], [`#/e/${season}`, 'Season 1', 'TV'], ['#/', 'Home', 'Home']]) {
      await go(page, place);
      await page.getByRole('heading', { name: heading, exact: true }).waitFor();
      assert.deepEqual(await current(), [name], place);
    }
    await page.setViewportSize({ width: 1280, height: 800 });
    await go(page, `#/e/${show}`);
    // On its own page nobody needs to be told what a season belongs to.
    await page.getByRole('link', { name: 'Season 1 2 episodes' }).waitFor();
    await page.setViewportSize({ width: 320, height: 800 });
    await page.waitForFunction(() => document.getElementById('nav').scrollLeft > 0);
    assert.deepEqual(await current(), ['TV']);
    // Tracks of many albums tell whose they are, below their names.
    await go(page, '#/m/music/music.track');
    const track = page.getByRole('button', { name: /First of a name/ });
    await track.waitFor();
    const [name, by] = await track.evaluate(one => ['.name', '.by'].map(part => { const box = one.querySelector(part).getBoundingClientRect(); return { top: box.top, bottom: box.bottom, left: box.left }; }));
    assert.equal(await track.locator('.by').innerText(), 'Someone · An Album');
    assert.ok(by.top >= name.bottom - 1 && by.left === name.left, JSON.stringify([name, by]));
    await page.setViewportSize({ width: 1280, height: 800 });
  },

  async 'keeps what was searched for in its field'(page) {
    const field = page.getByRole('searchbox', { name: 'Search everything' });
    await go(page, '#/s/one');
    await page.getByRole('heading', { name: '“one”' }).waitFor();
    assert.equal(await field.inputValue(), 'one');
    await page.reload();
    await page.getByRole('heading', { name: '“one”' }).waitFor();
    assert.equal(await field.inputValue(), 'one');
    await go(page, '#/');
    await page.getByRole('heading', { name: 'Home' }).waitFor();
    assert.equal(await field.inputValue(), '');
  },

  async 'nothing found, nothing there: says what to try'(page) {
    for (const [place, text] of [['#/m/tv?q=zzz', /Try fewer letters/], ['#/s/zzz', /Try fewer letters/], ['#/e/999999', /There is no such entity/], ['#/m/nothing', /no such kind/]]) {
      await go(page, place);
      await page.locator('#page').getByText(text).waitFor();
      await everywhere(page, place);
    }
    await page.getByRole('button', { name: 'Try again' }).press('Enter');
    await page.getByRole('link', { name: 'Home' }).last().press('Enter');
    await page.getByRole('heading', { name: 'Home' }).waitFor();
  },

  async 'scanning: a bar, and what it is doing'(page, server) {
    const libraryId = (await ask(server, 'api/libraries')).body.find(one => one.modeId === 'tv').id;
    let progress = { phase: 'files', filesSeen: 1234, done: 0, total: 0 };
    await page.route('**/api/scan', route => route.fulfill({ json: { scanning: true, changes: 9, revision: 1, queued: [], libraryId, ...progress } }));
    const bar = page.getByRole('progressbar', { name: 'Scan' });
    await page.getByText('Scanning “shows”: 1,234 files so far').waitFor();
    assert.equal(await bar.evaluate(one => one.hasAttribute('value')), false);
    await everywhere(page, 'scanning');
    for (const [phase, text] of [['tags', 'Reading details of “shows”: 3 of 12'], ['artwork', 'Drawing covers for “shows”: 3 of 12']]) {
      progress = { phase, filesSeen: 12, done: 3, total: 12 };
      await page.getByText(text).waitFor();
      await page.waitForFunction(() => { const one = document.querySelector('progress'); return one.value / one.max === 0.25; });
    }
    await everywhere(page, 'reading details');
    await page.unroute('**/api/scan');
    await bar.waitFor({ state: 'detached' });
  },

  async 'a folder that is away: says how it comes back'(page) {
    await page.route('**/api/libraries', async route => {
      const reply = await route.fetch();
      await route.fulfill({ response: reply, json: (await reply.json()).map(one => ({ ...one, available: false })) });
    });
    await page.reload();
    await page.getByText('Not available: connect its disk, then choose Rescan').first().waitFor();
    await everywhere(page, 'a folder that is away');
    await page.unroute('**/api/libraries');
    await page.reload();
    await page.getByRole('heading', { name: 'Home' }).waitFor();
  },

  async 'removing a folder: says what stays'(page) {
    await page.getByRole('button', { name: 'Remove games' }).click();
    await page.getByText('The folder and the files in it stay as they are.').waitFor();
    await everywhere(page, 'removing a folder');
    // Larger letters need more than one line of buttons, each of them whole.
    await page.setViewportSize({ width: 320, height: 800 });
    const broken = await page.evaluate(() => {
      const buttons = [...document.querySelectorAll('#remove-dialog .dialog-buttons button')];
      for (const one of buttons) one.style.fontSize = '20px';
      const room = document.querySelector('#remove-dialog .dialog-buttons').getBoundingClientRect();
      const found = buttons.filter(one => {
        const text = document.createRange();
        text.selectNodeContents(one);
        const box = one.getBoundingClientRect();
        return text.getClientRects().length !== 1 || box.left < room.left - 1 || box.right > room.right + 1;
      }).map(one => one.textContent);
      for (const one of buttons) one.style.fontSize = '';
      return found;
    });
    assert.deepEqual(broken, []);
    await page.setViewportSize({ width: 1280, height: 800 });
    await page.keyboard.press('Escape');
    assert.equal(await page.evaluate(() => document.activeElement.getAttribute('aria-label')), 'Remove games');
  },

  async 'playing: the bar, the film, its menus'(page) {
    await go(page, '#/m/music/music.track');
    await page.getByRole('button', { name: /First/ }).click();
    await page.waitForFunction(() => document.getElementById('audio').currentTime > 0.1);
    await page.evaluate(() => document.getElementById('audio').pause());
    await everywhere(page, 'the player');
    await go(page, '#/m/tv/tv.episode');
    await page.getByRole('button', { name: /One/ }).click();
    await page.waitForFunction(() => document.getElementById('video').readyState >= 2);
    await page.locator('#video-text').selectOption({ index: 1 });
    await page.evaluate(() => document.getElementById('video').pause());
    await everywhere(page, 'a film');
    await page.keyboard.press('Escape');
  },

  async 'what cannot be played: says so'(page) {
    await go(page, '#/m/tv/tv.episode');
    await page.getByRole('button', { name: /Broken/ }).click();
    await page.locator('#video-error').filter({ hasText: /./ }).waitFor();
    await everywhere(page, 'a film that cannot be played');
    await page.keyboard.press('Escape');
  },

  async 'the account: linking, without a code, connecting'(page, server) {
    const other = await page.context().newPage();
    const { body } = await ask(server, 'api/account/link/start');
    for (const [address, text] of [[`${server.root}account`, /is not linked/], [body.verifyUrl, /Check that this is the code/], [`${server.root}link`, /Open this page from the link/], [`${server.root}link?code=AAAA-AAAA`, /Check that this is the code/], [`${server.root}connect`, /gets a token of its own/]]) {
      await other.goto(address);
      await other.getByText(text).waitFor();
      if (/AAAA/.test(address)) {
        await other.getByRole('button', { name: 'Approve' }).click();
        await other.getByRole('alert').filter({ hasText: /./ }).waitFor();
      }
      await everywhere(other, address);
    }
    await other.close();
  },

  async 'a server that fails: says so, and tries again'(page) {
    await page.route(/api\/entities\?/, route => route.fulfill({ status: 500, json: { error: 'The library cannot be read.' } }));
    await go(page, '#/m/tv/tv.season');
    await page.getByRole('alert').filter({ hasText: 'The library cannot be read.' }).waitFor();
    await everywhere(page, 'a failure');
    await page.unroute(/api\/entities\?/);
    await page.getByRole('button', { name: 'Try again' }).press('Enter');
    await page.getByRole('link', { name: /Season 1/ }).waitFor();
    // A single answer that was lost needs nobody to press anything.
    await page.route(/api\/entities\?/, route => route.abort());
    await go(page, '#/m/tv/tv.show');
    await page.getByText('This page goes on by itself').waitFor();
    await page.unroute(/api\/entities\?/);
    await page.getByRole('link', { name: /A Show/ }).waitFor();
  },

  async 'a server that is gone: says so, and the page goes on when it is back'(page, server) {
    await go(page, '#/');
    await page.getByRole('heading', { name: 'Home' }).waitFor();
    server.kill('SIGKILL');
    await go(page, '#/m/tv/tv.season');
    await page.getByText('It can be restarted from Zorvane’s menu.').waitFor(); // at once
    await startServer('states', { port: new URL(server.root).port }).then(again => { server = again; });
    await page.getByRole('link', { name: /Season 1/ }).waitFor();
    server.kill('SIGKILL');
    await page.getByRole('status').filter({ hasText: 'The server does not answer. Trying again…' }).waitFor();
    const moving = () => page.evaluate(() => document.getAnimations().length);
    assert.ok(await moving() > 0);
    await page.emulateMedia({ reducedMotion: 'reduce' });
    assert.equal(await moving(), 0);
    await page.emulateMedia({ reducedMotion: null });
    // What was there stays.
    await page.getByRole('link', { name: /Season 1/ }).waitFor();
    await go(page, '#/m/tv/tv.show');
    await page.getByText('It can be restarted from Zorvane’s menu.').waitFor();
    await everywhere(page, 'without a server');
    await startServer('states', { port: new URL(server.root).port });
    await page.getByRole('link', { name: /A Show/ }).waitFor();
    await page.locator('#notice').waitFor({ state: 'hidden' });
  },
};

try {
  mkdirSync(join(folder, 'shows', 'A Show', 'Season 1'), { recursive: true });
  mkdirSync(join(folder, 'music', 'Someone', 'An Album'), { recursive: true });
  mkdirSync(join(folder, 'games'));
  makeVideo('shows/A Show/Season 1/S01E01 - One.mkv', 20, ['-c:v', 'mpeg4', '-c:a', 'ac3']);
  writeFileSync(join(folder, 'shows/A Show/Season 1/S01E01 - One.en.srt'), '1\n00:00:01,000 --> 00:00:19,000\nHello\n');
  writeFileSync(join(folder, 'shows/A Show/Season 1/S01E02 - Broken.mkv'), 'broken');
  for (const name of ['First', 'Second']) makeSound(`music/Someone/An Album/01 - ${name} of a name that is far too long for a narrow window.ogg`, 20);
  const server = await startServer('states');
  const page = await openPage({ deviceScaleFactor: 2 });
  await page.goto(server.root);
  await runSteps(steps, page, server);
} finally {
  await cleanUp();
}
