// A server of the page with answers that are made up, late, or errors.

import { once } from 'node:events';
import { readFile } from 'node:fs/promises';
import { createServer } from 'node:http';
import { extname, join } from 'node:path';
import { fileURLToPath } from 'node:url';
import * as made from './answers.mjs';

const pageFolder = fileURLToPath(new URL('../../orvik/Browse/Page/', import.meta.url));
const types = { '.html': 'text/html', '.css': 'text/css', '.js': 'text/javascript', '.svg': 'image/svg+xml' };
/// What orvik browse allows its page.
const policy = ["default-src 'none'", "script-src 'self'", "style-src 'self'", "img-src 'self'", "connect-src 'self'",
  "frame-ancestors 'none'", "base-uri 'none'", "form-action 'none'"].join('; ');

/// What is said of a backup.
function answerOf(what, id, query) {
  const section = made.sections.find((each) => each.id === query.get('section'));
  const answers = {
    entries: () => section && { section, entries: made.entriesOf(section.id) },
    object: () => section && made.objectOf(section.id, query.get('id'), id),
    change: () => ({ changes: made.changes }),
    differences: () => ({ from: query.get('from'), to: id, sections: made.differences }),
    search: () => made.hitsFor(query.get('q'), query.get('contents') === '1'),
    report: () => made.pdf,
    download: () => made.file,
  };
  return answers[what]?.();
}

/// What the API says to a path, as a value; a Buffer is a file, and nothing a refusal.
function answer(folders, path, query) {
  const [, , folder, kind, id, what] = path;
  if (path.length === 2) return { folders };
  if (kind === 'history') return { name: 'Wartung', versions: made.versions };
  if (path.length === 4) return { backups: folder === '0' ? made.backups : [] };
  const backup = made.backups.find((each) => each.backup === id);
  if (!backup) return null;
  return what ? answerOf(what, id, query) : { backup, sections: made.sections };
}

export class MadeUp {
  token = 'abcdef0123456789';
  folders = made.folders.slice(0, 1);
  /// Milliseconds that an answer takes, by its path and query.
  delay = () => 0;
  /// A message for paths that fail, by path and query.
  failure = () => null;
  requests = [];

  static async start() {
    const server = new MadeUp();
    server.server = createServer((request, response) => server.#serve(request, response));
    await server.#listen(0);
    return server;
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

  /// Several folders as long as something is done.
  async withFolders(work) {
    const before = this.folders;
    this.folders = made.folders;
    try {
      await work();
    } finally {
      this.folders = before;
    }
  }

  async stop() {
    this.server.closeAllConnections();
    await new Promise((resolve) => this.server.close(resolve));
  }

  again() {
    return this.#listen(this.port);
  }

  async #serve(request, response) {
    this.requests.push({ url: request.url, headers: request.headers });
    const url = new URL(request.url, this.origin);
    const [status, type, body] = url.pathname.startsWith('/api/')
      ? await this.#tell(url, request.headers)
      : await this.#file(url.pathname);
    response.writeHead(status, { 'Content-Type': type, 'Content-Security-Policy': policy, 'Cache-Control': 'no-store' });
    response.end(body);
  }

  async #tell(url, { authorization }) {
    const json = (status, value) => [status, 'application/json', JSON.stringify(value)];
    if (authorization !== `Bearer ${this.token}`) return json(401, { message: 'The token is another one.' });
    const asked = url.pathname + url.search;
    await new Promise((resolve) => setTimeout(resolve, this.delay(asked)));
    const failure = this.failure(asked);
    if (failure) return json(500, { message: failure });
    const found = answer(this.folders, url.pathname.slice(1).split('/').map(decodeURIComponent), url.searchParams);
    if (Buffer.isBuffer(found)) return [200, 'application/octet-stream', found];
    return found ? json(200, found) : json(404, { message: 'There is no such thing in this backup.' });
  }

  async #file(path) {
    const name = path === '/' ? 'index.html' : path.slice(1);
    try {
      return [200, `${types[extname(name)]}; charset=utf-8`, await readFile(join(pageFolder, name))];
    } catch {
      return [404, 'text/plain', ''];
    }
  }
}
