// What every client library has to be able to do with the tool server, whichever way it reaches it.

import assert from 'node:assert/strict';
import { after, before, describe, test } from 'node:test';

import { Place, documentOf, orvik } from './support.mjs';

const about = { name: 'orvik-test', version: '1.0.0' };
const inputSchemaOf = (tool) => ({
  type: 'object',
  properties: Object.fromEntries(
    tool.parameters.map(({ name, type, description }) => [name, { type, description }])),
  required: tool.parameters.filter(({ required }) => required).map(({ name }) => name),
});

/// What holds over HTTP and over standard streams. `connection` gives the place, the client and what
/// `orvik mcp tools` has to be told to list the same tools.
function common(connection) {
  const call = (name, args = {}) => connection().client.callTool({ name, arguments: args });

  test('The server introduces itself', () => {
    const { client } = connection();
    assert.deepEqual(client.getServerVersion(), { name: 'Kelm', version: '0.1.0' });
    assert.deepEqual(client.getServerCapabilities(), { tools: {} });
  });

  test('A ping is answered', async () => {
    assert.deepEqual(await connection().client.ping(), {});
  });

  test('The tools that are listed are those of the catalog', async () => {
    const { client, place, catalog } = connection();
    const expected = await place.tools(catalog);
    assert.ok(expected.length > 30);
    const { tools } = await client.listTools();
    assert.deepEqual(
      tools.map(({ name, description, inputSchema }) => ({ name, description, inputSchema })),
      expected.map((tool) => ({ name: tool.name, description: tool.description, inputSchema: inputSchemaOf(tool) })));
  });

  test('A tool that reads answers from the server', async () => {
    assert.deepEqual(documentOf(await call('list_organizations')),
      [{ baseURL: connection().place.server.url, name: 'School' }]);
    const scripts = documentOf(await call('list_scripts', { orgName: 'School' }));
    assert.ok(scripts.length > 5);
    const script = documentOf(await call('get_script', { orgName: 'School', id: scripts[0].id }));
    assert.equal(script.name, scripts[0].name);
  });

  test('What makes a tool fail reaches the caller as a result', async () => {
    const unknown = await call('list_scripts', { orgName: 'Nobody' });
    assert.equal(unknown.isError, true);
    assert.match(unknown.content[0].text, /Nobody/);
    const missing = await call('get_script', { orgName: 'School', id: '987654' });
    assert.equal(missing.isError, true);
    assert.match(missing.content[0].text, /404/);
  });

  test('A call that can not be made is refused', async () => {
    await assert.rejects(call('no_such_tool'), (error) => {
      assert.equal(error.code, -32602);
      assert.match(error.message, /Unknown tool: no_such_tool/);
      return true;
    });
    await assert.rejects(call('get_script', { orgName: 'School' }), /Missing required argument\(s\): id/);
  });

  test('A number for an integer is written to the server', async () => {
    const made = documentOf(await call('create_package', {
      orgName: 'School', packageName: 'Numbered', fileName: 'Numbered.pkg', categoryId: '-1', priority: 17 }));
    const stored = documentOf(await call('get_package', { orgName: 'School', id: made.id }));
    assert.equal(stored.packageName, 'Numbered');
    assert.equal(stored.priority, 17);
    documentOf(await call('delete_package', { orgName: 'School', id: made.id }));
    assert.equal((await call('get_package', { orgName: 'School', id: made.id })).isError, true);
  });

  test('Two hundred calls at once are all answered, each with its own answer', async () => {
    const ids = documentOf(await call('list_scripts', { orgName: 'School' })).map(({ id }) => id);
    const wanted = Array.from({ length: 200 }, (_, i) => ids[i % ids.length]);
    const answers = await Promise.all(wanted.map((id) => call('get_script', { orgName: 'School', id })));
    assert.deepEqual(answers.map((answer) => documentOf(answer).id), wanted);
  });
}

/// Declares the tests of a client library: its classes, the options that its clients are made with, and how it says
/// that it was not let in.
export function clientTests({ name, Client, HTTPTransport, StdioTransport, options, unauthorized }) {
  describe(`${name} over HTTP`, () => {
    let place, host, client;
    const transport = (token) => new HTTPTransport(new URL(host.url),
      token ? { requestInit: { headers: { Authorization: `Bearer ${token}` } } } : {});

    before(async () => {
      place = await Place.make();
      host = await place.serve(['--write']);
      client = new Client(about, options);
      await client.connect(transport(host.token));
    });
    after(async () => {
      await client?.close();
      await place?.end();
    });

    common(() => ({ place, client, catalog: ['--write'] }));

    test('Nobody comes in without the token', async () => {
      for (const token of [undefined, 'x'.repeat(host.token.length)])
        await assert.rejects(new Client(about, options).connect(transport(token)), unauthorized);
    });

    test('A call is told with its tool, its organization, its outcome and its time alone', async () => {
      await client.callTool({ name: 'list_scripts', arguments: { orgName: 'School', name: 'nobody-may-know' } });
      assert.match(host.program.error, /^list_scripts {2}School {2}ok {2}\d+ ms$/m);
      assert.ok(!host.program.error.includes('nobody-may-know'));
    });
  });

  describe(`${name} over standard streams`, () => {
    const sections = 'categories,scripts';
    let place, client, root;

    before(async () => {
      place = await Place.make();
      root = `${place.home}/backups`;
      await place.run(['backup', '--to', root, ...place.credentials(), '--only', sections, '--no-reports', '--rate', '0']);
      client = new Client(about, options);
      await client.connect(new StdioTransport({
        command: orvik, args: ['mcp', '--stdio', '--write', '--folder', root], env: place.environment, stderr: 'ignore' }));
    });
    after(async () => {
      await client?.close();
      await place?.end();
    });

    common(() => ({ place, client, catalog: ['--write', '--folder', root] }));

    test('Tools read the backups of a folder', async () => {
      const read = async (tool, args = {}) => documentOf(await client.callTool({ name: tool, arguments: args }));
      const [instance, ...others] = await read('list_backups');
      assert.deepEqual(others, []);
      assert.equal(instance.url, place.server.url);
      assert.equal(instance.backups.length, 1);
      const isHit = (line) => line.event === 'hit';
      const hits = (await read('search_backup', { query: '.sh', limit: 3 })).filter(isHit);
      assert.equal(hits.length, 3);
      const described = JSON.stringify(await read('describe_object', { section: 'scripts', object: hits[0].id }));
      assert.ok(described.includes(hits[0].name));
    });
  });
}
