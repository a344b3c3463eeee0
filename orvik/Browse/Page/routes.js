// All that a page shows is in its address: "#/FOLDER/backups/BACKUP/SECTION/OBJECT?filter=x".

const encoded = (part) => encodeURIComponent((part.toWellFormed?.() ?? part));

function address(parts, query = {}) {
  const text = new URLSearchParams(Object.entries(query).filter(([, value]) => value)).toString();
  return `#/${parts.map((part) => encoded(String(part))).join('/')}${text ? `?${text}` : ''}`;
}

/// The addresses of pages.
export const to = {
  folders: () => address([]),
  backups: (folder) => address([folder]),
  backup: (folder, backup, query) => address([folder, 'backups', backup], query),
  section: (folder, backup, section, query) => address([folder, 'backups', backup, section], query),
  object: (folder, backup, section, id) => address([folder, 'backups', backup, section, id]),
  search: (folder, backup, query) => address([folder, 'search', backup], query),
  compare: (folder, from, to, query) => address([folder, 'compare', from, to], query),
};

function pageOf(parts) {
  if (parts.length < 2) return parts.length ? 'backups' : 'folders';
  const byLength = { backups: { 3: 'backup', 4: 'section', 5: 'object' }, search: { 3: 'search' }, compare: { 4: 'compare' } };
  return new Map(Object.entries(byLength)).get(parts[1])?.[parts.length] ?? 'unknown';
}

function decoded(path) {
  try {
    return path.replace(/^#?\/?/, '').split('/').map(decodeURIComponent);
  } catch {
    return ['', '', ''];
  }
}

/// What an address asks for: page, folder, backup, section, id (or from and to), query.
export function parse(hash) {
  const mark = hash.indexOf('?');
  const path = mark < 0 ? hash : hash.slice(0, mark);
  const query = new URLSearchParams(mark < 0 ? '' : hash.slice(mark + 1));
  const parts = decoded(path);
  if (parts.length === 1 && parts[0] === '') parts.pop();
  const page = pageOf(parts);
  const [folder, , first, second, third] = parts;
  if (page === 'compare') return { page, folder, from: first, to: second, query };
  return { page, folder, backup: first, section: second, id: third, query };
}

/// The same page of another backup.
export function inBackup(route, backup) {
  const { page, folder, section, id, query } = route;
  const kept = Object.fromEntries(query);
  if (page === 'object') return to.object(folder, backup, section, id);
  if (page === 'section') return to.section(folder, backup, section, kept);
  if (page === 'search') return to.search(folder, backup, kept);
  return to.backup(folder, backup, page === 'backup' ? kept : {});
}

/// The page above; null at the top.
export function above(route) {
  const { page, folder, backup, section } = route;
  if (page === 'object') return to.section(folder, backup, section);
  if (page === 'section' || page === 'search') return to.backup(folder, backup);
  if (page === 'backup' || page === 'compare') return to.backups(folder);
  return page === 'folders' ? null : to.folders();
}

function replaceQuery(changes) {
  const [path, text = ''] = location.hash.split(/\?(.*)/s);
  const query = new URLSearchParams(text);
  for (const [key, value] of Object.entries(changes)) {
    if (value) query.set(key, value);
    else query.delete(key);
  }
  const rest = query.toString();
  history.replaceState(history.state, '', `${path}${rest ? `?${rest}` : ''}`);
}

/// Browsers stop pages that change their address at each key which is held down.
const pause = 250;
let waiting = null;

/// Keeps in the address what a control of the page was set to, without a new step back.
export function remember(changes) {
  const [path] = location.hash.split('?');
  const isSame = waiting?.path === path;
  if (waiting) clearTimeout(waiting.timer);
  const all = isSame ? { ...waiting.changes, ...changes } : changes;
  waiting = { path, changes: all, timer: setTimeout(rememberNow, pause) };
}

/// Does so at once, as before a page is left.
export function rememberNow() {
  if (!waiting) return;
  clearTimeout(waiting.timer);
  const { path, changes } = waiting;
  waiting = null;
  if (location.hash.split('?')[0] === path) replaceQuery(changes);
}
