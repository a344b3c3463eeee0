// Answers in the form of orvik browse's, made up: what a real folder holds only with bad luck, such as hostile names,
// thousands of objects and sections that could not be read.

export const hostile =
  '<img src=x onerror="window.hacked=1">\u202egnp.exe\u0007 </title><script>window.hacked=1</script>';

const longLine = `# Renames the machine after its room, with a line that no window is wide enough for: ${'x'.repeat(120)}`;
const script = `#!/bin/zsh
${longLine}
room=$(defaults read /Library/Preferences/school room)

if [[ -z "$room" ]]; then
\techo "no room" >&2
\texit 1
fi
scutil --set ComputerName "mac-$room"
`;

const counts = (values = {}) => ({ total: 0, new: 0, changed: 0, unchanged: 0, removed: 0, failed: 0, ...values });

/// How many days before the newest one a backup was: every other day, then rarely, with a gap of half a year.
function daysBefore(place) {
  if (place < 20) return place * 2;
  return place < 40 ? 40 + (place - 20) * 9 : 420 + (place - 40) * 30;
}

function countsOf(place, last) {
  if (place === last) return counts({ total: 812, new: 812 });
  if (place % 5 === 0) return counts({ total: 812, unchanged: 812 });
  const failed = place % 11 === 1 ? 2 : 0;
  const [added, changed, removed] = [(place * 7) % 4, (place * 5) % 13, place % 3];
  return counts({ total: 812, unchanged: 800, new: added, changed, removed, failed });
}

function madeUpBackups(count) {
  const list = Array.from({ length: count }, (_, place) => {
    const finished = new Date(Date.parse('2025-03-05T09:15:00Z') - daysBefore(place) * 86400000);
    return {
      backup: finished.toISOString().replace(/:|\.000/g, ''),
      startedAt: new Date(finished - 300000).toISOString(),
      finishedAt: finished.toISOString(),
      status: place % 11 === 1 ? 'completeWithWarnings' : 'complete',
      sealed: place < 30,
      counts: countsOf(place, count - 1),
      reports: ['backup', 'security'],
    };
  });
  return list.map((backup, place) => (place + 1 < count ? { ...backup, parent: list[place + 1].backup } : backup));
}

/// Newest first.
export const backups = madeUpBackups(46);

const section = (group, id, title, total, more = {}) =>
  ({ group, id, title, status: 'complete', ...more, counts: counts({ total, unchanged: total, ...more.counts }) });

export const sections = [
  section('Devices & users', 'computers', 'Computers', 20000, { counts: { changed: 10 } }),
  section('Devices & users', 'users', 'Users', 37,
    { status: 'partial', message: '3 of 40 objects could not be read: HTTP 500', counts: { failed: 3 } }),
  section('Configuration', 'scripts', 'Scripts', 14, { counts: { new: 1, changed: 2 } }),
  section('Configuration', 'policies', 'Policies', 42, { counts: { new: 2, changed: 1, removed: 1, failed: 1 } }),
  section('Groups', 'computerGroups', 'Computer groups (smart and static)', 12),
  section('Groups', 'userGroups', 'User groups', 0,
    { status: 'notPermitted', message: 'The API role lacks "Read Smart User Groups".' }),
  section('Other', 'webhooks', 'Webhooks', 0, { status: 'disabled', message: 'Switched off.' }),
  section('Other', 'ebooks', 'eBooks', 0, { status: 'disabled' }),
];

const names = ['Install Pages', 'Wartung: Quill Notes', hostile, 'Ångström Lab 🏫', 'شبكة المدرسة', 'Set wallpaper'];
const kinds = ['unchanged', 'changed', 'new', 'removed', 'failed', 'unchanged'];

function ordinaryEntry(place) {
  const change = kinds[place % 6];
  const name = names[place % 6] + (place < 6 ? '' : ` ${place}`);
  return { name, change, ...(change === 'failed' && { message: 'HTTP 500: the server had an error' }) };
}

const deviceEntry = (place) => ({ name: `mac-${place + 1}`, change: place % 2000 ? 'unchanged' : 'changed' });

export function entriesOf(id) {
  const { total } = sections.find((each) => each.id === id).counts;
  const make = total > 1000 ? deviceEntry : ordinaryEntry;
  return Array.from({ length: total }, (_, place) => ({ section: id, id: String(place + 1), ...make(place) }));
}

const deep = (levels) =>
  (levels ? { label: `level ${levels}`, children: [deep(levels - 1)] } : { label: 'deepest', cut: true });
const leaf = (label, value) => ({ label, value });

const outline = [
  { label: 'General', children: [
    leaf('Name', 'Wartung'), leaf('Enabled', 'Yes'), leaf('Empty', ''), { label: 'None', value: 'none', children: [] },
    { label: 'Category', value: '3', children: [leaf('Name', 'Maintenance'), leaf('', 'a nameless key')] },
  ] },
  { label: 'Scope', value: '2', children: [leaf('mac-1', 'mac-1'), leaf('mac-2', 'mac-2')] },
  { label: 'Texts', children: [leaf('Script', script)] },
  { label: 'Deep', children: [deep(30)] },
];

const sentence = 'A long description that goes on. ';
export const changes = [
  { path: 'General › Name', old: 'Wartung: Quill', new: 'Wartung: Quill Notes' },
  { path: 'General › Frequency', old: 'Once per computer' },
  { path: 'General › Site', new: hostile },
  { path: 'Self Service › Description', old: sentence.repeat(4), new: `${sentence.repeat(3)}It ends otherwise.` },
  { path: 'Script', lines: [
    { kind: 'gap' },
    { kind: 'same', old: 12, new: 12, text: 'if [[ -z "$room" ]]; then' },
    { kind: 'removed', old: 13, text: '\techo "nothing"' },
    { kind: 'added', new: 13, text: `\techo "no room" >&2  # ${'y'.repeat(140)}` },
    { kind: 'same', old: 14, new: 14, text: 'fi' },
    { kind: 'gap' },
  ] },
];

/// What an object holds that the backup has stored.
const stored = {
  facts: [
    leaf('Category', 'Maintenance'), leaf('Enabled', 'Yes'), leaf('Site', hostile), leaf('Trigger', 'Check-in\nLogin'),
  ],
  lists: [{ title: 'Packages', entries: ['Pages-1.0.pkg', 'Quill Notes-3.0.1.pkg', hostile] }],
  texts: [
    { title: 'Script', text: script, isCode: true },
    { title: 'Notes', text: 'Ask the lab first.\n\u202eThis line turns.', isCode: false },
  ],
  outline,
  downloads: [
    { form: 0, title: 'JSON', fileName: 'object.json' }, { form: 1, title: 'Script', fileName: 'x\u202egnp.sh' },
  ],
};
const nothing = { facts: [], lists: [], texts: [], outline: [], downloads: [], lastVersion: backups[3].backup };
const damage = ['Its record "subset" can’t be read: its bytes are not what its name says.'];

export function objectOf(sectionID, id, backup) {
  const entry = entriesOf(sectionID).find((each) => each.id === id);
  if (!entry) return null;
  const isStored = entry.change !== 'removed' && entry.change !== 'failed';
  const { title } = sections.find((each) => each.id === sectionID);
  const problems = id === '2' ? damage : [];
  const head = { event: 'object', backup, kind: title, parent: backups[1].backup, changes: [], problems };
  return { ...head, ...entry, ...(isStored ? stored : nothing) };
}

const version = (place, more) => ({ backup: backups[place].backup, finishedAt: backups[place].finishedAt, ...more });
/// Oldest first.
export const versions = [
  version(20, { change: 'new', name: 'Wartung' }),
  version(3, { change: 'changed', before: backups[20].backup }),
  version(0, { change: 'changed', name: 'Wartung: Quill Notes', before: backups[3].backup }),
];

export const differences = [
  { id: 'scripts', title: 'Scripts', differences: entriesOf('scripts').slice(1, 5) },
  { id: 'policies', title: 'Policies', differences: entriesOf('policies').slice(1, 4) },
  { id: 'userGroups', title: 'User groups', problem: 'One of the backups did not read it.', differences: [] },
];

export function hitsFor(query, isInside) {
  const excerpts = isInside ? [`Scripts › Text: …here is a ${query} and then ${hostile}…`] : [];
  const hits = entriesOf('policies').slice(0, 6).map((entry) => ({ ...entry, excerpts }));
  return { hits: query === 'nothing' ? [] : hits, limited: query === 'much' };
}

const folder = (number, name, more = {}) => ({
  folder: number, name, server: `https://${name.toLowerCase()}.example:8443`, path: `/srv/backups/${name.toLowerCase()}`,
  sealed: false, ...more,
});
export const folders = [
  folder(0, 'School'),
  folder(1, 'College', { sealed: true, problem: 'No key opens it: what its objects hold stays closed.' }),
  folder(2, hostile),
];

export const pdf = Buffer.from(`%PDF-1.4
1 0 obj<</Type/Catalog/Pages 2 0 R>>endobj
2 0 obj<</Type/Pages/Kids[3 0 R]/Count 1>>endobj
3 0 obj<</Type/Page/Parent 2 0 R/MediaBox[0 0 200 200]>>endobj
trailer<</Root 1 0 R>>
`);
export const file = Buffer.from(script);

const at = `#/0/backups/${backups[0].backup}`;
/// An address of every page.
export const pages = {
  backups: '#/0',
  backup: at,
  section: `${at}/policies`,
  object: `${at}/policies/2`,
  removed: `${at}/policies/4`,
  search: `#/0/search/${backups[0].backup}?q=wart&contents=1`,
  compare: `#/0/compare/${backups[1].backup}/${backups[0].backup}`,
  unknown: `${at}/policies/999`,
};
