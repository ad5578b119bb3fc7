// SPDX-License-Identifier: MIT
// A view's first heading. It takes the focus when one goes from view to view, so that a screen reader says where one has come.
import type { ComponentChildren } from 'preact';
import { useEffect, useRef } from 'preact/hooks';

let loaded = false;

interface Props {
  /** The window's title. */
  title: string;
  /** Whether another thing of the view takes the focus. */
  quiet?: boolean;
  class?: string;
  children: ComponentChildren;
}

export function Heading({ title, quiet = false, class: name, children }: Props) {
  const heading = useRef<HTMLHeadingElement>(null);
  useEffect(() => {
    document.title = title;
  }, [title]);
  useEffect(() => {
    // When the page is loaded, the browser reads it from its beginning by itself.
    if (loaded && !quiet) heading.current?.focus({ preventScroll: true });
    loaded = true;
  }, []);
  return (
    <h1 ref={heading} tabIndex={-1} class={name}>
      {children}
    </h1>
  );
}
