import { endedText, watchServer } from './api.js';
import { backupPage } from './backup.js';
import { backupsPage } from './backups.js';
import { comparePage } from './compare.js';
import { backups, folders, forgetAll } from './data.js';
import { byID, fill, h } from './dom.js';
import { foldersPage } from './folders.js';
import { showHeader } from './header.js';
import { listenForKeys } from './keys.js';
import { objectPage } from './object.js';
import { trouble } from './parts.js';
import { entryOf, enter, newEntry, restore } from './places.js';
import { parse, rememberNow, to } from './routes.js';
import { searchPage } from './search.js';
import { sectionPage, trailTo } from './section.js';
import { visibleLine } from './text.js';
import { takeFromAddress } from './token.js';

/// Each gives, of a route and a signal that ends it: { title, trail, content }.
const pages = {
  folders: foldersPage,
  backups: backupsPage,
  backup: backupPage,
  section: sectionPage,
  object: objectPage,
  search: searchPage,
  compare: comparePage,
  unknown: async () => {
    const content = h('p', {}, h('a', { href: to.folders() }, 'To the start'));
    return { title: 'There is no such page', content };
  },
};

let shown = new AbortController();

async function show(isFirst = false) {
  shown.abort();
  shown = new AbortController();
  const { signal } = shown;
  const waiting = waitAWhile(signal);
  const route = parse(location.hash);
  let context = {};
  try {
    context = await contextOf(route, signal);
    const page = await pageOf(route, context, signal);
    if (signal.aborted) return;
    if (page.moved) moveTo(page.moved, isFirst);
    else present({ ...page, ...context }, route, isFirst);
  } catch (error) {
    if (!signal.aborted) failed(error, route, context);
  } finally {
    waiting.end();
  }
}

/// What the header shows beside every page: the folder and its backups.
async function contextOf(route, signal) {
  const known = await folders(signal);
  const folder = known.find((each) => String(each.folder) === route.folder);
  const list = folder ? await backups(route.folder, signal, route.page === 'backups') : [];
  return { known, folder, list };
}

/// The page of a route, or the address that stands in its place: { moved }.
async function pageOf(route, { known, folder, list }, signal) {
  if (route.page === 'folders' && known.length === 1) return { moved: to.backups(known[0].folder) };
  if (route.page !== 'folders' && !folder) return pages.unknown();
  return pages[route.page]({ ...route, list, folderInfo: folder, folders: known }, signal);
}

function moveTo(address, isFirst) {
  history.replaceState(history.state, '', address);
  show(isFirst);
}

/// Tells of a page that takes a while, and of no other.
function waitAWhile(signal) {
  const say = (text) => (byID('waiting').textContent = text);
  const timer = setTimeout(say, 150, 'Loading…');
  byID('main').setAttribute('aria-busy', 'true');
  return {
    end() {
      clearTimeout(timer);
      if (signal.aborted) return;
      say('');
      byID('main').removeAttribute('aria-busy');
    },
  };
}

function present(page, route, isFirst) {
  const { title, content, folder } = page;
  const names = [title, folder?.name, 'Orvik'].filter((name, place, all) => name && all.indexOf(name) === place);
  document.title = names.map(visibleLine).join(' – ');
  const keepsFocus = document.activeElement?.id === 'backup-choice';
  showHeader(page, route);
  fill(byID('main'), h('h1', { tabindex: '-1' }, h('bdi', {}, visibleLine(title))), content);
  restore({ isFirst, keepsFocus });
}

function failed(error, route, context) {
  // The banner says enough beside a page that is still worth reading.
  if (error.isRefused || (error.isEnded && byID('main').querySelector('h1'))) return;
  const { list } = context;
  const section = route.id !== undefined && { id: route.section, title: route.section };
  const trail = route.backup && list ? trailTo({ ...route, list }, section) : [];
  present({ title: 'This can’t be shown', trail, content: trouble(error, () => show()), ...context }, route, false);
}

function refused() {
  shown.abort();
  waitAWhile(new AbortController().signal).end();
  const content = [
    h('p', {}, 'It ends in a key, which opens your backups to this browser alone.'),
    h('p.faint', {}, 'A tab that is closed forgets the key, and each start of the program makes a new one.'),
  ];
  present({ title: 'Open the address that orvik browse printed', content }, { page: 'refused' }, false);
}

function showBanner(isEnded) {
  const banner = byID('banner');
  if (banner.hidden === !isEnded) return;
  banner.hidden = !isEnded;
  const retry = h('button', { type: 'button', onclick: () => show() }, 'Try again');
  fill(banner, isEnded && [endedText, ' ', retry]);
}

function start() {
  history.scrollRestoration = 'manual';
  watchServer((state) => {
    if (state === 'refused') refused();
    else showBanner(state === 'ended');
  });
  addEventListener('hashchange', () => {
    if (takeFromAddress()) forgetAll();
    enter();
    show();
  });
  for (const event of ['click', 'pagehide']) addEventListener(event, rememberNow, { capture: true });
  byID('skip').addEventListener('click', () => byID('main').focus());
  listenForKeys(() => shown.signal);
  takeFromAddress();
  if (!entryOf()) newEntry();
  show(true);
}

start();
