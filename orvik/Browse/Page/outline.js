import { announce, fill, h } from './dom.js';
import { filterField, marked } from './parts.js';
import { counted, visibleLine } from './text.js';

/// So many findings are enough to find one.
const mostFound = 500;

const labelOf = (label, query) => (label === '' ? '""' : marked(visibleLine(label), query));

/// A value; a long one that the page shows by itself is named instead.
function valueOf(value, { query, texts }) {
  if (value === undefined) return '–';
  const shown = value.includes('\n') && texts.find(({ text }) => text === value);
  return shown ? h('em', {}, `see “${shown.title}” above`) : marked(value, query);
}

function leaf({ label, value, cut }, look) {
  const shown = h('span.value', {}, cut ? 'what lies deeper is left out' : valueOf(value, look));
  if (value === label) return h('li.leaf', {}, shown);
  return h('li.leaf', {}, h('span.label', {}, labelOf(label, look.query), ':'), ' ', shown);
}

/// A node that makes what lies in it when it is opened first: an object may have a hundred thousand.
function branch(node, look) {
  const count = node.value !== undefined && h('span.faint', {}, ` (${node.value})`);
  const details = h('details', { open: look.isOpen }, h('summary', {}, h('span.label', {}, labelOf(node.label, look.query)), count));
  const grow = () => {
    if (details.open && !details.querySelector('ul')) details.append(nodes(node.children, look));
  };
  details.addEventListener('toggle', grow);
  grow();
  return h('li', {}, details);
}

const item = (node, look) => (node.children?.length ? branch(node, look) : leaf(node, look));
const nodes = (list, look) => h('ul.tree', {}, list.map((node) => item(node, look)));

/// The tree of the nodes that have the query, and of those above them. A node that has it keeps all below it when
/// nothing there has it too.
function found(list, query, budget) {
  const kept = [];
  for (const node of list) {
    if (budget.left <= 0) break;
    const isHit = `${node.label}\n${node.value ?? ''}`.toLowerCase().includes(query);
    if (isHit) --budget.left;
    const children = found(node.children ?? [], query, budget);
    if (children.length) kept.push({ ...node, children });
    else if (isHit) kept.push(node);
  }
  return kept;
}

function foundTree(outline, query, texts) {
  const budget = { left: mostFound };
  const list = found(outline, query.toLowerCase(), budget);
  const words = budget.left > 0 ? `${counted(mostFound - budget.left, 'value')} found` : `The first ${mostFound} are shown`;
  announce(words);
  return [h('p.faint', {}, words), nodes(list, { query, texts, isOpen: true })];
}

/// The whole object as a tree, with all of it to be opened at once and a search.
export function outlineTree(outline, texts) {
  const box = h('div.outline', { tabindex: '0', role: 'region', 'aria-label': 'Outline' });
  const plain = (isOpen) => fill(box, nodes(outline, { query: '', texts, isOpen }));
  const find = (query) => (query ? fill(box, foundTree(outline, query, texts)) : plain(false));
  const button = (label, isOpen) => h('button.quiet', { type: 'button', onclick: () => plain(isOpen) }, label);
  plain(false);
  const controls = h('div.controls', {}, filterField('', find, 'Find in it'), button('Open all', true), button('Close all', false));
  return [controls, box];
}
