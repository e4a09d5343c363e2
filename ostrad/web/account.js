'use strict';

const byId = id => document.getElementById(id);

async function api(path, value) {
  const options = value === undefined ? {} : { method: 'POST', headers: { 'Content-Type': 'application/json' }, body: JSON.stringify(value) };
  const reply = await fetch(path, { cache: 'no-store', ...options });
  const body = await reply.json();
  if (!reply.ok) throw new Error(body.error || 'The server refused the request.');
  return body;
}

function settle(title, text) {
  byId('title').textContent = title;
  byId('text').textContent = text;
  byId('acts').hidden = true;
  byId('code').hidden = true;
  byId('back').hidden = false;
}

async function answer(path, code, title, text) {
  byId('error').textContent = '';
  try {
    await api(path, { code });
    settle(title, text);
  } catch (error) {
    byId('error').textContent = error.message;
  }
}

function linkPage() {
  const code = new URLSearchParams(location.search).get('code') || '';
  if (!code) {
    settle('No code', 'Open this page from the link in Zorvane’s menu.');
    return;
  }
  byId('code').textContent = code;
  byId('code').hidden = false;
  byId('acts').hidden = false;
  byId('approve').addEventListener('click', () => answer('/api/account/link/approve', code, 'Linked', 'This server is linked. You can close this page.'));
  byId('deny').addEventListener('click', () => answer('/api/account/link/deny', code, 'Not linked', 'The code is void. Nothing was linked.'));
}

async function accountPage() {
  try {
    const status = await api('/api/account/link/status');
    byId('text').textContent = status.linked ? `“${status.serverName}” is linked.` : 'This server is not linked to an account.';
    byId('unlink').hidden = !status.linked;
    byId('start').hidden = status.linked;
  } catch (error) {
    byId('error').textContent = error.message;
  }
}

// The token itself is fetched by the window's own script, once this page has been allowed.
async function connectPage() {
  byId('allow').addEventListener('click', async () => {
    byId('error').textContent = '';
    try {
      await api('/api/link/session', {});
      location.reload();
    } catch (error) {
      byId('error').textContent = error.message;
    }
  });
  try {
    if ((await api('/api/link/session')).allowed) {
      settle('Connected', 'This window may ask for a token.');
    } else {
      byId('acts').hidden = false;
    }
  } catch (error) {
    byId('error').textContent = error.message;
  }
}

if (document.body.dataset.page === 'link') {
  linkPage();
} else if (document.body.dataset.page === 'connect') {
  connectPage();
} else {
  byId('start').addEventListener('click', async () => {
    try {
      location.href = `/link?code=${encodeURIComponent((await api('/api/account/link/start')).code)}`;
    } catch (error) {
      byId('error').textContent = error.message;
    }
  });
  byId('unlink').addEventListener('click', async () => {
    byId('error').textContent = '';
    try {
      await api('/api/account/unlink', {});
    } catch (error) {
      byId('error').textContent = error.message;
    }
    await accountPage();
    if (byId('unlink').hidden) byId('start').focus();
  });
  accountPage();
}
