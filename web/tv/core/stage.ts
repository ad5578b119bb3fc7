// SPDX-License-Identifier: MIT
// The show's pictures in the document. There are three of full size at most: of two pairs, one picture is changed after the other.
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
const LONGEST_FADE = 1200;
/** A fade that is shorter would be a flicker. */
const SHORTEST_FADE = 200;

export class Stage {
  private layers: Layer[] = [];
  private leaving: Layer[] = [];
  private turn = 0;
  private generation = 0;
  private held = false;

  constructor(private readonly element: HTMLElement) {}

  show(slide: readonly Picture[], { time, moving }: Manner): void {
    this.finish();
    const generation = ++this.generation;
    const first = this.layers.length === 0;
    const fade = first || !moving ? 0 : Math.min(LONGEST_FADE, time * 0.3);
    const length = fade < SHORTEST_FADE ? 0 : fade;
    this.leaving = this.layers;
    this.layers = [];
    const motions = this.motions(slide, (time + length) / 1000, moving && time >= 1000);
    const step = (from: number): void => {
      const room = MOST - this.leaving.length - this.layers.length;
      const end = Math.min(slide.length, from + room);
      for (let at = from; at < end; ++at) this.add(slide[at] as Picture, motions[at] as Motion, time + length, length);
      const last = end >= slide.length;
      const out = last ? this.leaving.slice() : this.leaving.slice(0, 1);
      if (length > 0) for (const layer of out) layer.fades.push(layer.picture.image.animate([{ opacity: 1 }, { opacity: 0 }], { duration: length, fill: 'both' }));
      const after = (): void => {
        if (generation !== this.generation) return;
        for (const layer of out) this.drop(layer);
        if (!last) step(end);
      };
      if (length > 0) setTimeout(after, length);
      else afterPaint(after);
    };
    step(0);
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

  private add(picture: Picture, motion: Motion, time: number, fade: number): void {
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
      fades: fade > 0 ? [image.animate([{ opacity: 0 }, { opacity: 1 }], { duration: fade, fill: 'both', easing: 'ease-in-out' })] : [],
    };
    if (this.held) layer.motion?.pause();
    this.layers.push(layer);
    afterPaint(() => {
      if (image.isConnected) mark('slide-shown', { group: item.group, content: item.id });
    });
  }
}
