import { compareLink, reports, sealedTag, statusOf } from './backups.js';
import { backup as loadBackup, neighbours } from './data.js';
import { announce, block, fill, h } from './dom.js';
import { checkbox, chips, code, filterField, nameOf, rowLink, table } from './parts.js';
import { remember, to } from './routes.js';
import { counted, dateText, number } from './text.js';

const statusWords = {
  partial: 'not all could be read',
  notPermitted: 'not permitted',
  notAvailable: 'not available on this server',
  failed: 'failed',
  disabled: 'switched off',
};

const hasChanges = ({ counts }) => ['new', 'changed', 'removed', 'failed'].some((kind) => counts?.[kind]);
export const isUnread = ({ status }) => status !== 'complete';
const isDisabled = ({ status }) => status === 'disabled';
const wasRead = ({ status }) => status === 'complete' || status === 'partial';

/// Why a section is not whole; nothing when it is.
export function reason(section) {
  if (!isUnread(section)) return null;
  const words = statusWords[section.status] ?? section.status;
  return h('p.trouble.small', {}, `⚠ ${words}${section.message ? `: ${section.message}` : ''}`);
}

function row(route, section, query) {
  const { folder, backup } = route;
  const name = nameOf(section.title, query);
  const title = wasRead(section) ? rowLink(to.section(folder, backup, section.id), name) : name;
  return h('tr', {},
    h('th', { scope: 'row' }, title, reason(section)),
    h('td.number', {}, wasRead(section) ? number(section.counts.total) : '–'),
    h('td', {}, wasRead(section) ? chips(section.counts) : null));
}

function sectionTable(route, sections, query) {
  const rows = sections.map((section) => row(route, section, query));
  return table('sections', ['Section', ['Objects', 'number'], 'Changes'], h('tbody', {}, rows));
}

function groups(route, sections, query) {
  const byGroup = new Map();
  for (const section of sections) {
    if (!byGroup.has(section.group)) byGroup.set(section.group, []);
    byGroup.get(section.group).push(section);
  }
  return [...byGroup].map(([group, members]) => block(2, group, sectionTable(route, members, query)));
}

const disabledPart = (sections) => sections.length > 0 &&
  h('details.disabled', {}, h('summary', {}, `Switched off: ${counted(sections.length, 'section')}`),
    h('ul', {}, sections.map(({ title }) => h('li', {}, nameOf(title)))));

/// The list of sections with what narrows it.
function sectionList(route, sections) {
  const box = h('div', {});
  const state = { filter: route.query.get('filter') ?? '', changed: route.query.get('changed') === '1' };
  const matches = (section) => section.title.toLowerCase().includes(state.filter.toLowerCase()) &&
    (!state.changed || hasChanges(section) || isUnread(section));
  const update = (change = {}) => {
    Object.assign(state, change);
    const found = sections.filter(matches);
    const active = found.filter((section) => !isDisabled(section));
    fill(box, active.length ? groups(route, active, state.filter) : h('p.faint', {}, 'No section is like that.'),
      !state.changed && disabledPart(found.filter(isDisabled)));
    if (Object.keys(change).length) {
      remember({ filter: state.filter, changed: state.changed ? '1' : '' });
      announce(counted(active.length, 'section'));
    }
  };
  update();
  const controls = h('div.controls', {}, filterField(state.filter, (filter) => update({ filter }), 'Filter sections'),
    checkbox('Only what changed', state.changed, (changed) => update({ changed })));
  return [controls, box];
}

export async function backupPage(route, signal) {
  const { folder, list } = route;
  const { backup, sections } = await loadBackup(folder, route.backup, signal);
  const { older } = neighbours(list, backup.backup);
  const origin = backup.parent ? ['compared with ', parentLink(folder, list, backup.parent)] : 'the first: everything is new';
  const head = [
    h('p', {}, chips(backup.counts), ' ', sealedTag(backup)),
    h('p', {}, counted(backup.counts.total, 'object'), ' · ', statusOf(backup), ' · ', code(backup.backup), ' · ', origin),
    h('div.actions', {}, compareLink(folder, older, backup), reports(folder, backup)),
  ];
  return { title: `Backup of ${dateText(backup.finishedAt)}`, content: [head, sectionList(route, sections)] };
}

/// The one before, which may be gone.
export function parentLink(folder, list, id) {
  const parent = list.find(({ backup }) => backup === id);
  return parent ? h('a', { href: to.backup(folder, id) }, dateText(parent.finishedAt)) : `${id}, which is gone`;
}
