import { fill, h } from './dom.js';
import { number } from './text.js';

const step = 300;

/// A long list that grows as its reader comes to its end, so that it shows at once. `rows` is the element to fill;
/// gives { element, show(items) }, where the element says what is still to come.
export function stepped(rows, makeRow, signal) {
  const more = h('p.more', { hidden: true });
  let items = [];
  let count = 0;

  const grow = (target) => {
    const next = items.slice(count, target);
    rows.append(...next.map(makeRow));
    count += next.length;
    more.hidden = count >= items.length;
    fill(more, h('span', {}, `${number(count)} of ${number(items.length)} are shown. `),
      h('button', { type: 'button', onclick: () => grow(items.length) }, 'Show all'));
    // Told again: rows that leave its end in sight bring no other report.
    watcher.unobserve(more);
    if (!more.hidden) watcher.observe(more);
  };
  const watcher = new IntersectionObserver((seen) => {
    if (seen.some((each) => each.isIntersecting)) grow(count + step);
  }, { rootMargin: '800px' });
  signal.addEventListener('abort', () => watcher.disconnect());

  const show = (newItems) => {
    items = newItems;
    count = 0;
    rows.replaceChildren();
    grow(step);
  };
  return { element: more, show };
}
