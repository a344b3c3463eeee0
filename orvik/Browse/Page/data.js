import { getJSON } from './api.js';

// What the server said once. A finished backup never changes; lists of backups do, and are asked for anew when their
// page is.
const known = new Map();

async function once(key, load, isFresh = false) {
  if (isFresh || !known.has(key)) known.set(key, await load());
  return known.get(key);
}

export const forgetAll = () => known.clear();

export const folders = (signal) =>
  once('folders', async () => (await getJSON(['folders'], {}, signal)).folders);

/// Newest first.
export const backups = (folder, signal, isFresh) =>
  once(`backups ${folder}`, async () => (await getJSON(['folders', folder, 'backups'], {}, signal)).backups, isFresh);

/// A backup with its sections.
export const backup = (folder, id, signal) =>
  once(`backup ${folder} ${id}`, () => getJSON(['folders', folder, 'backups', id], {}, signal));

const below = (folder, id, what) => ['folders', folder, 'backups', id, what];

export const entries = (folder, id, section, signal) => getJSON(below(folder, id, 'entries'), { section }, signal);
export const object = (folder, id, section, item, signal) =>
  getJSON(below(folder, id, 'object'), { section, id: item }, signal);
export const differences = (folder, from, to, signal) => getJSON(below(folder, to, 'differences'), { from }, signal);
export const history = (folder, section, id, signal) =>
  getJSON(['folders', folder, 'history'], { section, id }, signal);
export const search = (folder, id, query, signal) => getJSON(below(folder, id, 'search'), query, signal);
/// What of an object differs between two backups.
export const changes = async (folder, from, to, section, id, signal) =>
  (await getJSON(below(folder, to, 'change'), { from, section, id }, signal)).changes;

/// The titles of a backup's sections by their IDs.
export async function sectionTitles(folder, id, signal) {
  const { sections } = await backup(folder, id, signal);
  return new Map(sections.map((section) => [section.id, section.title]));
}

/// The backups of a list that others of it share their minute with, so that a date alone names none.
export function ofSameMinute(list) {
  const minutes = list.map(({ finishedAt }) => String(finishedAt).slice(0, 16));
  const isShared = (minute) => minutes.indexOf(minute) !== minutes.lastIndexOf(minute);
  return new Set(list.filter((_, place) => isShared(minutes[place])).map(({ backup }) => backup));
}

/// A backup's neighbours in time, where there are any.
export function neighbours(list, id) {
  const place = list.findIndex((each) => each.backup === id);
  return place < 0 ? {} : { newer: list[place - 1], older: list[place + 1] };
}
