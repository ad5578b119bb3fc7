// SPDX-License-Identifier: MIT
// The page's own modules, as the tests of their pure parts import them.
import { createRequire } from 'node:module';
import { join } from 'node:path';
import { WEB } from './modules.mjs';

const esbuild = createRequire(join(WEB, 'package.json'))('esbuild');

/** The module of a file below web/, with what it imports. */
export async function source(path) {
  const { outputFiles } = await esbuild.build({
    entryPoints: [join(WEB, path)],
    bundle: true,
    write: false,
    format: 'esm',
    jsx: 'automatic',
    jsxImportSource: 'preact',
    logLevel: 'error',
  });
  return import(`data:text/javascript;base64,${Buffer.from(outputFiles[0].contents).toString('base64')}`);
}
