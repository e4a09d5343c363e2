'use strict';
// Part of the pages of the server in the box while a test drives them. It leads the focus to what a
// person would choose next and tells the test, which presses the keys.

{ // the names of the page's own scripts are left alone

const say = text => fetch('/report?' + encodeURIComponent(text));
const one = selector => document.querySelector(selector);
const shown = node => Boolean(node) && node.getClientRects().length > 0;
const named = (selector, text) => [...document.querySelectorAll(selector)].find(node => shown(node) && node.textContent.includes(text));
async function until(find) {
  for (;;) {
    const found = await find();
    if (found) return found;
    await new Promise(resolve => setTimeout(resolve, 50));
  }
}
async function offer(name, find) {
  const node = await until(find);
  // The page takes the focus when it is drawn; this is not hurt by doing it again.
  await until(() => { node.isConnected ? node.focus() : find()?.focus(); return document.activeElement !== document.body; });
  await say(name);
}
const position = async () => (await (await fetch('/api/entities?type=tv.episode')).json())[0].positionMs || 0;
const linked = async () => (await (await fetch('/api/account/link/status')).json()).linked;

async function firstVisit(video) {
  await offer('empty', () => named('button', 'Add your first folder'));
  await until(() => one('#add-dialog').open);
  await offer('kinds', () => one('#add-dialog input[value=music]'));
  await until(() => one('#add-dialog input[value=tv]').checked);
  await offer('folder', () => one('#add-path'));
  // The first page may show it before the page of shows comes.
  await until(() => named('#page h1', 'TV'));
  await offer('show', () => named('.tile', 'A Show'));
  await offer('season', () => named('.tile', 'Season 1'));
  await offer('episode', () => named('.row', 'One'));
  await until(() => video.currentTime > 0.2 && video.videoWidth === 96);
  await say(`plays ${video.src.startsWith('blob:') ? 'a stream' : video.src}`);
  await until(() => video.currentTime > 90 && video.readyState >= 3 && !video.seeking);
  await say('sought');
  await until(() => video.textTracks.length && video.textTracks[0].cues?.[0]?.text === 'Hello');
  await say('subtitles');
  await until(() => video.paused);
  await say('paused');
  await until(() => !one('#video-dialog').open);
  await until(async () => await position() > 80000);
  sessionStorage.visited = 'yes';
  location.reload();
}

async function secondVisit(video) {
  await offer('again', () => named('.row', 'One'));
  await until(() => video.currentTime > 80 && video.readyState >= 3);
  await say('resumed');
  await until(() => !one('#video-dialog').open);
  await offer('account', () => one('#account'));
}

const visits = {
  '/': async () => {
    const video = one('#video');
    new MutationObserver(() => { if (one('#video-error').textContent) say(`trouble: ${one('#video-error').textContent}`); }).observe(one('#video-error'), { childList: true });
    if (await linked()) await offer('linked', () => named('a', 'Account linked'));
    else await (sessionStorage.visited ? secondVisit(video) : firstVisit(video));
  },
  '/account': async () => {
    if (!await linked()) {
      await offer('link', () => named('button', 'Link this server'));
      return;
    }
    await offer('unlink', () => named('button', 'Unlink'));
    await until(async () => !await linked());
    await until(() => named('button', 'Link this server'));
    await say('unlinked');
  },
  '/link': async () => {
    await offer('approve', () => named('button', 'Approve'));
    await until(linked);
    await offer('back', () => named('a', 'Go to your libraries'));
  },
};

visits[location.pathname]?.();

}
