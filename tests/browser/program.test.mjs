// The real program in front of the folder that `orvik demo` makes.

import assert from 'node:assert/strict';
import { cp, mkdtemp, readdir, readFile, rm } from 'node:fs/promises';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { after, before, test } from 'node:test';
import { orvik, Program } from '../mcp/support.mjs';
import { Browser, until } from './chromium.mjs';

const heading = `(document.querySelector('h1')?.innerText ?? '')`;
const place = {};
const environment = () => ({ HOME: place.home, TMPDIR: place.home, LANG: 'C.UTF-8', PATH: process.env.PATH });
const started = [];

before(async () => {
  place.home = await mkdtemp(join(tmpdir(), 'orvik-browse-'));
  place.root = join(place.home, 'backups');
  const demo = new Program(orvik, ['demo', '--to', place.root], environment());
  assert.equal(await demo.ended, 0, demo.error);
  place.folder = join(place.root, '127.0.0.1');
  place.browser = await Browser.start();
});

after(async () => {
  await place.browser?.stop();
  await Promise.all(started.map((program) => program.stop()));
  await rm(place.home, { recursive: true, force: true });
});

async function browse(folder) {
  const program = new Program(orvik, ['browse', folder, '--json'], environment());
  started.push(program);
  const { event, url } = JSON.parse(await program.firstLine());
  assert.equal(event, 'listening');
  const tab = await place.browser.open(await place.browser.newContext());
  await tab.look();
  await tab.visit(url);
  await tab.settle();
  return { program, url, tab, origin: new URL(url).origin };
}

const row = 'main [data-row]';

test('a person finds out what changed overnight', async () => {
  const { tab, origin } = await browse(place.folder);
  assert.equal(await tab.count(row), 2);
  await tab.click(row);
  await tab.wait(`${heading}.startsWith('Backup of')`);
  assert.match(await tab.text(), /Devices & users[^]*Configuration/);
  await tab.click('.check input');
  await tab.click('[data-row]', 'Policies');
  await tab.wait(`${heading} === 'Policies'`);
  await tab.click('.toggle', 'changed');
  await tab.click(row);
  await tab.wait(`document.querySelectorAll('.change').length > 0`);
  assert.match(await tab.text('.changes'), /General › [^]*before:\s[^]*after:\s/);
  await tab.click('summary', 'All versions');
  await tab.wait(`document.querySelectorAll('.versions > li').length === 2`);
  await tab.click('.versions details summary');
  await tab.wait(`document.querySelector('.versions .change')`);
  await tab.press('c');
  await tab.wait(`${heading}.startsWith('Compare') && document.querySelectorAll('.differences li').length > 5`);
  assert.deepEqual(tab.complaints, []);
  assert.deepEqual(tab.requests.filter(({ url }) => new URL(url).origin !== origin), []);
});

test('a search looks for a text of several words, with its signs, in names and contents', async () => {
  const { tab } = await browse(place.folder);
  await tab.press('/');
  await tab.type('quill notes');
  await tab.press('Enter');
  await tab.wait(`/^\\d+ hits?$/.test(document.querySelector('#status').innerText)`);
  const byName = await tab.count(row);
  assert.ok(byName > 0);
  await tab.click('.check input');
  await tab.wait(`document.querySelectorAll('${row}').length > ${byName}`);
  assert.ok((await tab.count('.excerpt mark')) > 0);
  for (const text of ['C++', '100% fertig', '<3D>', '&']) {
    await tab.evaluate(`document.querySelector('#query').value = ${JSON.stringify(text)}`);
    await tab.click('main form button');
    await tab.wait(`${heading} === ${JSON.stringify(`Search: ${text}`)}`);
    await tab.settle();
    assert.doesNotMatch(await tab.text('#status'), /^0 hits/, text);
  }
  assert.deepEqual(tab.complaints, []);
});

test('every object of every section is shown, whatever its ID', async () => {
  const { tab } = await browse(place.folder);
  await tab.click(row);
  await tab.wait(`${heading}.startsWith('Backup of')`);
  const links = `[...document.querySelectorAll('${row}')].map((each) => each.getAttribute('href'))`;
  let count = 0;
  for (const section of await tab.evaluate(links)) {
    await tab.goTo(section);
    for (const object of (await tab.evaluate(links)).slice(0, 2)) {
      await tab.goTo(object);
      assert.notEqual(await tab.evaluate(heading), 'This can’t be shown', object);
      ++count;
    }
  }
  assert.ok(count > 50, String(count));
  assert.deepEqual(tab.complaints, []);
});

test('a report opens beside the page', async () => {
  const { tab } = await browse(place.folder);
  // A key, not a call: only a person may open tabs.
  await tab.run(() => document.querySelector('main button[aria-label^="Backup report"]').focus());
  await tab.press('Enter');
  const isReport = ({ type, url }) => type === 'page' && url.startsWith('blob:');
  const found = await until('the report', async () => (await place.browser.targets()).find(isReport));
  await place.browser.call('Target.closeTarget', { targetId: found.targetId });
  assert.equal(await tab.text('.trouble'), '');
  assert.deepEqual(tab.complaints, []);
});

test('an object is saved as the file that orvik export writes', async () => {
  const { tab } = await browse(place.folder);
  const saved = join(place.home, 'saved'), exported = join(place.home, 'exported');
  await tab.saveInto(saved);
  const newest = await tab.attribute(row, 'href');
  await tab.goTo(`${newest}/scripts`);
  await tab.goTo(await tab.attribute(row, 'href'));
  const id = decodeURIComponent((await tab.evaluate('location.hash')).split('/').at(-1));
  const forms = (await tab.texts('main button')).filter((words) => words.startsWith('Save'));
  assert.ok(forms.length > 0);
  for (const [before, form] of forms.entries()) {
    await tab.click('main button', form);
    await until(form, async () => {
      const names = await readdir(saved).catch(() => []);
      return names.length === before + 1 && !names.some((name) => name.endsWith('.crdownload'));
    });
  }
  const program = new Program(orvik, ['export', place.folder, 'scripts', id, '--out', exported], environment());
  assert.equal(await program.ended, 0, program.error);
  const files = (await readdir(exported, { recursive: true, withFileTypes: true })).filter((each) => each.isFile());
  assert.deepEqual(files.map(({ name }) => name).sort(), (await readdir(saved)).sort());
  for (const { name, parentPath } of files)
    assert.deepEqual(await readFile(join(saved, name)), await readFile(join(parentPath, name)));
});

test('several folders begin with a list of them', async () => {
  await cp(place.folder, join(place.root, 'second'), { recursive: true });
  try {
    const { tab } = await browse(place.root);
    assert.equal(await tab.evaluate(heading), 'Folders');
    assert.equal(await tab.count(row), 2);
    await tab.evaluate(`document.querySelectorAll('${row}')[1].click()`);
    await tab.wait(`document.querySelectorAll('.mark').length === 2`);
  } finally {
    await rm(join(place.root, 'second'), { recursive: true });
  }
});

test('the token of one run opens no other', async () => {
  const first = await browse(place.folder);
  const second = await browse(place.folder);
  const token = new URL(first.url).hash;
  const tab = await place.browser.open(await place.browser.newContext());
  await tab.visit(`${second.origin}/${token}`);
  await tab.wait(`${heading} === 'Open the address that orvik browse printed'`);
});

test('the page tells that the program has ended', async () => {
  const { tab, program } = await browse(place.folder);
  await program.stop();
  await tab.click(row);
  await tab.wait(`document.querySelector('#banner').innerText.includes('orvik browse has ended')`);
});
