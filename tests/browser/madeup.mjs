// Answers in the form of orvik browse's, made up: what a real folder holds only with bad luck, such as hostile names,
// thousands of objects, answers that come late and errors.

import { once } from 'node:events';
import { readFile } from 'node:fs/promises';
import { createServer } from 'node:http';
import { extname, join } from 'node:path';
import { fileURLToPath } from 'node:url';

const pageFolder = fileURLToPath(new URL('../../orvik/Browse/Page/', import.meta.url));
const types = { '.html': 'text/html; charset=utf-8', '.css': 'text/css; charset=utf-8', '.js': 'text/javascript; charset=utf-8', '.svg': 'image/svg+xml' };
export const policy = "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; connect-src 'self'; frame-ancestors 'none'; base-uri 'none'; form-action 'none'";

export const hostile = '<img src=x onerror="window.hacked=1">\u202egnp.exe\u0007 </title><script>window.hacked=1</script>';

const script = `#!/bin/zsh
# Renames the machine after the room it stands in, with a line that is much longer than any window is wide: ${'x'.repeat(120)}
room=$(defaults read /Library/Preferences/school room)

if [[ -z "$room" ]]; then
\techo "no room" >&2
\texit 1
fi
scutil --set ComputerName "mac-$room"
`;

const none = { total: 0, new: 0, changed: 0, unchanged: 0, removed: 0, failed: 0 };
const counts = (values) => ({ ...none, ...values });

function madeUpBackups() {
  const list = [];
  const end = Date.parse('2025-03-05T09:15:00Z');
  for (let back = 0; back < 46; ++back) {
    const days = back < 20 ? back * 2 : back < 40 ? 40 + (back - 20) * 9 : 420 + (back - 40) * 30;
    const finished = new Date(end - days * 86400000);
    const id = finished.toISOString().replace(/:/g, '').replace('.000', '');
    const some = back % 5 === 0 ? {} : { new: (back * 7) % 4, changed: (back * 5) % 13, removed: back % 3, failed: back % 11 === 1 ? 2 : 0 };
    list.push({
      backup: id, startedAt: new Date(finished - 300000).toISOString(), finishedAt: finished.toISOString(),
      status: back % 11 === 1 ? 'completeWithWarnings' : 'complete', sealed: back < 30,
      counts: back === 45 ? counts({ total: 812, new: 812 }) : counts({ total: 812, unchanged: 800, ...some }),
      reports: ['backup', 'security'],
    });
  }
  list.forEach((backup, place) => list[place + 1] && (backup.parent = list[place + 1].backup));
  return list;
}

export const backups = madeUpBackups();

const section = (group, id, title, more = {}) =>
  ({ group, id, title, status: 'complete', counts: counts({ total: 12, unchanged: 12 }), ...more });
export const sections = [
  section('Devices & users', 'computers', 'Computers', { counts: counts({ total: 20000, unchanged: 19990, changed: 10 }) }),
  section('Devices & users', 'users', 'Users', { status: 'partial', message: '3 of 40 objects could not be read: HTTP 500', counts: counts({ total: 37, unchanged: 37, failed: 3 }) }),
  section('Configuration', 'scripts', 'Scripts', { counts: counts({ total: 14, new: 1, changed: 2, unchanged: 11 }) }),
  section('Configuration', 'policies', 'Policies', { counts: counts({ total: 42, new: 2, changed: 1, unchanged: 38, removed: 1, failed: 1 }) }),
  section('Groups', 'computerGroups', 'Computer groups (smart and static)'),
  section('Groups', 'userGroups', 'User groups', { status: 'notPermitted', message: 'The API role lacks "Read Smart User Groups".', counts: none }),
  section('Other', 'webhooks', 'Webhooks', { status: 'disabled', message: 'Switched off by the options of the backup.', counts: none }),
  section('Other', 'ebooks', 'eBooks', { status: 'disabled', counts: none }),
];

const names = ['Install Pages', 'Wartung: Quill Notes', hostile, 'Ångström Lab 🏫', 'شبكة المدرسة', 'Set wallpaper'];
const kinds = ['unchanged', 'changed', 'new', 'removed', 'failed', 'unchanged'];

function entriesOf(id) {
  const { total } = sections.find((each) => each.id === id).counts;
  return Array.from({ length: total }, (_, place) => ({
    section: id, id: String(place + 1), name: total > 1000 ? `mac-${place + 1}` : names[place % 6] + (place < 6 ? '' : ` ${place}`),
    change: total > 1000 ? (place % 2000 ? 'unchanged' : 'changed') : kinds[place % 6],
    ...(kinds[place % 6] === 'failed' && total < 1000 ? { message: 'HTTP 500: the server had an error' } : {}),
  }));
}

const deep = (levels) => (levels ? { label: `level ${levels}`, children: [deep(levels - 1)] } : { label: 'deepest', cut: true });

const outline = [
  { label: 'General', children: [{ label: 'Name', value: 'Wartung' }, { label: 'Enabled', value: 'Yes' }, { label: 'Empty', value: '' },
    { label: 'Category', value: '3', children: [{ label: 'Name', value: 'Maintenance' }, { label: '', value: 'a nameless key' }] }] },
  { label: 'Scope', value: '2', children: [{ label: 'mac-1', value: 'mac-1' }, { label: 'mac-2', value: 'mac-2' }] },
  { label: 'Deep', children: [deep(30)] },
];

export const changes = [
  { path: 'General › Name', old: 'Wartung: Quill', new: 'Wartung: Quill Notes' },
  { path: 'General › Frequency', old: 'Once per computer' },
  { path: 'General › Site', new: hostile },
  { path: 'Self Service › Description', old: `${'A long description that goes on. '.repeat(4)}`, new: `${'A long description that goes on. '.repeat(3)}It ends otherwise.` },
  { path: 'Script', lines: [
    { kind: 'gap', text: '11 lines' }, { kind: 'same', old: 12, new: 12, text: 'if [[ -z "$room" ]]; then' },
    { kind: 'removed', old: 13, text: '\techo "nothing"' }, { kind: 'added', new: 13, text: `\techo "no room" >&2  # ${'y'.repeat(140)}` },
    { kind: 'same', old: 14, new: 14, text: 'fi' }, { kind: 'gap' }] },
];

function objectOf(query, backup) {
  const entry = entriesOf(query.get('section')).find((each) => each.id === query.get('id'));
  if (!entry) return null;
  const isStored = entry.change !== 'removed' && entry.change !== 'failed';
  const { title } = sections.find((each) => each.id === entry.section);
  return {
    event: 'object', backup, kind: title, ...entry, parent: backups[1].backup, ...(isStored ? {} : { lastVersion: backups[3].backup }),
    facts: isStored ? [{ label: 'Category', value: 'Maintenance' }, { label: 'Enabled', value: 'Yes' }, { label: 'Site', value: hostile }, { label: 'Trigger', value: 'Recurring check-in\nLogin' }] : [],
    lists: isStored ? [{ title: 'Packages', entries: ['Pages-1.0.pkg', 'Quill Notes-3.0.1.pkg', hostile] }] : [],
    texts: isStored ? [{ title: 'Script', text: script, isCode: true }, { title: 'Notes', text: 'Ask the lab first.\n\u202eThis line turns.', isCode: false }] : [],
    outline: isStored ? outline : [], changes: [], problems: entry.id === '2' ? ['Its record "subset" can’t be read: its bytes are not what its name says.'] : [],
    downloads: isStored ? [{ form: 0, title: 'JSON', fileName: 'object.json' }, { form: 1, title: 'Script', fileName: 'x\u202egnp.sh' }] : [],
  };
}

const versions = () => [
  { backup: backups[20].backup, finishedAt: backups[20].finishedAt, change: 'new', name: 'Wartung' },
  { backup: backups[3].backup, finishedAt: backups[3].finishedAt, change: 'changed', before: backups[20].backup },
  { backup: backups[0].backup, finishedAt: backups[0].finishedAt, change: 'changed', name: 'Wartung: Quill Notes', before: backups[3].backup },
];

const differences = () => [
  { id: 'scripts', title: 'Scripts', differences: entriesOf('scripts').slice(1, 5) },
  { id: 'policies', title: 'Policies', differences: entriesOf('policies').slice(1, 4) },
  { id: 'userGroups', title: 'User groups', problem: 'One of the backups did not read it: not permitted', differences: [] },
];

function hitsFor(query) {
  const limited = query.get('q') === 'e';
  const hits = entriesOf('policies').slice(0, 6).map((entry) => ({ ...entry, excerpts: query.get('contents') ? [`Scripts › Text: …a wart ${query.get('q')} here ${hostile}…`] : [] }));
  return { hits: query.get('q') === 'nothing' ? [] : hits, limited };
}

const folder = (number, name, more = {}) => ({ folder: number, name, server: `https://${name.toLowerCase()}.example:8443`, path: `/srv/backups/${name.toLowerCase()}`, sealed: false, ...more });

const pdf = '%PDF-1.4\n1 0 obj<</Type/Catalog/Pages 2 0 R>>endobj 2 0 obj<</Type/Pages/Kids[3 0 R]/Count 1>>endobj 3 0 obj<</Type/Page/Parent 2 0 R/MediaBox[0 0 200 200]>>endobj\ntrailer<</Root 1 0 R>>\n';

/// What the API says to a path, as a value; a Buffer is a file.
function answer(server, path, query) {
  const [, , first, , id, what] = path;
  if (path[1] === 'folders' && path.length === 2) return { folders: server.folders };
  if (path[3] === 'history') return { name: 'Wartung', versions: versions() };
  if (path[3] === 'backups' && path.length === 4) return { backups: first === '1' ? [] : server.backups };
  const backup = server.backups.find((each) => each.backup === id);
  if (!backup) return null;
  if (!what) return { backup, sections };
  const given = sections.find((each) => each.id === query.get('section'));
  const byWhat = {
    entries: () => given && { section: given, entries: entriesOf(given.id) },
    object: () => given && objectOf(query, id),
    change: () => ({ changes }),
    differences: () => ({ from: query.get('from'), to: id, sections: differences() }),
    search: () => hitsFor(query),
    report: () => Buffer.from(pdf),
    download: () => Buffer.from(script),
  };
  return byWhat[what]?.();
}

export class MadeUp {
  token = 'abcdef0123456789';
  folders = [folder(0, 'School')];
  backups = backups;
  /// Milliseconds that an answer takes, by its path and query.
  delay = () => 0;
  /// A message for paths that fail, by path and query.
  failure = () => null;
  requests = [];

  static async start() {
    const made = new MadeUp();
    made.server = createServer((request, response) => made.#serve(request, response));
    await made.#listen(0);
    return made;
  }

  async #listen(port) {
    this.server.listen(port, '127.0.0.1');
    await once(this.server, 'listening');
    this.port = this.server.address().port;
    this.origin = `http://127.0.0.1:${this.port}`;
  }

  get url() {
    return `${this.origin}/#token=${this.token}`;
  }

  addFolders() {
    this.folders = [folder(0, 'School'), folder(1, 'College', { sealed: true, problem: 'No key opens it: what its objects hold stays closed.' }), folder(2, hostile)];
  }

  async stop() {
    this.server.closeAllConnections();
    await new Promise((resolve) => this.server.close(resolve));
  }

  again() {
    return this.#listen(this.port);
  }

  async #serve(request, response) {
    const url = new URL(request.url, this.origin);
    this.requests.push({ url: request.url, headers: request.headers });
    if (!url.pathname.startsWith('/api/')) return this.#file(url.pathname, response);
    const send = (status, value) => {
      const isFile = Buffer.isBuffer(value);
      response.writeHead(status, { 'Content-Type': isFile ? 'application/pdf' : 'application/json', 'Content-Security-Policy': policy });
      response.end(isFile ? value : JSON.stringify(value));
    };
    if (request.headers.authorization !== `Bearer ${this.token}`) return send(401, { message: 'The token is missing or another one.' });
    const wait = this.delay(request.url);
    if (wait) await new Promise((resolve) => setTimeout(resolve, wait));
    const failure = this.failure(request.url);
    if (failure) return send(500, { message: failure });
    const found = answer(this, url.pathname.slice(1).split('/').map(decodeURIComponent), url.searchParams);
    return found ? send(200, found) : send(404, { message: 'There is no such thing in this backup.' });
  }

  async #file(path, response) {
    const name = path === '/' ? 'index.html' : path.slice(1);
    try {
      const text = await readFile(join(pageFolder, name));
      response.writeHead(200, { 'Content-Type': types[extname(name)], 'Content-Security-Policy': policy, 'Cache-Control': 'no-store' });
      response.end(text);
    } catch {
      response.writeHead(404).end();
    }
  }
}

const at = `#/0/backups/${backups[0].backup}`;
/// An address of every page.
export const pages = {
  backups: '#/0',
  backup: at,
  section: `${at}/policies`,
  object: `${at}/policies/2`,
  removed: `${at}/policies/4`,
  search: `#/0/search/${backups[0].backup}?q=wart&contents=1`,
  compare: `#/0/compare/${backups[1].backup}/${backups[0].backup}`,
  unknown: `${at}/policies/999`,
};
