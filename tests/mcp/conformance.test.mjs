import assert from 'node:assert/strict';
import { readFile, readdir } from 'node:fs/promises';
import { join } from 'node:path';
import { after, before, describe, test } from 'node:test';

import { Place, packageFile } from './support.mjs';

const suite = packageFile('@modelcontextprotocol/conformance/dist/index.js');

describe('The conformance suite', () => {
  let place, url;

  before(async () => {
    place = await Place.make();
    ({ url } = await place.serve(['--no-token']));
  });
  after(() => place?.end());

  for (const scenario of ['server-initialize', 'ping', 'tools-list', 'dns-rebinding-protection'])
    test(`It passes ${scenario}`, async () => {
      const folder = join(place.home, scenario);
      const program = place.start(process.execPath,
        [suite, 'server', '--url', url, '--scenario', scenario, '--output-dir', folder]);
      assert.equal(await program.ended, 0, program.output + program.error);
      const files = await readdir(folder, { recursive: true });
      const checks = JSON.parse(await readFile(join(folder, files.find((each) => each.endsWith('checks.json')))));
      assert.ok(checks.length > 0);
      for (const check of checks) assert.equal(check.status, 'SUCCESS', JSON.stringify(check));
    });
});
