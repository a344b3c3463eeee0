import { announce, fill, h } from './dom.js';
import { filterField, marked } from './parts.js';
import { counted, visibleLine } from './text.js';

/// So many findings are enough to find one.
const mostFound = 500;

const labelOf = (label, query) => (label === '' ? '""' : marked(visibleLine(label), query));

function leaf({ label, value }, query) {
  if (value === label) return h('li.leaf', {}, h('span.value', {}, marked(value, query)));
  const shown = value === undefined ? '–' : marked(value, query);
  return h('li.leaf', {}, h('span.label', {}, labelOf(label, query), ':'), ' ', h('span.value', {}, shown));
}

/// A node that makes what lies in it when it is opened first: an object may have a hundred thousand.
function branch(node, query, isOpen) {
  const details = h('details', { open: isOpen }, h('summary', {}, h('span.label', {}, labelOf(node.label, query)),
    node.value !== undefined && h('span.faint', {}, ` (${node.value})`)));
  const grow = () => {
    if (details.open && !details.querySelector('ul')) details.append(nodes(node.children, query, isOpen));
  };
  details.addEventListener('toggle', grow);
  grow();
  return h('li', {}, details);
}

function item(node, query, isOpen) {
  if (node.cut) return h('li.leaf', {}, h('span.label', {}, labelOf(node.label, query)), h('span.faint', {}, ' – what lies deeper is left out'));
  return node.children ? branch(node, query, isOpen) : leaf(node, query);
}

const nodes = (list, query, isOpen) => h('ul.tree', {}, list.map((node) => item(node, query, isOpen)));

/// The tree of the nodes that have the query, and of those above them.
function found(list, query, budget) {
  const kept = [];
  for (const node of list) {
    if (budget.left <= 0) break;
    const isHit = node.label.toLowerCase().includes(query) || (node.value ?? '').toLowerCase().includes(query);
    if (isHit) --budget.left;
    const children = node.children && found(node.children, query, budget);
    if (isHit || children?.length) kept.push(children ? { ...node, children: children.length ? children : node.children } : node);
  }
  return kept;
}

function foundTree(outline, text) {
  const budget = { left: mostFound };
  const list = found(outline, text.toLowerCase(), budget);
  const count = mostFound - budget.left;
  const words = budget.left > 0 ? counted(count, 'value') + ' found' : `The first ${mostFound} are shown`;
  announce(words);
  return [h('p.faint', {}, words), nodes(list, text, true)];
}

/// The whole object as a tree, with all of it to be opened at once and a search.
export function outlineTree(outline) {
  const box = h('div.outline', { tabindex: '0', role: 'region', 'aria-label': 'Outline' });
  const plain = (isOpen) => fill(box, nodes(outline, '', isOpen));
  const find = (text) => (text ? fill(box, foundTree(outline, text)) : plain(false));
  plain(false);
  const controls = h('div.controls', {}, filterField('', find, 'Find in it'),
    h('button.quiet', { type: 'button', onclick: () => plain(true) }, 'Open all'),
    h('button.quiet', { type: 'button', onclick: () => plain(false) }, 'Close all'));
  return [controls, box];
}
