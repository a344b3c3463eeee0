import { changes as loadChanges, history as loadHistory } from './data.js';
import { block, h } from './dom.js';
import { changeList } from './lines.js';
import { chip, folded, nameOf, time } from './parts.js';
import { remember, to } from './routes.js';

function version({ folder, section, id, backup }, one, signal) {
  const isHere = one.backup === backup;
  const here = isHere && h('span.tag', {}, 'this page');
  const link = h('a', { href: to.object(folder, one.backup, section, id), 'aria-current': isHere && 'true' }, time(one.finishedAt));
  const head = h('div', {}, link, ' ', chip(one.change), ' ', one.name && nameOf(one.name), ' ', here);
  if (one.change !== 'changed' || !one.before) return h('li', {}, head);
  return h('li', {}, head, folded('What changed', signal,
    () => loadChanges(folder, one.before, one.backup, section, id, signal), changeList));
}

const versions = (route, list, signal) =>
  h('ol.versions', {}, [...list].reverse().map((one) => version(route, one, signal)));

/// Every backup in which the object came, changed or went, newest first; loaded when it is opened.
export function historyPart(route, signal) {
  const { folder, section, id, query } = route;
  const isOpen = query.get('history') === '1';
  const details = folded('All versions', signal, () => loadHistory(folder, section, id, signal),
    (answer) => versions(route, answer.versions, signal), { open: isOpen });
  details.addEventListener('toggle', () => {
    if (!signal.aborted) remember({ history: details.open ? '1' : '' });
  });
  return block(2, 'History', details);
}
