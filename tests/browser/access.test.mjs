// Who gets in: the token, other tabs, and a program that has ended.

import assert from 'node:assert/strict';
import { readdir, readFile } from 'node:fs/promises';
import { test } from 'node:test';
import { pause } from './chromium.mjs';
import { pages } from './answers.mjs';
import { prepare } from './support.mjs';

const place = prepare();
const heading = `(document.querySelector('h1')?.innerText ?? '')`;
const refused = 'Open the address that orvik browse printed';

test('the token leaves the address at once and is in no request but its header', async () => {
  const tab = await place.signIn();
  for (const hash of Object.values(pages)) await tab.goTo(hash);
  await tab.reload();
  await tab.settle();
  const { token, requests } = place.server;
  assert.ok(!(await tab.evaluate('location.href')).includes(token));
  assert.ok(requests.length > 20);
  for (const { url, headers } of requests) {
    assert.ok(!url.includes(token), url);
    assert.equal(headers.referer, undefined);
    if (url.startsWith('/api/')) assert.equal(headers.authorization, `Bearer ${token}`);
    else assert.equal(headers.authorization, undefined);
  }
  const { entries } = await tab.call('Page.getNavigationHistory');
  assert.ok(entries.every(({ url }) => !url.includes(token)), JSON.stringify(entries));
});

test('a reload keeps the page', async () => {
  const tab = await place.signIn(pages.object);
  const before = await tab.evaluate(heading);
  await tab.reload();
  await tab.settle();
  assert.equal(await tab.evaluate(heading), before);
  assert.equal(await tab.evaluate('location.hash'), pages.object);
});

test('a tab without a token says what to open', async () => {
  const tab = await place.browser.open(await place.browser.newContext());
  await tab.visit(`${place.server.origin}/`);
  await tab.wait(`${heading} === '${refused}'`);
  assert.equal(place.server.requests.filter(({ headers }) => headers.authorization === 'Bearer null').length, 0);
});

test('a wrong token says the same, and the printed address opens the tab again', async () => {
  const tab = await place.browser.open(await place.browser.newContext());
  await tab.visit(`${place.server.origin}/#token=00ff`);
  await tab.wait(`${heading} === '${refused}'`);
  assert.equal(await tab.evaluate(`sessionStorage.getItem('orvik-token')`), null);
  await tab.visit(place.server.url);
  await tab.wait(`${heading} === 'School'`);
  assert.ok(!(await tab.evaluate('location.href')).includes('token'));
});

test('a new tab asks the others for the token', async () => {
  const context = await place.browser.newContext();
  const first = await place.browser.open(context);
  await first.visit(place.server.url);
  await first.settle();
  const second = await place.browser.open(context);
  await second.visit(`${place.server.origin}/${pages.section}`);
  await second.wait(`${heading} === 'Policies'`);
  const stranger = await place.browser.open(await place.browser.newContext());
  await stranger.visit(`${place.server.origin}/${pages.section}`);
  await stranger.wait(`${heading} === '${refused}'`);
});

test('a tab whose token is no longer taken gets the new one from another', async () => {
  const context = await place.browser.newContext();
  const tabs = [await place.browser.open(context), await place.browser.open(context)];
  await tabs[0].visit(place.server.url);
  await tabs[0].settle();
  const before = place.server.token;
  place.server.token = 'fedcba9876543210';
  try {
    await tabs[1].visit(place.server.url);
    await tabs[1].settle();
    await tabs[0].goTo(pages.section);
    assert.equal(await tabs[0].evaluate(heading), 'Policies');
  } finally {
    place.server.token = before;
  }
});

test('a program that ended says so calmly, and a new try finds it again', async () => {
  const tab = await place.signIn();
  await place.server.stop();
  await tab.evaluate(`location.hash = ${JSON.stringify(pages.section)}`);
  await tab.wait(`!document.querySelector('#banner').hidden`);
  assert.match(await tab.text('#banner'), /orvik browse has ended: start it again/);
  await place.server.again();
  await tab.click('#banner button');
  await tab.wait(`${heading} === 'Policies'`);
  assert.equal(await tab.evaluate(`document.querySelector('#banner').hidden`), true);
});

test('no page asks for anything but its own origin, or complains', async () => {
  const tab = await place.signIn();
  for (const [name, hash] of Object.entries(pages)) if (name !== 'unknown') await tab.goTo(hash);
  await tab.evaluate(`[...document.querySelectorAll('details')].forEach((each) => (each.open = true))`);
  await pause(300);
  const foreign = tab.requests.filter(({ url }) => new URL(url).origin !== place.server.origin);
  assert.deepEqual(foreign, []);
  assert.ok(tab.requests.length > 10);
  assert.deepEqual(tab.complaints, []);
});

test('the page holds no markup from data, no inline script or style and no foreign address', async () => {
  const folder = new URL('../../orvik/Browse/Page/', import.meta.url);
  for (const name of await readdir(folder)) {
    const text = await readFile(new URL(name, folder), 'utf8');
    assert.doesNotMatch(text, /(inner|outer|Adjacent|set)HTML|document\.write|DOMParser|eval\(|new Function/, name);
    assert.doesNotMatch(text.replace('http://www.w3.org/2000/svg', ''), /https?:\/\//, name);
    if (name.endsWith('.html')) assert.doesNotMatch(text, /<style|style=|\son\w+=|<script(?![^>]*src=)/, name);
  }
});
