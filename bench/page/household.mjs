// SPDX-License-Identifier: MIT
// A family with very many photos and its television, both programs as they are shipped: what a benchmark looks at.
import { execFile } from 'node:child_process';
import { mkdtemp, readdir, readFile, rm, writeFile } from 'node:fs/promises';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { setTimeout as delay } from 'node:timers/promises';
import { promisify } from 'node:util';
import { Kinloomd } from '../../tests/web/support/kinloomd.mjs';
import { Television } from '../../tests/web/support/television.mjs';

const run = promisify(execFile);
const MONTHS = 120;
const FIRST_YEAR = 2014;
/** So many photos in a hundred are cut short: their beginning is good, and no decoder can make a picture of it. */
const BROKEN = 3;
const CUT = 'cut short';

/** Bytes of memory of a process and all that it has started, each page counted once among those who share it. */
export async function memoryOf(root) {
  const parents = new Map();
  for (const name of await readdir('/proc')) {
    if (!/^\d+$/.test(name)) continue;
    const stat = await readFile(`/proc/${name}/stat`, 'utf8').catch(() => '');
    // The program's name, in brackets, may hold spaces.
    if (stat !== '') parents.set(Number(name), Number(stat.slice(stat.lastIndexOf(')') + 2).split(' ')[1]));
  }
  const isOf = (pid) => pid === root || (parents.has(pid) && isOf(parents.get(pid)));
  let bytes = 0;
  for (const pid of parents.keys()) {
    if (!isOf(pid)) continue;
    const rollup = await readFile(`/proc/${pid}/smaps_rollup`, 'utf8').catch(() => '');
    bytes += Number(/^Pss:\s+(\d+)/m.exec(rollup)?.[1] ?? 0) * 1024;
  }
  return bytes;
}

export class Household {
  /** @param broken whether some of the photos are broken */
  static async of(photos, { broken = false } = {}) {
    const home = new Household();
    home.service = await Kinloomd.start();
    const ada = await home.service.person('Ada');
    home.group = (await ada.createGroup('Everything')).id;
    home.total = 0;
    home.folder = await mkdtemp(join(tmpdir(), 'kinloom-bench-'));
    const each = Math.ceil(photos / MONTHS);
    const cut = broken ? Math.round((each * BROKEN) / 100) : 0;
    for (let month = 0; month < MONTHS; ++month) {
      const taken = `${FIRST_YEAR + Math.floor(month / 12)}:${String((month % 12) + 1).padStart(2, '0')}:14 18:30:05`;
      const file = join(home.folder, `IMG_${month}.jpg`);
      await run(process.env.KINLOOM_MAKE_PHOTO, [file, '--width', '2400', '--height', '1600', '--seed', String(month + 1), '--taken', taken]);
      // What was added last comes first: the broken ones of a month are its last.
      if (cut > 0) {
        const half = join(home.folder, `CUT_${month}.jpg`);
        await writeFile(half, (await readFile(file)).subarray(0, 1500));
        await home.add(half, cut, CUT);
      }
      await home.add(file, each - cut);
    }
    return home;
  }

  async add(file, copies, description = '') {
    await this.service.command('content', 'add', '--group', this.group, '--person', 'Ada', '--desc', description, '--copies', String(copies), file);
    this.total += copies;
  }

  /** The identifiers of the broken photos. */
  async brokenOnes() {
    const broken = new Set();
    for (let index = 0; index < this.total; index += 1000) {
      const { contents } = await this.api(`groups/${this.group}/contents?index=${index}&count=1000`);
      for (const { id, description } of contents) if (description === CUT) broken.add(id);
    }
    return broken;
  }

  /** Starts a television that somebody lets in; seconds from its first sign-in until its index is whole. */
  async connect() {
    this.tv = await Television.start(this.service);
    await this.enter();
    await this.until('state', ({ pairing }) => pairing?.user_code);
    const { pairing } = await this.api('state');
    await this.service.command('device', 'approve', pairing.user_code, '--person', 'Ada');
    // It asks every few seconds whether somebody has.
    await this.until('state', ({ paired }) => paired);
    const begin = performance.now();
    await this.untilIndexed();
    return (performance.now() - begin) / 1000;
  }

  /** The television's program begins again; with nothing stored, where `cold` is set. */
  async restart({ cold = false } = {}) {
    await this.tv.stop();
    if (cold) await this.tv.forgetStored();
    await this.tv.run();
    await this.enter();
  }

  async enter() {
    const response = await fetch(this.tv.address, { redirect: 'manual' });
    this.cookie = response.headers.get('set-cookie').split(';')[0];
  }

  async api(path) {
    const response = await fetch(`${this.tv.url}/api/${path}`, { headers: { Cookie: this.cookie } });
    if (!response.ok) throw new Error(`${path}: ${response.status} ${await response.text()}`);
    return response.json();
  }

  async until(path, holds) {
    while (!holds(await this.api(path))) await delay(100);
  }

  untilIndexed() {
    return this.until('groups', ({ groups }) => groups.some((one) => one.id === this.group && one.complete && one.total === this.total));
  }

  memory() {
    return memoryOf(this.tv.pid);
  }

  /** The cookie that lets a browser in. */
  cookieFor() {
    const [name, value] = this.cookie.split('=');
    return { name, value, url: this.tv.url };
  }

  address(hash) {
    return `${this.tv.url}/?lang=en${hash}`;
  }

  async end() {
    await this.tv?.end();
    await this.service.end();
    await rm(this.folder, { recursive: true, force: true });
  }
}
