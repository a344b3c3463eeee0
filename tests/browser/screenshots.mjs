// Pictures of all pages, light, dark and on a phone: screenshots.mjs FOLDER

import { mkdir, writeFile } from 'node:fs/promises';
import { join } from 'node:path';
import { Browser } from './chromium.mjs';
import { pages } from './answers.mjs';
import { MadeUp } from './madeup.mjs';

const folder = process.argv[2];
const looks = { light: {}, dark: { scheme: 'dark' }, phone: { width: 360, height: 740 } };

const clickSummary = (words) =>
  `[...document.querySelectorAll('main summary')].find((each) => each.innerText.includes('${words}'))?.click()`;
/// What is opened on a page before its picture is taken.
const opened = { compare: 'What changed', object: 'All versions', backup: 'Switched off' };

async function take(tab, name) {
  await writeFile(join(folder, `${name}.png`), await tab.picture());
}

async function takePages(tab, look) {
  for (const [name, hash] of Object.entries(pages)) {
    await tab.goTo(hash);
    if (opened[name]) await tab.evaluate(clickSummary(opened[name]));
    await tab.settle();
    await take(tab, `${name}-${look}`);
  }
  await tab.goTo(pages.section);
  await tab.press('j');
  await tab.press('?');
  await take(tab, `keys-${look}`);
  await tab.press('Escape');
}

/// What a reader sees who can't go on: several folders with a problem, no token, no program.
async function takeTroubles(tab, server, look) {
  await server.withFolders(async () => {
    await tab.reload();
    await tab.goTo('#/');
    await take(tab, `folders-${look}`);
  });
  await server.stop();
  await tab.evaluate(`location.hash = '${pages.removed}'`);
  await tab.wait(`!document.querySelector('#banner').hidden`);
  await take(tab, `ended-${look}`);
  await server.again();
  await tab.evaluate('sessionStorage.clear()');
  await tab.reload();
  await tab.settle();
  await take(tab, `refused-${look}`);
}

await mkdir(folder, { recursive: true });
const server = await MadeUp.start();
const browser = await Browser.start();
for (const [look, values] of Object.entries(looks)) {
  const tab = await browser.open(await browser.newContext());
  await tab.look(values);
  await tab.visit(server.url);
  await tab.settle();
  await takePages(tab, look);
  await takeTroubles(tab, server, look);
}
await browser.stop();
await server.stop();
