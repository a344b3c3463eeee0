import { search as loadSearch, sectionTitles } from './data.js';
import { announce, h } from './dom.js';
import { checkbox, chip, code, marked, nameOf, region, rowLink } from './parts.js';
import { to } from './routes.js';
import { trailTo } from './section.js';
import { counted } from './text.js';

const limit = 200;
const largerLimit = 2000;

function hit({ folder, backup }, { section, id, name, change, excerpts = [] }, titles, q) {
  return h('li.card', {},
    h('div', {}, rowLink(to.object(folder, backup, section, id), nameOf(name, q)), ' ', change !== 'unchanged' && chip(change)),
    h('div.faint', {}, titles.get(section) ?? section, ' · ID ', code(id)),
    excerpts.map((text) => h('p.excerpt', {}, marked(text, q))));
}

function results(route, { hits, limited }, titles) {
  const q = route.query.get('q');
  const words = `${limited ? 'The first ' : ''}${counted(hits.length, 'hit')}`;
  announce(words);
  const more = limited && Number(route.query.get('limit') ?? limit) < largerLimit &&
    h('p', {}, h('a', { href: address(route, { limit: largerLimit }) }, `Show up to ${counted(largerLimit, 'hit')}`));
  return [h('p.faint', {}, words), h('ol.plain', {}, hits.map((each) => hit(route, each, titles, q))), more];
}

const address = ({ folder, backup, query }, change) =>
  to.search(folder, backup, { ...Object.fromEntries(query), ...change });

function form(route) {
  const input = h('input', { type: 'search', id: 'query', autocomplete: 'off', spellcheck: 'false' });
  input.value = route.query.get('q') ?? '';
  const go = (contents) => {
    const q = input.value.trim();
    if (q) location.hash = to.search(route.folder, route.backup, { q, contents: contents ? '1' : '' });
  };
  const inside = checkbox('Look into contents too', route.query.get('contents') === '1', go);
  const submit = (event) => {
    event.preventDefault();
    go(inside.querySelector('input').checked);
  };
  const field = h('label.field', {}, h('span', {}, 'Text'), ' ', input);
  return h('form.controls', { onsubmit: submit }, field, h('button', { type: 'submit' }, 'Search'), inside);
}

export async function searchPage(route, signal) {
  const { folder, backup, query } = route;
  const q = query.get('q');
  const load = async () => {
    const asked = { q, contents: query.get('contents'), limit: query.get('limit') ?? limit };
    return Promise.all([loadSearch(folder, backup, asked, signal), sectionTitles(folder, backup, signal)]);
  };
  const found = q && region(signal, load, ([answer, titles]) => results(route, answer, titles), 'Searching…');
  return { title: q ? `Search: ${q}` : 'Search', trail: trailTo(route), content: [form(route), found] };
}
