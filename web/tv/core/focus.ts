// SPDX-License-Identifier: MIT
// Moving the focus among a view's controls: they stand in rows, in the order of the document, and an arrow leads to the next row or
// the next control. No rectangle is read.

const CONTROLS = 'a[href], button, input, [tabindex]';

function usable(element: HTMLElement): boolean {
  return !(element as HTMLButtonElement).disabled && element.getAttribute('aria-hidden') !== 'true' && element.dataset.skip === undefined;
}

/** Rows of controls: each element with data-row is one, or several where data-columns says how many stand side by side. */
function rowsIn(root: ParentNode): HTMLElement[][] {
  const rows: HTMLElement[][] = [];
  for (const row of [...root.querySelectorAll<HTMLElement>('[data-row]')]) {
    const controls = [...row.querySelectorAll<HTMLElement>(CONTROLS)].filter(usable);
    const columns = Number(row.dataset.columns ?? 0) || controls.length;
    for (let at = 0; at < controls.length; at += columns) rows.push(controls.slice(at, at + columns));
  }
  return rows.filter((row) => row.length > 0);
}

/** What has the arrows at present: a window over the view, else the view. */
const root = (): ParentNode => document.querySelector('[role=dialog]') ?? document;

/** The column that was left sideways or by hand, kept while rows of other lengths are passed. */
let wanted = 0;

export function moveFocus(direction: 'up' | 'down' | 'left' | 'right'): boolean {
  const rows = rowsIn(root());
  const at = rows.findIndex((row) => row.includes(document.activeElement as HTMLElement));
  const row = rows[at];
  if (row === undefined) {
    const first = rows[0]?.[0];
    first?.focus({ preventScroll: true });
    return first !== undefined;
  }
  const column = row.indexOf(document.activeElement as HTMLElement);
  let next: HTMLElement | undefined;
  if (direction === 'left' || direction === 'right') {
    next = row[column + (direction === 'left' ? -1 : 1)];
    if (next !== undefined) wanted = column + (direction === 'left' ? -1 : 1);
  } else {
    const beside = rows[at + (direction === 'up' ? -1 : 1)];
    next = beside?.[Math.min(beside.length - 1, Math.max(column, wanted))];
    if (row.length > 1) wanted = column;
  }
  next?.focus({ preventScroll: true });
  return next !== undefined;
}

/** Focuses what the view begins with: the control marked so, else its first. */
export function focusFirst(): void {
  const within = root();
  const first = within.querySelector<HTMLElement>('[data-first]') ?? rowsIn(within)[0]?.[0];
  wanted = 0;
  first?.focus({ preventScroll: true });
}
