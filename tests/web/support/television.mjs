// SPDX-License-Identifier: MIT
// The real television's program, with folders of its own.
import { spawn } from 'node:child_process';
import { mkdtemp, rm } from 'node:fs/promises';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { createInterface } from 'node:readline';
import { PAGES } from './modules.mjs';

const PROGRAM = process.env.KINLOOM_TV;

export class Television {
  #process = null;
  #folder = '';

  /** @param options further options of the program */
  static async start(service, ...options) {
    if (PROGRAM === undefined) throw new Error('KINLOOM_TV names no program');
    const television = new Television();
    television.#folder = await mkdtemp(join(tmpdir(), 'kinloom-tv-'));
    television.service = service;
    television.options = options;
    await television.run();
    return television;
  }

  async run() {
    const home = this.#folder;
    const words = ['--config', join(home, 'tv.toml'), '--cache', join(home, 'cache'), '--listen', '127.0.0.1:0', '--service', this.service.url, '--web', PAGES, ...this.options];
    const child = spawn(PROGRAM, words, { stdio: ['ignore', 'pipe', process.env.KINLOOM_SHOW_LOG === '1' ? 'inherit' : 'ignore'], env: { ...process.env, HOME: home, XDG_STATE_HOME: join(home, 'state'), XDG_CACHE_HOME: join(home, 'cache'), XDG_CONFIG_HOME: home } });
    this.#process = child;
    const first = await new Promise((resolve, reject) => {
      createInterface({ input: child.stdout }).once('line', resolve);
      child.once('exit', (code) => reject(new Error(`kinloom-tv has ended with ${code}`)));
    });
    /** The address with its key. */
    this.address = /(http:\S+)$/.exec(first)[1];
    this.url = new URL(this.address).origin;
  }

  get pid() {
    return this.#process.pid;
  }

  /** What a program that has ended had stored goes; it stays connected. */
  async forgetStored() {
    await rm(join(this.#folder, 'cache'), { recursive: true, force: true });
  }

  /** Opens a view in a browser that has the program's cookie. */
  async open(browser, hash, { size = 'television', lang = 'en' } = {}) {
    const context = await browser.context(size);
    const page = await context.newPage();
    await page.goto(this.address);
    if (hash !== null) await page.goto(`${this.url}/?lang=${lang}${hash}`);
    return page;
  }

  /** Somebody of the family lets the television in, by the code that it shows. */
  async letIn(page, person) {
    const code = await page.getByRole('group', { name: 'Code' }).textContent();
    await this.service.command('device', 'approve', code, '--person', person);
  }

  async stop(signal = 'SIGTERM') {
    const child = this.#process;
    this.#process = null;
    if (child === null || child.exitCode !== null || child.signalCode !== null) return;
    const gone = new Promise((resolve) => child.once('exit', resolve));
    child.kill(signal);
    await gone;
  }

  async end() {
    await this.stop();
    await rm(this.#folder, { recursive: true, force: true });
  }
}
