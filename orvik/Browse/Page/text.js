// What steers the one who shows a text rather than being shown: controls, separators of lines, marks of direction.
// Line feeds and tabs are layout.
const controls = /[\u0000-\u0008\u000b-\u001f\u007f-\u009f\u061c\u200e\u200f\u2028-\u202e\u2066-\u2069]/g;

function picture(character) {
  const code = character.codePointAt(0);
  if (code < 0x20) return String.fromCodePoint(0x2400 + code);
  if (code === 0x7f) return '\u2421';
  return `<U+${code.toString(16).toUpperCase().padStart(4, '0')}>`;
}

/// A text of several lines that can't turn what stands beside it around: "␛", "<U+202E>".
export const visible = (text) => text.replace(controls, picture);
/// A name: line feeds and tabs are shown too.
export const visibleLine = (text) => visible(text).replace(/[\t\n]/g, picture);

/// The name of a file to be saved.
export const fileNameOf = (name) => name.replace(controls, '_').replace(/[\t\n/\\]/g, '_') || 'object';

const grouped = new Intl.NumberFormat('en');
export const number = (value) => grouped.format(value);
export const counted = (count, noun) => `${number(count)} ${noun}${count === 1 ? '' : 's'}`;

const formats = {
  moment: { dateStyle: 'medium', timeStyle: 'short' },
  month: { month: 'long', year: 'numeric' },
  shortMonth: { month: 'short' },
};

/// A moment in the words of its reader's clock; what is no date stays as it is.
export function dateText(iso, form = 'moment') {
  const date = new Date(iso);
  if (Number.isNaN(date.getTime())) return visibleLine(String(iso ?? ''));
  return new Intl.DateTimeFormat('en-GB', formats[form]).format(date);
}

/// Months since year 0, in the reader's time zone.
export function monthOf(iso) {
  const date = new Date(iso);
  return date.getFullYear() * 12 + date.getMonth();
}

const escaped = (text) => text.replace(/[.*+?^${}()|[\]\\/]/g, '\\$&');

/// Cuts a text at the places where it has the query, in any case: [{ text, isHit }].
export function hits(text, query) {
  if (!query) return [{ text, isHit: false }];
  const parts = [];
  let end = 0;
  for (const match of text.matchAll(new RegExp(escaped(query), 'giu'))) {
    if (match.index > end) parts.push({ text: text.slice(end, match.index), isHit: false });
    parts.push({ text: match[0], isHit: true });
    end = match.index + match[0].length;
  }
  if (end < text.length) parts.push({ text: text.slice(end), isHit: false });
  return parts;
}

/// The lines of a text; a line feed at the end begins none.
export function linesOf(text) {
  const lines = text.split('\n');
  if (lines.length > 1 && lines.at(-1) === '') lines.pop();
  return lines;
}
