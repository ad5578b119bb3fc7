// SPDX-License-Identifier: MIT
// A line of server-sent events that is mended by itself. Read by fetch: an EventSource tells neither why it failed nor lets a new one
// begin behind the last event, and a page that is not looked at has to give its connection up, since browsers have six for a service.
import { delayBefore, pause, PATIENT } from './backoff';
import { failureOf, watchers } from './http';
import { type ServerEvent, SseParser } from './sseParser';

/** Without a byte for so long, comment lines included, the line is taken for broken. */
const SILENCE = 45_000;

export class EventStream {
  private stop: AbortController | null = null;
  private lastId = '';
  private failures = 0;
  private hastened: AbortController | null = null;

  constructor(
    private readonly address: string,
    private readonly onEvent: (event: ServerEvent) => void,
    /** The line stands for the first time: what happened before it did was told to nobody. */
    private readonly onBeginning: () => void,
  ) {}

  start(): void {
    if (this.stop !== null) return;
    const stop = new AbortController();
    this.stop = stop;
    void this.run(stop.signal);
  }

  end(): void {
    this.stop?.abort();
    this.stop = null;
  }

  /** Does not wait any longer before the next attempt. */
  hasten(): void {
    this.hastened?.abort();
  }

  private async run(stop: AbortSignal): Promise<void> {
    while (!stop.aborted) {
      let wait: number | null = null;
      try {
        wait = await this.listen(stop);
      } catch {
        if (!stop.aborted) watchers.away();
      }
      if (stop.aborted) return;
      this.failures += 1;
      const hastened = new AbortController();
      const end = (): void => hastened.abort();
      this.hastened = hastened;
      stop.addEventListener('abort', end);
      await pause(delayBefore(this.failures, PATIENT, wait), hastened.signal);
      stop.removeEventListener('abort', end);
    }
  }

  /** Returns when the line has ended; the value is how long the service wants to be left alone. */
  private async listen(stop: AbortSignal): Promise<number | null> {
    const line = new AbortController();
    const end = (): void => line.abort();
    stop.addEventListener('abort', end);
    let timer = setTimeout(end, SILENCE);
    try {
      const headers: Record<string, string> = { Accept: 'text/event-stream' };
      if (this.lastId !== '') headers['Last-Event-ID'] = this.lastId;
      const response = await fetch(this.address, { headers, credentials: 'same-origin', cache: 'no-store', signal: line.signal });
      if (!response.ok || response.body === null) {
        const failure = failureOf(response.status, await response.text(), response.headers.get('Retry-After'), null);
        if (failure.word === 'signed_out') {
          watchers.signedOut();
          this.end();
        } else if (failure.word === 'away') {
          watchers.away(failure.status);
        }
        return failure.retryAfter;
      }
      watchers.answered();
      this.failures = 0;
      const parser = new SseParser(this.lastId);
      const decoder = new TextDecoder();
      const reader = response.body.getReader();
      for (;;) {
        const { done, value } = await reader.read();
        if (done) return parser.retry;
        clearTimeout(timer);
        timer = setTimeout(end, SILENCE);
        for (const event of parser.push(decoder.decode(value, { stream: true }))) {
          if (this.lastId === '') this.onBeginning();
          this.lastId = event.id;
          this.onEvent(event);
        }
      }
    } finally {
      clearTimeout(timer);
      stop.removeEventListener('abort', end);
    }
  }
}
