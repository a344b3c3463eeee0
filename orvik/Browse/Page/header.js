import { byID, fill, h } from './dom.js';
import { options } from './parts.js';
import { inBackup, to } from './routes.js';
import { visibleLine } from './text.js';

let route = {};
let list = [];

/// The backup that a page is about.
const backupOf = () => route.backup ?? (route.page === 'compare' ? route.to : undefined);
/// The one that is searched: the newest when the page is about none.
const searched = () => list.length > 0 && (backupOf() ?? list[0].backup);

function choose({ target }) {
  if (target.value) location.hash = inBackup(route, target.value);
}

function search(event) {
  event.preventDefault();
  const q = byID('search-text').value.trim();
  if (!q || !searched()) return;
  const contents = route.page === 'search' ? route.query.get('contents') : '';
  location.hash = to.search(route.folder, searched(), { q, contents });
}

function showChooser() {
  const select = byID('backup-choice');
  const isOfNone = !list.some(({ backup }) => backup === backupOf());
  fill(select, isOfNone && h('option', { value: '' }, 'Choose one…'), options(list));
  select.value = isOfNone ? '' : backupOf();
  byID('chooser').hidden = !list.length || route.page === 'compare';
}

function showTrail({ folder, title, trail = [], known = [] }) {
  const steps = [];
  if (known.length > 1) steps.push({ label: 'Folders', href: to.folders() });
  if (folder) steps.push({ label: 'Backups', href: to.backups(folder.folder) });
  steps.push(...trail);
  const isTop = route.page === 'folders' || route.page === 'backups';
  const here = isTop ? steps.pop()?.label : title;
  const links = steps.map(({ label, href }) => h('li', {}, h('a', { href }, h('bdi', {}, visibleLine(label)))));
  byID('trail').hidden = !here || !folder;
  const last = here && h('li', {}, h('bdi', { 'aria-current': 'page' }, visibleLine(here)));
  fill(byID('trail'), h('ol', {}, links, last));
}

/// Puts what belongs to a page into the header.
export function showHeader(page, newRoute) {
  route = newRoute;
  list = page.list ?? [];
  fill(byID('instance'), h('bdi', {}, visibleLine(page.folder?.name ?? 'Orvik')));
  byID('brand').href = page.folder ? to.backups(page.folder.folder) : to.folders();
  showChooser();
  showTrail(page);
  byID('search').hidden = !searched() || route.page === 'search';
  byID('search-text').value = '';
}

byID('search').addEventListener('submit', search);
byID('chooser').addEventListener('submit', (event) => event.preventDefault());
byID('backup-choice').addEventListener('change', choose);
