import { h } from './dom.js';
import { kindOf, kinds } from './parts.js';
import { to } from './routes.js';
import { dateText, monthOf, number } from './text.js';

const shownKinds = [...kinds.keys()].filter((kind) => kind !== 'unchanged');
/// More empty months than that are one gap.
const longestGap = 3;

const kindsOf = ({ counts }) => shownKinds.filter((kind) => counts?.[kind]);
const changesOf = ({ counts }) => shownKinds.reduce((sum, kind) => sum + (counts?.[kind] ?? 0), 0);

function wordsOf(backup) {
  const parts = kindsOf(backup).map((kind) => `${number(backup.counts[kind])} ${kindOf(kind).word}`);
  return `${dateText(backup.finishedAt)}: ${parts.join(', ') || 'no changes'}`;
}

/// A bar whose height is the logarithm of what changed, so that a first backup dwarfs none.
function mark(folder, backup, most) {
  const parts = kindsOf(backup).map((kind) => {
    const part = h(`span.bar.${kind}`, {});
    part.style.flexGrow = backup.counts[kind];
    return part;
  });
  const bar = h('span.bars', {}, parts.length ? parts : h('span.bar.unchanged', {}));
  bar.style.height = `${4 + 52 * (Math.log1p(changesOf(backup)) / Math.log1p(most || 1))}px`;
  const words = wordsOf(backup);
  const href = to.backup(folder, backup.backup);
  return h('a.mark', { href, title: words, 'aria-label': words, tabindex: '-1' }, bar);
}

const monthName = (month) => dateText(new Date(Math.floor(month / 12), month % 12, 1).toISOString(), 'shortMonth');

const box = (kind, year, marks, name) =>
  h(`li.${kind}`, {}, h('span.year', {}, year), h('span.marks', {}, marks), h('span.month-name', {}, name));

const blank = '\u00a0';
const gap = () => box('month.gap', blank, '⋯', blank);

/// Each month from the first to the last, as long as not too many in a row are empty.
function monthsBetween(byMonth) {
  const months = [];
  for (const month of byMonth.keys()) {
    const before = months.at(-1) ?? month - 1;
    if (month - before - 1 > longestGap) months.push(null);
    else for (let empty = before + 1; empty < month; ++empty) months.push(empty);
    months.push(month);
  }
  return months;
}

function boxes(folder, oldestFirst) {
  const byMonth = grouped(oldestFirst);
  const most = Math.max(...oldestFirst.map(changesOf));
  let lastYear;
  return monthsBetween(byMonth).map((month, place, all) => {
    if (month === null) return gap();
    const year = Math.floor(month / 12);
    // The last one too, which is where a narrow window begins.
    const label = year === lastYear && place < all.length - 1 ? blank : String(year);
    lastYear = year;
    const marks = (byMonth.get(month) ?? []).map((backup) => mark(folder, backup, most));
    return box('month', label, marks, monthName(month));
  });
}

function grouped(list) {
  const groups = new Map();
  for (const backup of list) {
    const month = monthOf(backup.finishedAt);
    if (!groups.has(month)) groups.set(month, []);
    groups.get(month).push(backup);
  }
  return groups;
}

/// One stop of the tab key; arrows move along the marks.
function roam(strip) {
  const marks = [...strip.querySelectorAll('.mark')];
  let current = marks.length - 1;
  const move = (to) => {
    marks[current].tabIndex = -1;
    current = Math.max(0, Math.min(marks.length - 1, to));
    marks[current].tabIndex = 0;
    marks[current].focus();
  };
  marks[current].tabIndex = 0;
  strip.addEventListener('keydown', (event) => {
    const steps = { ArrowLeft: current - 1, ArrowRight: current + 1, Home: 0, End: marks.length - 1 };
    if (!(event.key in steps) || event.ctrlKey || event.metaKey || event.altKey) return;
    event.preventDefault();
    move(steps[event.key]);
  });
}

function legend() {
  const items = shownKinds.map((kind) => h('span', {}, h(`span.bar.${kind}`, {}), ` ${kindOf(kind).word}`));
  return h('p.legend.faint', { 'aria-hidden': 'true' }, items);
}

/// All backups along the months, oldest first.
export function timeline(folder, newestFirst) {
  const strip = h('ol.strip', {}, boxes(folder, [...newestFirst].reverse()));
  roam(strip);
  requestAnimationFrame(() => (strip.scrollLeft = strip.scrollWidth));
  return h('nav.timeline', { 'aria-label': 'Time line' }, strip, legend());
}
