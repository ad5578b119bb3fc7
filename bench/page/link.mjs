// SPDX-License-Identifier: MIT
// A line of a given speed and length between a client and a service on this computer: what all its connections carry together leaves it
// no faster than the line is, and arrives so much later.
import { connect, createServer } from 'node:net';

/** One direction of the line. */
class Lane {
  constructor(bytesPerSecond, delay) {
    this.bytesPerSecond = bytesPerSecond;
    this.delay = delay;
    this.free = 0;
  }

  /** Carries from one socket to the other; the sender waits while the line is busy. */
  carry(from, to) {
    // In the order in which they came: timers that end in the same millisecond run in any.
    const underWay = [];
    const arrive = () => {
      while (underWay.length > 0 && underWay[0].at <= performance.now()) {
        const { bytes } = underWay.shift();
        if (bytes === null) to.end();
        else if (to.writable) to.write(bytes);
      }
      if (underWay.length > 0) setTimeout(arrive, underWay[0].at - performance.now());
    };
    const send = (bytes) => {
      underWay.push({ at: this.free + this.delay, bytes });
      if (underWay.length === 1) setTimeout(arrive, this.free + this.delay - performance.now());
    };
    from.on('data', (bytes) => {
      const now = performance.now();
      this.free = Math.max(this.free, now) + (bytes.length / this.bytesPerSecond) * 1000;
      from.pause();
      setTimeout(() => from.resume(), Math.max(0, this.free - now - 5));
      send(bytes);
    });
    from.on('end', () => {
      this.free = Math.max(this.free, performance.now());
      send(null);
    });
    from.on('error', () => to.destroy());
    from.on('close', () => setTimeout(() => to.destroy(), 1000));
  }
}

/** @param delay from one end to the other and back, in milliseconds */
export async function startLink(port, { bytesPerSecond, delay }) {
  const up = new Lane(bytesPerSecond, delay / 2);
  const down = new Lane(bytesPerSecond, delay / 2);
  const sockets = new Set();
  const server = createServer({ allowHalfOpen: true }, (client) => {
    const service = connect({ port, host: '127.0.0.1', allowHalfOpen: true });
    for (const socket of [client, service]) {
      socket.setNoDelay(true);
      sockets.add(socket);
      socket.on('close', () => sockets.delete(socket));
    }
    up.carry(client, service);
    down.carry(service, client);
  });
  await new Promise((resolve) => server.listen(0, '127.0.0.1', resolve));
  return {
    url: `http://127.0.0.1:${server.address().port}`,
    end: () =>
      new Promise((resolve) => {
        server.close(resolve);
        for (const socket of sockets) socket.destroy();
      }),
  };
}
