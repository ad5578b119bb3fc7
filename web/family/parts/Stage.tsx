// SPDX-License-Identifier: MIT
// The photo in its full size, its neighbours beside it: swiped, stepped by buttons.
import { useRef } from 'preact/hooks';
import { t } from '../core/language';
import type { Content } from '../core/records';
import { Icon } from './Icon';
import { Slide } from './Slide';

interface Props {
  content: Content;
  before?: Content;
  after?: Content;
  /** -1 to the one before, 1 to the one after. */
  onStep: (by: number) => void;
}

/** A swipe, as a share of the stage's width, or in pixels for each millisecond. */
const FAR = 0.25;
const FAST = 0.4;
/** Pixels until it shows whether a finger swipes or scrolls. */
const UNDECIDED = 8;

interface Swipe {
  readonly pointer: number;
  readonly x: number;
  readonly y: number;
  readonly time: number;
  sideways: boolean;
}

const magnified = (): boolean => (window.visualViewport?.scale ?? 1) > 1.05;

export function Stage({ content, before, after, onStep }: Props) {
  const track = useRef<HTMLDivElement>(null);
  const swipe = useRef<Swipe | null>(null);

  const move = (pixels: number, gliding: boolean): void => {
    if (track.current === null) return;
    track.current.classList.toggle('gliding', gliding);
    track.current.style.transform = pixels === 0 ? '' : `translateX(${pixels}px)`;
  };

  const onDown = (event: PointerEvent): void => {
    if (event.pointerType === 'mouse' || !event.isPrimary || magnified()) return;
    swipe.current = { pointer: event.pointerId, x: event.clientX, y: event.clientY, time: event.timeStamp, sideways: false };
  };
  const onMove = (event: PointerEvent): void => {
    const now = swipe.current;
    if (now === null || now.pointer !== event.pointerId) return;
    const dx = event.clientX - now.x;
    if (!now.sideways) {
      if (Math.abs(dx) < UNDECIDED) return;
      if (Math.abs(event.clientY - now.y) > Math.abs(dx)) {
        swipe.current = null;
        return;
      }
      now.sideways = true;
      track.current?.setPointerCapture(event.pointerId);
    }
    const resisted = (dx > 0 && before === undefined) || (dx < 0 && after === undefined);
    move(resisted ? dx / 4 : dx, false);
  };
  const onUp = (event: PointerEvent): void => {
    const now = swipe.current;
    swipe.current = null;
    if (now === null || !now.sideways) return;
    const dx = event.clientX - now.x;
    const width = track.current?.clientWidth ?? 1;
    const speed = Math.abs(dx) / Math.max(1, event.timeStamp - now.time);
    const by = dx < 0 ? 1 : -1;
    const target = by < 0 ? before : after;
    if (event.type === 'pointercancel' || target === undefined || (Math.abs(dx) < width * FAR && speed < FAST)) {
      move(0, true);
      return;
    }
    // The neighbour becomes the photo where the finger left it, and glides to its place.
    onStep(by);
    move(dx + by * width, false);
    requestAnimationFrame(() => requestAnimationFrame(() => move(0, true)));
  };

  const slides = [
    { content: before, place: -1 },
    { content, place: 0 },
    { content: after, place: 1 },
  ];
  return (
    <div class="stage">
      <div class="track" ref={track} onPointerDown={onDown} onPointerMove={onMove} onPointerUp={onUp} onPointerCancel={onUp}>
        {slides.map(({ content: one, place }) => one !== undefined && <Slide key={one.id} content={one} place={place} />)}
      </div>
      {before !== undefined && (
        <button type="button" class="button step step-before" aria-label={t('previousPhoto')} title={t('previousPhoto')} onClick={() => onStep(-1)}>
          <Icon name="back" />
        </button>
      )}
      {after !== undefined && (
        <button type="button" class="button step step-after" aria-label={t('nextPhoto')} title={t('nextPhoto')} onClick={() => onStep(1)}>
          <Icon name="forward" />
        </button>
      )}
    </div>
  );
}
