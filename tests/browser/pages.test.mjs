// What the pages show, and that their address holds all of it.

import assert from 'node:assert/strict';
import { test } from 'node:test';
import { backups, pages } from './answers.mjs';
import { prepare } from './support.mjs';

const place = prepare();
const heading = `(document.querySelector('h1')?.innerText ?? '')`;
const row = 'main [data-row]';
const filterField = 'main input[type=search]';

test('a single folder shows its backups at once, newest first and by month', async () => {
  const tab = await place.signIn();
  assert.equal(await tab.evaluate(heading), 'School');
  assert.equal(await tab.count(row), backups.length);
  assert.equal(await tab.text('h2'), 'March 2025');
  assert.equal(await tab.evaluate(`document.querySelector('.backup-row time').title`), backups[0].finishedAt);
  assert.equal(await tab.text('.backup-row time'), '5 Mar 2025, 10:15');
});

test('the time line has a mark for each backup that tells what changed', async () => {
  const tab = await place.signIn();
  assert.equal(await tab.count('.mark'), backups.length);
  assert.equal(await tab.attribute('.month:last-child .mark:last-child', 'aria-label'), '5 Mar 2025, 10:15: no changes');
  assert.match(await tab.attribute('.mark', 'aria-label'), /: 812 new$/);
  assert.equal(await tab.count('.mark[tabindex="0"]'), 1);
});

test('several folders are listed, with the problem that one has', async () => {
  await place.server.withFolders(async () => {
    const tab = await place.signIn();
    assert.equal(await tab.evaluate(heading), 'Folders');
    assert.match(await tab.text(), /College[^]*No key opens it/);
    await tab.click('[data-row]', 'College');
    await tab.wait(`${heading} === 'College'`);
    assert.match(await tab.text(), /There is no finished backup/);
    assert.match(await tab.text('#trail'), /Folders/);
  });
});

test('a backup shows its sections in their groups, and why one is not whole', async () => {
  const tab = await place.signIn(pages.backup);
  assert.deepEqual(await tab.texts('main h2'), ['Devices & users', 'Configuration', 'Groups']);
  assert.match(await tab.text(), /not permitted: The API role lacks/);
  assert.equal(await tab.evaluate(`document.querySelector('details.disabled').open`), false);
  assert.match(await tab.text('details.disabled summary'), /2 sections/);
});

test('filters of a backup stand in its address and survive a reload', async () => {
  const tab = await place.signIn(pages.backup);
  await tab.click('.check input');
  await tab.fill(filterField, 'poli');
  assert.equal(await tab.count(row), 1);
  await tab.wait(`location.hash === ${JSON.stringify(`${pages.backup}?filter=poli&changed=1`)}`);
  await tab.reload();
  await tab.settle();
  assert.equal(await tab.count(row), 1);
  assert.equal(await tab.evaluate(`document.querySelector('.check input').checked`), true);
});

test('a filter is kept for the way back, however soon its page is left', async () => {
  const tab = await place.signIn(pages.section);
  await tab.fill(filterField, 'notes 13');
  await tab.click(row);
  await tab.wait(`${heading} !== 'Policies'`);
  await tab.evaluate('history.back()');
  await tab.wait(`${heading} === 'Policies' && document.querySelectorAll('${row}').length === 1`);
});

test('a section filters by kind and by name or ID', async () => {
  const tab = await place.signIn(pages.section);
  assert.equal(await tab.count(row), 42);
  await tab.click('.toggle', 'changed');
  assert.equal(await tab.count(row), 7);
  assert.match(await tab.text('.toggle[aria-pressed=true]'), /7 changed/);
  await tab.fill(filterField, 'notes 13');
  assert.equal(await tab.count(row), 1);
  assert.match(await tab.text('#status'), /^1 of 42$/);
  await tab.fill(filterField, 'no such thing');
  assert.equal(await tab.count(row), 0);
});

test('an object shows facts, lists, texts with line numbers and what changed', async () => {
  const tab = await place.signIn(pages.object);
  const text = await tab.text();
  const parts = ['Policies · ID', 'Its record "subset"', 'Changed since 3 Mar 2025', 'not there', 'Category',
    'Pages-1.0.pkg', 'Ask the lab first.'];
  for (const part of parts) assert.ok(text.includes(part), part);
  assert.equal(await tab.evaluate(`document.querySelector('.gutter').innerText.split('\\n').length`), 9);
  const cells = await tab.run(() => [...document.querySelectorAll('.diff tr.added td')].map((each) => each.textContent));
  assert.deepEqual(cells.slice(0, 3), ['', '13', '+added']);
  assert.equal(await tab.evaluate(`document.querySelector('.change ins mark').innerText.trim()`), 'Notes');
});

test('a removed object says so and leads to its last version', async () => {
  const tab = await place.signIn(pages.removed);
  assert.match(await tab.text('.notice'), /no longer on the server/);
  await tab.click('.notice a');
  await tab.wait(`location.hash === ${JSON.stringify(pages.removed.replace(backups[0].backup, backups[3].backup))}`);
});

test('the outline opens, opens all and finds', async () => {
  const tab = await place.signIn(pages.object);
  await tab.click('.outline summary', 'General');
  await tab.wait(`document.querySelector('.outline').innerText.includes('Wartung')`);
  await tab.click('main button', 'Open all');
  assert.match(await tab.text('.outline'), /what lies deeper is left out/);
  await tab.fill(filterField, 'MAINT');
  assert.match(await tab.text('.outline'), /^1 value found\s+General\s+Category \(3\)\s+Name: Maintenance$/);
});

test('the history is loaded on demand and shows what each version changed', async () => {
  const tab = await place.signIn(pages.object);
  const asked = () => place.server.requests.filter(({ url }) => url.includes('/history?')).length;
  const before = asked();
  await tab.click('summary', 'All versions');
  await tab.wait(`document.querySelectorAll('.versions > li').length === 3`);
  assert.equal(asked(), before + 1);
  await tab.click('.versions details summary');
  await tab.wait(`document.querySelector('.versions .change')`);
  await tab.wait(`location.hash.includes('history=1')`);
});

test('a search shows how many hits there are, marks them and looks into contents when asked', async () => {
  const tab = await place.signIn(pages.backup);
  await tab.evaluate(`document.querySelector('#search-text').value = 'wart'`);
  await tab.click('#search button');
  await tab.wait(`document.querySelectorAll('main mark').length === 1`);
  assert.match(await tab.text('#status'), /^6 hits$/);
  await tab.click('.check input');
  await tab.wait(`document.querySelector('.excerpt mark')?.innerText === 'wart'`);
  assert.match(await tab.evaluate('location.hash'), /q=wart&contents=1/);
});

test('what is typed is looked for as it is, whatever it means elsewhere', async () => {
  const tab = await place.signIn(pages.section);
  for (const text of ['-', '.*', '\\', '[', '(', '$&', '{1}', '/', '<img']) {
    await tab.fill(filterField, text);
    assert.equal(await tab.count(row), text === '<img' || text === '/' ? 7 : 0, text);
  }
  assert.equal(await tab.evaluate(`document.querySelector('main mark')?.innerText`), '<img');
  assert.deepEqual(tab.complaints, []);
});

test('two backups are compared, swapped, and their changes opened', async () => {
  const tab = await place.signIn(pages.compare);
  assert.match(await tab.text(), /7 differences[^]*One of the backups did not read it/);
  const linkOf = (sign) => tab.evaluate(`[...document.querySelectorAll('.differences li')]
    .find((each) => each.innerText.startsWith('${sign}')).querySelector('a').getAttribute('href')`);
  assert.ok((await linkOf('+')).includes(backups[0].backup));
  assert.ok((await linkOf('−')).includes(backups[1].backup));
  await tab.click('.differences summary');
  await tab.wait(`document.querySelector('.differences .change')`);
  await tab.click('main button', 'Swap');
  await tab.wait(`location.hash === '#/0/compare/${backups[0].backup}/${backups[1].backup}'`);
});

test('the chooser leads to the same page of another backup and keeps the focus', async () => {
  const tab = await place.signIn(pages.section);
  await tab.run(() => {
    const select = document.querySelector('#backup-choice');
    select.focus();
    select.selectedIndex = 2;
    select.dispatchEvent(new Event('change'));
  });
  await tab.wait(`location.hash === ${JSON.stringify(pages.section.replace(backups[0].backup, backups[2].backup))}`);
  await tab.settle();
  assert.equal(await tab.evaluate('document.activeElement.id'), 'backup-choice');
});

test('back and forward lead to where the reader was', async () => {
  const tab = await place.signIn(pages.section);
  await tab.evaluate(`document.querySelectorAll('[data-row]')[30].focus()`);
  const top = await tab.evaluate('scrollY');
  assert.ok(top > 0);
  await tab.press('Enter');
  await tab.wait(`${heading} !== 'Policies'`);
  assert.equal(await tab.evaluate('document.activeElement.tagName'), 'H1');
  assert.equal(await tab.evaluate('scrollY'), 0);
  await tab.evaluate('history.back()');
  await tab.wait(`${heading} === 'Policies'`);
  assert.equal(await tab.evaluate('scrollY'), top);
  assert.equal(await tab.evaluate(`[...document.querySelectorAll('[data-row]')].indexOf(document.activeElement)`), 30);
  await tab.evaluate('history.forward()');
  await tab.wait(`${heading} !== 'Policies'`);
});

test('every page has a title of its own', async () => {
  const tab = await place.signIn();
  const titles = new Set();
  for (const hash of Object.values(pages)) {
    await tab.goTo(hash);
    titles.add(await tab.evaluate('document.title'));
  }
  assert.equal(titles.size, Object.keys(pages).length);
});

test('an address of no page says so', async () => {
  const tab = await place.signIn();
  for (const hash of ['#/9', '#/0/nonsense', '#/0/backups/%E0%A4%A/x', '#/0/backups/a/b/c/d']) {
    await tab.goTo(hash);
    assert.equal(await tab.evaluate(heading), 'There is no such page', hash);
  }
});

test('what fails says why where it happens, and can be tried again', async () => {
  place.server.failure = (url) => (url.includes('/change?') ? 'The disk is gone.' : null);
  const tab = await place.signIn(pages.object);
  assert.match(await tab.text('.region .trouble'), /The disk is gone/);
  assert.match(await tab.text(), /Category/);
  place.server.failure = () => null;
  await tab.click('.region .trouble button');
  await tab.wait(`document.querySelector('.region .change')`);
});
