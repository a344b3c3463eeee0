import assert from 'node:assert/strict';
import { after, before, describe, test } from 'node:test';

import { Place, documentOf, orvik, packageFile } from './support.mjs';

const inspector = packageFile('@modelcontextprotocol/inspector/clients/launcher/build/index.js');

describe('The inspector on the command line', () => {
  let place, http;
  const stdio = [orvik, 'mcp', '--stdio', '--write'];

  /// The result of one request, each by a client of its own.
  const inspect = async (server, ...request) => {
    const program = place.start(process.execPath, [inspector, '--cli', ...server, ...request]);
    assert.equal(await program.ended, 0, program.output + program.error);
    return JSON.parse(program.output);
  };

  before(async () => {
    place = await Place.make();
    const { url, token } = await place.serve(['--write']);
    http = [url, '--transport', 'http', '--header', `Authorization: Bearer ${token}`];
  });
  after(() => place?.end());

  for (const way of ['HTTP', 'standard streams']) {
    const server = () => (way === 'HTTP' ? http : stdio);

    test(`It lists the tools over ${way}`, async () => {
      const { tools } = await inspect(server(), '--method', 'tools/list');
      assert.deepEqual(tools.map(({ name }) => name), (await place.tools(['--write'])).map(({ name }) => name));
    });

    test(`It calls a tool over ${way}`, async () => {
      const call = (tool, ...args) => inspect(server(), '--method', 'tools/call', '--tool-name', tool,
        ...args.flatMap((each) => ['--tool-arg', each]));
      assert.deepEqual(documentOf(await call('list_organizations')).map(({ name }) => name), ['School']);
      const made = documentOf(await call('create_category', 'orgName=School', `name=Over ${way}`, 'priority=4'));
      assert.equal(made.priority, 4);
    });
  }
});
