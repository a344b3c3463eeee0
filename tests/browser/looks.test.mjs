// What can be measured of how the pages look and read.

import assert from 'node:assert/strict';
import { test } from 'node:test';
import { pages } from './answers.mjs';
import { prepare } from './support.mjs';

const place = prepare();

/// Opens all that is folded.
const unfold = `document.querySelectorAll('details').forEach((each) => (each.open = true))`;

/// In the page: each visible text whose contrast with what lies below it is less than WCAG 2 AA asks (1.4.3).
function faintTexts() {
  const canvas = document.createElement('canvas').getContext('2d', { willReadFrequently: true });
  const rgba = (color) => {
    canvas.clearRect(0, 0, 1, 1);
    canvas.fillStyle = color;
    canvas.fillRect(0, 0, 1, 1);
    const [r, g, b, a] = canvas.getImageData(0, 0, 1, 1).data;
    return { rgb: [r, g, b], a: a / 255 };
  };
  const ground = (element) => {
    for (let at = element; at; at = at.parentElement) {
      const color = rgba(getComputedStyle(at).backgroundColor);
      if (color.a === 1) return color.rgb;
    }
    return [255, 255, 255];
  };
  const light = (rgb) => {
    const linear = (value) => (value <= 0.04045 ? value / 12.92 : ((value + 0.055) / 1.055) ** 2.4);
    const [r, g, b] = rgb.map((value) => linear(value / 255));
    return 0.2126 * r + 0.7152 * g + 0.0722 * b;
  };
  const found = [];
  let count = 0;
  const judge = (element, color, words) => {
    const style = getComputedStyle(element);
    const size = parseFloat(style.fontSize);
    const isLarge = size >= 24 || (size >= 18.66 && Number(style.fontWeight) >= 700);
    const [a, b] = [light(rgba(color).rgb), light(ground(element))].sort((x, y) => y - x);
    const ratio = (a + 0.05) / (b + 0.05);
    ++count;
    if (ratio < (isLarge ? 3 : 4.5)) found.push(`${words}: ${ratio.toFixed(2)}`);
  };
  const walker = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
  while (walker.nextNode()) {
    const { parentElement, data } = walker.currentNode;
    const words = data.trim().slice(0, 40);
    if (words && parentElement.checkVisibility()) judge(parentElement, getComputedStyle(parentElement).color, words);
  }
  for (const field of document.querySelectorAll('input[placeholder]'))
    if (field.checkVisibility()) judge(field, getComputedStyle(field, '::placeholder').color, field.placeholder);
  return { found, count };
}

for (const scheme of ['light', 'dark']) {
  test(`all texts have the contrast of WCAG AA in the ${scheme} scheme`, async () => {
    const tab = await place.signIn();
    await tab.look({ scheme });
    for (const [name, hash] of Object.entries(pages)) {
      await tab.goTo(hash);
      await tab.evaluate(unfold);
      await tab.settle();
      const { found, count } = await tab.run(faintTexts);
      assert.ok(count > 10, name);
      assert.deepEqual(found, [], name);
    }
    const ground = await tab.run(() => getComputedStyle(document.body).backgroundColor);
    assert.equal(ground, scheme === 'dark' ? 'rgb(20, 23, 27)' : 'rgb(246, 247, 249)');
  });
}

test('no page scrolls sideways at 360 pixels', async () => {
  const tab = await place.signIn();
  await tab.look({ width: 360, height: 740 });
  await place.server.withFolders(async () => {
    await tab.reload();
    for (const [name, hash] of Object.entries({ ...pages, folders: '#/', hostile: `${pages.section}/3` })) {
      await tab.goTo(hash);
      await tab.evaluate(unfold);
      await tab.settle();
      const [content, window] = await tab.evaluate('[document.documentElement.scrollWidth, innerWidth]');
      assert.ok(content <= window, `${name}: ${content}`);
    }
  });
});

test('headings are in order below one of the first level, with one main and its landmarks', async () => {
  const tab = await place.signIn();
  for (const [name, hash] of Object.entries(pages)) {
    await tab.goTo(hash);
    const levels = await tab.run(() =>
      [...document.querySelectorAll('main :is(h1, h2, h3, h4)')].map(({ tagName }) => Number(tagName[1])));
    assert.equal(levels[0], 1, name);
    assert.equal(levels.filter((level) => level === 1).length, 1, name);
    levels.forEach((level, index) => assert.ok(index === 0 || level - levels[index - 1] <= 1, `${name}: ${levels}`));
    for (const landmark of ['main', 'body > header', 'body > footer', '#trail [aria-current=page]'])
      assert.equal(await tab.count(landmark), 1, `${name}: ${landmark}`);
  }
});

test('every field and button has a name, every table heads', async () => {
  const tab = await place.signIn();
  for (const [name, hash] of Object.entries(pages)) {
    await tab.goTo(hash);
    const nameless = await tab.run(() => {
      const nameOf = (each) => each.getAttribute('aria-label') || each.innerText.trim() || each.labels?.[0]?.innerText;
      const all = [...document.querySelectorAll('input, select, button, a[href], [role=region]')];
      return all.filter((each) => !nameOf(each)).map((each) => each.outerHTML);
    });
    assert.deepEqual(nameless, [], name);
    assert.equal(await tab.count('main table:not(:has(thead th[scope=col]))'), 0, name);
  }
});

test('kinds are told by words and a sign, not by colour alone', async () => {
  const tab = await place.signIn(pages.section);
  const chips = new Set(await tab.texts('td .chip'));
  assert.deepEqual([...chips].sort(), ['! not readable', '+ new', '= unchanged', '~ changed', '− removed']);
});

test('nothing moves for those who asked for less motion', async () => {
  const tab = await place.signIn(pages.backups);
  await tab.call('Emulation.setEmulatedMedia', { features: [{ name: 'prefers-reduced-motion', value: 'reduce' }] });
  const styles = await tab.run(() => [...document.querySelectorAll('*')].map((each) => {
    const { transitionDuration, animationName } = getComputedStyle(each);
    return `${transitionDuration} ${animationName}`;
  }));
  assert.deepEqual([...new Set(styles)], ['0s none']);
});

test('print leaves out what can only be clicked and cuts no code off', async () => {
  const tab = await place.signIn(pages.object);
  await tab.look({ media: 'print' });
  assert.equal(await tab.evaluate(`document.querySelector('footer').checkVisibility()`), false);
  assert.equal(await tab.evaluate(`getComputedStyle(document.querySelector('.code')).maxHeight`), 'none');
});

test('the page is small', async () => {
  const tab = await place.signIn();
  const size = await tab.run(() => performance.getEntriesByType('resource')
    .filter(({ name }) => !name.includes('/api/')).reduce((sum, { decodedBodySize }) => sum + decodedBodySize, 0));
  assert.ok(size > 20000 && size < 90000, String(size));
});
