import { code, nameOf, rowLink } from './parts.js';
import { h } from './dom.js';
import { to } from './routes.js';

const row = ({ folder, name, server, path, sealed, problem }) =>
  h('li.card', {},
    rowLink(to.backups(folder), nameOf(name)),
    ' ', sealed && h('span.tag', {}, 'sealed'),
    h('div.faint', {}, h('bdi', {}, server), ' · ', code(path)),
    problem && h('p.trouble', {}, problem));

export async function foldersPage({ folders }) {
  const content = folders.length
    ? h('ul.plain', {}, folders.map(row))
    : h('p', {}, 'There is no folder with backups here.');
  return { title: 'Folders', content };
}
