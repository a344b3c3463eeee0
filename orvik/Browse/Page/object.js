import { parentLink } from './backup.js';
import { textBlock } from './code.js';
import { changes as loadChanges, object as loadObject } from './data.js';
import { block, h } from './dom.js';
import { download } from './files.js';
import { historyPart } from './history.js';
import { changeList } from './lines.js';
import { outlineTree } from './outline.js';
import { chip, code, nameOf, region, time, worker } from './parts.js';
import { to } from './routes.js';
import { trailTo } from './section.js';
import { number } from './text.js';

const lastVersionPart = ({ folder, list }, { section, id, lastVersion }) => {
  if (!lastVersion) return h('p', {}, 'No backup before this one has a version of it.');
  const found = list.find(({ backup }) => backup === lastVersion);
  const link = h('a', { href: to.object(folder, lastVersion, section, id) }, found ? time(found.finishedAt) : lastVersion);
  return h('p', {}, 'Its last version is in the backup of ', link, '.');
};

function absence(route, object) {
  if (object.change !== 'removed' && object.change !== 'failed') return null;
  const failure = `The backup could not read it${object.message ? `: ${object.message}` : '.'}`;
  const words = object.change === 'removed' ? 'It was no longer on the server.' : failure;
  return h('div.notice', {}, h('p', {}, words), lastVersionPart(route, object));
}

function changesPart({ folder, list, backup }, { change, parent, section, id, changes }, signal) {
  if (change !== 'changed') return null;
  if (!list.some((each) => each.backup === parent)) return block(2, 'What changed', changeList(changes ?? []));
  const title = h('span', {}, 'Changed since ', parentLink(folder, list, parent));
  const load = () => loadChanges(folder, parent, backup, section, id, signal);
  return block(2, title, region(signal, load, changeList, 'Comparing…'));
}

function downloadsPart({ folder, backup }, { section, id, downloads = [] }) {
  const button = (form) =>
    worker(`Save ${form.title}`, () => download(folder, backup, section, id, form), { title: form.fileName });
  return downloads.length > 0 && h('div.actions', {}, downloads.map(button));
}

/// What is known of a package file beyond what the facts say.
const fileFacts = ({ sha256, jamfHash, jamfHashVerified }) => [
  sha256 && { label: 'SHA-256', value: sha256 },
  jamfHash && { label: 'Hash of the server', value: jamfHash },
  jamfHash && { label: 'Compared with it', value: jamfHashVerified ? 'Yes, it is the same' : 'No' },
].filter(Boolean);

function factsPart({ facts = [], file = {} }) {
  const all = [...facts, ...fileFacts(file)];
  const row = ({ label, value }) => h('div', {}, h('dt', {}, label), h('dd', {}, value));
  return all.length > 0 && block(2, 'Facts', h('dl.facts', {}, all.map(row)));
}

function listPart({ title, entries }) {
  const isCounted = title.endsWith(`(${entries.length})`);
  const count = !isCounted && h('small.faint', {}, number(entries.length));
  return block(3, [title, ' ', count], h('ul.entries-list', {}, entries.map((entry) => h('li', {}, entry))));
}

const listsPart = ({ lists = [] }) => lists.length > 0 && block(2, 'Lists', h('div.lists', {}, lists.map(listPart)));
const textsPart = ({ texts = [] }) => texts.length > 0 && block(2, 'Texts', texts.map(textBlock));
const outlinePart = ({ outline = [], texts = [] }) => outline.length > 0 && block(2, 'Outline', outlineTree(outline, texts));

export async function objectPage(route, signal) {
  const { folder, backup, section, id } = route;
  const object = await loadObject(folder, backup, section, id, signal);
  const head = h('p', {}, chip(object.change), ' ', nameOf(object.kind), ' · ID ', code(object.id));
  const problems = [...(object.problems ?? []), object.file?.message].filter(Boolean);
  const content = [
    head, absence(route, object), problems.map((text) => h('p.trouble', {}, text)), downloadsPart(route, object),
    changesPart(route, object, signal), factsPart(object), listsPart(object), textsPart(object), outlinePart(object),
    historyPart(route, signal),
  ];
  return { title: object.name, trail: trailTo(route, { title: object.kind, id: section }), content };
}
