// SPDX-License-Identifier: MIT
// Photographs that never were.
import { PNG } from './modules.mjs';

/** A PNG of its own for each number. */
export function png(number, width = 64, height = 48) {
  const picture = new PNG({ width, height });
  for (let at = 0; at < width * height; ++at) {
    picture.data.set([(number * 53 + at) & 255, (number * 97) & 255, ((at / width) * 3 + number) & 255, 255], at * 4);
  }
  return PNG.sync.write(picture);
}

/** A PNG of about so many bytes, which do not compress. */
export function noise(number, bytes) {
  const side = Math.ceil(Math.sqrt(bytes / 3));
  const picture = new PNG({ width: side, height: side });
  let state = (number + 1) * 2654435761;
  for (let at = 0; at < side * side * 4; ++at) {
    state = (Math.imul(state, 1664525) + 1013904223) >>> 0;
    picture.data[at] = at % 4 === 3 ? 255 : state >>> 24;
  }
  return PNG.sync.write(picture, { colorType: 2 });
}

/** What a telephone makes: HEIC, of 96 by 64 dots. */
export const heic = () =>
  Buffer.from(
    [
      'AAAAHGZ0eXBoZWljAAAAAG1pZjFoZWljbWlhZgAAAYNtZXRhAAAAAAAAACFoZGxyAAAAAAAAAABwaWN0AAAAAAAAAAAAAAAAAAAAAA5waXRtAAAAAAABAAAA',
      'NGlsb2MAAAAAREAAAgABAAAAAAGnAAEAAAAAAAAAHgACAAAAAAHFAAEAAAAAAAAAvgAAADhpaW5mAAAAAAACAAAAFWluZmUCAAAAAAEAAGh2YzEAAAAAFWlu',
      'ZmUCAAABAAIAAEV4aWYAAAAAwmlwcnAAAACkaXBjbwAAAHhodmNDAQNwAAAAAAAAAAAAHvAA/P34+AAADwMgAAEAGEABDAH//wNwAAADAJAAAAMAAAMAHroC',
      'QCEAAQArQgEBA3AAAAMAkAAAAwAAAwAeoDCBBZbqSSmubgQEDAgAAAMACAAAAwAIQCIAAQAHRAHBcrAiQAAAABRpc3BlAAAAAAAAAGAAAABAAAAAEHBpeGkA',
      'AAAAAwgICAAAABZpcG1hAAAAAAAAAAEAAQOBAoMAAAAaaXJlZgAAAAAAAAAOY2RzYwACAAEAAQAAAORtZGF0AAAAGigBrxOA5TPAn//Pyiv+0F1f9nuq1Q9F',
      'nTvbAAAABkV4aWYAAElJKgAIAAAABgASAQMAAQAAAAEAAAAaAQUAAQAAAFYAAAAbAQUAAQAAAF4AAAAoAQMAAQAAAAIAAAATAgMAAQAAAAEAAABphwQAAQAA',
      'AGYAAAAAAAAAOGMAAOgDAAA4YwAA6AMAAAYAAJAHAAQAAAAwMjEwAZEHAAQAAAABAgMAAKAHAAQAAAAwMTAwAaADAAEAAAD//wAAAqAEAAEAAABgAAAAA6AE',
      'AAEAAABAAAAAAAAAAA==',
    ].join(''),
      'base64',
  );
