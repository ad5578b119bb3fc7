// SPDX-License-Identifier: MIT
// The page's icon as a PNG, for telephones that take no drawing: the same shapes as in icon.svg, dot by dot.
import { PNG } from 'pngjs';

const GREEN = [0x0b, 0x65, 0x5e];
const WHITE = [0xff, 0xff, 0xff];
const GOLD = [0xe0, 0xa0, 0x30];
const HILLS = [
  [18, 42],
  [28, 30],
  [35, 38],
  [39, 34],
  [46, 42],
];

/** Whether a point lies below the line of the hills. */
function underHills(x, y) {
  if (x < 18 || x > 46 || y > 44) return false;
  const at = HILLS.findIndex(([right]) => x <= right);
  const [x1, y1] = HILLS[Math.max(1, at)];
  const [x0, y0] = HILLS[Math.max(1, at) - 1];
  return y >= y0 + ((y1 - y0) * (x - x0)) / (x1 - x0);
}

/** The colour at a point of a drawing of 64 by 64. */
function colourAt(x, y) {
  if (x < 14 || x > 50 || y < 16 || y > 48) return GREEN;
  if ((x - 40) ** 2 + (y - 25) ** 2 <= 16) return GOLD;
  return underHills(x, y) ? GREEN : WHITE;
}

const FINE = 4;

export function drawIcon(side) {
  const png = new PNG({ width: side, height: side });
  for (let row = 0; row < side; ++row) {
    for (let column = 0; column < side; ++column) {
      const sum = [0, 0, 0];
      for (let sub = 0; sub < FINE * FINE; ++sub) {
        const x = ((column + ((sub % FINE) + 0.5) / FINE) * 64) / side;
        const y = ((row + (Math.floor(sub / FINE) + 0.5) / FINE) * 64) / side;
        colourAt(x, y).forEach((part, at) => (sum[at] += part));
      }
      png.data.set([...sum.map((part) => Math.round(part / FINE ** 2)), 255], (row * side + column) * 4);
    }
  }
  return PNG.sync.write(png);
}
