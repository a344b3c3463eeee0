import { textBlock } from './code.js';
import { changes as loadChanges, object as loadObject } from './data.js';
import { block, h } from './dom.js';
import { download } from './files.js';
import { historyPart } from './history.js';
import { changeList } from './lines.js';
import { outlineTree } from './outline.js';
import { chip, code, nameOf, region, worker } from './parts.js';
import { parentLink } from './backup.js';
import { trailTo } from './section.js';
import { to } from './routes.js';

const lastVersionPart = ({ folder, list }, { section, id, lastVersion }) => {
  if (!lastVersion) return h('p', {}, 'No backup before this one has a version of it.');
  const found = list.find(({ backup }) => backup === lastVersion);
  return h('p', {}, 'Its last version is in the backup ', h('a', { href: to.object(folder, lastVersion, section, id) }, found ? parentText(found) : lastVersion), '.');
};

const parentText = ({ finishedAt, backup }) => [h('time', { datetime: finishedAt, title: finishedAt }, backup)];

function absence(route, object) {
  if (object.change !== 'removed' && object.change !== 'failed') return null;
  const words = object.change === 'removed' ? 'It was no longer on the server.' : `The backup could not read it${object.message ? `: ${object.message}` : '.'}`;
  return h('div.notice', {}, h('p', {}, words), lastVersionPart(route, object));
}

function changesPart({ folder, list, backup }, { change, parent, section, id, changes }, signal) {
  if (change !== 'changed') return null;
  if (!parent) return block(2, 'What changed', changeList(changes ?? []));
  const title = h('span', {}, 'Changed since ', parentLink(folder, list, parent));
  return block(2, title, region(signal, () => loadChanges(folder, parent, backup, section, id, signal), changeList, 'Comparing…'));
}

const downloadsPart = (route, { section, id, downloads = [] }) => downloads.length > 0 &&
  h('div.actions', {}, downloads.map((form) =>
    worker(`Save ${form.title}`, () => download(route.folder, route.backup, section, id, form), { title: form.fileName })));

const factsPart = ({ facts = [] }) => facts.length > 0 &&
  block(2, 'Facts', h('dl.facts', {}, facts.map(({ label, value }) => h('div', {}, h('dt', {}, label), h('dd', {}, value)))));

const listPart = ({ title, entries }) =>
  block(3, [title, ' ', h('small.faint', {}, String(entries.length))], h('ul.entries-list', {}, entries.map((entry) => h('li', {}, entry))));

const listsPart = ({ lists = [] }) => lists.length > 0 && block(2, 'Lists', lists.map(listPart));
const textsPart = ({ texts = [] }) => texts.length > 0 && block(2, 'Texts', texts.map(textBlock));
const outlinePart = ({ outline = [] }) => outline.length > 0 && block(2, 'Outline', outlineTree(outline));

function fileLine({ file }) {
  return file?.error ? h('p.trouble', {}, file.error) : null;
}

export async function objectPage(route, signal) {
  const { folder, backup, section, id } = route;
  const object = await loadObject(folder, backup, section, id, signal);
  const head = h('p.facts-line', {}, chip(object.change), ' ', nameOf(object.kind), ' · ID ', code(object.id));
  const content = [
    head, absence(route, object), (object.problems ?? []).map((text) => h('p.trouble', {}, text)), fileLine(object),
    downloadsPart(route, object), changesPart(route, object, signal), factsPart(object), listsPart(object),
    textsPart(object), outlinePart(object), historyPart(route, signal),
  ];
  return { title: object.name, trail: trailTo(route, { title: object.kind, id: section }), content };
}
