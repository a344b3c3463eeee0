import { h } from './dom.js';
import { table } from './parts.js';
import { counted, linesOf } from './text.js';

const signs = { added: '+', removed: '−', same: ' ', gap: ' ' };
const words = { added: 'added', removed: 'removed' };
const long = 60;

const gapRow = (text) =>
  h('tr.gap', {}, h('td', { colspan: '3', 'aria-hidden': 'true' }, '⋯'), h('td', {}, text || 'the same lines'));

function diffRow({ kind, old, new: now, text }) {
  if (kind === 'gap') return gapRow(text);
  const sign = signs[kind] ?? ' ';
  return h(`tr.${kind in signs ? kind : 'same'}`, {},
    h('td.line', {}, old ?? ''), h('td.line', {}, now ?? ''),
    h('td.sign', {}, h('span', { 'aria-hidden': 'true' }, sign), h('span.unseen', {}, words[kind] ?? '')),
    h('td', {}, h('code', {}, text ?? '')));
}

function diffTable({ path, lines }) {
  const heads = ['Line before', 'Line after', 'Change', 'Text'];
  return h('div.code', { tabindex: '0', role: 'region', 'aria-label': `${path}, line by line` },
    table('diff', heads, h('tbody', {}, lines.map(diffRow))));
}

/// The lengths of what two texts share at their start and end, never cutting a character in two.
function shared(old, now) {
  const a = [...old];
  const b = [...now];
  const most = Math.min(a.length, b.length);
  let start = 0;
  while (start < most && a[start] === b[start]) ++start;
  let end = 0;
  while (end < most - start && a[a.length - 1 - end] === b[b.length - 1 - end]) ++end;
  return { start, end };
}

/// A value with the stretch marked that the other one doesn't have.
function stretch(text, { start, end }, isWorthIt) {
  const characters = [...text];
  if (!isWorthIt) return text;
  const last = characters.length - end;
  const part = (from, to) => characters.slice(from, to).join('');
  return [part(0, start), start < last && h('mark', {}, part(start, last)), part(last)];
}

function side(name, text, content) {
  const missing = text === undefined ? 'not there' : text === '' && 'empty';
  const shown = missing ? h('span.faint', {}, missing) : content;
  return h(`${name === 'before' ? 'del' : 'ins'}.side`, {}, h('span.unseen', {}, `${name}: `), shown);
}

function pair({ old, new: now }) {
  const parts = shared(old ?? '', now ?? '');
  const isWorthIt = old !== undefined && now !== undefined && parts.start + parts.end > 0;
  const isLong = (old ?? '').length > long || (now ?? '').length > long;
  return h(`div.pair${isLong ? '.stacked' : ''}`, {},
    side('before', old, old !== undefined && stretch(old, parts, isWorthIt)),
    h('span.arrow', { 'aria-hidden': 'true' }, isLong ? '↓' : '→'),
    side('after', now, now !== undefined && stretch(now, parts, isWorthIt)));
}

/// A whole value of several lines that came or went.
function wholeLines({ path, old, new: now }) {
  const [kind, side] = old === undefined ? ['added', 'new'] : ['removed', 'old'];
  const lines = linesOf(old ?? now).map((text, place) => ({ kind, [side]: place + 1, text }));
  return diffTable({ path, lines });
}

function changeItem(change) {
  const { old, new: now, lines } = change;
  const isOneSided = (old === undefined) !== (now === undefined) && (old ?? now).includes('\n');
  const body = lines ? diffTable(change) : isOneSided ? wholeLines(change) : pair(change);
  return h('div.change', {}, h('dt', {}, h('bdi', {}, change.path)), h('dd', {}, body));
}

/// The fields that differ between two versions of an object.
export function changeList(changes) {
  if (!changes.length) return h('p.faint', {}, 'No field differs, or the version before can’t be read.');
  return [h('p.faint', {}, counted(changes.length, 'field')), h('dl.changes', {}, changes.map(changeItem))];
}
