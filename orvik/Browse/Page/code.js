import { announce, h } from './dom.js';
import { worker } from './parts.js';
import { counted, linesOf } from './text.js';

function copyButton(title, text) {
  return worker('Copy', async () => {
    await navigator.clipboard.writeText(text);
    announce('Copied');
  }, { class: 'quiet', 'aria-label': `Copy ${title}` });
}

/// The numbers stand in a column of their own, so that nobody marks and copies them.
function numbered(text, title) {
  const lines = linesOf(text);
  const numbers = lines.map((_, place) => place + 1).join('\n');
  return h('div.code', { tabindex: '0', role: 'region', 'aria-label': title },
    h('pre.gutter', { 'aria-hidden': 'true' }, numbers), h('pre', {}, h('code', {}, lines.join('\n'))));
}

/// A text of an object: code with line numbers, prose as it is. What the server keeps in one line may come in a second
/// form that is laid out for reading.
export function textBlock({ title, text, readable, isCode }) {
  const shown = readable ?? text;
  const body = isCode ? numbered(shown, title) : h('div.prose', {}, shown);
  const length = `${counted(linesOf(shown).length, 'line')}${readable ? ', laid out for reading' : ''}`;
  const head = h('h3', {}, title, ' ', h('small.faint', {}, length));
  return h('section', {}, h('div.text-head', {}, head, copyButton(title, text)), body);
}
