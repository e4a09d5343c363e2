// What the tests of the web interface share: a server with a folder of its own, a browser, media files,
// and axe. Arguments of every test: OSTRAD FFMPEG FFPROBE CHROMIUM. With WEB_FOLDER in the environment
// the browser gets the page's scripts and styles from there, so that a change is tried without a build.
import { spawn, spawnSync } from 'node:child_process';
import { createRequire } from 'node:module';
import { existsSync, mkdtempSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { basename, join } from 'node:path';
import { fileURLToPath } from 'node:url';
import assert from 'node:assert/strict';
import { chromium } from 'playwright-core';

export const [ostrad, ffmpeg, ffprobe, browserPath] = process.argv.slice(2);
export const folder = mkdtempSync(join(tmpdir(), 'ostrad-browser-'));
const axePath = createRequire(import.meta.url).resolve('axe-core/axe.min.js');
const patience = Number(process.env.WEB_PATIENCE || 120000);
const servers = [];
let browser;

// Starts a server whose database has that name; killing and starting it again keeps its address.
export async function startServer(name, { tools = true, port = 0 } = {}) {
  const options = tools ? ['-ffmpeg', ffmpeg, '-ffprobe', ffprobe] : [];
  const server = spawn(ostrad, ['-addr', `127.0.0.1:${port}`, '-db', join(folder, `${name}.db`), ...options], { stdio: ['ignore', 'pipe', 'inherit'] });
  servers.push(server);
  for await (const text of server.stdout) {
    const address = /http:\S+/.exec(text.toString());
    if (address) return Object.assign(server, { root: address[0] });
  }
  throw new Error('the server did not start');
}

export async function ask(server, path, body, method = body ? 'POST' : 'GET') {
  const reply = await fetch(server.root + path, body ? { method, headers: { 'Content-Type': 'application/json' }, body: JSON.stringify(body) } : { method });
  return { status: reply.status, total: Number(reply.headers.get('X-Total-Count')), body: await reply.json() };
}

export async function addLibrary(server, modeId, path) {
  const { status, body } = await ask(server, 'api/libraries', { modeId, path });
  assert.equal(status, 201, JSON.stringify(body));
  while ((await ask(server, 'api/scan')).body.scanning) await new Promise(resolve => setTimeout(resolve, 50));
  return body;
}

export function makeVideo(name, seconds, options) {
  const made = spawnSync(ffmpeg, ['-v', 'error', '-y', '-f', 'lavfi', '-i', `testsrc=size=96x54:rate=5:duration=${seconds}`, '-f', 'lavfi', '-i', `sine=frequency=440:sample_rate=48000:duration=${seconds}`, ...options, join(folder, name)], { encoding: 'utf8' });
  assert.equal(made.status, 0, made.stderr);
}

export function makeSound(name, seconds) {
  const made = spawnSync(ffmpeg, ['-v', 'error', '-y', '-f', 'lavfi', '-i', `sine=frequency=440:sample_rate=48000:duration=${seconds}`, join(folder, name)], { encoding: 'utf8' });
  assert.equal(made.status, 0, made.stderr);
}

// A page of its own profile. What goes wrong in its scripts fails the test.
export async function openPage({ axe = true, ...options } = {}) {
  browser ??= await chromium.launch({ executablePath: browserPath, args: ['--no-sandbox', '--disable-dev-shm-usage', '--autoplay-policy=no-user-gesture-required', '--disable-gpu'] });
  const context = await browser.newContext({ locale: 'en-GB', viewport: { width: 1280, height: 800 }, ...options });
  // The policy of the page lets no script in but its own, so this one comes through the debugger.
  if (axe) await context.addInitScript({ path: axePath });
  const web = process.env.WEB_FOLDER;
  if (web) {
    await context.route(/\.(js|css)$/, route => {
      const file = join(web, basename(new URL(route.request().url()).pathname));
      return existsSync(file) ? route.fulfill({ path: file }) : route.continue();
    });
  }
  const page = await context.newPage();
  page.setDefaultTimeout(patience);
  page.troubles = [];
  page.on('pageerror', error => page.troubles.push(String(error)));
  return page;
}

// No serious finding of axe, nothing that is cut off, nothing smaller than 24 pixels to click.
export async function audit(page, what) {
  await page.evaluate(() => Promise.all(document.getAnimations().map(one => one.effect.getTiming().iterations === Infinity ? null : one.finished)));
  const { width } = page.viewportSize();
  const cut = await page.evaluate(() => [...document.querySelectorAll('html, main, dialog[open], .head, .hero, .button, .tab, .card, .player, h1, h2')]
    .filter(one => one.getClientRects().length && getComputedStyle(one).display !== 'inline' && one.scrollWidth > one.clientWidth + 1)
    .map(one => `${one.tagName}.${one.className}: ${one.scrollWidth} in ${one.clientWidth}`));
  assert.deepEqual(cut, [], `${what} does not fit ${width}`);
  const found = await page.evaluate(() => window.axe.run({ rules: { 'target-size': { enabled: true } } }));
  const serious = found.violations.filter(one => ['serious', 'critical'].includes(one.impact));
  assert.deepEqual(serious.map(one => [one.id, one.nodes.map(node => node.html).slice(0, 3)]), [], what);
}

// Each look in turn: colours, width and scale; animations are reduced.
export async function inEveryLook(page, check) {
  for (const [width, colorScheme] of [[1280, 'light'], [1280, 'dark'], [320, 'light'], [320, 'dark']]) {
    await page.setViewportSize({ width, height: 800 });
    await page.emulateMedia({ colorScheme, reducedMotion: 'reduce' });
    await check(`${width}, ${colorScheme}`);
  }
  await page.setViewportSize({ width: 1280, height: 800 });
  await page.emulateMedia({ colorScheme: 'light', reducedMotion: null });
}

export async function runSteps(steps, page, ...more) {
  for (const [name, step] of Object.entries(steps)) {
    await step(page, ...more).catch(async error => {
      await page.screenshot({ path: fileURLToPath(new URL('failure.png', import.meta.url)) });
      throw new Error(`${name}: ${error.message}\n${page.troubles.join("\n")}\nbuild/test-web/failure.png shows the page`, { cause: error });
    });
    console.log(`ok  ${name}`);
  }
  assert.deepEqual(page.troubles, []);
}

function endServers() {
  for (const server of servers) server.kill('SIGKILL');
  rmSync(folder, { recursive: true, force: true });
}

export async function cleanUp() {
  if (browser) await browser.close();
  endServers();
}

for (const signal of ['SIGINT', 'SIGTERM']) process.on(signal, () => { endServers(); process.exit(1); });
