// SPDX-License-Identifier: MIT
// The real service, with a folder of its own, and people who have been invited to it.
import { execFile, spawn } from 'node:child_process';
import { mkdtemp, rm } from 'node:fs/promises';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { createInterface } from 'node:readline';
import { promisify } from 'node:util';
import { PAGES } from './modules.mjs';

const PROGRAM = process.env.KINLOOMD;
const run = promisify(execFile);

export class Kinloomd {
  #process = null;
  #port = 0;

  constructor(data, options) {
    this.data = data;
    this.options = options;
  }

  /** @param options further options of `serve` */
  static async start(...options) {
    if (PROGRAM === undefined) throw new Error('KINLOOMD names no program');
    const service = new Kinloomd(join(await mkdtemp(join(tmpdir(), 'kinloom-web-')), 'data'), options);
    await service.serve();
    return service;
  }

  get url() {
    return `http://127.0.0.1:${this.#port}`;
  }

  /** Serves, again at the same port where there was one. */
  async serve({ pages = PAGES } = {}) {
    const child = spawn(PROGRAM, ['serve', '--data', this.data, '--listen', `127.0.0.1:${this.#port}`, '--web', pages, ...this.options], {
      stdio: ['ignore', 'pipe', 'ignore'],
    });
    this.#process = child;
    const lines = createInterface({ input: child.stdout });
    const first = await new Promise((resolve, reject) => {
      lines.once('line', resolve);
      child.once('exit', (code) => reject(new Error(`kinloomd has ended with ${code}`)));
    });
    this.#port = Number(/:(\d+)$/.exec(first)[1]);
  }

  /** Ends the service, without a word where `kill` is set. */
  async stop({ kill = false } = {}) {
    const child = this.#process;
    this.#process = null;
    if (child === null || child.exitCode !== null || child.signalCode !== null) return;
    const gone = new Promise((resolve) => child.once('exit', resolve));
    child.kill(kill ? 'SIGKILL' : 'SIGTERM');
    await gone;
  }

  async end() {
    await this.stop();
    await rm(join(this.data, '..'), { recursive: true, force: true });
  }

  /** What a command of the service prints. */
  async command(...words) {
    const { stdout } = await run(PROGRAM, [...words, '--data', this.data]);
    return stdout;
  }

  /** The address of an invitation. */
  async invite(name, ...options) {
    const printed = await this.command('person', 'invite', name, '--public-url', this.url, ...options);
    return printed.split('\n').find((line) => line.includes('/invite/')).trim();
  }

  /** A request as a page of ours makes it, by the session of the cookie. */
  async request(cookie, method, path, body) {
    const headers = { Origin: this.url, Cookie: cookie };
    if (typeof body === 'object' && !Buffer.isBuffer(body)) headers['Content-Type'] = 'application/json';
    const response = await fetch(this.url + path, { method, headers, body: Buffer.isBuffer(body) || body === undefined ? body : JSON.stringify(body) });
    const text = await response.text();
    if (!response.ok) throw new Error(`${method} ${path}: ${response.status} ${text}`);
    return text === '' ? null : JSON.parse(text);
  }

  /** Somebody who has used an invitation up; the value holds the cookie. */
  async person(name, ...options) {
    const key = (await this.invite(name, ...options)).split('/invite/')[1];
    const response = await fetch(`${this.url}/page/invitations/${key}`, { method: 'POST', headers: { Origin: this.url } });
    if (!response.ok) throw new Error(`the invitation of ${name}: ${response.status} ${await response.text()}`);
    const cookie = response.headers.get('set-cookie').split(';')[0];
    return {
      name,
      cookie,
      value: cookie.slice(cookie.indexOf('=') + 1),
      request: (method, path, body) => this.request(cookie, method, path, body),
      createGroup: (group) => this.request(cookie, 'POST', '/page/groups', { name: group }),
      upload: (group, bytes, query = '') => this.request(cookie, 'POST', `/page/groups/${group}/contents?${query}`, bytes),
    };
  }
}
