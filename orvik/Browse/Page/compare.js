import { changes as loadChanges, differences as loadDifferences } from './data.js';
import { announce, block, fill, h, newID } from './dom.js';
import { changeList } from './lines.js';
import { chip, code, folded, nameOf, options, region, rowLink } from './parts.js';
import { remember, to } from './routes.js';
import { chosenKinds, kindToggles, tally } from './section.js';
import { counted, dateText } from './text.js';

function choice(label, list, value, change) {
  const id = newID();
  const select = h('select', { id }, options(list));
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
const linkTo = ({ folder, from, to: until }, { section, id, change }) =>
  to.object(folder, change === 'removed' ? from : until, section, id);

function row(route, difference, signal) {
  const { folder, from, to: until } = route;
  const { section, id, name, change, message } = difference;
  const load = () => loadChanges(folder, from, until, section, id, signal);
  return h('li', {},
    h('div', {}, chip(change), ' ', rowLink(linkTo(route, difference), nameOf(name)), ' ', code(id)),
    message && h('p.trouble.small', {}, message),
    change === 'changed' && folded('What changed', signal, load, changeList));
}

function sectionPart(route, { title, problem, differences }, chosen, signal) {
  const shown = differences.filter(({ change }) => !chosen.size || chosen.has(change));
  if (!shown.length && !problem) return null;
  const rows = shown.map((each) => row(route, each, signal));
  return block(2, title, problem && h('p.trouble', {}, `⚠ ${problem}`), rows.length > 0 && h('ol.differences', {}, rows));
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

/// In the words of their dates, or by their IDs when those are the same.
function titleOf({ list, from, to: until }) {
  const dates = [from, until].map((id) => dateText(list.find(({ backup }) => backup === id)?.finishedAt ?? id));
  const [one, other] = dates[0] === dates[1] ? [from, until] : dates;
  return `Compare ${one} with ${other}`;
}

export async function comparePage(route, signal) {
  const { folder, from, to: until } = route;
  const load = () => loadDifferences(folder, from, until, signal);
  const found = region(signal, load, (answer) => results(route, answer, signal), 'Comparing…');
  return { title: titleOf(route), content: [form(route), found] };
}
