// SPDX-License-Identifier: MIT
// Photographs for a television's tests: a landscape with somebody in it, whose head is near the upper edge, in all forms that photos have.
import { PNG } from '../support/modules.mjs';

/** Width and height of the original of a photo; tall ones and panoramas among them. */
export function formOf(number) {
  const forms = [[4032, 3024], [4000, 2250], [3024, 4032], [4032, 3024], [6000, 4000], [3024, 4032], [4032, 3024], [12000, 3000], [4000, 3000], [3024, 4032]];
  return forms[number % forms.length];
}

/** The sizes a television's program offers: within these. */
const WITHIN = { grid: [540, 405], screen: [1920, 1080], full: [3840, 2160] };

function colours(seed) {
  const hue = (seed * 47) % 360;
  return (light, turn = 0) => {
    const part = (offset) => {
      const k = (offset + (hue + turn) / 30) % 12;
      return Math.round(255 * (light - 0.4 * Math.min(light, 1 - light) * Math.max(-1, Math.min(k - 3, 9 - k, 1))));
    };
    return [part(0), part(8), part(4)];
  };
}

function draw(seed, width, height) {
  const png = new PNG({ width, height, colorType: 2 });
  const colour = colours(seed);
  const hills = [0.78, 0.55, 0.4, 0.28].map((light, at) => colour(light, at * 12));
  const [skin, coat] = [colour(0.72, 150), colour(0.5, 190)];
  const unit = Math.min(width, height);
  const across = width * (0.3 + 0.4 * ((seed * 7) % 10) / 10);
  const lines = [];
  for (let hill = 0; hill < 4; ++hill) {
    lines.push(Float32Array.from({ length: width }, (_, x) => height * (0.42 + hill * 0.14 + 0.07 * Math.sin((x / width) * (4 + hill * 2) + seed * (hill + 1)))));
  }
  for (let y = 0; y < height; ++y) {
    const sky = colour(0.93 - 0.2 * (y / height));
    for (let x = 0; x < width; ++x) {
      let dot = sky;
      for (let hill = 0; hill < 4; ++hill) if (y > lines[hill][x]) dot = hills[hill];
      const [dx, dy] = [(x - across) / unit, (y - unit * 0.16) / unit];
      if (dx * dx + dy * dy < 0.008) dot = skin;
      else if (dy > 0.09 && dy < 0.5 && Math.abs(dx) < 0.06 + dy * 0.16) dot = coat;
      const at = (y * width + x) * 4;
      png.data[at] = dot[0];
      png.data[at + 1] = dot[1];
      png.data[at + 2] = dot[2];
      png.data[at + 3] = 255;
    }
  }
  return PNG.sync.write(png, { colorType: 2, deflateLevel: 2 });
}

const drawn = new Map();

/** The photo's picture; `bounds` are those that the page asks for of a full one. */
export function pictureOf(number, size, bounds = null) {
  const seed = number % 20;
  const [width, height] = formOf(number);
  const [most, tallest] = bounds ?? WITHIN[size];
  const scale = Math.min(most / width, tallest / height, 1);
  const [across, down] = [Math.max(1, Math.round(width * scale)), Math.max(1, Math.round(height * scale))];
  const key = `${seed} ${across} ${down}`;
  if (!drawn.has(key)) drawn.set(key, draw(seed, across, down));
  return drawn.get(key);
}

/** Draws every picture that a screen of 1080 rows asks for, so that no test waits for it. */
export function drawAll() {
  for (let number = 0; number < 20; ++number) {
    const [width, height] = formOf(number);
    if (width / height > 2.3) pictureOf(number, 'full', [Math.round((1080 * width) / height), 1080]);
    else pictureOf(number, 'screen');
  }
}
