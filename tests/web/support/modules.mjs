// SPDX-License-Identifier: MIT
// The packages that the tests use, from where the pages' own are installed.
import { createRequire } from 'node:module';
import { join } from 'node:path';
import { fileURLToPath } from 'node:url';

/** The folder with package.json and node_modules: the build's copy, else the sources'. */
export const WEB = process.env.KINLOOM_WEB_TREE ?? fileURLToPath(new URL('../../../web', import.meta.url));
const load = createRequire(join(WEB, 'package.json'));

export const { chromium, devices } = load('playwright-core');
export const { PNG } = load('pngjs');
export const jsQR = load('jsqr');
export const axeSource = load('axe-core').source;

/** The folder of the built pages. */
export const PAGES = process.env.KINLOOM_PAGES ?? join(WEB, 'dist');
