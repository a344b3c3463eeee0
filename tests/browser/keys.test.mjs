// The keyboard alone.

import assert from 'node:assert/strict';
import { test } from 'node:test';
import { backups, pages } from './answers.mjs';
import { prepare } from './support.mjs';

const place = prepare();
const [newest, second] = backups.map(({ backup }) => backup);
const at = (hash) => `location.hash === ${JSON.stringify(hash)} && !document.querySelector('[aria-busy]')`;
const heading = `(document.querySelector('h1')?.innerText ?? '')`;
const active = `document.activeElement.innerText || document.activeElement.id`;

/// Presses keys one after another, and waits after each that leads elsewhere.
async function walk(tab, steps) {
  for (const [key, title] of steps) {
    await tab.press(key);
    if (title) await tab.wait(`${heading} === ${JSON.stringify(title)} && !document.querySelector('[aria-busy]')`);
  }
}

test('every page is reached by the keyboard alone', async () => {
  await place.server.withFolders(async () => {
    const tab = await place.signIn();
    const [backup, object] = ['Backup of 5 Mar 2025, 10:15', 'Wartung: Quill Notes'];
    await walk(tab, [['j'], ['Enter', 'School'], ['j'], ['Enter', backup]]);
    await walk(tab, [['j'], ['j'], ['j'], ['j'], ['Enter', 'Policies'], ['j'], ['ArrowDown'], ['Enter', object]]);
    await walk(tab, [['c', 'Compare 3 Mar 2025, 10:15 with 5 Mar 2025, 10:15'], ['j'], ['Enter', object], ['/']]);
    await tab.type('wart');
    await walk(tab, [['Enter', 'Search: wart'], ['u', backup], ['u', 'School'], ['u', 'Folders']]);
  });
});

test('the first stop of the tab key skips to the content', async () => {
  const tab = await place.signIn();
  await tab.reload();
  await tab.settle();
  await tab.press('Tab');
  assert.equal(await tab.evaluate('document.activeElement.id'), 'skip');
  await tab.press('Enter');
  assert.equal(await tab.evaluate('document.activeElement.id'), 'main');
});

test('every control of a page is a stop of the tab key with a ring to see', async () => {
  const tab = await place.signIn(pages.object);
  await tab.evaluate(`document.body.tabIndex = -1, document.body.focus()`);
  const seen = new Set();
  for (let stop = 0; stop < 60; ++stop) {
    await tab.press('Tab');
    const [index, ring] = await tab.run(() => {
      const { activeElement: it, body } = document;
      return [it === body ? -1 : [...document.querySelectorAll('*')].indexOf(it), getComputedStyle(it).outlineStyle];
    });
    if (index < 0) continue;
    if (seen.has(index)) break;
    seen.add(index);
    assert.notEqual(ring, 'none', await tab.evaluate('document.activeElement.outerHTML.slice(0, 200)'));
  }
  const missed = await tab.run((stops) => {
    const controls = [...document.querySelectorAll('*')].map((each, place) => [each, place])
      .filter(([each]) => each.matches('main :is(a[href], button, input, summary)'));
    return controls.filter(([, place]) => !stops.includes(place)).map(([each]) => each.outerHTML.slice(0, 100));
  }, [...seen]);
  assert.deepEqual(missed, []);
});

test('arrows move along the time line, which is one stop of the tab key', async () => {
  const tab = await place.signIn();
  await tab.evaluate(`document.querySelector('.mark[tabindex="0"]').focus()`);
  await tab.press('ArrowLeft');
  assert.match(await tab.evaluate(`document.activeElement.getAttribute('aria-label')`), /^3 Mar 2025/);
  await tab.press('Home');
  assert.match(await tab.evaluate(`document.activeElement.getAttribute('aria-label')`), /812 new/);
  await tab.press('End');
  await tab.press('Enter');
  await tab.wait(at(pages.backup));
});

test('brackets lead to the same page of the older and the newer backup', async () => {
  const tab = await place.signIn(pages.section);
  await tab.press('[');
  await tab.wait(at(pages.section.replace(newest, second)));
  await tab.press(']');
  await tab.wait(at(pages.section));
  await tab.press(']');
  assert.equal(await tab.evaluate('location.hash'), pages.section);
});

test('keys of one letter are letters in a field, and nothing with Control', async () => {
  const tab = await place.signIn(pages.section);
  await tab.press('/');
  await tab.type('jku?c[');
  assert.equal(await tab.evaluate(`document.querySelector('#search-text').value`), 'jku?c[');
  assert.equal(await tab.evaluate('location.hash'), pages.section);
  await tab.evaluate('document.activeElement.blur()');
  await tab.press('u', 2);
  await tab.press('k', 4);
  assert.equal(await tab.evaluate('location.hash'), pages.section);
});

test('a dialog lists the keys, can switch them off, and gives the focus back', async () => {
  const tab = await place.signIn(pages.section);
  await tab.press('j');
  const row = await tab.evaluate(active);
  await tab.press('?');
  assert.equal(await tab.evaluate(`document.querySelector('#keys').open`), true);
  assert.match(await tab.text('#keys'), /Older backup/);
  await tab.press(' ');
  await tab.press('Escape');
  assert.equal(await tab.evaluate(`document.querySelector('#keys').open`), false);
  assert.equal(await tab.evaluate(active), row);
  await tab.press('u');
  assert.equal(await tab.evaluate('location.hash'), pages.section);
});

test('a page that is shown has the focus on its heading', async () => {
  const tab = await place.signIn(pages.object);
  for (const hash of Object.values(pages)) {
    await tab.goTo(hash);
    assert.equal(await tab.evaluate('document.activeElement.tagName'), 'H1', hash);
  }
});
