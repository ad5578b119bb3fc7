// SPDX-License-Identifier: MIT
// A guest's photos on their way: two at a time, tried again while the failure is one that passes. It knows no document.
import { delayBefore } from '../common/backoff';

export interface Outcome {
  readonly status: number;
  /** What the television calls the failure; empty where it worked, or where there was no answer at all. */
  readonly word: string;
  /** Milliseconds it wants to be left alone; null where it says nothing. */
  readonly retryAfter: number | null;
}

export interface Means {
  /** Sends a file; tells how much of it has gone, from 0 to 1. */
  send(file: File, onProgress: (part: number) => void): Promise<Outcome>;
  after(milliseconds: number, then: () => void): void;
  onChange(): void;
}

export interface Sent {
  readonly id: number;
  readonly file: File;
  state: 'waiting' | 'sending' | 'retrying' | 'done' | 'failed';
  part: number;
  word: string;
  failures: number;
}

const AT_A_TIME = 2;
const PATIENCE = { first: 1000, most: 20_000 };
/** Answers behind which the same photo may well be taken later. */
const passes = ({ status, word }: Outcome): boolean => status === 0 || word === 'away' || word === 'busy' || (status >= 500 && word !== 'disk_full');

export class Sending {
  readonly list: Sent[] = [];
  /** The television takes no more. */
  closed = false;
  private nextId = 1;

  constructor(private readonly means: Means) {}

  add(files: Iterable<File>): void {
    for (const file of files) this.list.push({ id: this.nextId++, file, state: 'waiting', part: 0, word: '', failures: 0 });
    this.plan();
  }

  again(id: number): void {
    const one = this.list.find((sent) => sent.id === id);
    if (one === undefined || one.state !== 'failed') return;
    one.state = 'waiting';
    one.word = '';
    this.plan();
  }

  get arrived(): number {
    return this.list.filter((one) => one.state === 'done').length;
  }

  get busy(): boolean {
    return this.list.some((one) => one.state === 'waiting' || one.state === 'sending' || one.state === 'retrying');
  }

  private plan(): void {
    let running = this.list.filter((one) => one.state === 'sending').length;
    for (const one of this.list) {
      if (running >= AT_A_TIME || this.closed) break;
      if (one.state !== 'waiting') continue;
      running += 1;
      void this.send(one);
    }
    this.means.onChange();
  }

  private async send(one: Sent): Promise<void> {
    one.state = 'sending';
    one.part = 0;
    const outcome = await this.means.send(one.file, (part) => {
      one.part = part;
      this.means.onChange();
    });
    if (outcome.status >= 200 && outcome.status < 300) {
      one.state = 'done';
      one.part = 1;
    } else if (passes(outcome)) {
      one.state = 'retrying';
      one.failures += 1;
      this.means.after(delayBefore(one.failures, PATIENCE, outcome.retryAfter), () => {
        one.state = 'waiting';
        this.plan();
      });
    } else {
      one.state = 'failed';
      one.word = outcome.word === '' ? 'failed' : outcome.word;
      if (outcome.status === 410 || outcome.status === 404) this.close();
    }
    this.plan();
  }

  private close(): void {
    this.closed = true;
    for (const one of this.list) {
      if (one.state !== 'waiting' && one.state !== 'retrying') continue;
      one.state = 'failed';
      one.word = 'closed';
    }
  }
}
