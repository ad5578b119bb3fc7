// SPDX-License-Identifier: MIT
// The show's pictures in the document. What was shown fades out before what follows fades in: a television that draws without a graphics
// processor has no time for two full-size pictures in a frame. There are three of full size in the document at most.
import { photoName } from './language';
import { afterPaint, mark } from './marks';
import { type Frame, type Motion, motionFor, pairFrames } from './motion';
import { release } from './pictures';
import type { Picture } from './player';

export interface Manner {
  /** Milliseconds until the next slide. */
  readonly time: number;
  readonly moving: boolean;
}

interface Layer {
  readonly picture: Picture;
  readonly motion: Animation | null;
  readonly fades: Animation[];
}

const MOST = 3;
/** Milliseconds of a change: out and in. */
const LONGEST_CHANGE = 1400;
/** One that is shorter would be a flicker. */
const SHORTEST_CHANGE = 200;

export class Stage {
  private layers: Layer[] = [];
  private leaving: Layer[] = [];
  /** Of the slide on screen, what has no room until those before have left. */
  private waiting: readonly Picture[] = [];
  private turn = 0;
  private generation = 0;
  private held = false;

  constructor(private readonly element: HTMLElement) {}

  show(slide: readonly Picture[], { time, moving }: Manner): void {
    this.finish();
    const generation = ++this.generation;
    const first = this.layers.length === 0;
    const change = first || !moving ? 0 : Math.min(LONGEST_CHANGE, time * 0.3);
    const fade = change < SHORTEST_CHANGE ? 0 : change / 2;
    this.leaving = this.layers;
    this.layers = [];
    const motions = this.motions(slide, (time + fade) / 1000, moving && time >= 1000);
    const add = (pictures: readonly Picture[], delay: number): void => {
      for (const picture of pictures) this.add(picture, motions[slide.indexOf(picture)] as Motion, { time: time + fade, fade, delay });
    };
    // Those that have room are made ready to be drawn while the others leave.
    const room = MOST - this.leaving.length;
    this.waiting = slide.slice(room);
    add(slide.slice(0, room), fade);
    if (fade > 0) for (const { picture, fades } of this.leaving) fades.push(picture.image.animate([{ opacity: 1 }, { opacity: 0 }], { duration: fade, fill: 'both', easing: 'ease-in' }));
    const after = (): void => {
      if (generation !== this.generation) return;
      const late = this.waiting;
      this.waiting = [];
      this.finish();
      add(late, 0);
    };
    if (fade > 0) setTimeout(after, fade);
    else afterPaint(after);
  }

  /** Motion stands still. */
  hold(held: boolean): void {
    this.held = held;
    for (const { motion } of this.layers) held ? motion?.pause() : motion?.play();
  }

  clear(): void {
    this.generation += 1;
    this.finish();
    this.leaving = this.layers;
    this.layers = [];
    this.finish();
  }

  /** Ends a change that is under way. */
  private finish(): void {
    for (const layer of this.leaving.slice()) this.drop(layer);
    for (const { image } of this.waiting) release(image);
    this.waiting = [];
  }

  private drop(layer: Layer): void {
    this.leaving = this.leaving.filter((one) => one !== layer);
    const { image } = layer.picture;
    image.remove();
    layer.motion?.cancel();
    for (const fade of layer.fades.splice(0)) fade.cancel();
    release(image);
  }

  private motions(slide: readonly Picture[], seconds: number, moving: boolean): Motion[] {
    const room: Frame = { left: 0, top: 0, width: this.element.clientWidth, height: this.element.clientHeight };
    const aspects = slide.map(({ image }) => image.naturalWidth / Math.max(1, image.naturalHeight));
    this.turn += 1;
    const [one = 1, other] = aspects;
    if (other === undefined) return [motionFor(one, room, seconds, moving, this.turn)];
    return pairFrames([one, other], room, room.width / 100).map((frame, at) => motionFor(aspects[at] ?? 1, frame, seconds, moving, this.turn));
  }

  private add(picture: Picture, motion: Motion, { time, fade, delay }: { time: number; fade: number; delay: number }): void {
    const { image, item } = picture;
    const { frame } = motion;
    image.className = 'slide';
    image.alt = photoName(item);
    image.draggable = false;
    Object.assign(image.style, { left: `${frame.left}px`, top: `${frame.top}px`, width: `${frame.width}px`, height: `${frame.height}px`, transformOrigin: motion.origin });
    this.element.appendChild(image);
    const moves = motion.from !== motion.to;
    const layer: Layer = {
      picture,
      motion: moves ? image.animate([{ transform: motion.from }, { transform: motion.to }], { duration: time, fill: 'both', easing: motion.easing }) : null,
      fades: fade > 0 ? [image.animate([{ opacity: 0 }, { opacity: 1 }], { duration: fade, delay, fill: 'both', easing: 'ease-out' })] : [],
    };
    if (this.held) layer.motion?.pause();
    this.layers.push(layer);
    afterPaint(() => {
      if (image.isConnected) mark('slide-shown', { group: item.group, content: item.id });
    });
  }
}
