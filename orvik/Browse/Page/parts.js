import { endedText } from './api.js';
import { ofSameMinute } from './data.js';
import { add, fill, h } from './dom.js';
import { dateText, hits, number, visibleLine } from './text.js';

/// What happened to objects; each has a sign, so that colour tells nobody more than others.
export const kinds = new Map([
  ['new', { word: 'new', sign: '+' }],
  ['changed', { word: 'changed', sign: '~' }],
  ['removed', { word: 'removed', sign: '−' }],
  ['failed', { word: 'not readable', sign: '!' }],
  ['unchanged', { word: 'unchanged', sign: '=' }],
]);

export const kindOf = (change) => kinds.get(change) ?? { word: visibleLine(String(change)), sign: '?' };

/// "+ 2 new", or "+ new" without a count.
export function chip(change, count) {
  const { word, sign } = kindOf(change);
  const text = count === undefined ? word : `${number(count)} ${word}`;
  const look = kinds.has(change) ? change : 'unchanged';
  return h(`span.chip.${look}`, {}, h('span', { 'aria-hidden': 'true' }, sign), ' ', text);
}

/// A chip for each kind that there is of something.
export function chips(counts) {
  const shown = [...kinds.keys()].filter((kind) => kind !== 'unchanged' && counts?.[kind]);
  if (!shown.length) return h('span.faint', {}, 'no changes');
  return h('span.chips', {}, shown.map((kind) => chip(kind, counts[kind])));
}

/// A name from elsewhere, with the stretches that a search found.
export function nameOf(text, query) {
  const shown = visibleLine(text ?? '') || '(no name)';
  return h('bdi.name', {}, marked(shown, query));
}

export const marked = (text, query) =>
  hits(text, query).map((part) => (part.isHit ? h('mark', {}, part.text) : part.text));

/// What a row of a list leads to; the keys of rows move among these.
export const rowLink = (href, ...children) => h('a.title', { href, 'data-row': true }, children);

/// A table with a head for each column: a title, or [title, class].
export function table(kind, heads, body) {
  const cells = heads.map((head) => {
    const [title, look] = [head].flat();
    return h('th', { scope: 'col', class: look }, title);
  });
  return h(`table.${kind}`, {}, h('thead', {}, h('tr', {}, cells)), body);
}

export const time = (iso, form) => h('time', { datetime: iso, title: iso }, dateText(iso, form));

/// A choice for each backup of a list.
export function options(list) {
  const doubtful = ofSameMinute(list);
  return list.map(({ backup, finishedAt }, place) =>
    h('option', { value: backup, title: backup }, dateText(finishedAt), doubtful.has(backup) && `, ${backup}`, !place && ' (newest)'));
}

export const code = (text) => h('code.id', {}, visibleLine(text));

/// Words of what failed, with a way to try again.
export function trouble(error, retry) {
  const text = error.isEnded ? endedText : error.message;
  return h('div.trouble', { role: 'alert' }, h('p', {}, text),
    retry && h('button', { type: 'button', onclick: retry }, 'Try again'));
}

/// A box that fills itself with what `show` makes of what `load` gets. What comes after `signal` is dropped.
export function region(signal, load, show, waiting = 'Loading…') {
  const box = h('div.region', {});
  const run = async () => {
    box.setAttribute('aria-busy', 'true');
    const timer = setTimeout(() => fill(box, h('p.faint', {}, waiting)), 150);
    try {
      const result = await load();
      if (!signal.aborted) fill(box, show(result));
    } catch (error) {
      if (!signal.aborted) fill(box, trouble(error, run));
    } finally {
      clearTimeout(timer);
      box.removeAttribute('aria-busy');
    }
  };
  run();
  return box;
}

/// A folded part that is loaded when it is opened first.
export function folded(summary, signal, load, show, attributes = {}) {
  let isLoaded = false;
  const details = h('details', attributes, h('summary', {}, summary));
  const open = () => {
    if (isLoaded || !details.open) return;
    isLoaded = true;
    details.append(region(signal, load, show));
  };
  details.addEventListener('toggle', open);
  open();
  return details;
}

/// A button of something that takes a while, and tells beside it when that failed.
export function worker(label, work, attributes = {}) {
  const place = h('span.worker', {});
  const button = h('button', { type: 'button', ...attributes }, label);
  button.addEventListener('click', async () => {
    if (button.getAttribute('aria-disabled')) return;
    button.setAttribute('aria-disabled', 'true');
    place.querySelector('.trouble')?.remove();
    try {
      await work();
    } catch (error) {
      place.append(h('span.trouble', { role: 'alert' }, error.message));
    } finally {
      button.removeAttribute('aria-disabled');
    }
  });
  return add(place, button);
}

/// A field that narrows a list.
export function filterField(value, change, label = 'Filter') {
  const input = h('input', { type: 'search', autocomplete: 'off', spellcheck: 'false' });
  input.value = value;
  input.addEventListener('input', () => change(input.value));
  return h('label.field', {}, h('span', {}, label), ' ', input);
}

export function checkbox(label, isOn, change) {
  const box = h('input', { type: 'checkbox', checked: isOn });
  box.addEventListener('change', () => change(box.checked));
  return h('label.check', {}, box, ' ', label);
}
