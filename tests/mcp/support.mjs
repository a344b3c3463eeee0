// What the clients are tried against: the real program `orvik mcp` in front of a made-up server. All of it lives in
// a home of its own, which is gone at the end.

import assert from 'node:assert/strict';
import { spawn } from 'node:child_process';
import { once } from 'node:events';
import { mkdtemp, readFile, rm } from 'node:fs/promises';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { createInterface } from 'node:readline';
import { fileURLToPath } from 'node:url';

const here = fileURLToPath(new URL('.', import.meta.url));
const programs = process.env.ORVIK_PROGRAM_FOLDER ?? join(here, '../../build/bin');
export const orvik = join(programs, 'orvik');

/// Where a package's file lies.
export const packageFile = (path) => join(here, 'node_modules', path);

/// A program that was started, with all that it says.
export class Program {
  constructor(file, args, env) {
    this.output = '';
    this.error = '';
    this.child = spawn(file, args, { env, stdio: ['ignore', 'pipe', 'pipe'] });
    this.ended = once(this.child, 'close').then(([status]) => status);
    this.child.stdout.on('data', (text) => (this.output += text));
    this.child.stderr.on('data', (text) => (this.error += text));
  }

  /// Fails when the program ends without one.
  async firstLine() {
    for await (const line of createInterface({ input: this.child.stdout })) return line;
    assert.fail(`no line came: ${this.error}`);
  }

  async stop() {
    this.child.kill('SIGTERM');
    return this.ended;
  }
}

/// A home with a made-up server, which is the organization "School", and with whatever is started in it.
export class Place {
  static async make() {
    const place = new Place();
    place.home = await mkdtemp(join(tmpdir(), 'orvik-mcp-'));
    place.environment = { HOME: place.home, TMPDIR: place.home, LANG: 'C.UTF-8', PATH: process.env.PATH };
    const server = place.start(orvik, ['sample-server', '--json', '--quiet']);
    place.server = JSON.parse(await server.firstLine());
    place.secrets = [(await readFile(place.server.secretFile, 'utf8')).trim()];
    await place.run(['orgs', 'add', '--name', 'School', ...place.credentials()]);
    return place;
  }

  #started = [];

  credentials() {
    const { url, clientID, secretFile } = this.server;
    return ['--url', url, '--client-id', clientID, '--secret-file', secretFile];
  }

  start(file, args) {
    const program = new Program(file, args, this.environment);
    this.#started.push(program);
    return program;
  }

  /// Runs `orvik` to its end, which has to be a good one, and gives what it printed.
  async run(args) {
    const program = this.start(orvik, args);
    assert.equal(await program.ended, 0, program.error);
    return program.output;
  }

  /// Starts the tool server on a free port, and gives its URL and its token if it wants one.
  async serve(args = []) {
    const program = this.start(orvik, ['mcp', '--port', '0', '--json', ...args]);
    const { event, url, tokenFile } = JSON.parse(await program.firstLine());
    assert.equal(event, 'listening');
    if (!tokenFile) return { program, url };
    const token = (await readFile(tokenFile, 'utf8')).trim();
    this.secrets.push(token);
    return { program, url, token };
  }

  /// The tools as `orvik mcp tools` lists them.
  async tools(args) {
    const lines = (await this.run(['mcp', 'tools', '--json', ...args])).trim().split('\n');
    return lines.map((line) => JSON.parse(line)).filter((line) => line.event === 'tool');
  }

  /// Ends all that runs. Each has to end as one that was told to, and to have kept the secrets to itself.
  async end() {
    try {
      for (const program of this.#started.reverse()) {
        const hasEnded = program.child.exitCode !== null;
        const status = await program.stop();
        if (!hasEnded) assert.equal(status, 130, program.error);
        for (const secret of this.secrets)
          assert.ok(!(program.output + program.error).includes(secret), 'a program told a secret');
      }
    } finally {
      for (const program of this.#started) program.child.kill('SIGKILL');
      await rm(this.home, { recursive: true, force: true });
    }
  }
}

/// The JSON document that a tool answered with.
export function documentOf(result) {
  assert.equal(result.isError ?? false, false, JSON.stringify(result));
  assert.equal(result.content.length, 1);
  assert.equal(result.content[0].type, 'text');
  return JSON.parse(result.content[0].text);
}
