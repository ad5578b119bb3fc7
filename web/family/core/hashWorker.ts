// SPDX-License-Identifier: MIT
// Hashes files beside the page, a piece at a time: neither the page nor the memory notices. The browser's own hashing is for pages of
// https alone, and wants a file as a whole.
import { sha256 } from '@noble/hashes/sha2';
import { bytesToHex } from '@noble/hashes/utils';

const PIECE = 1 << 20;

/** Of workers alone. */
declare class FileReaderSync {
  readAsArrayBuffer(blob: Blob): ArrayBuffer;
}

addEventListener('message', (event: MessageEvent<{ id: number; file: Blob }>) => {
  const { id, file } = event.data;
  const reader = new FileReaderSync();
  const read = (from: number, end: number): Uint8Array => new Uint8Array(reader.readAsArrayBuffer(file.slice(from, end)));
  let readable = false;
  try {
    const hash = sha256.create();
    for (let at = 0; at < file.size; at += PIECE) {
      readable = false;
      const piece = read(at, at + PIECE);
      readable = true;
      hash.update(piece);
    }
    postMessage({ id, sha256: bytesToHex(hash.digest()) });
  } catch {
    // A browser that cannot hash sends without having asked; the service knows what it has.
    postMessage({ id, sha256: readable ? '' : null });
  }
});
