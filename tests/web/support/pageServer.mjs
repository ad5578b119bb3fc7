// SPDX-License-Identifier: MIT
// What the tests' stand-ins have in common: a server on a free port of this machine, and the files of a page.
import { readFile } from 'node:fs/promises';
import { createServer } from 'node:http';
import { extname, join, normalize } from 'node:path';

const TYPES = { '.html': 'text/html; charset=utf-8', '.js': 'text/javascript', '.css': 'text/css', '.svg': 'image/svg+xml', '.png': 'image/png', '.json': 'application/json', '.webmanifest': 'application/manifest+json', '.txt': 'text/plain' };
const POLICY =
  "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' blob: data:; media-src 'self'; connect-src 'self'; manifest-src 'self'; form-action 'self'; base-uri 'none'; frame-ancestors 'none'";

/** Sends a file of a page. \return whether there is one. */
export async function sendFile(response, folder, path) {
  const file = normalize(path).slice(1);
  let bytes;
  try {
    bytes = await readFile(join(folder, file));
  } catch {
    return false;
  }
  const cache = file.startsWith('assets/') ? 'public, max-age=31536000, immutable' : 'no-cache';
  response.writeHead(200, { 'Content-Type': TYPES[extname(file)] ?? 'application/octet-stream', 'Content-Security-Policy': POLICY, 'Cache-Control': cache });
  response.end(bytes);
  return true;
}

/** Serves until it is stopped; what the answer throws is a 500. */
export async function serve(answer, { keepAlive } = {}) {
  const server = createServer((request, response) => {
    answer(request, response).catch((error) => {
      if (!response.headersSent) response.writeHead(500);
      response.end(String(error));
    });
  });
  if (keepAlive !== undefined) server.keepAliveTimeout = keepAlive;
  const listen = (port) => new Promise((resolve) => server.listen(port, '127.0.0.1', resolve));
  await listen(0);
  const { port } = server.address();
  return {
    url: `http://127.0.0.1:${port}`,
    /** Serves again, where it was. */
    again: () => listen(port),
    stop: () =>
      new Promise((resolve) => {
        server.close(resolve);
        server.closeAllConnections();
      }),
  };
}
