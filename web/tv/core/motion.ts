// SPDX-License-Identifier: MIT
// Where a picture of the show stands on the screen and how it moves. Motion is a transform and nothing else. Nothing of a picture is cut
// off, whoever stands at its edge: it grows to the size of the screen and not beyond, and a panorama passes by as a whole.

export interface Frame {
  readonly left: number;
  readonly top: number;
  readonly width: number;
  readonly height: number;
}

export interface Motion {
  readonly frame: Frame;
  /** Transforms at the beginning and at the end; the same where it stands still. */
  readonly from: string;
  readonly to: string;
  /** Of the transform, as CSS has it. */
  readonly origin: string;
  readonly easing: 'linear' | 'ease-in-out';
}

/** From this on a picture is a panorama, which is shown as high as the screen and moved sideways. */
export const PANORAMA = 2.3;
/** From this on the other way it is as wide as the screen and moved down. */
const TOWER = 0.42;
/** How large a picture is when it begins to grow, and when it ends to shrink. */
const SMALL = 0.95;
/** Panoramas move this much of the screen's width in a second at most. */
const PAN_SPEED = 0.11;

const round = (value: number): number => Math.round(value * 100) / 100;

/** The largest frame of the picture's form within the room, in its middle. */
function whole(aspect: number, room: Frame): Frame {
  const wide = aspect * room.height > room.width;
  const width = wide ? room.width : aspect * room.height;
  const height = wide ? room.width / aspect : room.height;
  return { left: round(room.left + (room.width - width) / 2), top: round(room.top + (room.height - height) / 2), width: round(width), height: round(height) };
}

const still = (frame: Frame): Motion => ({ frame, from: 'none', to: 'none', origin: '50% 0', easing: 'linear' });

/** Sideways or down over a frame that is larger than the room. */
function pan(frame: Frame, across: number, down: number, backwards: boolean): Motion {
  const begin = 'translate3d(0, 0, 0)';
  const end = `translate3d(${round(-across)}px, ${round(-down)}px, 0)`;
  return { frame, from: backwards ? end : begin, to: backwards ? begin : end, origin: '0 0', easing: 'ease-in-out' };
}

/**
 * @param aspect width by height of the picture
 * @param room where it has to stand: the screen, or a part of it
 * @param seconds how long it is shown
 * @param turn differs from picture to picture, so that not all move alike
 */
export function motionFor(aspect: number, room: Frame, seconds: number, moving: boolean, turn = 0): Motion {
  if (!(aspect > 0)) return still(room);
  const fitted = whole(aspect, room);
  if (!moving) return still(fitted);
  const reach = PAN_SPEED * room.width * seconds;
  if (aspect >= PANORAMA) {
    // As high as the screen, unless the way to go would be too long for the time.
    const width = Math.min(aspect * room.height, room.width + reach);
    const height = width / aspect;
    const frame = { left: room.left, top: round(room.top + (room.height - height) / 2), width: round(width), height: round(height) };
    return pan(frame, width - room.width, 0, turn % 2 === 1);
  }
  if (aspect <= TOWER) {
    const height = Math.min(room.width / aspect, room.height + reach);
    const width = height * aspect;
    const frame = { left: round(room.left + (room.width - width) / 2), top: room.top, width: round(width), height: round(height) };
    return pan(frame, 0, height - room.height, false);
  }
  return grown(fitted, turn);
}

function grown(frame: Frame, turn: number): Motion {
  const small = `scale(${SMALL})`;
  const large = 'scale(1)';
  // Not always towards the middle, so that pictures of one form do not all end on the same dots.
  const origin = `${[50, 20, 80][turn % 3] ?? 50}% ${[50, 30, 70, 0][turn % 4] ?? 50}%`;
  return { frame, from: turn % 2 === 0 ? small : large, to: turn % 2 === 0 ? large : small, origin, easing: 'linear' };
}

/** Room for each of two pictures side by side. */
export function halves(room: Frame, gap: number): readonly [Frame, Frame] {
  const width = (room.width - gap) / 2;
  return [
    { left: room.left, top: room.top, width, height: room.height },
    { left: room.left + width + gap, top: room.top, width, height: room.height },
  ];
}

/** Two tall pictures stand close together in the middle, not each in the middle of its half. */
export function pairFrames(aspects: readonly [number, number], room: Frame, gap: number): readonly [Frame, Frame] {
  const [left, right] = halves(room, gap);
  const one = whole(aspects[0], left);
  const other = whole(aspects[1], right);
  return [
    { ...one, left: round(left.left + left.width - one.width) },
    { ...other, left: right.left },
  ];
}
