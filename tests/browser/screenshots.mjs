// Pictures of all pages, light, dark and on a phone: screenshots.mjs FOLDER

import { mkdir, writeFile } from 'node:fs/promises';
import { join } from 'node:path';
import { Browser } from './chromium.mjs';
import { MadeUp, pages } from './madeup.mjs';

const folder = process.argv[2];
const looks = { light: {}, dark: { scheme: 'dark' }, phone: { width: 360, height: 740 } };

async function take(tab, name) {
  await writeFile(join(folder, `${name}.png`), await tab.picture());
}

await mkdir(folder, { recursive: true });
const server = await MadeUp.start();
const browser = await Browser.start();
const tab = await browser.open();
for (const [look, values] of Object.entries(looks)) {
  await tab.look(values);
  await tab.visit('about:blank');
  await tab.visit(server.url);
  await tab.settle();
  for (const [name, hash] of Object.entries(pages)) {
    await tab.goTo(hash);
    if (name === 'compare') await tab.evaluate(`document.querySelector('.differences details summary').click()`);
    if (name === 'object') await tab.evaluate(`for (const s of document.querySelectorAll('summary')) if (/versions/.test(s.textContent)) s.click()`);
    await tab.settle();
    await take(tab, `${name}-${look}`);
  }
  await tab.press('?');
  await take(tab, `keys-${look}`);
}
await browser.stop();
await server.stop();
