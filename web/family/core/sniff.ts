// SPDX-License-Identifier: MIT
// Whether a file begins like a picture that the service takes: one that does not need not be sent to be refused.

export const SNIFF_BYTES = 64;

const HEIC_BRANDS = ['heic', 'heix', 'heim', 'heis', 'hevc', 'hevx', 'hevm', 'hevs'];
const PICTURE_BRANDS = ['mif1', 'msf1', 'mif2'];

export function beginsLikePicture(bytes: Uint8Array): boolean {
  const text = (from: number, end: number): string => String.fromCharCode(...bytes.subarray(from, end));
  if (text(0, 3) === '\xff\xd8\xff') return true;
  if (text(0, 8) === '\x89PNG\r\n\x1a\n') return true;
  if (/^GIF8[79]a$/.test(text(0, 6))) return true;
  if (text(0, 4) === 'RIFF' && text(8, 12) === 'WEBP') return true;
  if (text(4, 8) !== 'ftyp') return false;
  // The main brand tells how it is coded, or only that there are pictures in it; then the brands behind it tell.
  const main = text(8, 12);
  if (HEIC_BRANDS.includes(main)) return true;
  if (!PICTURE_BRANDS.includes(main)) return false;
  const size = (bytes[2] ?? 0) * 256 + (bytes[3] ?? 0);
  for (let at = 16; at + 4 <= Math.min(bytes.length, size); at += 4) {
    if (HEIC_BRANDS.includes(text(at, at + 4))) return true;
  }
  return false;
}
