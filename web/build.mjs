// SPDX-License-Identifier: MIT
// Builds the pages: npm run build -- --outdir DIR
import { createHash } from 'node:crypto';
import { mkdir, readFile, rm, writeFile, copyFile, readdir } from 'node:fs/promises';
import { dirname, join, resolve } from 'node:path';
import { fileURLToPath } from 'node:url';
import { parseArgs } from 'node:util';
import * as esbuild from 'esbuild';
import { drawIcon } from './tools/icon.mjs';
import { licences } from './tools/licences.mjs';
import { newerThan } from './tools/newer.mjs';

const here = dirname(fileURLToPath(import.meta.url));
const { values } = parseArgs({ options: { outdir: { type: 'string', default: 'dist' } } });
const outdir = resolve(values.outdir);

/** What the page of members and that of guests are for: telephones of some years ago. */
const TELEPHONES = {
  target: ['es2019', 'chrome80', 'safari13', 'firefox78'],
  // Safari 13 has it, but for a corner that nothing here comes near.
  supported: { destructuring: true },
};

/**
 * root: where the page's addresses begin; workers: scripts of their own, by the name under which the page's script knows their address;
 * chrome: the oldest Chromium that has to do, where nothing newer may be used.
 */
const PAGES = [
  { name: 'family', root: '/', engine: TELEPHONES, workers: { HASH_WORKER: ['hash', 'core/hashWorker.ts'] }, icons: true },
  { name: 'guest', root: '', engine: TELEPHONES, workers: {} },
  { name: 'tv', root: '/', engine: { target: ['chrome68'] }, workers: {}, chrome: 68 },
];

const common = {
  absWorkingDir: here,
  bundle: true,
  minify: true,
  write: false,
  metafile: true,
  legalComments: 'none',
  logLevel: 'warning',
};

const hashOf = (bytes) => createHash('sha256').update(bytes).digest('hex').slice(0, 12);
const inputs = [];

/** What of a page's own sources an engine of that age would not have; packages look for themselves what there is. */
async function complaints(page) {
  const plain = { ...common, ...page.engine, minify: false, jsx: 'automatic', jsxImportSource: 'preact', external: ['preact', 'preact/*'], format: 'esm' };
  const texts = [];
  for (const entry of ['main.tsx', 'style/main.css']) {
    const { outputFiles } = await esbuild.build({ ...plain, entryPoints: [`${page.name}/${entry}`], outdir: outdir });
    texts.push(outputFiles[0].text);
  }
  return newerThan(page.chrome, { script: texts[0], style: texts[1] });
}

async function build(page) {
  const folder = join(outdir, page.name);
  const assets = join(folder, 'assets');
  const written = [];
  const put = async (path, contents) => {
    const target = join(folder, path);
    await mkdir(dirname(target), { recursive: true });
    await writeFile(target, contents);
    written.push(path);
    return page.root + path;
  };
  /** Bundles one file and writes it under a name that changes with its bytes; returns its address. */
  const bundle = async (entry, name, options = {}) => {
    const result = await esbuild.build({ ...common, ...page.engine, ...options, entryPoints: [`${page.name}/${entry}`], outdir: assets });
    inputs.push(...Object.keys(result.metafile.inputs));
    const [file] = result.outputFiles;
    const extension = file.path.slice(file.path.lastIndexOf('.'));
    return put(`assets/${name}-${hashOf(file.contents)}${extension}`, file.contents);
  };

  const style = await bundle('style/main.css', page.name);
  const define = {};
  for (const [word, [name, entry]] of Object.entries(page.workers)) define[word] = JSON.stringify(await bundle(entry, name, { format: 'iife' }));
  const template = await readFile(join(here, page.name, 'index.html'), 'utf8');
  const script = (version) => ({ format: 'esm', jsx: 'automatic', jsxImportSource: 'preact', define: { ...define, PAGE_VERSION: JSON.stringify(version) } });

  // The version is that of everything the page is made of. The script names it, so it is told with a blank for its own name first.
  const blank = await esbuild.build({ ...common, ...page.engine, ...script(''), entryPoints: [`${page.name}/main.tsx`], outdir: assets });
  const version = hashOf(Buffer.concat([Buffer.from(style + Object.values(define).join('') + template), blank.outputFiles[0].contents]));
  const main = await bundle('main.tsx', page.name, script(version));

  for (const file of await readdir(join(here, page.name, 'files')).catch(() => [])) {
    await copyFile(join(here, page.name, 'files', file), join(folder, file));
    written.push(file);
  }
  if (page.icons) for (const side of [180, 512]) await put(`icon-${side}.png`, drawIcon(side));
  await put('index.html', template.replace('%STYLE%', style).replace('%SCRIPT%', main));
  await put('version.txt', `${version}\n`);
  await writeFile(join(folder, 'manifest.json'), `${JSON.stringify({ version, files: written.sort() }, null, 2)}\n`);
}

await rm(outdir, { recursive: true, force: true });
for (const page of PAGES) {
  if (page.chrome !== undefined) {
    const found = await complaints(page);
    if (found.length > 0) {
      process.stderr.write(`The page ${page.name} is for Chromium ${page.chrome} and newer, which does not have:\n${found.map((one) => `  ${one}\n`).join('')}`);
      process.exit(1);
    }
  }
  await build(page);
}
await writeFile(join(outdir, 'licences.txt'), await licences(here, inputs));
