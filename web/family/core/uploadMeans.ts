// SPDX-License-Identifier: MIT
// The uploader in a browser: files, the worker that hashes them, and transfers that tell how far they are.
import { Failure, failureOf, watchers } from '../../common/http';
import * as api from './api';
import { tellLive } from './live';
import { beginsLikePicture, SNIFF_BYTES } from './sniff';
import { type Item, type Means, Uploader } from './uploader';

declare const HASH_WORKER: string;

/** Without a byte's progress for so long, a transfer is begun again. */
const STALL = 40_000;
/** All bytes have left; the service is putting them away. */
const STORING = 120_000;

let mostBytes = Infinity;
/** The largest file that the service takes. */
export function setMostBytes(bytes: number): void {
  mostBytes = bytes;
}

interface Hashing {
  resolve: (sha256: string) => void;
  reject: (error: Error) => void;
}

let worker: Worker | null = null;
let lastId = 0;
const hashings = new Map<number, Hashing>();

function hasher(): Worker {
  if (worker !== null) return worker;
  worker = new Worker(HASH_WORKER);
  worker.onmessage = (event: MessageEvent<{ id: number; sha256: string | null }>) => {
    const { id, sha256 } = event.data;
    const hashing = hashings.get(id);
    hashings.delete(id);
    if (sha256 !== null) hashing?.resolve(sha256);
    else hashing?.reject(new Error('the file cannot be read'));
  };
  worker.onerror = () => {
    for (const hashing of hashings.values()) hashing.resolve('');
    hashings.clear();
    worker?.terminate();
    worker = null;
  };
  return worker;
}

/** Empty where this browser cannot tell. */
function hash(file: File): Promise<string> {
  return new Promise((resolve, reject) => {
    const id = ++lastId;
    hashings.set(id, { resolve, reject });
    hasher().postMessage({ id, file });
  });
}

function readBeginning(file: File): Promise<Uint8Array> {
  return new Promise((resolve, reject) => {
    const reader = new FileReader();
    reader.onload = () => resolve(new Uint8Array(reader.result as ArrayBuffer));
    reader.onerror = () => reject(reader.error ?? new Error('unreadable'));
    reader.readAsArrayBuffer(file.slice(0, SNIFF_BYTES));
  });
}

async function objection(file: File): Promise<string> {
  if (file.size === 0) return 'empty';
  if (file.size > mostBytes) return 'too_large';
  return beginsLikePicture(await readBeginning(file)) ? '' : 'not_a_picture';
}

function send(item: Item, onProgress: (bytes: number) => void, signal: AbortSignal): Promise<boolean> {
  return new Promise((resolve, reject) => {
    const { file, group, sha256 } = item;
    const transfer = new XMLHttpRequest();
    let timer = 0;
    const onAbort = (): void => transfer.abort();
    const watch = (milliseconds: number): void => {
      clearTimeout(timer);
      timer = window.setTimeout(() => {
        transfer.abort();
        fail(new Failure('cut', 0, 'nothing moves'));
      }, milliseconds);
    };
    const end = (): void => {
      clearTimeout(timer);
      signal.removeEventListener('abort', onAbort);
    };
    const fail = (failure: Failure): void => {
      end();
      reject(failure);
    };
    transfer.open('POST', api.uploadAddress(group, file.name, sha256, new Date(file.lastModified).toISOString()));
    transfer.setRequestHeader('Content-Type', 'application/octet-stream');
    transfer.setRequestHeader('Accept', 'application/json');
    transfer.upload.onprogress = (event) => {
      watch(event.loaded < event.total ? STALL : STORING);
      onProgress(event.loaded);
    };
    transfer.upload.onload = () => watch(STORING);
    transfer.onload = () => {
      end();
      if (transfer.status >= 200 && transfer.status < 300) {
        watchers.answered();
        return resolve(transfer.status === 201);
      }
      const failure = failureOf(transfer.status, transfer.responseText, transfer.getResponseHeader('Retry-After'), transfer.getResponseHeader('Date'));
      if (failure.word === 'signed_out') watchers.signedOut();
      reject(failure);
    };
    transfer.onabort = () => fail(new Failure('aborted', 0, 'nobody wants it any more'));
    transfer.onerror = () => {
      // A file that was changed or has gone looks like a service that has.
      readBeginning(file).then(
        () => {
          watchers.away();
          fail(new Failure('away', 0, 'no answer'));
        },
        () => fail(new Failure('unreadable', 0, 'the file cannot be read')),
      );
    };
    signal.addEventListener('abort', onAbort);
    watch(STALL);
    transfer.send(file);
  });
}

const means: Means = {
  hash,
  objection,
  send,
  known: async (group, files, signal) => new Set((await api.knownFiles(group, files, signal)).known.map((file) => file.sha256)),
  later: (milliseconds, call) => {
    const timer = window.setTimeout(call, milliseconds);
    return () => clearTimeout(timer);
  },
  random: Math.random,
};

/** The page's one uploader; it outlives the views. */
export const uploader = new Uploader(means, (group) => tellLive({ kind: 'content', group, content: '' }));

/** Keeps the screen lit while photos are on their way, where the browser lets a page do that. */
function keepLit(): void {
  const screen = (navigator as { wakeLock?: { request(kind: 'screen'): Promise<{ release(): Promise<void> }> } }).wakeLock;
  if (screen === undefined) return;
  let lock: Promise<{ release(): Promise<void> } | null> | null = null;
  document.addEventListener('visibilitychange', () => {
    // A page that is not looked at loses it.
    if (document.visibilityState === 'hidden') lock = null;
  });
  uploader.changed.subscribe(() => {
    if (uploader.busy && lock === null) {
      lock = screen.request('screen').catch(() => null);
    } else if (!uploader.busy && lock !== null) {
      void lock.then((held) => held?.release());
      lock = null;
    }
  });
}

/** Goes on as soon as there is a reason to hope: the screen is lit again, the network is back. */
export function keepUploading(): void {
  document.addEventListener('visibilitychange', () => {
    if (document.visibilityState === 'visible') uploader.wake();
  });
  addEventListener('online', () => uploader.wake());
  addEventListener('pageshow', () => uploader.wake());
  keepLit();
  addEventListener('beforeunload', (event) => {
    if (uploader.busy) event.preventDefault();
  });
}
