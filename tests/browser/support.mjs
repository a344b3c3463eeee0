// What the tests share: a browser, and a tab that the printed address was opened in.

import { after, before } from 'node:test';
import { Browser } from './chromium.mjs';
import { MadeUp } from './madeup.mjs';

/// The browser and the made-up program of a test file; each test asks for a tab of its own.
export function prepare() {
  const place = { signIn: async (hash) => signIn(place, hash) };
  before(async () => {
    place.browser = await Browser.start();
    place.server = await MadeUp.start();
  });
  after(async () => {
    await place.browser?.stop();
    await place.server?.stop();
  });
  return place;
}

/// A tab of a person of its own, at a page.
async function signIn({ browser, server }, hash) {
  const tab = await browser.open(await browser.newContext());
  await tab.look();
  await tab.visit(server.url);
  await tab.settle();
  if (hash) await tab.goTo(hash);
  return tab;
}
