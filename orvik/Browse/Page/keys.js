import { backups, neighbours } from './data.js';
import { byID, fill, h } from './dom.js';
import { above, inBackup, parse, rememberNow, to } from './routes.js';

const table = [
  ['/', 'Search'],
  ['j', 'Next row, also ↓ on a row'],
  ['k', 'Row before, also ↑ on a row'],
  ['Enter', 'Open the row'],
  ['u', 'A level up'],
  ['c', 'Compare the backup with the one before'],
  ['[', 'Older backup'],
  [']', 'Newer backup'],
  ['?', 'These keys'],
];

let isOn = true;

function help() {
  const dialog = byID('keys');
  const box = h('input', { type: 'checkbox', checked: isOn });
  box.addEventListener('change', () => (isOn = box.checked));
  fill(dialog, h('h2', { id: 'keys-title' }, 'Keys'),
    h('dl.keys', {}, table.map(([key, words]) => h('div', {}, h('dt', {}, h('kbd', {}, key)), h('dd', {}, words)))),
    h('label.check', {}, box, ' Keys of one letter are on'),
    h('p', {}, h('button', { type: 'button', onclick: () => dialog.close() }, 'Close')));
  dialog.showModal();
}

function focusSearch() {
  const field = byID('query') ?? byID('search-text');
  if (field.closest('[hidden]')) return;
  field.focus();
  field.select();
}

function step(by) {
  const rows = [...byID('main').querySelectorAll('[data-row]')].filter((row) => row.checkVisibility?.() ?? true);
  if (!rows.length) return;
  const place = rows.indexOf(document.activeElement);
  const next = place < 0 ? (by > 0 ? 0 : rows.length - 1) : Math.max(0, Math.min(rows.length - 1, place + by));
  rows[next].focus();
  rows[next].scrollIntoView({ block: 'nearest' });
}

const go = (address) => {
  if (!address) return;
  rememberNow();
  location.hash = address;
};

async function toNeighbour(side, signal) {
  const route = parse(location.hash);
  if (!route.folder || !route.backup) return;
  const found = neighbours(await backups(route.folder, signal), route.backup)[side];
  if (found) go(inBackup(route, found.backup));
}

async function compare(signal) {
  const route = parse(location.hash);
  if (!route.folder || route.page === 'compare') return;
  const list = await backups(route.folder, signal);
  const id = route.backup ?? list[0]?.backup;
  const { older } = neighbours(list, id);
  if (older) go(to.compare(route.folder, older.backup, id));
}

const actions = {
  '/': focusSearch,
  '?': help,
  j: () => step(1),
  k: () => step(-1),
  u: () => go(above(parse(location.hash))),
  c: compare,
  '[': (signal) => toNeighbour('older', signal),
  ']': (signal) => toNeighbour('newer', signal),
};

const isTyping = (target) => Boolean(target.closest?.('input:not([type=checkbox]), textarea, select, dialog'));

/// Whether a key is meant for the browser. Brackets need AltGr or Option on many keyboards, which then is no command.
function isCommand(event) {
  if (event.getModifierState('AltGraph')) return false;
  return event.ctrlKey || event.metaKey || (event.altKey && !'[]/?'.includes(event.key));
}

function actionOf(event) {
  const isOnRow = event.target.hasAttribute?.('data-row');
  if (isOnRow && event.key === 'ArrowDown') return actions.j;
  if (isOnRow && event.key === 'ArrowUp') return actions.k;
  if (!isOn) return null;
  return Object.hasOwn(actions, event.key) ? actions[event.key] : null;
}

/// Obeys keys from now on; `signalOf` gives the signal that ends with the page that is shown.
export function listenForKeys(signalOf) {
  byID('help').addEventListener('click', help);
  document.addEventListener('keydown', (event) => {
    if (event.defaultPrevented || isCommand(event) || isTyping(event.target)) return;
    const action = actionOf(event);
    if (!action) return;
    event.preventDefault();
    // A list that can't be read shows as the page does that needs it.
    Promise.resolve(action(signalOf())).catch(() => {});
  });
}
