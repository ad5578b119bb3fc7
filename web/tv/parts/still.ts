// SPDX-License-Identifier: MIT
// Parts of a view that are the same before and after most presses: they are drawn again only when a property of theirs differs.
import { Component, type ComponentChild } from 'preact';

export function still<P extends object>(draw: (props: P) => ComponentChild) {
  return class Still extends Component<P> {
    override shouldComponentUpdate(next: P): boolean {
      const now = this.props as P;
      return (Object.keys(next) as Array<keyof P>).some((key) => next[key] !== now[key]);
    }

    override render(props: P): ComponentChild {
      return draw(props);
    }
  };
}
