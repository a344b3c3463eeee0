// Names and texts that want to be more than that.

import assert from 'node:assert/strict';
import { test } from 'node:test';
import { hostile, pages } from './answers.mjs';
import { prepare } from './support.mjs';

const place = prepare();
const shown = hostile.replace('\u202e', '<U+202E>').replace('\u0007', '␇');

test('hostile names are shown as text on every page that has one', async () => {
  const tab = await place.signIn();
  for (const name of ['section', 'object', 'search', 'compare']) {
    await tab.goTo(pages[name]);
    const text = await tab.run(() => document.querySelector('main').textContent);
    assert.ok(text.includes(shown), name);
    assert.doesNotMatch(text, /[\u0000-\u0008\u000b-\u001f\u007f-\u009f\u200e\u200f\u202a-\u202e\u2066-\u2069]/, name);
    assert.equal(await tab.count('main :is(img, script, iframe, object)'), 0);
  }
  assert.equal(await tab.evaluate('window.hacked'), undefined);
  assert.deepEqual(tab.complaints, []);
});

test('a hostile name is harmless in title, breadcrumbs and attributes', async () => {
  const tab = await place.signIn(`${pages.section}/3`);
  assert.ok((await tab.evaluate('document.title')).startsWith(shown));
  assert.ok((await tab.text('#trail')).includes(shown));
  const values = await tab.run(() =>
    [...document.querySelectorAll('*')].flatMap((each) => [...each.attributes].map(({ value }) => value)));
  assert.deepEqual(values.filter((value) => /[\u0007\u202e]/.test(value)), []);
});

test('copying gives the text as it is, and a download a name without marks', async () => {
  const tab = await place.signIn(pages.object);
  await tab.run(() => {
    navigator.clipboard.writeText = async (text) => (window.copied = text);
    document.querySelectorAll('.text-head button')[1].click();
  });
  await tab.wait('window.copied');
  assert.equal(await tab.evaluate('window.copied'), 'Ask the lab first.\n\u202eThis line turns.');
  await tab.run(() => {
    HTMLAnchorElement.prototype.click = function () {
      window.saved = [this.download, this.href];
    };
  });
  await tab.click('main button', 'Save Script');
  await tab.wait('window.saved');
  const [name, href] = await tab.evaluate('window.saved');
  assert.equal(name, 'x_gnp.sh');
  assert.ok(href.startsWith(`blob:${place.server.origin}/`));
});

test('an address from elsewhere can not run a script', async () => {
  const tab = await place.signIn();
  for (const part of ['<img src=x onerror=window.hacked=1>', 'javascript:window.hacked=1', '__proto__', 'constructor']) {
    await tab.goTo(`#/0/backups/${encodeURIComponent(part)}/${encodeURIComponent(part)}`);
    await tab.goTo(`${pages.backup}?filter=${encodeURIComponent(part)}&kinds=${encodeURIComponent(part)}`);
    await tab.goTo(`${pages.search.split('?')[0]}?q=${encodeURIComponent(part)}`);
  }
  assert.equal(await tab.evaluate('window.hacked'), undefined);
});

test('a policy that forbids everything else is never broken', async () => {
  const tab = await place.signIn();
  await tab.run(() => {
    const note = ({ violatedDirective }) => (window.violations ??= []).push(violatedDirective);
    document.addEventListener('securitypolicyviolation', note);
  });
  for (const hash of Object.values(pages)) await tab.goTo(hash);
  assert.equal(await tab.evaluate('window.violations'), undefined);
});
