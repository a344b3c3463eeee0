// A real browser, driven through its DevTools protocol: no more of it than the tests need.

import { spawn } from 'node:child_process';
import { once } from 'node:events';
import { mkdtemp, rm } from 'node:fs/promises';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { createInterface } from 'node:readline';

const program = process.env.ORVIK_BROWSER ?? 'chromium';
const flags = [
  '--headless=new', '--no-sandbox', '--disable-gpu', '--no-first-run', '--disable-extensions',
  '--disable-background-networking', '--disable-component-update', '--remote-debugging-port=0',
  // Tests go through more pages than a person does.
  '--disable-ipc-flooding-protection',
];
/// What a page may take for what is asked of it, on a busy machine.
const patience = 20000;

export const pause = (milliseconds) => new Promise((resolve) => setTimeout(resolve, milliseconds));

/// Calls until what it gives is true, and gives that.
export async function until(what, ask, limit = patience) {
  for (const end = Date.now() + limit; ; await pause(25)) {
    const answer = await ask();
    if (answer) return answer;
    if (Date.now() > end) throw new Error(`it took too long: ${what}`);
  }
}

const keyCodes = {
  Tab: 9, Enter: 13, Escape: 27, ' ': 32, End: 35, Home: 36, ArrowLeft: 37, ArrowUp: 38, ArrowRight: 39, ArrowDown: 40,
};
const codeOf = (key) => keyCodes[key] ?? (/^[a-z]$/i.test(key) ? key.toUpperCase().charCodeAt(0) : 0);

export class Browser {
  #socket;
  #calls = new Map();
  #listeners = new Map();
  #last = 0;

  static async start() {
    const browser = new Browser();
    browser.folder = await mkdtemp(join(tmpdir(), 'orvik-browser-'));
    browser.child = spawn(program, [...flags, `--user-data-dir=${browser.folder}`, 'about:blank'],
      { stdio: ['ignore', 'ignore', 'pipe'], env: { ...process.env, TZ: 'Europe/Berlin', HOME: browser.folder } });
    browser.ended = once(browser.child, 'close');
    process.once('exit', () => browser.child.kill());
    await browser.#connect(await browser.#address());
    return browser;
  }

  async #address() {
    for await (const line of createInterface({ input: this.child.stderr })) {
      const found = /^DevTools listening on (ws:\S+)/.exec(line);
      if (found) return found[1];
    }
    throw new Error(`${program} ended without listening`);
  }

  async #connect(address) {
    this.child.stderr.resume();
    this.#socket = new WebSocket(address);
    this.#socket.addEventListener('message', ({ data }) => this.#receive(JSON.parse(data)));
    await new Promise((resolve, reject) => {
      this.#socket.addEventListener('open', resolve);
      this.#socket.addEventListener('error', reject);
    });
  }

  #receive({ id, method, params, sessionId, result, error }) {
    if (id === undefined) return this.#listeners.get(sessionId)?.(method, params);
    const { resolve, reject } = this.#calls.get(id);
    this.#calls.delete(id);
    if (error) reject(new Error(error.message));
    else resolve(result);
  }

  call(method, params = {}, sessionId = undefined) {
    const id = ++this.#last;
    this.#socket.send(JSON.stringify({ id, method, params, sessionId }));
    return new Promise((resolve, reject) => this.#calls.set(id, { resolve, reject }));
  }

  /// A new tab; those of one context share their storage, as the tabs of one person do.
  async open(context = undefined) {
    const { targetId } = await this.call('Target.createTarget', { url: 'about:blank', browserContextId: context });
    const { sessionId } = await this.call('Target.attachToTarget', { targetId, flatten: true });
    const tab = new Tab(this, sessionId, targetId);
    this.#listeners.set(sessionId, (method, params) => tab.hear(method, params));
    await tab.prepare();
    return tab;
  }

  async newContext() {
    return (await this.call('Target.createBrowserContext')).browserContextId;
  }

  async targets() {
    return (await this.call('Target.getTargets')).targetInfos;
  }

  async stop() {
    await this.call('Browser.close').catch(() => {});
    await this.ended;
    await rm(this.folder, { recursive: true, force: true, maxRetries: 5 });
  }
}

const wordsOf = ({ exception, text }) => exception?.description ?? text;

/// A tab, with all that it asked for and complained of.
export class Tab {
  requests = [];
  complaints = [];

  constructor(browser, session, target) {
    this.browser = browser;
    this.session = session;
    this.target = target;
  }

  call(method, params = {}) {
    return this.browser.call(method, params, this.session);
  }

  async prepare() {
    for (const domain of ['Page', 'Runtime', 'Network', 'Log']) await this.call(`${domain}.enable`);
  }

  hear(method, params) {
    if (method === 'Network.requestWillBeSent') this.requests.push({ ...params.request, time: params.timestamp });
    if (method === 'Runtime.exceptionThrown') this.complaints.push(wordsOf(params.exceptionDetails));
    if (method === 'Runtime.consoleAPICalled') this.complaints.push(params.args.map(({ value }) => value).join(' '));
    if (method === 'Log.entryAdded') this.complaints.push(`${params.entry.text} ${params.entry.url ?? ''}`);
  }

  /// What an expression gives in the page, once it has it.
  async evaluate(expression) {
    const asked = { expression, awaitPromise: true, returnByValue: true };
    const { result, exceptionDetails } = await this.call('Runtime.evaluate', asked);
    if (exceptionDetails) throw new Error(wordsOf(exceptionDetails));
    return result.value;
  }

  /// What a function gives that is called in the page. Of this file it sees nothing.
  run(work, ...values) {
    return this.evaluate(`(${work})(...${JSON.stringify(values)})`);
  }

  count(selector) {
    return this.run((all) => document.querySelectorAll(all).length, selector);
  }

  texts(selector) {
    return this.run((all) => [...document.querySelectorAll(all)].map((each) => each.innerText), selector);
  }

  attribute(selector, name) {
    return this.run((one, called) => document.querySelector(one).getAttribute(called), selector, name);
  }

  /// Clicks the first element that has the words.
  click(selector, words = '') {
    return this.run((all, text) => {
      const found = [...document.querySelectorAll(all)].find((each) => each.innerText.includes(text));
      found.click();
    }, selector, words);
  }

  /// Types into a field at once.
  fill(selector, text) {
    return this.run((one, value) => {
      const field = document.querySelector(one);
      field.value = value;
      field.dispatchEvent(new Event('input', { bubbles: true }));
    }, selector, text);
  }

  /// Waits for an expression to be true, over loads of the page.
  async wait(expression, limit) {
    try {
      return await until(expression, () => this.evaluate(expression).catch(() => false), limit);
    } catch (error) {
      const shown = await this.run(() => [location.hash, document.body.innerText.slice(0, 800)]);
      throw new Error([error.message, ...shown, ...this.complaints].join('\n'));
    }
  }

  async visit(url) {
    await this.call('Page.navigate', { url });
  }

  async reload() {
    await this.evaluate('window.wasLoadedBefore = true');
    await this.call('Page.reload');
    await this.wait('!window.wasLoadedBefore && document.readyState === "complete"');
  }

  /// Goes to a page of the program's and waits until it is whole.
  async goTo(hash) {
    await this.evaluate(`location.hash = ${JSON.stringify(hash)}`);
    await this.settle();
  }

  /// Waits until nothing is loading any more.
  async settle() {
    await pause(60);
    await this.wait(`document.querySelector('main h1') && !document.querySelector('[aria-busy]')`);
  }

  /// Presses a key; modifiers are 1 for Alt, 2 for Control, 4 for Meta.
  async press(key, modifiers = 0) {
    const text = key === 'Enter' ? '\r' : key.length === 1 && !modifiers ? key : undefined;
    const event = { key, modifiers, windowsVirtualKeyCode: codeOf(key) };
    await this.call('Input.dispatchKeyEvent', { type: text ? 'keyDown' : 'rawKeyDown', text, ...event });
    await this.call('Input.dispatchKeyEvent', { type: 'keyUp', ...event });
  }

  async type(text) {
    for (const key of text) await this.press(key);
  }

  async look({ width = 1280, height = 860, scheme = 'light', media = '' } = {}) {
    await this.call('Emulation.setDeviceMetricsOverride', { width, height, deviceScaleFactor: 1, mobile: false });
    await this.call('Emulation.setScrollbarsHidden', { hidden: true });
    await this.call('Emulation.setEmulatedMedia', { media, features: [{ name: 'prefers-color-scheme', value: scheme }] });
  }

  /// A picture of the page, of no more than so many pixels of its height.
  async picture(highest = 2400) {
    const { cssContentSize: { width, height } } = await this.call('Page.getLayoutMetrics');
    const clip = { x: 0, y: 0, width, height: Math.min(height, highest), scale: 1 };
    const { data } = await this.call('Page.captureScreenshot', { format: 'png', captureBeyondViewport: true, clip });
    return Buffer.from(data, 'base64');
  }

  text(selector = 'main') {
    return this.run((one) => document.querySelector(one)?.innerText ?? '', selector);
  }

  async saveInto(downloadPath) {
    const { targetInfo: { browserContextId } } = await this.call('Target.getTargetInfo');
    await this.browser.call('Browser.setDownloadBehavior', { behavior: 'allow', downloadPath, browserContextId });
  }

  async close() {
    await this.browser.call('Target.closeTarget', { targetId: this.target });
  }
}
