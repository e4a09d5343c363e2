// The whole way by the keyboard alone: add a folder, browse, play what has to be converted, seek,
// subtitles, go on where it was left, link and unlink.
import { mkdirSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';
import assert from 'node:assert/strict';
import { addLibrary, ask, cleanUp, folder, makeSound, makeVideo, openPage, runSteps, startServer } from './harness.mjs';

// Goes on with Tab until something of that name has the focus, and can be seen to have it.
async function tabTo(page, name, key = 'Tab') {
  const seen = [];
  for (let step = 0; step < 80; ++step) {
    await page.keyboard.press(key);
    const { text, outlined } = await page.evaluate(() => {
      const one = document.activeElement;
      if (one.matches('body, main')) return { text: '', outlined: true };
      const named = one.getAttribute('aria-label') || (one.labels && one.labels.length ? one.labels[0].innerText : '') || one.innerText || '';
      const ring = one.matches('input[type=radio]') ? one.closest('label') : one;
      return { text: named.replace(/\s+/g, ' ').trim(), outlined: getComputedStyle(ring).outlineStyle !== 'none' || one.matches('video, dialog') };
    });
    assert.ok(outlined, `${text} does not show that it has the focus`);
    if (name.test(text)) return;
    seen.push(text);
  }
  throw new Error(`Tab does not lead to ${name}; it leads to ${seen.join(', ')}`);
}
const video = page => page.locator('#video');
const videoIs = (page, condition) => page.waitForFunction(condition);

const steps = {
  async 'adds a folder that is chosen from the list'(page) {
    await tabTo(page, /^Add your first folder$/);
    await page.keyboard.press('Enter');
    await page.getByRole('dialog').waitFor();
    await page.keyboard.type(folder);
    await tabTo(page, /^Browse$/);
    await page.keyboard.press('Enter');
    await page.getByRole('button', { name: 'shows' }).waitFor();
    await page.waitForFunction(() => document.activeElement.closest('#add-folders'));
    await tabTo(page, /^shows$/);
    await page.keyboard.press('Enter');
    await page.waitForFunction(path => document.getElementById('add-path').value === path, join(folder, 'shows'));
    await tabTo(page, /^Music$/, 'Shift+Tab');
    await page.keyboard.press('ArrowRight');
    await page.keyboard.press('ArrowRight');
    assert.ok(await page.getByRole('radio', { name: 'TV' }).isChecked());
    await tabTo(page, /^Add folder$/);
    await page.keyboard.press('Enter');
    await page.waitForURL(/#\/m\/tv/);
  },

  async 'browses to an episode'(page) {
    await page.getByRole('grid').waitFor();
    await tabTo(page, /^A A Show/);
    await page.keyboard.press('Enter');
    await page.getByRole('heading', { name: 'A Show' }).waitFor();
    await tabTo(page, /Season 1/);
    await page.keyboard.press('Enter');
    await page.getByRole('heading', { name: 'Season 1' }).waitFor();
    await tabTo(page, /One/);
  },

  async 'plays a film that no browser plays, and seeks in it'(page) {
    await page.keyboard.press('Enter');
    await videoIs(page, () => { const v = document.getElementById('video'); return v.currentTime > 0.2 && v.videoWidth === 96; });
    assert.match(await video(page).evaluate(v => v.src), /^blob:/);
    assert.ok(Math.abs(await video(page).evaluate(v => v.duration) - 120) < 1.5);
    for (let step = 0; step < 9; ++step) await page.keyboard.press('ArrowRight');
    await videoIs(page, () => { const v = document.getElementById('video'); return v.currentTime > 90.2 && v.readyState >= 3; });
    await page.keyboard.press('ArrowLeft');
    await videoIs(page, () => document.getElementById('video').currentTime < 89.9);
    await page.keyboard.press('k');
    await videoIs(page, () => document.getElementById('video').paused);
  },

  async 'goes on when the server is there again'(page, server) {
    const trouble = page.locator('#video-error');
    await page.keyboard.press('k');
    server.kill('SIGKILL');
    await video(page).evaluate(v => { v.currentTime = 55; });
    await trouble.filter({ hasText: 'The server does not answer. Trying again…' }).waitFor();
    await startServer('player', { port: new URL(server.root).port });
    await videoIs(page, () => { const v = document.getElementById('video'); return v.currentTime > 55.2 && v.currentTime < 75 && v.readyState >= 3; });
    await trouble.waitFor({ state: 'hidden' });
    await page.keyboard.press('k');
    await videoIs(page, () => document.getElementById('video').paused);
  },

  async 'shows subtitles and chapters'(page) {
    const shows = text => page.waitForFunction(wanted => { const t = document.getElementById('video').textTracks[0]; return wanted ? t && t.cues && t.cues.length === 1 && t.cues[0].text === wanted : !t; }, text);
    await page.keyboard.press('c');
    await shows('Hello');
    await page.keyboard.press('c');
    await shows('');
    await tabTo(page, /^Subtitles/);
    await page.keyboard.press('ArrowDown');
    await shows('Hello');
    assert.equal(await page.locator('#video-text option:checked').innerText(), 'English');
    await tabTo(page, /^Chapter/);
    await page.keyboard.press('ArrowDown');
    await page.keyboard.press('ArrowDown');
    await videoIs(page, () => Math.abs(document.getElementById('video').currentTime - 60) < 3);
  },

  async 'goes on where it was left, also after the page is gone'(page, server) {
    await page.keyboard.press('Escape');
    await page.locator('#video-dialog').waitFor({ state: 'hidden' });
    // Where it was opened, not at the beginning of the page.
    assert.match(await page.evaluate(() => document.activeElement.textContent), /One/);
    await page.waitForFunction(async () => { const found = (await (await fetch('/api/entities?type=tv.episode')).json())[0]; return found.positionMs > 55000; });
    await page.reload();
    await page.getByRole('grid').waitFor();
    await tabTo(page, /One/);
    await page.keyboard.press('Enter');
    await videoIs(page, () => { const v = document.getElementById('video'); return v.currentTime > 55 && v.readyState >= 3; });
    assert.equal(await page.evaluate(() => navigator.mediaSession.metadata.title), 'One');
  },

  async 'offers the next episode'(page) {
    await tabTo(page, /^Next$/);
    await page.keyboard.press('Enter');
    await page.waitForFunction(() => document.getElementById('video-title').textContent.includes('Two'));
    // What the browser plays is not converted.
    await videoIs(page, () => { const v = document.getElementById('video'); return /\/media\/\d+$/.test(v.src) && v.currentTime > 0.1; });
    const positions = await page.evaluate(async () => (await (await fetch('/api/entities?type=tv.episode')).json()).map(one => one.positionMs || 0));
    assert.ok(positions[0] > 55000 && positions[1] < 8000, `the positions stay where they belong: ${positions}`);
    await page.keyboard.press('Escape');
  },

  async 'finds things everywhere'(page) {
    await tabTo(page, /^Search everything$/, 'Shift+Tab');
    await page.keyboard.type('tw');
    await page.waitForURL(/#\/s\/tw/);
    await page.getByRole('heading', { name: '“tw”' }).waitFor();
    await page.getByRole('button', { name: /Two/ }).first().waitFor();
    assert.equal(await page.getByRole('button', { name: /One/ }).count(), 0);
    await page.keyboard.press('Control+a');
    await page.keyboard.press('Delete');
    await page.getByRole('heading', { name: 'Home' }).waitFor();
  },

  async 'plays music one after the other, in the bar below'(page, server) {
    await ask(server, 'api/libraries', { modeId: 'music', path: join(folder, 'music') });
    await page.locator('#nav').getByRole('link', { name: /^Music/ }).waitFor();
    await page.evaluate(() => { location.hash = '#/m/music/music.track'; });
    await page.locator('.head').getByText('4 tracks').waitFor();
    await tabTo(page, /First/);
    await page.keyboard.press('Enter');
    await page.waitForFunction(() => document.getElementById('audio').currentTime > 0.1);
    await page.keyboard.press('n');
    await page.waitForFunction(() => document.getElementById('player-title').textContent === 'Second' && document.getElementById('audio').currentTime > 0.1);
    await page.locator('.row[aria-current]').filter({ hasText: 'Second' }).waitFor();
    // Among tiles the arrows lead from one to the other, elsewhere they seek.
    const time = () => page.evaluate(() => document.getElementById('audio').currentTime);
    await page.keyboard.press('ArrowRight');
    await page.waitForFunction(() => document.getElementById('audio').currentTime >= 10);
    await page.keyboard.press('ArrowLeft');
    await page.waitForFunction(() => document.getElementById('audio').currentTime < 10);
    await page.keyboard.press('k');
    await page.evaluate(() => { location.hash = '#/m/music/music.artist'; });
    await page.getByRole('grid', { name: 'Artists' }).waitFor();
    await tabTo(page, /Someone/);
    const before = await time();
    await page.keyboard.press('ArrowRight');
    await page.waitForFunction(() => /Zoe/.test(document.activeElement.textContent));
    assert.equal(await time(), before);
    await page.keyboard.press('k');
    await tabTo(page, /^Position$/);
    await page.keyboard.press('End');
    await page.waitForFunction(() => document.getElementById('player-title').textContent === 'Third');
    await tabTo(page, /^Close player$/);
    await page.keyboard.press('Enter');
    await page.locator('#player').waitFor({ state: 'hidden' });
    // What had the focus has gone, and the keyboard goes on from the page.
    assert.equal(await page.evaluate(() => document.activeElement.tagName), 'MAIN');
  },

  async 'shuffles music, and the media keys follow'(page) {
    await page.evaluate(() => {
      const session = navigator.mediaSession;
      const set = session.setActionHandler.bind(session);
      window.keys = {};
      session.setActionHandler = (name, action) => { window.keys[name] = action; set(name, action); };
      Math.random = () => 0;
      location.hash = '#/m/music/music.track';
    });
    const does = key => page.evaluate(name => window.keys[name] !== null, key);
    const press = key => page.evaluate(name => window.keys[name](), key);
    const plays = title => page.waitForFunction(wanted => document.getElementById('player-title').textContent === wanted, title);
    const isShuffled = async () => await page.locator('#player-shuffle').getAttribute('aria-pressed') === 'true';
    const playThird = async () => {
      await tabTo(page, /First/);
      await page.keyboard.press('ArrowDown');
      await page.keyboard.press('ArrowDown');
      await page.keyboard.press('Enter');
      await plays('Third');
    };
    await page.locator('.head').getByText('4 tracks').waitFor();
    await playThird();
    assert.ok(await does('previoustrack'));
    await page.keyboard.press('s');
    assert.ok(await isShuffled());
    // What plays is the first of the new order.
    assert.ok(!await does('previoustrack'));
    for (const title of ['Second', 'Zero', 'First']) {
      await press('nexttrack');
      await plays(title);
    }
    assert.ok(!await does('nexttrack'));
    await page.keyboard.press('s');
    assert.ok(!await isShuffled());
    assert.ok(!await does('previoustrack'));
    await press('nexttrack');
    await plays('Second');
    // Another list has an order of its own to go back to.
    await page.keyboard.press('s');
    await page.evaluate(() => { location.hash = '#/m/music/music.album'; });
    await tabTo(page, /An Album/);
    await page.keyboard.press('Enter');
    await page.getByRole('heading', { name: 'An Album' }).waitFor();
    await playThird();
    assert.ok(await does('nexttrack'));
    await page.keyboard.press('s');
    assert.ok(!await does('nexttrack'), 'it is the last of the album');
    await tabTo(page, /^Close player$/);
    await page.keyboard.press('Enter');
    await page.locator('#player').waitFor({ state: 'hidden' });
  },

  async 'copies pictures and sound when another track is chosen'(page, server) {
    await addLibrary(server, 'movies', join(folder, 'films'));
    const opened = page.waitForResponse(reply => /\/stream$/.test(reply.url()) && reply.request().method() === 'POST');
    await page.evaluate(() => { location.hash = '#/m/movies'; });
    await page.getByRole('button', { name: /A Film/ }).press('Enter');
    await page.locator('#video-audio').selectOption('1');
    const stream = await (await opened).json();
    assert.deepEqual(stream.copied, ['video', 'audio']);
    await videoIs(page, () => { const v = document.getElementById('video'); return v.currentTime > 0.2 && v.videoWidth === 96; });
    assert.match(await video(page).evaluate(v => v.src), /^blob:/);
    // Far ahead, a little back, and on over the end of a part.
    for (const time of [75, 20, 50.5]) {
      await video(page).evaluate((v, to) => { v.currentTime = to; }, time);
      await page.waitForFunction(from => { const v = document.getElementById('video'); return v.currentTime > from + 0.2 && v.currentTime < from + 20 && v.readyState >= 3; }, time);
    }
    const end = await page.evaluate(starts => starts.find(start => start > 52000) / 1000, stream.startsMs);
    await page.waitForFunction(to => document.getElementById('video').currentTime > to + 0.3, end);
    // The last ten seconds are dark.
    const light = () => video(page).evaluate(v => {
      const canvas = Object.assign(document.createElement('canvas'), { width: 96, height: 54 });
      const picture = canvas.getContext('2d');
      picture.drawImage(v, 0, 0);
      return Math.max(...picture.getImageData(0, 0, 96, 54).data.filter((value, index) => index % 4 !== 3));
    });
    assert.ok(await light() > 100);
    await video(page).evaluate(v => { v.pause(); v.currentTime = 85; });
    await videoIs(page, () => { const v = document.getElementById('video'); return Math.abs(v.currentTime - 85) < 0.01 && v.readyState >= 3 && !v.seeking; });
    assert.ok(await light() < 40);
    await video(page).evaluate(v => { v.currentTime = 79; });
    await videoIs(page, () => { const v = document.getElementById('video'); return Math.abs(v.currentTime - 79) < 0.01 && v.readyState >= 3 && !v.seeking; });
    assert.ok(await light() > 100);
    // To the end, and over it.
    await video(page).evaluate(v => { v.currentTime = 88; v.play(); });
    await videoIs(page, () => document.getElementById('video').ended);
    await page.keyboard.press('Escape');
    await page.locator('#video-dialog').waitFor({ state: 'hidden' });
  },

  async 'goes on with what is encoded where a copy fails'(page) {
    const missing = route => route.fulfill({ status: 404, json: { error: 'There is no such part.' } });
    const broken = async route => {
      const reply = await route.fetch();
      const bytes = await reply.body();
      await route.fulfill({ response: reply, body: bytes.fill(0xff, bytes.indexOf('mdat') + 4) });
    };
    for (const [what, pattern, fails] of [['no head', /-init\.mp4$/, missing], ['no parts', /\.m4s$/, missing], ['parts that cannot be decoded', /\.m4s$/, broken]]) {
      await page.getByRole('button', { name: /A Film/ }).press('Enter');
      await videoIs(page, () => document.getElementById('video').readyState >= 3);
      await video(page).evaluate(v => { v.currentTime = 40; });
      await videoIs(page, () => { const v = document.getElementById('video'); return v.currentTime > 40.1 && v.readyState >= 3; });
      const opened = [];
      await page.route(/\/stream$/, async route => {
        const reply = await route.fetch();
        opened.push({ asked: route.request().postDataJSON(), ...await reply.json() });
        await route.fulfill({ response: reply });
      });
      let failed = 0;
      await page.route(/\/hls\//, route => {
        const address = route.request().url();
        if (!pattern.test(address) || !opened.some(one => address.includes(one.id) && one.copied.length)) return route.continue();
        ++failed;
        return fails(route);
      });
      await page.locator('#video-audio').selectOption('1');
      while (opened.length < 2) await page.waitForResponse(/\/stream$/);
      await videoIs(page, () => { const v = document.getElementById('video'); return v.readyState >= 3 && v.currentTime > 40.2 && v.currentTime < 60; });
      assert.ok(failed > 0, what);
      assert.deepEqual(opened.map(one => one.copied), [['video', 'audio'], []], what);
      assert.deepEqual(opened.map(one => one.asked.audio), [1, 1], what);
      assert.equal(await page.locator('#video-error').textContent(), '', what);
      await page.unroute(/\/stream$/);
      await page.unroute(/\/hls\//);
      await page.keyboard.press('Escape');
      await page.locator('#video-dialog').waitFor({ state: 'hidden' });
    }
  },

  async 'links and unlinks the account'(page, server) {
    const linked = async () => (await ask(server, 'api/account/link/status')).body.linked;
    await tabTo(page, /^Account not linked$/, 'Shift+Tab');
    await page.keyboard.press('Enter');
    await page.waitForURL(/\/account$/);
    await page.getByText('This server is not linked to an account.').waitFor();
    await tabTo(page, /^Link this server$/);
    await page.keyboard.press('Enter');
    await page.waitForURL(/\/link\?code=/);
    await tabTo(page, /^Approve$/);
    await page.keyboard.press('Enter');
    await page.getByRole('heading', { name: 'Linked' }).waitFor();
    assert.ok(await linked());
    await tabTo(page, /^Go to your libraries$/);
    await page.keyboard.press('Enter');
    await page.getByText('Account linked').waitFor();
    await tabTo(page, /^Account linked$/);
    await page.keyboard.press('Enter');
    await page.getByRole('button', { name: 'Unlink' }).waitFor();
    await tabTo(page, /^Unlink$/);
    await page.keyboard.press('Enter');
    await page.getByText('This server is not linked to an account.').waitFor();
    assert.ok(!await linked());
    // The button that did it has gone; what undoes it has the focus.
    assert.equal(await page.evaluate(() => document.activeElement.textContent), 'Link this server');
  },
};

try {
  mkdirSync(join(folder, 'shows', 'A Show', 'Season 1'), { recursive: true });
  mkdirSync(join(folder, 'music', 'Someone', 'An Album'), { recursive: true });
  writeFileSync(join(folder, 'chapters.txt'), ';FFMETADATA1\n[CHAPTER]\nTIMEBASE=1/1\nSTART=0\nEND=60\ntitle=First\n[CHAPTER]\nTIMEBASE=1/1\nSTART=60\nEND=120\ntitle=Second\n');
  makeVideo('shows/A Show/Season 1/S01E01 - One.mkv', 120, ['-i', join(folder, 'chapters.txt'), '-map_metadata', '2', '-map', '0:v', '-map', '1:a', '-c:v', 'mpeg4', '-c:a', 'ac3']);
  makeVideo('shows/A Show/Season 1/S01E02 - Two.webm', 8, ['-c:v', 'libvpx-vp9', '-deadline', 'realtime', '-cpu-used', '8', '-c:a', 'libopus']);
  writeFileSync(join(folder, 'shows/A Show/Season 1/S01E01 - One.en.srt'), '1\n00:00:01,000 --> 00:01:59,000\nHello\n');
  ['First', 'Second', 'Third'].forEach((name, index) => makeSound(`music/Someone/An Album/0${index + 1} - ${name}.ogg`, 20));
  mkdirSync(join(folder, 'music', 'Zoe', 'Album'), { recursive: true });
  makeSound('music/Zoe/Album/01 - Zero.ogg', 2);
  mkdirSync(join(folder, 'films'));
  makeVideo('films/A Film (2020).mkv', 90, ['-map', '0:v', '-map', '1:a', '-map', '1:a', '-vf', "drawbox=t=fill:color=black:enable='gte(t,80)'", '-c:v', 'libx264', '-preset', 'veryfast', '-pix_fmt', 'yuv420p', '-bf', '2', '-g', '15', '-c:a', 'aac']);
  const server = await startServer('player');
  const page = await openPage();
  await page.goto(server.root);
  await page.getByRole('button', { name: 'Add your first folder' }).waitFor();
  await runSteps(steps, page, server);
} finally {
  await cleanUp();
}
