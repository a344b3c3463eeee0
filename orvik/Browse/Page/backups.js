import { ofSameMinute } from './data.js';
import { block, h } from './dom.js';
import { openReport } from './files.js';
import { chips, code, rowLink, time, worker } from './parts.js';
import { to } from './routes.js';
import { counted, dateText, monthOf } from './text.js';
import { timeline } from './timeline.js';

const reportNames = { backup: 'Backup report', security: 'Security report' };

const isWhole = ({ status }) => status === 'complete';

function report(folder, { backup, finishedAt }, name) {
  const label = reportNames[name] ?? name;
  return worker(label, () => openReport(folder, backup, name),
    { class: 'quiet', title: 'PDF', 'aria-label': `${label} of ${dateText(finishedAt)}, PDF` });
}

/// The documents of a backup, as buttons.
export const reports = (folder, backup) => (backup.reports ?? []).map((name) => report(folder, backup, name));

export const statusOf = (backup) =>
  isWhole(backup) ? h('span.faint', {}, 'complete') : h('span.warning', {}, '⚠ complete with warnings');

export const sealedTag = ({ sealed }) => sealed && h('span.tag', { title: 'Its content is encrypted' }, 'sealed');

export function compareLink(folder, older, { backup, finishedAt }) {
  const words = `Compare ${dateText(finishedAt)} with the one before`;
  return older && h('a', { href: to.compare(folder, older.backup, backup), 'aria-label': words }, 'Compare with the one before');
}

function row(folder, backup, older, isDoubtful) {
  const link = rowLink(to.backup(folder, backup.backup), time(backup.finishedAt));
  return h('li.card.backup-row', {},
    h('div', {}, link, ' ', sealedTag(backup), isDoubtful && h('div.small', {}, code(backup.backup))),
    h('div', {}, chips(backup.counts)),
    h('div', {}, counted(backup.counts.total, 'object'), ' · ', statusOf(backup)),
    h('div.actions', {}, compareLink(folder, older, backup), reports(folder, backup)));
}

function months(folder, list) {
  const byMonth = new Map();
  const doubtful = ofSameMinute(list);
  list.forEach((backup, place) => {
    const month = monthOf(backup.finishedAt);
    if (!byMonth.has(month)) byMonth.set(month, { first: backup, rows: [] });
    byMonth.get(month).rows.push(row(folder, backup, list[place + 1], doubtful.has(backup.backup)));
  });
  return [...byMonth.values()].map(({ first, rows }) =>
    block(2, dateText(first.finishedAt, 'month'), h('ol.plain', {}, rows)));
}

export async function backupsPage({ folder, list, folderInfo }) {
  const { name, server, path, problem } = folderInfo;
  const head = h('p.faint', {}, h('bdi', {}, server), ' · ', code(path), ' · ', counted(list.length, 'backup'));
  const content = list.length
    ? [timeline(folder, list), months(folder, list)]
    : h('p', {}, 'There is no finished backup in this folder.');
  return { title: name, content: [head, problem && h('p.trouble', {}, problem), content] };
}
