// SPDX-License-Identifier: MIT
// Server-sent events, taken out of pieces of text as they arrive.

export interface ServerEvent {
  readonly event: string;
  readonly data: string;
  /** The last identifier that the stream has named, in this event or before. */
  readonly id: string;
}

export class SseParser {
  private rest = '';
  private data: string[] = [];
  private event = '';
  private id = '';
  /** Milliseconds that the service wants to pass before a new connection; null until it says so. */
  retry: number | null = null;

  constructor(lastId = '') {
    this.id = lastId;
  }

  /** The events that this piece completes. */
  push(piece: string): ServerEvent[] {
    const events: ServerEvent[] = [];
    let text = this.rest + piece;
    // The second half of a line end may be still to come.
    const held = text.endsWith('\r') ? '\r' : '';
    if (held !== '') text = text.slice(0, -1);
    const lines = text.split(/\r\n|\n|\r/);
    this.rest = (lines.pop() ?? '') + held;
    for (const line of lines) {
      const event = this.line(line);
      if (event !== null) events.push(event);
    }
    return events;
  }

  private line(line: string): ServerEvent | null {
    if (line === '') return this.dispatch();
    const colon = line.indexOf(':');
    if (colon === 0) return null;
    const field = colon < 0 ? line : line.slice(0, colon);
    const value = colon < 0 ? '' : line.slice(colon + 1).replace(/^ /, '');
    if (field === 'data') this.data.push(value);
    else if (field === 'event') this.event = value;
    else if (field === 'id' && !value.includes('\0')) this.id = value;
    else if (field === 'retry' && /^\d+$/.test(value)) this.retry = Number(value);
    return null;
  }

  private dispatch(): ServerEvent | null {
    const event = this.data.length === 0 ? null : { event: this.event || 'message', data: this.data.join('\n'), id: this.id };
    this.data = [];
    this.event = '';
    return event;
  }
}
