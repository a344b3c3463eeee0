import { reason } from './backup.js';
import { entries as loadEntries } from './data.js';
import { announce, h } from './dom.js';
import { chip, code, filterField, kinds, nameOf, rowLink, table } from './parts.js';
import { remember, to } from './routes.js';
import { stepped } from './stepped.js';
import { counted, dateText, number } from './text.js';

function row({ folder, backup }, entry, query) {
  return h('tr', {},
    h('td', {}, chip(entry.change)),
    h('th', { scope: 'row' }, rowLink(to.object(folder, backup, entry.section, entry.id), nameOf(entry.name, query)),
      entry.message && h('p.trouble.small', {}, entry.message)),
    h('td', {}, code(entry.id)));
}

/// Toggles for the kinds that there are of something; none pressed shows all.
export function kindToggles(counts, chosen, change) {
  const present = [...kinds.keys()].filter((kind) => counts[kind]);
  const buttons = present.map((kind) => {
    const attributes = { type: 'button', 'aria-pressed': String(chosen.has(kind)) };
    const button = h('button.toggle', attributes, chip(kind, counts[kind]));
    button.addEventListener('click', () => {
      if (!chosen.delete(kind)) chosen.add(kind);
      button.setAttribute('aria-pressed', String(chosen.has(kind)));
      change();
    });
    return button;
  });
  return h('div.toggles', { role: 'group', 'aria-label': 'Show only' }, buttons);
}

export function tally(entries) {
  const counts = {};
  for (const { change } of entries) counts[change] = (counts[change] ?? 0) + 1;
  return counts;
}

export const chosenKinds = (query) =>
  new Set((query.get('kinds') ?? '').split(',').filter((kind) => kinds.has(kind)));

function prepared(entries) {
  return entries.map((entry) => ({ entry, text: `${entry.name}\n${entry.id}`.toLowerCase() }));
}

function entryList(route, entries, signal) {
  const state = { filter: route.query.get('filter') ?? '', kinds: chosenKinds(route.query) };
  const all = prepared(entries);
  const body = h('tbody', {});
  const list = stepped(body, (entry) => row(route, entry, state.filter), signal);
  const count = h('p.faint', {});
  const isChosen = ({ change }) => !state.kinds.size || state.kinds.has(change);
  const update = () => {
    const wanted = state.filter.toLowerCase();
    const found = all.filter(({ entry, text }) => text.includes(wanted) && isChosen(entry));
    list.show(found.map(({ entry }) => entry));
    const isAll = found.length === all.length;
    count.textContent = isAll ? counted(all.length, 'object') : `${number(found.length)} of ${number(all.length)}`;
  };
  const changed = () => {
    update();
    remember({ filter: state.filter, kinds: [...state.kinds].join(',') });
    announce(count.textContent);
  };
  update();
  const filter = (text) => {
    state.filter = text;
    changed();
  };
  const controls = h('div.controls', {}, filterField(state.filter, filter, 'Filter by name or ID'),
    kindToggles(tally(entries), state.kinds, changed));
  return [controls, count, table('entries', ['Change', 'Name', 'ID'], body), list.element];
}

export const trailTo = ({ folder, backup, list }, section) => {
  const found = list.find((each) => each.backup === backup);
  const steps = [{ label: found ? dateText(found.finishedAt) : backup, href: to.backup(folder, backup) }];
  if (section) steps.push({ label: section.title, href: to.section(folder, backup, section.id) });
  return steps;
};

export async function sectionPage(route, signal) {
  const { section, entries } = await loadEntries(route.folder, route.backup, route.section, signal);
  const nothing = h('p', {}, 'There is nothing in this section.');
  const content = [reason(section), entries.length ? entryList(route, entries, signal) : nothing];
  return { title: section.title, trail: trailTo(route), content };
}
