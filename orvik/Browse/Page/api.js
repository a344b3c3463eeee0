import { findToken } from './token.js';

/// An answer that is none: `status` 401 without a token that the program takes, 0 when it no longer runs.
export class APIError extends Error {
  constructor(status, message) {
    super(message);
    this.status = status;
  }
  get isEnded() {
    return this.status === 0;
  }
  get isRefused() {
    return this.status === 401;
  }
}

export const endedText = 'orvik browse has ended: start it again.';
const refusal = 'Open the address that orvik browse printed: this tab has no key that it takes.';

let watch = () => {};
/// Calls back with "answered" after each answer, "ended" when none came, "refused" when the token isn't taken.
export const watchServer = (callback) => (watch = callback);

function refused() {
  watch('refused');
  return new APIError(401, refusal);
}

const plain = { cache: 'no-store', credentials: 'omit', referrerPolicy: 'no-referrer' };

async function send(url, token, signal) {
  try {
    const headers = { Authorization: `Bearer ${token}` };
    const answer = await fetch(url, { ...plain, headers, signal });
    watch('answered');
    return answer;
  } catch (error) {
    if (error.name === 'AbortError') throw error;
    watch('ended');
    throw new APIError(0, endedText);
  }
}

async function messageOf(answer) {
  try {
    const { message } = await answer.json();
    if (typeof message === 'string' && message) return message;
  } catch {
    // Then the number has to do.
  }
  return `orvik browse answered with status ${answer.status}.`;
}

/// A path below /api from its parts, each of which may hold any text. A blank is "%20": "+" is a plus there.
export function pathOf(parts, query = {}) {
  const items = Object.entries(query).filter(([, value]) => value !== undefined && value !== null && value !== '')
    .map(([name, value]) => `${name}=${encodeURIComponent(value)}`);
  return `/api/${parts.map(encodeURIComponent).join('/')}${items.length ? `?${items.join('&')}` : ''}`;
}

async function request(parts, query, signal) {
  const url = pathOf(parts, query);
  const token = await findToken();
  if (!token) throw refused();
  let answer = await send(url, token, signal);
  if (answer.status === 401) {
    const other = await findToken(token);
    if (!other) throw refused();
    answer = await send(url, other, signal);
  }
  if (answer.status === 401) throw refused();
  if (!answer.ok) throw new APIError(answer.status, await messageOf(answer));
  return answer;
}

async function body(read) {
  try {
    return await read();
  } catch (error) {
    if (error.name === 'AbortError') throw error;
    throw new APIError(-1, 'The answer of orvik browse is not whole.');
  }
}

export async function getJSON(parts, query, signal) {
  const answer = await request(parts, query, signal);
  return body(() => answer.json());
}

export async function getBlob(parts, query, signal) {
  const answer = await request(parts, query, signal);
  return body(() => answer.blob());
}
