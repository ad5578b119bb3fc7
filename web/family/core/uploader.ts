// SPDX-License-Identifier: MIT
// Photos on their way to the service: each is hashed, asked after, and sent where it is new. What fails for a while is tried again,
// beginning with the question whether it has arrived after all; what fails for good says why and lets the others pass.
import { delayBefore, PATIENT } from '../../common/backoff';
import { Failure } from '../../common/http';
import { Signal } from '../../common/signal';
import type { FileDigest } from './api';

export type ItemState = 'waiting' | 'hashing' | 'hashed' | 'checked' | 'sending' | 'done' | 'known' | 'refused';

export interface Item {
  readonly id: number;
  readonly group: string;
  readonly file: File;
  state: ItemState;
  sha256: string;
  /** Bytes that have left this device. */
  sent: number;
  /** Why it was refused. */
  word: string;
}

/** What the uploader needs of the world. */
export interface Means {
  /** Empty where hashes cannot be had; throws where the file cannot be read. */
  hash(file: File, signal: AbortSignal): Promise<string>;
  known(group: string, files: FileDigest[], signal: AbortSignal): Promise<ReadonlySet<string>>;
  /** Resolves to whether the photo was new to the group. */
  send(item: Item, onProgress: (bytes: number) => void, signal: AbortSignal): Promise<boolean>;
  /** A word against the file before anything is done with it; empty where there is none. */
  objection(file: File): Promise<string>;
  later(milliseconds: number, call: () => void): () => void;
  random(): number;
}

/** Sent at a time: one's answer and the next one's bytes overlap. */
const AT_A_TIME = 2;
/** Hashed and not sent yet, at most. */
const AHEAD = 24;
/** Asked after at a time. */
const MOST_ASKED = 100;

const ENDED: ReadonlySet<ItemState> = new Set<ItemState>(['done', 'known', 'refused']);
/** What stops all others too: they wait for somebody to say "try again". */
const HALTING: ReadonlySet<string> = new Set(['quota', 'disk_full', 'signed_out', 'forbidden']);

export interface Summary {
  readonly files: number;
  readonly done: number;
  readonly known: number;
  readonly refused: number;
  readonly bytes: number;
  readonly sentBytes: number;
}

export class Uploader {
  readonly items: Item[] = [];
  readonly changed = new Signal<Uploader>(this);
  /** Why nothing moves until somebody says so; empty where nothing is halted. */
  halted = '';
  /** Whether it is waiting to try again by itself. */
  paused = false;

  private nextId = 1;
  private failures = 0;
  private endPause: () => void = () => undefined;
  private hashing = false;
  private asking = false;
  private stop = new AbortController();

  constructor(
    private readonly means: Means,
    private readonly onStored: (group: string) => void,
  ) {}

  get busy(): boolean {
    return this.items.some((item) => !ENDED.has(item.state));
  }

  summary(): Summary {
    const count = (state: ItemState): number => this.items.filter((item) => item.state === state).length;
    const size = (item: Item): number => item.file.size;
    const ended = (item: Item): number => (ENDED.has(item.state) ? size(item) : Math.min(size(item), item.sent));
    const total = (of: (item: Item) => number): number => this.items.reduce((sum, item) => sum + of(item), 0);
    return {
      files: this.items.length,
      done: count('done'),
      known: count('known'),
      refused: count('refused'),
      bytes: total(size),
      sentBytes: total(ended),
    };
  }

  add(group: string, files: readonly File[]): void {
    if (!this.busy) this.clear();
    for (const file of files) {
      this.items.push({ id: this.nextId++, group, file, state: 'waiting', sha256: '', sent: 0, word: '' });
    }
    this.halted = '';
    this.wake();
  }

  /** Forgets what has ended. */
  clear(): void {
    if (this.busy) return;
    this.items.length = 0;
    this.changed.notify();
  }

  /** Gives up what has not been sent. */
  cancel(): void {
    this.stop.abort();
    this.stop = new AbortController();
    this.endPause();
    this.paused = false;
    this.halted = '';
    this.items.length = 0;
    this.changed.notify();
  }

  /** Tries again now whatever was put off. */
  wake(): void {
    this.endPause();
    this.paused = false;
    this.move();
  }

  /** Tries again what stopped everything, or was refused for a reason that may have gone. */
  again(): void {
    this.halted = '';
    for (const item of this.items) {
      if (item.state === 'refused' && HALTING.has(item.word)) this.put(item, item.sha256 === '' ? 'waiting' : 'hashed');
    }
    this.wake();
  }

  private put(item: Item, state: ItemState, word = ''): void {
    item.state = state;
    item.word = word;
    if (state !== 'sending') item.sent = 0;
  }

  private move(): void {
    if (this.halted === '' && !this.paused) {
      void this.hashNext();
      void this.ask();
      this.sendNext();
    }
    this.changed.notify();
  }

  private async hashNext(): Promise<void> {
    if (this.hashing) return;
    const ahead = this.items.filter((item) => item.state === 'hashed' || item.state === 'checked').length;
    const item = this.items.find((one) => one.state === 'waiting');
    if (item === undefined || ahead >= AHEAD) return;
    const signal = this.stop.signal;
    this.hashing = true;
    this.put(item, 'hashing');
    try {
      const word = await this.means.objection(item.file);
      if (word !== '') {
        this.put(item, 'refused', word);
      } else {
        item.sha256 = await this.means.hash(item.file, signal);
        this.put(item, item.sha256 === '' ? 'checked' : 'hashed');
      }
    } catch {
      // The file is gone, was changed, or may not be read.
      if (!signal.aborted) this.put(item, 'refused', 'unreadable');
    } finally {
      this.hashing = false;
    }
    this.move();
  }

  /** Asks which of the hashed files the group has already. */
  private async ask(): Promise<void> {
    const first = this.items.find((item) => item.state === 'hashed');
    if (this.asking || first === undefined) return;
    const asked = this.items.filter((item) => item.state === 'hashed' && item.group === first.group).slice(0, MOST_ASKED);
    const signal = this.stop.signal;
    this.asking = true;
    try {
      const files = asked.map((item) => ({ sha256: item.sha256, size: item.file.size }));
      const known = await this.means.known(first.group, files, signal);
      this.failures = 0;
      for (const item of asked) {
        if (item.state === 'hashed') this.put(item, known.has(item.sha256) ? 'known' : 'checked');
      }
    } catch (error) {
      if (!signal.aborted) for (const item of asked) this.failed(item, error);
    } finally {
      this.asking = false;
    }
    this.move();
  }

  private sendNext(): void {
    for (;;) {
      const sending = this.items.filter((item) => item.state === 'sending');
      if (sending.length >= AT_A_TIME) return;
      const same = (one: Item, other: Item): boolean => one.group === other.group && one.sha256 !== '' && one.sha256 === other.sha256;
      // The same picture chosen twice goes once.
      for (const item of this.items) {
        if (item.state === 'checked' && this.items.some((other) => other.state === 'done' && same(item, other))) this.put(item, 'known');
      }
      const item = this.items.find((one) => one.state === 'checked' && !sending.some((other) => same(one, other)));
      if (item === undefined) return;
      this.put(item, 'sending');
      void this.send(item);
    }
  }

  private async send(item: Item): Promise<void> {
    const signal = this.stop.signal;
    try {
      const onProgress = (bytes: number): void => {
        item.sent = bytes;
        this.changed.notify();
      };
      const isNew = await this.means.send(item, onProgress, signal);
      this.failures = 0;
      this.put(item, isNew ? 'done' : 'known');
      if (isNew) this.onStored(item.group);
    } catch (error) {
      if (!signal.aborted) this.failed(item, error);
    }
    if (!signal.aborted) this.move();
  }

  private failed(item: Item, error: unknown): void {
    const failure = error instanceof Failure ? error : new Failure('failed', 0, String(error));
    if (failure.passing) {
      // It may have arrived all the same: ask before sending it again.
      this.put(item, item.sha256 === '' ? 'checked' : 'hashed');
      this.pause(failure);
      return;
    }
    this.put(item, 'refused', failure.word);
    if (HALTING.has(failure.word)) this.halted = failure.word;
  }

  private pause(failure: Failure): void {
    if (this.paused) return;
    this.failures += 1;
    this.paused = true;
    this.endPause();
    this.endPause = this.means.later(delayBefore(this.failures, PATIENT, failure.retryAfter, () => this.means.random()), () => this.wake());
  }
}
