// A real browser, driven through its DevTools protocol: no more of it than the tests need.

import { spawn } from 'node:child_process';
import { once } from 'node:events';
import { mkdtemp, rm } from 'node:fs/promises';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { createInterface } from 'node:readline';

const program = process.env.ORVIK_BROWSER ?? 'chromium';
const flags = ['--headless=new', '--no-sandbox', '--disable-gpu', '--no-first-run', '--disable-extensions',
  // Tests go through more pages than a person does.
  '--disable-ipc-flooding-protection', '--disable-background-networking', '--disable-component-update', '--remote-debugging-port=0'];
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

const keyCodes = { Enter: 13, Tab: 9, Escape: 27, Home: 36, End: 35, ArrowLeft: 37, ArrowUp: 38, ArrowRight: 39, ArrowDown: 40, ' ': 32 };

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
    if (method === 'Runtime.exceptionThrown') this.complaints.push(params.exceptionDetails.exception?.description ?? params.exceptionDetails.text);
    if (method === 'Runtime.consoleAPICalled') this.complaints.push(params.args.map(({ value }) => value).join(' '));
    if (method === 'Log.entryAdded') this.complaints.push(`${params.entry.text} ${params.entry.url ?? ''}`);
  }

  /// What an expression gives in the page, once it has it.
  async evaluate(expression) {
    const { result, exceptionDetails } = await this.call('Runtime.evaluate', { expression, awaitPromise: true, returnByValue: true });
    if (exceptionDetails) throw new Error(exceptionDetails.exception?.description ?? exceptionDetails.text);
    return result.value;
  }

  /// Waits for an expression to be true, over loads of the page.
  async wait(expression, limit) {
    try {
      return await until(expression, () => this.evaluate(expression).catch(() => false), limit);
    } catch (error) {
      throw new Error(`${error.message}\n${await this.evaluate('location.hash + "\\n" + document.body.innerText.slice(0, 800)')}\n${this.complaints.join('\n')}`);
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
    await this.wait(`document.querySelector('main h1') && !document.querySelector('[aria-busy]') && !document.querySelector('#waiting').textContent`);
  }

  /// Presses a key; modifiers are 1 for Alt, 2 for Control, 4 for Meta.
  async press(key, modifiers = 0) {
    const text = key === 'Enter' ? '\r' : key.length === 1 && !modifiers ? key : undefined;
    const event = { key, modifiers, windowsVirtualKeyCode: keyCodes[key] ?? (/^[a-z]$/i.test(key) ? key.toUpperCase().charCodeAt(0) : 0) };
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
    return this.evaluate(`document.querySelector(${JSON.stringify(selector)})?.innerText ?? ''`);
  }

  async close() {
    await this.browser.call('Target.closeTarget', { targetId: this.target });
  }
}
