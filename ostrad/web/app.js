'use strict';

// ---------------------------------------------------------------- building blocks

const byId = id => document.getElementById(id);

// Everything on the page is built with this: text is always text, never markup.
function el(tag, attributes = {}, ...children) {
  const node = document.createElement(tag);
  for (const [name, value] of Object.entries(attributes)) {
    if (value === undefined || value === null || value === false) continue;
    if (name.startsWith('on')) node.addEventListener(name.slice(2), value);
    else node.setAttribute(name, value === true ? '' : value);
  }
  node.append(...children.filter(child => child !== null && child !== undefined));
  return node;
}

const iconPaths = {
  home: 'M4 11l8-7 8 7M6 10v9h12v-9',
  music: 'M9 18V6l10-2v12M9 18a2.5 2.5 0 1 1-5 0 2.5 2.5 0 0 1 5 0zM19 16a2.5 2.5 0 1 1-5 0 2.5 2.5 0 0 1 5 0z',
  movies: 'M4 5h16v14H4zM8 5v14M16 5v14M4 9.7h4M4 14.3h4M16 9.7h4M16 14.3h4',
  tv: 'M4 8h16v11H4zM8.5 3.500L12 8l3.500-4.500',
  podcasts: 'M12 15a3 3 0 0 0 3-3V7a3 3 0 0 0-6 0v5a3 3 0 0 0 3 3zM6.500 11.500a5.500 5.500 0 0 0 11 0M12 17v3.500M9 20.500h6',
  audiobooks: 'M4 14v-2a8 8 0 0 1 16 0v2M4 14h3v6H5.500A1.500 1.500 0 0 1 4 18.500zM20 14h-3v6h1.500a1.500 1.500 0 0 0 1.500-1.500z',
  comics: 'M12 6.500C10 5 7 4.700 4 5v13c3-.3 6 0 8 1.500 2-1.500 5-1.800 8-1.500V5c-3-.3-6 0-8 1.500zM12 6.500v13',
  games: 'M7 8h10a4 4 0 0 1 4 4v2.500a2.500 2.500 0 0 1-4.600 1.300L15.500 15h-7l-.9.8A2.500 2.500 0 0 1 3 14.500V12a4 4 0 0 1 4-4zM8 10.200v3M6.500 11.700h3M15.500 11.700h.01M17.500 11h.01',
  folder: 'M3.500 6.500h6l2 2.500h9v9.500h-17z',
  up: 'M12 19V6M6 11.500L12 5.500l6 6',
  check: 'M5 12.500l4.500 4.500L19 7.500', play: 'M8 5.500v13l10.500-6.500z', pause: 'M8 5.500v13M16 5.500v13',
  shuffle: 'M4 7h3l10 10h3M4 17h3l3-3M14 10l3-3h3M18 5l2 2-2 2M18 15l2 2-2 2', next: 'M6 6v12l9-6zM18 6v12', prev: 'M18 6v12l-9-6zM6 6v12', close: 'M6 6l12 12M18 6L6 18',
};
const filledIcons = new Set(['play', 'next', 'prev']);

function icon(name, size = 20) {
  const ns = 'http://www.w3.org/2000/svg';
  const svg = document.createElementNS(ns, 'svg');
  const path = document.createElementNS(ns, 'path');
  for (const [key, value] of Object.entries({ viewBox: '0 0 24 24', width: size, height: size, 'aria-hidden': 'true' })) svg.setAttribute(key, value);
  for (const [key, value] of Object.entries({ d: iconPaths[name] || iconPaths.folder, fill: filledIcons.has(name) ? 'currentColor' : 'none', stroke: 'currentColor', 'stroke-width': name === 'pause' ? 3 : 1.7, 'stroke-linecap': 'round', 'stroke-linejoin': 'round' })) path.setAttribute(key, value);
  svg.append(path);
  return svg;
}

const countText = new Intl.NumberFormat();

function clock(ms) {
  const all = Math.round(ms / 1000);
  const two = n => String(n).padStart(2, '0');
  const hours = Math.floor(all / 3600);
  return hours ? `${hours}:${two(Math.floor(all / 60) % 60)}:${two(all % 60)}` : `${Math.floor(all / 60)}:${two(all % 60)}`;
}

class Unreachable extends Error {
  constructor() { super('The server does not answer. This page goes on by itself as soon as it does. It can be restarted from Zorvane’s menu.'); }
}

async function api(path, options = {}) {
  const reply = await fetch(path, { cache: 'no-store', ...options }).catch(() => { throw new Unreachable(); });
  const body = await reply.json();
  if (!reply.ok) throw new Error(body.error || 'The server refused the request.');
  return { body, total: Number(reply.headers.get('X-Total-Count') || 0) };
}

const post = (path, value) => api(path, { method: 'POST', headers: { 'Content-Type': 'application/json' }, body: JSON.stringify(value) });

// ---------------------------------------------------------------- what is known

const state = { modes: [], libraries: [], totals: new Map(), scan: null, revision: -1, online: true };
const modeOf = entity => state.modes.find(mode => entity.type.startsWith(mode.id + '.'));
const typeOf = (mode, id) => mode.entityTypes.find(type => type.id === id);
const shapes = { movies: 'landscape', tv: 'landscape', comics: 'portrait' };
const shelfTypes = { music: 'music.album', audiobooks: 'audiobooks.book' };
const isRowType = type => ['music.track', 'podcasts.episode', 'audiobooks.chapter', 'tv.episode', 'games.game'].includes(type);
const modeLibraries = mode => state.libraries.filter(library => library.modeId === mode.id);
const itemTotal = mode => modeLibraries(mode).reduce((sum, library) => sum + library.itemCount, 0);

function counted(type, number) {
  return `${countText.format(number)} ${(number === 1 ? type.name : type.plural).toLowerCase()}`;
}

async function loadLibraries(early) {
  state.libraries = (await (early || api('/api/libraries'))).body;
  const order = new Map(state.modes.map((mode, index) => [mode.id, index]));
  state.libraries.sort((a, b) => (order.get(a.modeId) ?? 99) - (order.get(b.modeId) ?? 99));
  drawNav();
}

// ---------------------------------------------------------------- pieces

function hue(text) {
  let value = 7;
  for (const character of text) value = (value * 31 + character.codePointAt(0)) >>> 0;
  return value % 360;
}

function art(entity, extra = '') {
  const node = el('div', { class: 'art ' + extra });
  const start = hue(entity.title);
  node.style.background = `linear-gradient(140deg, hsl(${start} 42% 46%), hsl(${(start + 38) % 360} 48% 30%))`;
  const initials = (entity.title.replace(/^the /i, '').match(/[\p{L}\p{N}]/u) || ['•'])[0];
  node.append(el('span', { class: 'initial', 'aria-hidden': 'true' }, initials.toUpperCase()));
  if (entity.artUrl) {
    const image = el('img', { src: entity.artUrl, alt: '', loading: 'lazy' });
    image.addEventListener('error', () => image.remove());
    node.append(image);
  }
  return node;
}

// On the page of what it belongs to, showParents is false: its number or what is in it says more.
function subtitle(entity, showParents = true) {
  const mode = modeOf(entity);
  const parts = [];
  if (!showParents) {
    if (entity.media && entity.number) parts.push(`${typeOf(mode, entity.type).name} ${entity.number}`);
  } else if (entity.media) {
    if (entity.type === 'tv.episode' && entity.grandparentTitle) parts.push(entity.grandparentTitle, entity.parentTitle);
    else if (entity.parentTitle) parts.push(entity.grandparentTitle || '', entity.parentTitle);
  } else if (entity.parentTitle) parts.push(entity.parentTitle);
  if (entity.year) parts.push(String(entity.year));
  if (!entity.media && !(showParents && entity.parentTitle) && entity.childCount) {
    const types = mode.entityTypes;
    const below = types[types.findIndex(type => type.id === entity.type) + 1];
    if (below) parts.push(counted(below, entity.childCount));
  }
  return parts.filter(Boolean).join(' · ');
}

// How far somebody has come, or that it was seen.
function progressMarks(entity) {
  if (entity.watched) return [el('span', { class: 'seen', title: 'Watched' }, icon('check', 14), el('span', { class: 'sr' }, 'Watched'))];
  if (!entity.positionMs || !entity.durationMs) return [];
  const bar = el('span', { class: 'reached', title: `Resumes at ${clock(entity.positionMs)}` });
  bar.style.width = `${Math.min(100, 100 * entity.positionMs / entity.durationMs)}%`;
  return [bar];
}

const isPlayable = entity => Boolean(entity.media) && (entity.media.kind === 'audio' || entity.media.kind === 'video');

// The siblings are what comes before and after it, or a function that asks for them.
function tile(entity, siblings, { showParents = true } = {}) {
  const mode = modeOf(entity);
  const type = typeOf(mode, entity.type);
  const picture = art(entity);
  const playable = isPlayable(entity);
  if (playable) {
    if (entity.durationMs) picture.append(el('span', { class: 'length' }, clock(entity.durationMs)));
    picture.append(el('span', { class: 'badge' }, icon('play', 20)), ...progressMarks(entity));
  }
  const inside = [picture, el('div', { class: 'tile-title', title: entity.title }, entity.title), el('div', { class: 'tile-sub' }, subtitle(entity, showParents))];
  const look = { class: 'tile' + (type && type.isPerson ? ' person' : ''), 'data-key': 'e' + entity.id };
  if (!entity.media) return el('a', { ...look, href: `#/e/${entity.id}` }, ...inside);
  if (playable) return el('button', { ...look, type: 'button', 'aria-label': `Play ${entity.title}`, onclick: () => playAmong(entity, siblings) }, ...inside);
  return el('a', { ...look, href: entity.media.url, ...downloadOf(entity) }, ...inside);
}

function downloadOf(entity) {
  return entity.media.contentType === 'application/pdf' ? { target: '_blank', rel: 'noopener' } : { download: entity.title };
}

function row(entity, siblings, { showParents }) {
  const current = player.entity && player.entity.id === entity.id;
  const inside = [
    el('span', { class: 'no' }, current ? icon('play', 15) : entity.number ? String(entity.number) : icon('play', 15)),
    el('span', { class: 'name', title: entity.title }, entity.title),
    el('span', { class: 'by' }, showParents ? subtitle(entity) : entity.year ? String(entity.year) : ''),
    el('span', { class: 'time' }, entity.watched ? el('span', { class: 'seen', title: 'Watched' }, icon('check', 14), el('span', { class: 'sr' }, 'Watched')) : null, entity.durationMs ? clock(entity.durationMs) : ''),
  ];
  const look = { class: 'row', 'data-key': 'e' + entity.id, 'aria-current': current ? 'true' : null };
  return isPlayable(entity)
    ? el('button', { ...look, type: 'button', onclick: () => playAmong(entity, siblings) }, ...inside)
    : el('a', { ...look, href: entity.media ? entity.media.url : `#/e/${entity.id}`, ...(entity.media ? downloadOf(entity) : {}) }, ...inside);
}

// What stands where an item comes as soon as the server has told about it.
function placeholder(inRows, index) {
  const inside = inRows
    ? [el('span', { class: 'no' }), el('span', { class: 'name bone' })]
    : [el('div', { class: 'art' }), el('div', { class: 'tile-title' }, el('span', { class: 'bone' })), el('div', { class: 'tile-sub' })];
  return el('button', { type: 'button', class: inRows ? 'row' : 'tile', 'aria-disabled': 'true', 'aria-label': `Item ${countText.format(index + 1)} is being loaded` }, ...inside);
}

function listing(entities) {
  if (entities.every(entity => isRowType(entity.type))) return el('ul', { class: 'rows told' }, ...entities.map(entity => el('li', {}, row(entity, entities, { showParents: true }))));
  return el('div', { class: 'grid ' + (shapes[modeOf(entities[0]).id] || '') }, ...entities.map(entity => tile(entity, entities)));
}

// Everything of one type that the query selects; first is the answer for its beginning.
function longListing(type, mode, query, first, { showParents = true, onTotal } = {}) {
  const inRows = isRowType(type.id);
  const fetchPage = (offset, limit) => api('/api/entities?' + new URLSearchParams({ ...query, type: type.id, offset, limit }));
  const list = new LongList({
    scroller: byId('view'), label: type.plural, first, fetchPage, onTotal,
    look: inRows ? { list: showParents ? 'rows told' : 'rows', line: '' } : { list: 'tiles', line: `grid ${shapes[mode.id] || ''}` },
    drawItem: (entity, index) => {
      if (!entity) return placeholder(inRows, index);
      const siblings = () => list.around(index);
      return inRows ? row(entity, siblings, { showParents }) : tile(entity, siblings, { showParents });
    },
  });
  return list;
}

const firstPage = (type, query) => api('/api/entities?' + new URLSearchParams({ ...query, type: type.id, offset: 0, limit: LongList.pageSize }));

// ---------------------------------------------------------------- navigation

function drawNav() {
  const nav = byId('nav');
  const focused = nav.contains(document.activeElement) ? document.activeElement.getAttribute('href') : null;
  const [first, second] = location.hash.replace(/^#\//, '').split('?')[0].split('/');
  const link = (href, name, iconName, count, current) => el('a', { class: 'nav-link', href, title: name, 'aria-current': current || null }, icon(iconName), el('span', {}, name), count === null ? null : el('span', { class: 'count' }, countText.format(count)));
  nav.replaceChildren(link('#/', 'Home', 'home', null, first ? '' : 'page'),
    ...state.modes.filter(mode => modeLibraries(mode).length).map(mode => link(`#/m/${mode.id}`, mode.name, mode.id, itemTotal(mode), first === 'm' && second === mode.id ? 'page' : first === 'e' && shown.modeId === mode.id ? 'true' : '')));
  showCurrentLink();
  for (const anchor of nav.children) if (focused && anchor.getAttribute('href') === focused) anchor.focus();
}

// Where the window is narrow the links are a line that scrolls.
function showCurrentLink() {
  const nav = byId('nav');
  const current = nav.querySelector('[aria-current]');
  if (current && nav.scrollWidth > nav.clientWidth) nav.scrollLeft = current.offsetLeft - (nav.clientWidth - current.offsetWidth) / 2;
}

function parseRoute() {
  const [path, queryText] = location.hash.replace(/^#\/?/, '').split('?');
  const query = new URLSearchParams(queryText || '');
  return { parts: path.split('/').filter(Boolean).map(decodeURIComponent), search: query.get('q') || '' };
}

// What is on the screen: its elements, and those of its lists that may be long.
let shown = { nodes: [], lists: [] };

let drawing = 0;
let arriving = false; // at another page; which of several drawings shows it is not known
async function draw({ moved = false } = {}) {
  const ticket = ++drawing;
  if (moved) arriving = true;
  const route = parseRoute();
  let next;
  try {
    if (route.parts[0] === 'm') next = await modePage(route);
    else if (route.parts[0] === 'e') next = await entityPage(route);
    else if (route.parts[0] === 's') next = await searchPage(route);
    else next = await homePage();
  } catch (error) {
    if (error instanceof Unreachable) state.online = false; // drawn again when it is back
    next = { nodes: [el('div', { class: 'empty', role: 'alert' }, el('p', {}, error.message),
      el('p', {}, el('button', { type: 'button', class: 'button', 'data-key': 'again', onclick: () => { poll(); draw(); } }, 'Try again'), ' ', el('a', { class: 'button', href: '#/' }, 'Home')))] };
  }
  if (ticket !== drawing) { // a newer page is on its way
    for (const list of next.lists || []) if (!shown.lists.includes(list)) list.close();
    return;
  }
  const page = byId('page');
  const focused = page.contains(document.activeElement) ? document.activeElement : null;
  const key = focused && focused.dataset.key;
  const old = shown;
  shown = { lists: [], ...next };
  for (const list of old.lists) if (!shown.lists.includes(list)) list.close();
  setChildren(page, shown.nodes);
  for (const list of shown.lists) list.layOut();
  drawNav();
  if (arriving) {
    arriving = false;
    nameSearch(route);
    comeBack();
    return;
  }
  if (shown.search !== old.search) byId('view').scrollTop = 0;
  if (key && !focused.isConnected) {
    const again = page.querySelector(`[data-key="${CSS.escape(key)}"]`);
    if (again) again.focus({ preventScroll: true });
  }
}

// What stays is not touched, so that it keeps its focus and its place.
function setChildren(parent, nodes) {
  for (const child of [...parent.children]) if (!nodes.includes(child)) child.remove();
  nodes.forEach((node, index) => { if (parent.children[index] !== node) parent.insertBefore(node, parent.children[index] || null); });
}

// A page that was left by a link is where it was when somebody comes back to it.
function comeBack() {
  const view = byId('view');
  const { top = 0, list = -1, index = 0 } = history.state || {};
  view.scrollTop = top;
  for (const one of shown.lists) one.layOut();
  const left = shown.lists[list];
  if (left) left.focus(index); else view.focus({ preventScroll: true });
}

function rememberPlace() {
  const list = shown.lists.findIndex(one => one.element.contains(document.activeElement));
  history.replaceState({ top: byId('view').scrollTop, list, index: list < 0 ? 0 : shown.lists[list].active }, '');
}

// ---------------------------------------------------------------- pages

async function homePage() {
  document.title = 'Zorvane';
  if (!state.libraries.length) return { nodes: [welcome()] };
  const used = state.modes.filter(mode => modeLibraries(mode).length);
  const shelves = await Promise.all(used.map(async mode => {
    const type = shelfTypes[mode.id] || mode.entityTypes[0].id;
    const { body } = await api(`/api/entities?type=${type}&limit=12`);
    return { mode, entities: body };
  }));
  const sections = shelves.filter(shelf => shelf.entities.length).map(({ mode, entities }) => el('section', { class: 'section', 'aria-label': mode.name },
    el('div', { class: 'section-head' }, el('h2', {}, mode.name), el('span', { class: 'muted' }, counted(typeOf(mode, mode.itemType), itemTotal(mode))),
      el('a', { class: 'more', href: `#/m/${mode.id}`, 'data-key': 'more-' + mode.id, 'aria-label': `See all of ${mode.name}` }, 'See all')),
    el('div', { class: `grid shelf ${shapes[mode.id] || ''}` }, ...entities.map(entity => tile(entity, entities)))));
  return { nodes: [el('div', { class: 'head' }, el('h1', { class: 'grow' }, 'Home')), ...sections, librarySection()] };
}

function welcome() {
  return el('div', { class: 'welcome' },
    el('img', { src: '/icon.svg', alt: '', width: 84, height: 84 }),
    el('h1', {}, 'Welcome to Zorvane'),
    el('p', {}, 'Choose a folder of music, films, shows or books. Zorvane lists what is in it and plays it right here. Nothing leaves this computer.'),
    el('button', { type: 'button', class: 'button primary', 'data-key': 'first', onclick: () => openAdd() }, 'Add your first folder'),
    el('ul', { class: 'modes', 'aria-label': 'Kinds of media' }, ...state.modes.map(mode => el('li', {},
      el('button', { type: 'button', class: 'mode-chip', 'data-key': 'chip-' + mode.id, onclick: () => openAdd(mode.id) }, icon(mode.id, 26), mode.name)))));
}

function librarySection() {
  const rows = state.libraries.map(library => {
    const mode = state.modes.find(candidate => candidate.id === library.modeId);
    const status = library.scanning ? 'Scanning…' : !library.available ? 'Not available: connect its disk, then choose Rescan' : counted(typeOf(mode, mode.itemType), library.itemCount);
    return el('li', {}, icon(library.modeId, 22),
      el('div', { class: 'sr-wrap' }, el('div', { class: 'name' }, library.name), el('div', { class: 'where', title: library.path }, library.path)),
      el('div', { class: 'what' + (library.available || library.scanning ? '' : ' bad') }, status),
      el('div', { class: 'acts' },
        el('button', { type: 'button', class: 'button quiet', 'data-key': 'scan' + library.id, 'aria-label': `Rescan ${library.name}`, disabled: library.scanning, onclick: () => rescan(library) }, 'Rescan'),
        el('button', { type: 'button', class: 'button quiet', 'data-key': 'remove' + library.id, 'aria-label': `Remove ${library.name}`, onclick: () => openRemove(library) }, 'Remove')));
  });
  return el('section', { class: 'section', 'aria-label': 'Folders' },
    el('div', { class: 'section-head' }, el('h2', {}, 'Folders')), el('ul', { class: 'libraries' }, ...rows));
}

const hrefWith = (path, search) => `#/${path}${search ? '?' + new URLSearchParams({ q: search }) : ''}`;

async function modePage({ parts, search }) {
  const mode = state.modes.find(candidate => candidate.id === parts[1]);
  if (!mode) throw new Error('There is no such kind of media.');
  const type = typeOf(mode, parts[2]) || typeOf(mode, shelfTypes[mode.id]) || mode.entityTypes[0];
  const path = `m/${mode.id}/${type.id}`;
  document.title = `${mode.name} - Zorvane`;
  // What is shown already stays, and only what has changed in it is drawn.
  if (shown.path === path && shown.search === search && shown.lists.length) {
    await shown.lists[0].refresh();
    if (shown.lists[0].total) return shown;
  }
  const first = await firstPage(type, { search });
  const head = shown.path === path ? shown : modeHead(mode, type, path, search);
  if (document.activeElement !== head.field) head.field.value = search;
  const onTotal = total => { head.count.textContent = counted(type, total); };
  onTotal(first.total);
  const scanning = modeLibraries(mode).some(library => library.scanning);
  const nothing = search ? `Nothing matches “${search}”. Try fewer letters.` : scanning ? 'Looking through your folders. What is found appears here by itself.' : `No ${type.plural.toLowerCase()} here yet. Put some into a folder of yours and choose Rescan on the first page, or add another folder.`;
  const lists = first.total ? [longListing(type, mode, { search }, first, { onTotal })] : [];
  return { ...head, search, lists, nodes: [head.node, lists.length ? lists[0].element : el('p', { class: 'empty' }, nothing)] };
}

function modeHead(mode, type, path, search) {
  const tabs = mode.entityTypes.length < 2 ? null : el('nav', { class: 'tabs', 'aria-label': 'Kinds' }, ...mode.entityTypes.map(one => el('a', { class: 'tab', href: `#/m/${mode.id}/${one.id}`, 'data-key': 'tab-' + one.id, 'aria-current': one === type ? 'page' : null }, one.plural)));
  const field = el('input', { type: 'search', value: search, placeholder: `Search ${type.plural.toLowerCase()}`, 'aria-label': `Search ${type.plural.toLowerCase()}`, 'data-key': 'search', autocomplete: 'off' });
  let typing = 0;
  field.addEventListener('input', () => {
    clearTimeout(typing);
    typing = setTimeout(() => { history.replaceState(null, '', hrefWith(path, field.value.trim())); draw(); }, 180);
  });
  const count = el('p', { class: 'muted', role: 'status' });
  return { path, count, field, node: el('div', { class: 'head' }, el('div', { class: 'grow' }, el('h1', {}, mode.name), count), tabs, el('div', { class: 'search' }, field)) };
}

async function searchPage({ parts }) {
  const wanted = parts[1] || '';
  document.title = `${wanted} - Zorvane`;
  const limit = 200;
  const { body, total } = await api(`/api/entities?${new URLSearchParams({ search: wanted, limit })}`);
  const kinds = state.modes.flatMap(mode => mode.entityTypes.map(type => ({ mode, type, found: body.filter(entity => entity.type === type.id) }))).filter(kind => kind.found.length);
  const isPart = total > body.length;
  const summary = isPart ? `The first ${countText.format(body.length)} of ${countText.format(total)} results.` : total === 1 ? '1 result' : `${countText.format(total)} results`;
  return { path: 's', search: wanted, nodes: [el('div', { class: 'head' }, el('div', { class: 'grow' }, el('h1', {}, `“${wanted}”`), el('p', { class: 'muted', role: 'status' }, total ? summary : 'Nothing matches. Try fewer letters.'))),
    ...kinds.map(({ mode, type, found }) => el('section', { class: 'section', 'aria-label': `${mode.name}: ${type.plural}` },
      el('div', { class: 'section-head' }, el('h2', {}, type.plural), mode.name === type.plural ? null : el('span', { class: 'muted' }, mode.name),
        isPart ? el('a', { class: 'more', href: hrefWith(`m/${mode.id}/${type.id}`, wanted), 'data-key': 'more-' + type.id, 'aria-label': `See all ${type.plural} that match` }, 'See all') : null), listing(found)))] };
}

function nameSearch({ parts }) {
  byId('search').value = parts[0] === 's' ? parts[1] || '' : '';
}

function setUpSearch() {
  const field = byId('search');
  nameSearch(parseRoute());
  let typing = 0;
  field.addEventListener('input', () => {
    clearTimeout(typing);
    typing = setTimeout(() => {
      const wanted = field.value.trim();
      history.replaceState(null, '', wanted ? `#/s/${encodeURIComponent(wanted)}` : '#/');
      draw();
    }, 200);
  });
  field.form.addEventListener('submit', event => event.preventDefault());
}

async function entityPage({ parts }) {
  const path = `e/${parts[1]}`;
  const { body: entity } = await api(`/api/entities/${encodeURIComponent(parts[1])}`);
  const mode = modeOf(entity);
  const type = typeOf(mode, entity.type);
  const below = mode.entityTypes.slice(mode.entityTypes.indexOf(type) + 1);
  const query = { parentId: entity.id };
  const children = (await Promise.all(below.map(async one => ({ type: one, first: await firstPage(one, query) })))).filter(({ first }) => first.total);
  const same = shown.path === path && shown.lists.map(list => list.typeId).join() === children.map(child => child.type.id).join();
  const lists = same ? shown.lists : children.map(child => {
    const list = longListing(child.type, mode, query, child.first, { showParents: false });
    return Object.assign(list, { typeId: child.type.id, section: el('section', { class: 'section' }, list.element) });
  });
  if (same) for (const list of lists) await list.refresh();
  const shape = type.isPerson ? 'person' : shapes[mode.id] || '';
  const items = children.flatMap(child => child.first.body).filter(isPlayable);
  const complete = children.every(({ first }) => first.total === first.body.length);
  const length = complete ? items.reduce((sum, child) => sum + (child.durationMs || 0), 0) : 0;
  const facts = [];
  if (entity.parentId) facts.push(el('a', { href: `#/e/${entity.parentId}`, 'data-key': 'parent' }, entity.parentTitle));
  if (entity.year) facts.push(String(entity.year));
  for (const child of children) facts.push(counted(child.type, child.first.total));
  if (length) facts.push(clock(length));
  document.title = `${entity.title} - Zorvane`;
  const playAll = async () => { if (complete) play(items[0], items); else playAmong(items[0], () => lists.at(-1).around(0)); };
  const hero = el('div', { class: 'hero' }, art(entity, shape), el('div', { class: 'hero-text' },
    el('div', { class: 'kind' }, type.name), el('h1', {}, entity.title),
    el('p', { class: 'facts' }, ...facts.flatMap((fact, index) => index ? [' · ', fact] : [fact])),
    items.length ? el('button', { type: 'button', class: 'button primary', 'data-key': 'play-all', onclick: playAll }, icon('play', 17), 'Play') : null));
  return { path, lists, modeId: mode.id, nodes: [hero, ...lists.map(list => list.section)] };
}

// ---------------------------------------------------------------- playing

const audio = byId('audio');
const player = { entity: null, queue: [], seeking: false, shuffled: false, feed: null };
const resumes = entity => entity.type !== 'music.track';

// Which item a player's position belongs to; nothing between two items.
const inPlayer = new Map();
function take(media, entity) {
  if (inPlayer.get(media)) report(media, true);
  inPlayer.set(media, entity);
}

// Plays a file as it is where the browser can, and as a stream that the server converts elsewhere.
// Returns what the server knows about the file, if it does.
async function load(media, entity, { audioTrack = 0, from = 0, convert = false, copy = true, onTrouble, onFailure, isCurrent }) {
  let tracks = null;
  try {
    tracks = (await api(`/api/entities/${entity.id}/tracks`)).body;
  } catch {
    // Without ffprobe the file itself is all there is.
  }
  if (!isCurrent()) return { tracks, feed: null };
  const type = tracks ? tracks.directType : entity.media.contentType;
  let feed = null;
  if (!convert && audioTrack === 0 && (!tracks || (type && media.canPlayType(type) !== ''))) {
    take(media, entity);
    media.src = entity.media.url;
  } else {
    const types = tracks ? [tracks.copyType, tracks.audio.length ? tracks.audio[audioTrack].copyType : ''] : [];
    const plays = copy ? LiveFeed.plays(media, types) : [];
    const stream = (await post(`/api/entities/${entity.id}/stream`, { audio: audioTrack, plays })).body;
    feed = new LiveFeed(media, stream, { onTrouble, onFailure });
    if (!isCurrent()) { feed.close(); return { tracks, feed: null }; }
    if (!LiveFeed.canPlay(media, stream)) { feed.close(); throw new Error('This browser plays neither the file nor a converted stream.'); }
    take(media, entity);
    feed.start();
  }
  if (from > 0) media.addEventListener('loadedmetadata', () => { if (isCurrent()) media.currentTime = from; }, { once: true });
  media.play().catch(() => {});
  return { tracks, feed };
}

// Where somebody is in a file, told to the server now and then.
const reported = { id: 0, at: 0 };
function report(media, now) {
  const entity = inPlayer.get(media);
  const position = Math.round(media.currentTime * 1000);
  if (!entity || !resumes(entity) || !position || (!now && reported.id === entity.id && Math.abs(position - reported.at) < 10000)) return;
  Object.assign(reported, { id: entity.id, at: position });
  entity.positionMs = position;
  fetch(`/api/entities/${entity.id}/progress`, { method: 'POST', keepalive: true, headers: { 'Content-Type': 'application/json' }, body: JSON.stringify({ positionMs: position }) }).catch(() => {});
}

// Close to the end there is nothing to go on with.
const resumeAt = entity => (resumes(entity) && entity.positionMs > 15000 ? entity.positionMs / 1000 : 0);

function tellSystem(entity, media, { previous, next }) {
  if (!('mediaSession' in navigator)) return;
  navigator.mediaSession.metadata = new MediaMetadata({ title: entity.title, artist: entity.grandparentTitle || entity.parentTitle || '', album: entity.parentTitle || '', artwork: entity.artUrl ? [{ src: entity.artUrl }] : [] });
  const seek = to => { media.currentTime = Math.max(0, Math.min(to, media.duration || to)); };
  const actions = { play: () => media.play(), pause: () => media.pause(), previoustrack: previous, nexttrack: next, seekbackward: () => seek(media.currentTime - 10), seekforward: () => seek(media.currentTime + 10), seekto: details => seek(details.seekTime) };
  for (const [name, action] of Object.entries(actions)) {
    try { navigator.mediaSession.setActionHandler(name, action || null); } catch { /* not known here */ }
  }
}

async function playAmong(entity, siblings) {
  let among = siblings;
  if (typeof siblings === 'function') among = await siblings().catch(() => []);
  play(entity, among.some(other => other.id === entity.id) ? among : [entity]);
}

function closeFeed(owner) {
  if (owner.feed) owner.feed.close();
  owner.feed = null;
}

function play(entity, siblings) {
  if (entity.media.kind === 'video') {
    openVideo(entity, siblings);
    return;
  }
  if (siblings !== player.queue) {
    player.queue = siblings.filter(other => other.media && other.media.kind === 'audio');
    if (player.shuffled) shuffleFrom(entity);
  }
  playAudio(entity, false);
}

async function playAudio(entity, convert, from = resumeAt(entity)) {
  take(audio, null);
  closeFeed(player);
  player.entity = entity;
  player.converted = convert;
  byId('player').hidden = false;
  byId('player-title').textContent = entity.title;
  byId('player-sub').textContent = subtitle(entity);
  byId('player-art').replaceWith(Object.assign(art(entity), { id: 'player-art' }));
  drawPlayer();
  markPlaying();
  tellOfAudio();
  const isCurrent = () => player.entity === entity;
  if (!convert && audio.canPlayType(entity.media.contentType) !== '') {
    take(audio, entity);
    audio.src = entity.media.url;
    if (from) audio.addEventListener('loadedmetadata', () => { audio.currentTime = from; }, { once: true });
    audio.play().catch(() => {});
    return;
  }
  const onTrouble = text => { byId('player-sub').textContent = text || subtitle(entity); };
  const onFailure = (text, isOver) => {
    if (isOver && isCurrent()) playAudio(entity, convert, audio.currentTime); else onTrouble(text);
  };
  try {
    player.feed = (await load(audio, entity, { from, convert, isCurrent, onTrouble, onFailure })).feed;
  } catch (error) {
    if (isCurrent()) byId('player-sub').textContent = error.message;
  }
}

function tellOfAudio() {
  const step = by => (neighbour(by) ? () => play(neighbour(by), player.queue) : null);
  tellSystem(player.entity, audio, { previous: step(-1), next: step(1) });
}

// The order before is kept for the end of it.
function shuffleFrom(first) {
  player.ordered = player.queue;
  const rest = player.queue.filter(other => other.id !== first.id);
  for (let index = rest.length - 1; index > 0; --index) {
    const other = Math.floor(Math.random() * (index + 1));
    [rest[index], rest[other]] = [rest[other], rest[index]];
  }
  player.queue = [first, ...rest];
}

function toggleShuffle() {
  player.shuffled = !player.shuffled;
  byId('player-shuffle').setAttribute('aria-pressed', String(player.shuffled));
  if (player.shuffled) shuffleFrom(player.entity);
  else player.queue = player.ordered;
  drawPlayer();
  tellOfAudio();
}

function markPlaying() {
  for (const node of document.querySelectorAll('.row')) {
    if (player.entity && node.dataset.key === 'e' + player.entity.id) node.setAttribute('aria-current', 'true');
    else node.removeAttribute('aria-current');
  }
}

const neighbour = step => player.queue[player.queue.findIndex(other => other.id === player.entity.id) + step];
const lengthMs = () => (Number.isFinite(audio.duration) ? audio.duration * 1000 : (player.entity && player.entity.durationMs) || 0);

function drawPlayer() {
  const button = byId('player-play');
  button.replaceChildren(icon(audio.paused ? 'play' : 'pause', 18));
  button.setAttribute('aria-label', audio.paused ? 'Play' : 'Pause');
  byId('player-prev').disabled = !player.entity || (!neighbour(-1) && audio.currentTime < 3);
  byId('player-next').disabled = !player.entity || !neighbour(1);
  const total = lengthMs();
  byId('player-now').textContent = clock(audio.currentTime * 1000);
  byId('player-length').textContent = total ? clock(total) : '';
  if (!player.seeking) byId('player-bar').value = total ? String(audio.currentTime * 1e6 / total) : '0';
  byId('player-bar').setAttribute('aria-valuetext', `${clock(audio.currentTime * 1000)} of ${clock(total)}`);
}

function setUpPlayer() {
  byId('player-prev').append(icon('prev', 18));
  byId('player-next').append(icon('next', 18));
  byId('player-close').append(icon('close', 18));
  byId('player-shuffle').append(icon('shuffle', 18));
  for (const event of ['play', 'pause', 'timeupdate', 'durationchange']) audio.addEventListener(event, drawPlayer);
  audio.addEventListener('timeupdate', () => report(audio, false));
  audio.addEventListener('pause', () => report(audio, true));
  audio.addEventListener('ended', () => { const next = neighbour(1); if (next) play(next, player.queue); });
  audio.addEventListener('error', () => {
    if (!player.entity || !audio.getAttribute('src')) return;
    if (!player.feed && !player.converted) playAudio(player.entity, true);
    else byId('player-sub').textContent = 'This file cannot be played here.';
  });
  byId('player-shuffle').addEventListener('click', toggleShuffle);
  byId('player-play').addEventListener('click', () => { if (audio.paused) audio.play().catch(() => {}); else audio.pause(); });
  byId('player-next').addEventListener('click', () => play(neighbour(1), player.queue));
  byId('player-prev').addEventListener('click', () => { if (audio.currentTime > 3 || !neighbour(-1)) audio.currentTime = 0; else play(neighbour(-1), player.queue); });
  byId('player-close').addEventListener('click', () => { take(audio, null); audio.pause(); closeFeed(player); player.entity = null; audio.removeAttribute('src'); audio.load(); byId('player').hidden = true; markPlaying(); byId('view').focus({ preventScroll: true }); });
  byId('player-bar').addEventListener('input', () => { player.seeking = true; });
  byId('player-bar').addEventListener('change', () => { player.seeking = false; audio.currentTime = lengthMs() * Number(byId('player-bar').value) / 1e6; });
  byId('player-volume').addEventListener('input', () => { audio.volume = Number(byId('player-volume').value) / 100; });
}

const theatre = { entity: null, queue: [], feed: null, opening: 0, tracks: null };
const theatreNeighbour = step => theatre.queue[theatre.queue.findIndex(other => other.id === theatre.entity.id) + step];

function openVideo(entity, siblings) {
  audio.pause();
  const video = byId('video');
  take(video, null);
  video.pause();
  theatre.entity = entity;
  theatre.queue = siblings.filter(other => other.media && other.media.kind === 'video');
  byId('video-title').textContent = [entity.grandparentTitle, entity.title].filter(Boolean).join(' · ');
  byId('video-summary').textContent = entity.summary || '';
  byId('video-next').hidden = !theatreNeighbour(1);
  if (!byId('video-dialog').open) byId('video-dialog').showModal();
  const step = by => (theatreNeighbour(by) ? () => openVideo(theatreNeighbour(by), theatre.queue) : null);
  tellSystem(entity, video, { previous: step(-1), next: step(1) });
  showVideo({ from: resumeAt(entity) });
}

async function showVideo({ audioTrack = 0, from = 0, convert = false, copy = true }) {
  const video = byId('video');
  const { entity } = theatre;
  const opening = ++theatre.opening;
  const isCurrent = () => opening === theatre.opening;
  closeFeed(theatre);
  Object.assign(theatre, { converted: convert || audioTrack > 0, copy, audioTrack, from, isLoaded: false });
  const onTrouble = text => { if (isCurrent()) byId('video-error').textContent = text; };
  onTrouble('');
  video.replaceChildren();
  try {
    const onFailure = (text, isOver) => {
      if (!isCurrent()) return;
      if (isOver) showVideo({ audioTrack, from: whereItIs(), convert, copy }); else showOtherwise(text);
    };
    const { tracks, feed } = await load(video, entity, { audioTrack, from, convert, copy, onTrouble, onFailure, isCurrent });
    if (!isCurrent()) { if (feed) feed.close(); return; }
    Object.assign(theatre, { tracks, feed, isLoaded: true });
    drawChoices(tracks);
  } catch (error) {
    onTrouble(error.message);
  }
}

const whereItIs = () => (byId('video').readyState ? byId('video').currentTime : theatre.from);

// What cannot be played as it is comes as a stream, and what cannot be copied into one is encoded anew.
function showOtherwise(sentence) {
  const from = whereItIs();
  if (!theatre.feed && !theatre.converted) showVideo({ from, convert: true });
  else if (theatre.feed && theatre.feed.stream.copied.length) showVideo({ audioTrack: theatre.audioTrack, from, convert: true, copy: false });
  else byId('video-error').textContent = sentence;
}

const languageName = code => {
  try { return new Intl.DisplayNames([navigator.language], { type: 'language' }).of(code) || code; } catch { return code; }
};
const trackName = (track, index) => [track.language && track.language !== 'und' ? languageName(track.language) : '', track.title].filter(Boolean).join(' · ') || `Track ${index + 1}`;

function drawChoices(tracks) {
  const fill = (id, entries, current) => {
    byId(id).replaceChildren(...entries.map(([value, name]) => el('option', { value, selected: value === current }, name)));
    byId(id).parentElement.hidden = entries.length < 2;
  };
  fill('video-audio', tracks ? tracks.audio.map((track, index) => [String(index), trackName(track, index)]) : [], String(theatre.audioTrack));
  fill('video-text', [['', 'Off'], ...(tracks ? tracks.subtitles.map((track, index) => [track.track, trackName(track, index)]) : [])], '');
  fill('video-chapter', tracks && tracks.chapters.length ? [['', 'Choose…'], ...tracks.chapters.map((chapter, index) => [String(chapter.startMs), `${clock(chapter.startMs)} ${chapter.title || `Chapter ${index + 1}`}`])] : [], '');
}

function showSubtitles(track) {
  const video = byId('video');
  video.replaceChildren();
  if (!track) return;
  const node = el('track', { kind: 'subtitles', src: `/api/entities/${theatre.entity.id}/subtitles?${new URLSearchParams({ track })}`, default: true });
  node.addEventListener('error', () => { byId('video-error').textContent = 'These subtitles cannot be read.'; });
  video.append(node);
  node.track.mode = 'showing';
}

function setUpVideo() {
  const video = byId('video');
  byId('video-close').append(icon('close', 20));
  byId('video-close').addEventListener('click', () => byId('video-dialog').close());
  byId('video-dialog').addEventListener('close', () => {
    take(video, null);
    ++theatre.opening;
    closeFeed(theatre);
    theatre.entity = null;
    video.pause();
    video.replaceChildren();
    video.removeAttribute('src');
    video.load();
  });
  byId('video-next').addEventListener('click', () => { if (theatreNeighbour(1)) openVideo(theatreNeighbour(1), theatre.queue); });
  byId('video-audio').addEventListener('change', () => showVideo({ audioTrack: Number(byId('video-audio').value), from: video.currentTime, convert: theatre.converted, copy: theatre.copy }));
  byId('video-text').addEventListener('change', () => showSubtitles(byId('video-text').value));
  byId('video-chapter').addEventListener('change', () => { if (byId('video-chapter').value) video.currentTime = Number(byId('video-chapter').value) / 1000; });
  video.addEventListener('timeupdate', () => report(video, false));
  video.addEventListener('pause', () => report(video, true));
  video.addEventListener('ended', () => { if (theatre.entity && theatre.entity.type === 'tv.episode' && theatreNeighbour(1)) openVideo(theatreNeighbour(1), theatre.queue); });
  video.addEventListener('error', () => {
    // What was shown before may fail while something else is being opened.
    if (theatre.entity && theatre.isLoaded) showOtherwise('This file cannot be played here: its format is not supported.');
  });
}

// The keys of players everywhere. Fields and buttons keep their own.
function onKey(event) {
  const inTheatre = byId('video-dialog').open;
  const media = inTheatre ? byId('video') : audio;
  if (event.ctrlKey || event.altKey || event.metaKey || event.target.closest('input, select, textarea')) return;
  if (event.key.startsWith('Arrow') && event.target.closest('.tiles')) return; // they lead from tile to tile
  if (!inTheatre && (!player.entity || document.querySelector('dialog[open]'))) return;
  const seek = by => { media.currentTime = Math.max(0, media.currentTime + by); };
  const louder = by => { media.volume = Math.max(0, Math.min(1, media.volume + by)); };
  const onButton = event.target.closest('button, a');
  const keys = {
    ' ': onButton ? null : () => (media.paused ? media.play().catch(() => {}) : media.pause()),
    k: () => (media.paused ? media.play().catch(() => {}) : media.pause()),
    ArrowLeft: () => seek(-10), ArrowRight: () => seek(10), j: () => seek(-10), l: () => seek(10),
    ArrowUp: inTheatre ? () => louder(0.1) : null, ArrowDown: inTheatre ? () => louder(-0.1) : null,
    m: () => { media.muted = !media.muted; },
    f: inTheatre ? () => (document.fullscreenElement ? document.exitFullscreen() : media.requestFullscreen()) : null,
    n: () => { if (inTheatre) byId('video-next').click(); else if (neighbour(1)) play(neighbour(1), player.queue); },
    p: inTheatre ? null : () => { if (neighbour(-1)) play(neighbour(-1), player.queue); },
    c: inTheatre ? () => { const list = byId('video-text'); list.selectedIndex = (list.selectedIndex + 1) % list.options.length; showSubtitles(list.value); } : null,
    s: inTheatre ? null : toggleShuffle,
  };
  const action = keys[event.key];
  // The video's own controls know some of these keys when it has the focus.
  if (!action || event.defaultPrevented) return;
  event.preventDefault();
  action();
}

// ---------------------------------------------------------------- dialogs

function openAdd(modeId) {
  const dialog = byId('add-dialog');
  byId('add-form').reset();
  byId('add-error').textContent = '';
  showFolders(false);
  byId('add-modes').replaceChildren(...state.modes.map(mode => el('label', {}, el('input', { type: 'radio', name: 'mode', value: mode.id, checked: mode.id === (modeId || 'music') }), icon(mode.id, 18), mode.name)));
  dialog.showModal();
  byId('add-path').focus();
}

function showFolders(show) {
  byId('add-folders').hidden = !show;
  byId('add-browse').setAttribute('aria-expanded', String(show));
}

async function browse(path, keepOpen) {
  const list = byId('add-folders');
  if (!keepOpen && !list.hidden) { showFolders(false); return; }
  byId('add-error').textContent = '';
  try {
    const { body } = await api('/api/folders?' + new URLSearchParams(path ? { path } : {}));
    const go = to => browse(to, true);
    const entry = (iconName, text, to) => el('button', { type: 'button', onclick: () => go(to) }, icon(iconName, 18), text);
    byId('add-path').value = body.path;
    list.replaceChildren(...[body.parent ? entry('up', 'Up one folder', body.parent) : null,
      ...body.folders.map(name => entry('folder', name, (body.path === '/' ? '' : body.path) + '/' + name)),
      body.folders.length ? null : el('p', { class: 'muted' }, 'No folders inside.')].filter(Boolean));
    showFolders(true);
    list.scrollTop = 0;
    if (list.querySelector('button')) list.querySelector('button').focus();
  } catch (error) {
    byId('add-error').textContent = error.message;
  }
}

function setUpAdd() {
  byId('add').addEventListener('click', () => openAdd());
  byId('add-cancel').addEventListener('click', () => byId('add-dialog').close());
  byId('add-browse').addEventListener('click', () => browse(byId('add-path').value.trim(), false));
  byId('add-form').addEventListener('submit', async event => {
    event.preventDefault();
    const chosen = new FormData(byId('add-form')).get('mode');
    const path = byId('add-path').value.trim();
    byId('add-error').textContent = path ? '' : 'Choose a folder first.';
    if (!path) { byId('add-path').focus(); return; }
    byId('add-submit').disabled = true;
    try {
      await post('/api/libraries', { modeId: chosen, path, name: byId('add-name').value.trim() });
      byId('add-dialog').close();
      await poll();
      await loadLibraries();
      if (location.hash === `#/m/${chosen}`) draw(); else location.hash = `#/m/${chosen}`;
    } catch (error) {
      byId('add-error').textContent = error.message;
      byId('add-path').focus();
    } finally {
      byId('add-submit').disabled = false;
    }
  });
}

let removing = null;
function openRemove(library) {
  removing = library;
  byId('remove-title').textContent = `Remove “${library.name}”?`;
  byId('remove-text').textContent = 'It disappears from Zorvane. The folder and the files in it stay as they are.';
  byId('remove-error').textContent = '';
  byId('remove-dialog').showModal();
  byId('remove-cancel').focus();
}

function setUpRemove() {
  byId('remove-cancel').addEventListener('click', () => byId('remove-dialog').close());
  byId('remove-confirm').addEventListener('click', async () => {
    try {
      await api(`/api/libraries/${removing.id}`, { method: 'DELETE' });
      byId('remove-dialog').close();
      await loadLibraries();
      draw();
    } catch (error) {
      byId('remove-error').textContent = error.message;
    }
  });
}

async function rescan(library) {
  try {
    await post(`/api/libraries/${library.id}/scan`, {});
    await poll();
  } catch (error) {
    showNotice(error.message, true);
  }
}

// ---------------------------------------------------------------- staying current

function showNotice(text, bad = false, busy = false, progress = null) {
  const notice = byId('notice');
  notice.hidden = !text;
  notice.classList.toggle('bad', bad);
  const bar = notice.querySelector('progress');
  if (bar && progress && !bad) {
    setBar(bar, progress);
    notice.querySelector('.doing').textContent = text;
    return;
  }
  const key = text + bad + busy;
  if (notice.dataset.shown !== key) {
    notice.dataset.shown = key;
    const shown = progress ? setBar(el('progress', { 'aria-label': 'Scan' }), progress) : busy ? el('span', { class: 'spinner' }) : null;
    notice.replaceChildren(...(text ? [shown, el('span', { class: 'doing' }, text)].filter(Boolean) : []));
  }
}

// Without a total it shows that something is going on, and no more.
function setBar(bar, { done, total }) {
  if (total > 0) {
    bar.max = total;
    bar.value = Math.min(done, total);
  } else {
    bar.removeAttribute('value');
  }
  return bar;
}

function scanText(scan) {
  const library = state.libraries.find(one => one.id === scan.libraryId);
  const name = library ? `“${library.name}”` : 'your folders';
  const share = scan.total ? `: ${countText.format(scan.done)} of ${countText.format(scan.total)}` : '…';
  if (scan.phase === 'tags') return `Reading details of ${name}${share}`;
  if (scan.phase === 'artwork') return `Drawing covers for ${name}${share}`;
  return `Scanning ${name}: ${countText.format(scan.filesSeen)} files so far…`;
}

async function poll(early = {}) {
  try {
    const scan = (await (early.scan || api('/api/scan'))).body;
    const wasScanning = state.scan && state.scan.scanning;
    const changed = !state.online || scan.revision !== state.revision || wasScanning !== scan.scanning;
    state.scan = scan;
    state.revision = scan.revision;
    state.online = true;
    if (changed) await loadLibraries(early.libraries);
    showNotice(scan.scanning ? scanText(scan) : '', false, true, scan.scanning ? scan : null);
    if (changed) await draw();
  } catch {
    state.online = false;
    showNotice('The server does not answer. Trying again…', true, true);
  }
}

async function drawAccount() {
  try {
    const { body } = await api('/api/account/link/status');
    byId('account').classList.toggle('linked', body.linked);
    byId('account-text').textContent = body.linked ? 'Account linked' : 'Account not linked';
  } catch {
    byId('account-text').textContent = 'Account';
  }
}

async function keepCurrent(early) {
  if (!document.hidden) await poll(early);
  setTimeout(() => keepCurrent(), state.scan && state.scan.scanning ? 1000 : 5000);
}

// Asks until the answer is a list with something in it. However it fails, there is a pause.
async function untilListed(ask, pause) {
  for (;;) {
    const answer = await ask().catch(() => null);
    if (Array.isArray(answer) && answer.length) return answer;
    await pause();
  }
}

async function start() {
  setUpPlayer();
  setUpVideo();
  setUpAdd();
  setUpRemove();
  setUpSearch();
  document.addEventListener('keydown', onKey, true);
  window.addEventListener('hashchange', () => draw({ moved: true }));
  window.addEventListener('resize', showCurrentLink);
  // Before the link that was clicked leads away.
  byId('page').addEventListener('click', event => { if (event.target.closest('a[href^="#"]')) rememberPlace(); });
  document.addEventListener('visibilitychange', () => { if (!document.hidden) { poll(); drawAccount(); } });
  // All at once: what the first page shows needs the three of them.
  const early = { scan: api('/api/scan'), libraries: api('/api/libraries') };
  for (const answer of Object.values(early)) answer.catch(() => {});
  state.modes = await untilListed(async () => (await api('/api/modes')).body, () => {
    showNotice('The server does not answer. Trying again…', true, true);
    return new Promise(resolve => setTimeout(resolve, 1500));
  });
  await keepCurrent(early);
  drawAccount();
}

start();
