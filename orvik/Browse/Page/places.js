import { byID } from './dom.js';

// Where a reader was on each page of the session: how far down, and on which link. Going back leads there.
const places = new Map();
let entries = Date.now();
let current = null;

export const entryOf = () => history.state?.entry;

export function newEntry() {
  current = ++entries;
  history.replaceState({ entry: current }, '');
}

/// A step of the history was made: forth to a new page, or back to one that was left.
export function enter() {
  if (entryOf()) current = entryOf();
  else newEntry();
}

const linkOf = (element) => (byID('main').contains(element) ? element.getAttribute('href') : null);

function note() {
  if (current) places.set(current, { ...places.get(current), top: scrollY });
}

addEventListener('scroll', note, { passive: true });
addEventListener('focusin', ({ target }) => {
  const link = linkOf(target);
  if (current && link) places.set(current, { ...places.get(current), link });
});

/// Scrolls the page that was just shown, and moves the focus to its heading or to where it was.
export function restore({ isFirst, keepsFocus }) {
  current = entryOf() ?? current;
  const place = places.get(current);
  scrollTo(0, place?.top ?? 0);
  if (keepsFocus || isFirst) return;
  const main = byID('main');
  const link = [...main.querySelectorAll('a[href]')].find((each) => each.getAttribute('href') === place?.link);
  (link ?? main.querySelector('h1')).focus({ preventScroll: true });
}
