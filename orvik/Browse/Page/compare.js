import { changes as loadChanges, differences as loadDifferences } from './data.js';
import { announce, block, fill, h, newID } from './dom.js';
import { changeList } from './lines.js';
import { chip, code, folded, kindOf, nameOf, region } from './parts.js';
import { remember, to } from './routes.js';
import { chosenKinds, kindToggles, tally } from './section.js';
import { counted, dateText } from './text.js';

function choice(label, list, value, change) {
  const id = newID();
  const select = h('select', { id }, list.map(({ backup, finishedAt }) => h('option', { value: backup, title: backup }, dateText(finishedAt))));
  select.value = value;
  select.addEventListener('change', () => change(select.value));
  return h('span.field', {}, h('label', { for: id }, label), ' ', select);
}

function form({ folder, list, from, to: until }) {
  const go = (one, other) => (location.hash = to.compare(folder, one, other));
  return h('div.controls', {},
    choice('From', list, from, (value) => go(value, until)),
    choice('To', list, until, (value) => go(from, value)),
    h('button', { type: 'button', onclick: () => go(until, from) }, '⇄ Swap'));
}

/// Where the object is: a removed one only in the backup it is compared from.
const linkTo = ({ folder, from, to: until }, { section, id, change }) => to.object(folder, change === 'removed' ? from : until, section, id);

function row(route, difference, signal) {
  const { folder, from, to: until } = route;
  const { section, id, name, change, message } = difference;
  const head = h('div.version-head', {}, chip(change), ' ', h('a.title', { href: linkTo(route, difference), 'data-row': true }, nameOf(name)), ' ', code(id));
  return h('li', {}, head, message && h('p.trouble.small', {}, message),
    change === 'changed' && folded(`What ${kindOf(change).word}`, signal, () => loadChanges(folder, from, until, section, id, signal), changeList));
}

function sectionPart(route, { title, problem, differences }, chosen, signal) {
  const shown = differences.filter(({ change }) => !chosen.size || chosen.has(change));
  if (!shown.length && !problem) return null;
  return block(2, title, problem && h('p.trouble', {}, `⚠ ${problem}`), shown.length > 0 && h('ol.differences', {}, shown.map((each) => row(route, each, signal))));
}

function results(route, { sections }, signal) {
  const all = sections.flatMap(({ differences }) => differences);
  const chosen = chosenKinds(route.query);
  const box = h('div', {});
  const update = () => {
    const parts = sections.map((section) => sectionPart(route, section, chosen, signal)).filter(Boolean);
    fill(box, parts.length ? parts : h('p', {}, 'Nothing differs.'));
  };
  const toggles = kindToggles(tally(all), chosen, () => {
    update();
    remember({ kinds: [...chosen].join(',') });
  });
  update();
  announce(counted(all.length, 'difference'));
  return [h('div.controls', {}, toggles, h('span.faint', {}, counted(all.length, 'difference'))), box];
}

export async function comparePage(route, signal) {
  const { folder, from, to: until, list } = route;
  const nameOfBackup = (id) => dateText(list.find(({ backup }) => backup === id)?.finishedAt ?? id);
  const found = region(signal, () => loadDifferences(folder, from, until, signal), (answer) => results(route, answer, signal), 'Comparing…');
  return { title: 'Compare', content: [h('p.unseen', {}, `${nameOfBackup(from)} with ${nameOfBackup(until)}`), form(route), found] };
}
