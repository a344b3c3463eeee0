// The token opens the API to this browser alone. It comes in the address that orvik browse printed, is taken out of it
// at once, and lives in the tab; a new tab asks the others for it.

const key = 'orvik-token';
const channel = new BroadcastChannel('orvik');
const patience = 300;

let token = stored();

function stored() {
  try {
    return sessionStorage.getItem(key);
  } catch {
    return null;
  }
}

function keep(value) {
  token = value;
  try {
    if (value) sessionStorage.setItem(key, value);
    else sessionStorage.removeItem(key);
  } catch {
    // A browser that stores nothing keeps it until the page is loaded again.
  }
}

channel.addEventListener('message', ({ data }) => {
  if (data?.asked && token) channel.postMessage({ token });
});

/// Whether the address brought a token, which is no longer in it then.
export function takeFromAddress() {
  const found = /^#token=([0-9A-Za-z_-]+)$/.exec(location.hash);
  if (!found) return false;
  keep(found[1]);
  history.replaceState(null, '', '#/');
  return true;
}

function askOthers(refused) {
  return new Promise((resolve) => {
    const answer = (value) => {
      clearTimeout(timer);
      channel.removeEventListener('message', listen);
      resolve(value);
    };
    const listen = ({ data }) => {
      if (typeof data?.token === 'string' && data.token !== refused) answer(data.token);
    };
    const timer = setTimeout(answer, patience, null);
    channel.addEventListener('message', listen);
    channel.postMessage({ asked: true });
  });
}

/// The token of this tab or of another one; null when there is none.
export async function findToken(refused = null) {
  if (token && token !== refused) return token;
  if (token) keep(null);
  const found = await askOthers(refused);
  if (found && !token) keep(found);
  return token;
}
