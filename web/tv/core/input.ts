// SPDX-License-Identifier: MIT
// Who hears of a press: what lies on top first, the view below it, and last what every view does alike.
import { useEffect, useLayoutEffect, useRef } from 'preact/hooks';
import { Signal } from '../../common/signal';
import { moveFocus } from './focus';
import { noteInput } from './idle';
import { type Action, actionOf, HeldKeys, type Press } from './keys';

/** Returns whether the press was for it. */
export type Handler = (press: Press) => boolean;

const stack: Array<{ handler: Handler; modal: boolean }> = [];

/** Hears of presses while the component is there; a modal one keeps them from all below. */
export function usePresses(handler: Handler, modal = false): void {
  const latest = useRef(handler);
  latest.current = handler;
  useLayoutEffect(() => {
    const entry = { handler: (press: Press) => latest.current(press), modal };
    stack.push(entry);
    return () => {
      stack.splice(stack.indexOf(entry), 1);
    };
  }, [modal]);
}

/** The keys that are pressed while somebody writes are letters. */
function isWriting(): boolean {
  const at = document.activeElement;
  return at instanceof HTMLInputElement || at instanceof HTMLTextAreaElement;
}

/** While one writes, only these are no letters and no moves within the text. */
const BESIDE_WRITING: ReadonlySet<Action> = new Set<Action>(['up', 'down', 'enter', 'back', 'comment', 'mark', 'hide', 'show', 'stop']);

/** Whether a key is being held: what is costly waits for its end. */
export const flying = new Signal(false);

let onUnhandled: Handler = () => false;

function dispatch(press: Press): boolean {
  let covered = false;
  for (let at = stack.length - 1; at >= 0; --at) {
    const entry = stack[at];
    if (entry === undefined) continue;
    if (entry.handler(press)) return true;
    covered = entry.modal;
    if (covered) break;
  }
  switch (press.action) {
    case 'up':
    case 'down':
    case 'left':
    case 'right':
      return moveFocus(press.action);
    case 'enter':
      // A press of our own making would not be taken for one by the browser.
      if (!(document.activeElement instanceof HTMLElement) || document.activeElement === document.body) return false;
      document.activeElement.click();
      return true;
    default:
      return !covered && onUnhandled(press);
  }
}

/** Begins to listen; what no view wants goes to the function. */
export function startInput(unhandled: Handler): void {
  onUnhandled = unhandled;
  const held = new HeldKeys(
    () => performance.now(),
    (then) => requestAnimationFrame(then),
  );
  addEventListener('keydown', (event) => {
    noteInput();
    if (event.ctrlKey || event.altKey || event.metaKey) {
      // Alt and an arrow is how some systems say Back.
      if (!(event.altKey && event.key === 'ArrowLeft')) return;
    }
    const action = event.altKey ? 'back' : actionOf(event.key, event.keyCode);
    if (action === null) return;
    if (isWriting()) {
      const letter = event.key.length === 1 || event.key === 'Backspace';
      if (letter || !BESIDE_WRITING.has(action)) return;
    }
    event.preventDefault();
    const press = held.down(action, event.repeat, event.timeStamp);
    if (press === null) return;
    if (flying.value !== held.holding) flying.value = held.holding;
    dispatch(press);
  });
  const end = (): void => {
    held.up();
    flying.value = false;
  };
  addEventListener('keyup', end);
  addEventListener('blur', end);
  for (const kind of ['pointerdown', 'pointermove', 'wheel', 'touchstart']) addEventListener(kind, noteInput, { passive: true });
}

/** Sends an action as though its key had been pressed: buttons on screen do what keys do. */
export function act(action: Action): void {
  dispatch({ action, steps: 1, held: false });
}

type Stroke = 'up' | 'down' | 'left' | 'right';

/** Fingers: a stroke across the element is an arrow the other way, as the picture follows the finger. */
export function useStrokes(target: { current: HTMLElement | null }, onStroke: (action: Stroke) => void, step = 0): void {
  const latest = useRef(onStroke);
  latest.current = onStroke;
  const bound = useRef<{ element: HTMLElement; end: () => void } | null>(null);
  // The element may come later than the component.
  useEffect(() => {
    const element = target.current;
    if (bound.current?.element === element) return;
    bound.current?.end();
    bound.current = element === null ? null : { element, end: listenForStrokes(element, (action) => latest.current(action), step) };
  });
  useEffect(() => () => bound.current?.end(), []);
}

function listenForStrokes(element: HTMLElement, onStroke: (action: Stroke) => void, step: number): () => void {
  let from: { x: number; y: number } | null = null;
  const begin = (event: TouchEvent): void => {
    const touch = event.touches[0];
    from = touch === undefined ? null : { x: touch.clientX, y: touch.clientY };
  };
  const move = (event: TouchEvent): void => {
    const touch = event.touches[0];
    if (from === null || touch === undefined) return;
    const across = touch.clientX - from.x;
    const along = touch.clientY - from.y;
    const far = step > 0 ? step : element.clientWidth / 12;
    if (Math.max(Math.abs(across), Math.abs(along)) < far) return;
    if (Math.abs(across) > Math.abs(along)) onStroke(across < 0 ? 'right' : 'left');
    else onStroke(along < 0 ? 'down' : 'up');
    // A stroke that goes on is a further step where steps have a size, else it was one.
    from = step > 0 ? { x: touch.clientX, y: touch.clientY } : null;
  };
  const wheel = (event: WheelEvent): void => {
    if (Math.abs(event.deltaY) > 2) onStroke(event.deltaY > 0 ? 'down' : 'up');
  };
  element.addEventListener('touchstart', begin, { passive: true });
  element.addEventListener('touchmove', move, { passive: true });
  element.addEventListener('wheel', wheel, { passive: true });
  return () => {
    element.removeEventListener('touchstart', begin);
    element.removeEventListener('touchmove', move);
    element.removeEventListener('wheel', wheel);
  };
}
