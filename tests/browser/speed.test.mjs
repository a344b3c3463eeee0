// Many objects, and answers that come late.

import assert from 'node:assert/strict';
import { test } from 'node:test';
import { pause } from './chromium.mjs';
import { pages } from './answers.mjs';
import { prepare } from './support.mjs';

const place = prepare();
const heading = `(document.querySelector('h1')?.innerText ?? '')`;
const rows = `document.querySelectorAll('main [data-row]').length`;
const computers = pages.section.replace('policies', 'computers');

test('20,000 objects show soon, filter at once and can all be shown', async () => {
  const tab = await place.signIn();
  const start = Date.now();
  await tab.goTo(computers);
  assert.ok(Date.now() - start < 8000, `${Date.now() - start} ms`);
  const first = await tab.evaluate(rows);
  assert.ok(first >= 300 && first < 20000, String(first));
  const filtering = Date.now();
  await tab.fill('main input[type=search]', 'mac-19999');
  assert.equal(await tab.evaluate(rows), 1);
  assert.ok(Date.now() - filtering < 2000, `${Date.now() - filtering} ms`);
  await tab.fill('main input[type=search]', '');
  await tab.click('main button', 'Show all');
  assert.equal(await tab.evaluate(rows), 20000);
});

test('a list grows as its reader comes to its end', async () => {
  const tab = await place.signIn(computers);
  const before = await tab.evaluate(rows);
  await tab.evaluate('scrollTo(0, document.documentElement.scrollHeight)');
  await tab.wait(`${rows} > ${before}`);
});

test('an answer that comes after the page has changed is dropped', async () => {
  const tab = await place.signIn();
  place.server.delay = (url) => (url.includes('section=policies') ? 700 : 0);
  try {
    await tab.run(() => {
      const main = document.querySelector('main');
      window.shown = [];
      new MutationObserver(() => window.shown.push(main.querySelector('h1')?.innerText)).observe(main, { childList: true });
    });
    await tab.evaluate(`location.hash = ${JSON.stringify(pages.section)}`);
    await pause(50);
    await tab.goTo(pages.section.replace('policies', 'scripts'));
    assert.equal(await tab.evaluate(heading), 'Scripts');
    await pause(900);
    assert.deepEqual(await tab.evaluate('[...new Set(shown)]'), ['Scripts']);
    assert.deepEqual(tab.complaints, []);
  } finally {
    place.server.delay = () => 0;
  }
});

test('a page that takes long says so, one that is quick does not flicker', async () => {
  const tab = await place.signIn();
  await tab.run(() => {
    const words = document.querySelector('#waiting');
    window.told = [];
    new MutationObserver(() => window.told.push(words.textContent)).observe(words, { childList: true });
  });
  place.server.delay = (url) => (url.includes('/entries') ? 900 : 0);
  try {
    await tab.evaluate(`location.hash = ${JSON.stringify(pages.section)}`);
    await tab.wait(`document.querySelector('#waiting').textContent === 'Loading…'`);
    await tab.wait(`${heading} === 'Policies'`);
    assert.deepEqual(await tab.evaluate('told'), ['Loading…', '']);
  } finally {
    place.server.delay = () => 0;
  }
});
