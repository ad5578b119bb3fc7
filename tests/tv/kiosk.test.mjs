// SPDX-License-Identifier: MIT
// What a television's computer has for a desktop, without a television: cage on a screen in memory, the browser in it, and keys as they
// come in from a remote control.
import assert from 'node:assert/strict';
import { execFileSync, spawn } from 'node:child_process';
import { chownSync, copyFileSync, mkdirSync, mkdtempSync, readFileSync, rmSync } from 'node:fs';
import { createServer } from 'node:http';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { after, before, test } from 'node:test';

const source = process.env.SOURCE_DIR;
const folder = mkdtempSync(join(tmpdir(), 'kinloom-kiosk-'));

/** cage does not run as the administrator; whoever owns nothing will do. */
const NOBODY = 65534;
const user = process.getuid() === 0 ? { uid: NOBODY, gid: NOBODY } : {};
if (user.uid !== undefined) chownSync(folder, user.uid, user.gid);

/** What a key of the hardware database is for whoever presses keys, and for a page. */
const KEYS = {
  enter: ['Return', 'Enter'],
  up: ['Up', 'ArrowUp'],
  down: ['Down', 'ArrowDown'],
  left: ['Left', 'ArrowLeft'],
  right: ['Right', 'ArrowRight'],
  esc: ['Escape', 'Escape'],
  pageup: ['Prior', 'PageUp'],
  pagedown: ['Next', 'PageDown'],
  playpause: ['XF86AudioPlay', 'MediaPlayPause'],
  i: ['i', 'i'],
  k: ['k', 'k'],
  c: ['c', 'c'],
  m: ['m', 'm'],
  h: ['h', 'h'],
  s: ['s', 's'],
};

/** What keys of a remote control must be, by their numbers on HDMI-CEC. */
const REMOTE = {
  '00': 'enter', '01': 'up', '02': 'down', '03': 'left', '04': 'right', '0d': 'esc', 30: 'pageup', 31: 'pagedown', 35: 'i',
  44: 'playpause', 45: 'esc', 46: 'playpause', 48: 'left', 49: 'right', 71: 's', 72: 'c', 73: 'm', 74: 'h',
};

const PAGE = `<!doctype html><title>Kiosk</title><body>keys<script>
  addEventListener('keydown', (event) => fetch('/key/' + encodeURIComponent(event.key), { method: 'POST' }));
  const tell = () => fetch('/shown/' + innerWidth + 'x' + innerHeight, { method: 'POST' });
  addEventListener('load', tell);
  addEventListener('resize', tell);
</script>`;

/** What the page has told, in its order, and whoever waits for it. */
const told = [];
let waiting = () => {};
const server = createServer((request, response) => {
  if (request.method === 'POST') {
    told.push(decodeURIComponent(request.url));
    waiting();
  }
  response.setHeader('Content-Type', 'text/html');
  response.end(request.url === '/' ? PAGE : '');
});

/** Waits until the page has told something that is wanted; gives it. */
async function hears(wanted, patience = 40_000) {
  const end = Date.now() + patience;
  for (;;) {
    const found = told.find(wanted);
    if (found !== undefined) return found;
    assert.equal(cage.exitCode, null, `cage has ended: ${cage.noise}`);
    const left = end - Date.now();
    assert.ok(left > 0, `the page told only: ${told.join(' ')}`);
    await new Promise((resolve) => {
      const timer = setTimeout(resolve, left);
      waiting = () => (clearTimeout(timer), resolve());
    });
  }
}

/** The screen in memory: cage takes a window of it for a panel, and its keyboard for the remote control. */
const PANEL = '1024x768';
let panel;
let display;
async function startScreen() {
  panel = spawn('Xvfb', ['-displayfd', '3', '-screen', '0', `${PANEL}x24`, '-nolisten', 'tcp'], { stdio: ['ignore', 'ignore', 'ignore', 'pipe'] });
  panel.stdio[3].setEncoding('utf8');
  let number = '';
  for await (const text of panel.stdio[3]) {
    number += text;
    if (number.endsWith('\n')) break;
  }
  assert.notEqual(number, '', 'there is no screen in memory');
  display = `:${number.trim()}`;
}

let cage;
before(async () => {
  await startScreen();
  const screen = {
    ...process.env,
    DISPLAY: display,
    HOME: folder,
    XDG_RUNTIME_DIR: folder,
    XDG_SESSION_TYPE: 'wayland',
    WLR_BACKENDS: 'x11',
    WLR_RENDERER: 'pixman',
  };
  delete screen.WAYLAND_DISPLAY;
  await new Promise((resolve) => server.listen(0, '127.0.0.1', resolve));
  const browser = [
    process.env.CHROMIUM ?? '/usr/bin/chromium', '--kiosk', '--ozone-platform-hint=auto', '--no-first-run', '--disable-gpu', '--disable-quic',
    '--disable-background-networking', '--disable-component-update', '--password-store=basic', `--user-data-dir=${join(folder, 'profile')}`,
    ...(process.getuid() === 0 ? ['--no-sandbox'] : []),
    `http://127.0.0.1:${server.address().port}/`,
  ];
  cage = spawn('cage', ['-d', '--', ...browser], { env: screen, stdio: ['ignore', 'ignore', 'pipe'], detached: true, ...user });
  cage.stderr.setEncoding('utf8');
  cage.noise = '';
  cage.stderr.on('data', (text) => (cage.noise = (cage.noise + text).slice(-4000)));
  cage.on('exit', () => waiting());
});
after(async () => {
  if (cage.exitCode === null) {
    const ended = new Promise((resolve) => cage.on('exit', resolve));
    process.kill(-cage.pid, 'SIGTERM');
    const timer = setTimeout(() => process.kill(-cage.pid, 'SIGKILL'), 5000);
    await ended;
    clearTimeout(timer);
    // The browser, which writes as long as it lives.
    try {
      process.kill(-cage.pid, 'SIGKILL');
    } catch (error) {
      assert.equal(error.code, 'ESRCH');
    }
  }
  panel.kill();
  server.close();
  server.closeAllConnections?.();
  rmSync(folder, { recursive: true, force: true, maxRetries: 20, retryDelay: 50 });
});

test('a browser under cage has the whole screen', async () => {
  // Nothing of it is taken by frames or bars.
  await hears((one) => one === `/shown/${PANEL}`).catch((error) => assert.fail(`${error.message}\n${cage.noise}`));
});

test('a page under cage hears each key that a remote control is made into', async () => {
  await hears((one) => one === `/shown/${PANEL}`);
  for (const [name, [pressed, heard]] of Object.entries(KEYS)) {
    told.length = 0;
    execFileSync('xdotool', ['key', pressed], { env: { ...process.env, DISPLAY: display } });
    await hears((one) => one === `/key/${heard}`).catch((error) => assert.fail(`${name}: ${error.message}`));
  }
});

test("a remote control's keys are keys of a keyboard", () => {
  const rules = join(folder, 'etc/udev/hwdb.d');
  mkdirSync(rules, { recursive: true });
  copyFileSync(join(source, 'packaging/systemd/kinloom-tv.hwdb'), join(rules, '70-kinloom-tv.hwdb'));
  execFileSync('systemd-hwdb', [`--root=${folder}`, '--strict', 'update']);
  const query = (device) => execFileSync('systemd-hwdb', [`--root=${folder}`, 'query', device], { encoding: 'utf8' });
  const made = Object.fromEntries(
    [...query('evdev:input:b001Ev0000p0000e0000-e0,1').matchAll(/^KEYBOARD_KEY_(\w+)=(\w+)$/gm)].map(([, number, key]) => [number, key]),
  );
  for (const [number, key] of Object.entries(REMOTE)) assert.equal(made[number], key, number);
  for (const [number, key] of Object.entries(made)) assert.ok(key in KEYS, `${number} becomes ${key}, which no test presses`);
  assert.equal(query('evdev:input:b0003v046DpC52B'), '', 'keyboards are left alone');
});

test('the guide names the keys that there are', () => {
  const guide = readFileSync(join(source, 'docs/kiosk.md'), 'utf8');
  for (const words of ['| red, green, yellow, blue | c, m, h, s |', '| Info | i |', '| Menu, Guide | k |']) assert.ok(guide.includes(words), words);
});
