// The web interface in a real browser, driven by keys and clicks.
// Usage: node player.mjs OSTRAD FFMPEG FFPROBE CHROMIUM
import { spawn, spawnSync } from 'node:child_process';
import { createRequire } from 'node:module';
import { mkdirSync, mkdtempSync, rmSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import assert from 'node:assert/strict';
import { chromium } from 'playwright-core';

const [ostrad, ffmpeg, ffprobe, browserPath] = process.argv.slice(2);
const axePath = createRequire(import.meta.url).resolve('axe-core/axe.min.js');
const patience = 120000;
const folder = mkdtempSync(join(tmpdir(), 'ostrad-browser-'));
let server;
let browser;

function make(name, seconds, options) {
  const made = spawnSync(ffmpeg, ['-v', 'error', '-y', '-f', 'lavfi', '-i', `testsrc=size=96x54:rate=5:duration=${seconds}`, '-f', 'lavfi', '-i', `sine=frequency=440:sample_rate=48000:duration=${seconds}`, ...options, join(folder, name)], { encoding: 'utf8' });
  assert.equal(made.status, 0, made.stderr);
}

async function startServer() {
  server = spawn(ostrad, ['-addr', '127.0.0.1:0', '-db', join(folder, 'library.db'), '-ffmpeg', ffmpeg, '-ffprobe', ffprobe], { stdio: ['ignore', 'pipe', 'inherit'] });
  for await (const text of server.stdout) {
    const address = /http:\S+/.exec(text.toString());
    if (address) return address[0];
  }
  throw new Error('the server did not start');
}

const steps = {
  async 'adds a folder and browses it by keyboard'(page) {
    await page.getByRole('button', { name: 'Add your first folder' }).press('Enter');
    await page.getByRole('radio', { name: 'TV' }).check();
    await page.getByRole('textbox', { name: 'Folder', exact: true }).fill(join(folder, 'shows'));
    await page.keyboard.press('Enter');
    await page.waitForURL(/#\/m\/tv/);
    await page.getByRole('link', { name: /A Show/ }).first().press('Enter');
    await page.getByRole('link', { name: /Season 1/ }).first().press('Enter');
    await page.getByRole('button', { name: /One/ }).waitFor();
  },

  async 'plays a film that no browser plays, and seeks in it'(page) {
    await page.getByRole('button', { name: /One/ }).first().press('Enter');
    await page.waitForFunction(() => { const v = document.getElementById('video'); return v.currentTime > 0.2 && v.videoWidth === 96; });
    assert.match(await page.locator('#video').evaluate(v => v.src), /^blob:/);
    assert.ok(Math.abs(await page.locator('#video').evaluate(v => v.duration) - 120) < 1.5);
    await page.locator('#video').evaluate(v => { v.currentTime = 90; });
    await page.waitForFunction(() => { const v = document.getElementById('video'); return v.currentTime > 90.2 && v.readyState >= 3; });
    await page.keyboard.press('ArrowLeft');
    await page.waitForFunction(() => document.getElementById('video').currentTime < 89.9);
    await page.keyboard.press('k');
    await page.waitForFunction(() => document.getElementById('video').paused);
  },

  async 'shows subtitles and chapters'(page) {
    await page.locator('#video-text').selectOption({ label: 'English' });
    await page.waitForFunction(() => { const t = document.getElementById('video').textTracks[0]; return t && t.cues && t.cues.length === 1 && t.cues[0].text === 'Hello'; });
    await page.locator('#video-chapter').selectOption({ index: 2 });
    await page.waitForFunction(() => Math.abs(document.getElementById('video').currentTime - 60) < 3);
  },

  async 'goes on where it was left, also after the page is gone'(page) {
    await page.keyboard.press('Escape');
    await page.locator('#video-dialog').waitFor({ state: 'hidden' });
    await page.waitForFunction(async () => { const found = (await (await fetch('/api/entities?type=tv.episode')).json())[0]; return found.positionMs > 55000; });
    await page.reload();
    await page.getByRole('button', { name: /One/ }).first().click();
    await page.waitForFunction(() => { const v = document.getElementById('video'); return v.currentTime > 55 && v.readyState >= 3; });
    assert.equal(await page.evaluate(() => navigator.mediaSession.metadata.title), 'One');
  },

  async 'offers the next episode'(page) {
    await page.getByRole('button', { name: 'Next', exact: true }).click();
    await page.waitForFunction(() => document.getElementById('video-title').textContent.includes('Two'));
    // What the browser plays is not converted.
    await page.waitForFunction(() => { const v = document.getElementById('video'); return /\/media\/\d+$/.test(v.src) && v.currentTime > 0.1; });
    const positions = await page.evaluate(async () => (await (await fetch('/api/entities?type=tv.episode')).json()).map(one => one.positionMs || 0));
    assert.ok(positions[0] > 55000 && positions[1] < 8000, `the positions stay where they belong: ${positions}`);
    await page.keyboard.press('Escape');
  },

  async 'finds things everywhere'(page) {
    await page.getByRole('searchbox', { name: 'Search everything' }).fill('tw');
    await page.waitForURL(/#\/s\/tw/);
    await page.getByRole('button', { name: /Two/ }).first().waitFor();
    assert.equal(await page.getByRole('button', { name: /One/ }).count(), 0);
    await page.getByRole('searchbox', { name: 'Search everything' }).fill('');
  },

  async 'links and unlinks the account'(page, root) {
    const start = await (await fetch(root + 'api/account/link/start')).json();
    const other = await page.context().newPage();
    await other.goto(start.verifyUrl);
    await other.getByRole('button', { name: /approve|allow|link/i }).first().click();
    await other.waitForFunction(async () => (await (await fetch('/api/account/link/status')).json()).linked);
    await other.goto(root + 'account');
    await other.getByRole('button', { name: /unlink/i }).first().click();
    await other.waitForFunction(async () => !(await (await fetch('/api/account/link/status')).json()).linked);
    await other.close();
  },

  async 'can be used by everybody: no serious finding of axe, at any size and in any colours'(page) {
    for (const [width, colorScheme] of [[1280, 'light'], [1280, 'dark'], [320, 'light'], [320, 'dark']]) {
      await page.setViewportSize({ width, height: 800 });
      await page.emulateMedia({ colorScheme, reducedMotion: 'reduce' });
      for (const place of ['#/', '#/m/tv', '#/s/one']) {
        await page.evaluate(hash => { location.hash = hash; }, place);
        await page.locator('#page h1').first().waitFor();
        const wide = await page.evaluate(() => document.documentElement.scrollWidth);
        assert.ok(wide <= width, `${place} is ${wide} wide at ${width}`);
        const found = await page.evaluate(() => window.axe.run());
        const serious = found.violations.filter(one => ['serious', 'critical'].includes(one.impact));
        assert.deepEqual(serious.map(one => [one.id, one.nodes.map(node => node.html).slice(0, 3)]), [], `${place}, ${width}, ${colorScheme}`);
      }
    }
  },

  async 'says what to do where there is nothing, and when something is wrong'(page) {
    for (const [place, text] of [['#/m/tv?q=zzz', /Try fewer letters/], ['#/s/zzz', /Try fewer letters/], ['#/e/999999', /There is no such entity/], ['#/m/nothing', /no such kind/]]) {
      await page.evaluate(hash => { location.hash = hash; }, place);
      await page.locator('#page').getByText(text).waitFor();
    }
    await page.getByRole('button', { name: 'Try again' }).press('Enter');
    await page.getByRole('link', { name: 'Home' }).last().press('Enter');
    await page.getByRole('heading', { name: 'Home' }).waitFor();
  },

  async 'shows how far a scan is'(page) {
    await page.route('**/api/scan', route => route.fulfill({ json: { scanning: true, phase: 'tags', filesSeen: 9, changes: 9, done: 3, total: 12, revision: 1, queued: [], libraryId: 1 } }));
    const bar = page.getByRole('progressbar', { name: 'Scan' });
    await bar.waitFor();
    assert.equal(await bar.evaluate(one => one.value / one.max), 0.25);
    await page.getByText('Reading details of “shows”: 3 of 12').waitFor();
    await page.unroute('**/api/scan');
    await bar.waitFor({ state: 'detached' });
  },

  async 'says so when the server is gone'(page) {
    server.kill('SIGKILL');
    await page.getByText('The server does not answer').first().waitFor();
  },
};

try {
  mkdirSync(join(folder, 'shows', 'A Show', 'Season 1'), { recursive: true });
  writeFileSync(join(folder, 'chapters.txt'), ';FFMETADATA1\n[CHAPTER]\nTIMEBASE=1/1\nSTART=0\nEND=60\ntitle=First\n[CHAPTER]\nTIMEBASE=1/1\nSTART=60\nEND=120\ntitle=Second\n');
  make('shows/A Show/Season 1/S01E01 - One.mkv', 120, ['-i', join(folder, 'chapters.txt'), '-map_metadata', '2', '-map', '0:v', '-map', '1:a', '-c:v', 'mpeg4', '-c:a', 'ac3']);
  make('shows/A Show/Season 1/S01E02 - Two.webm', 8, ['-c:v', 'libvpx-vp9', '-deadline', 'realtime', '-cpu-used', '8', '-c:a', 'libopus']);
  writeFileSync(join(folder, 'shows/A Show/Season 1/S01E01 - One.en.srt'), '1\n00:00:01,000 --> 00:01:59,000\nHello\n');
  const root = await startServer();
  browser = await chromium.launch({ executablePath: browserPath, args: ['--no-sandbox', '--autoplay-policy=no-user-gesture-required', '--disable-gpu'] });
  const context = await browser.newContext({ locale: 'en-GB', deviceScaleFactor: 2 });
  const page = await context.newPage();
  page.setDefaultTimeout(patience);
  const troubles = [];
  page.on('pageerror', error => troubles.push(String(error)));
  await page.goto(root);
  // The policy of the page lets no script in but its own, so this one comes through the debugger.
  await context.addInitScript({ path: axePath });
  await page.reload();
  for (const [name, step] of Object.entries(steps)) {
    await step(page, root).catch(error => { throw new Error(`${name}: ${error.message}`, { cause: error }); });
    console.log(`ok  ${name}`);
  }
  assert.deepEqual(troubles, []);
} finally {
  if (browser) await browser.close();
  if (server) server.kill('SIGKILL');
  rmSync(folder, { recursive: true, force: true });
}
