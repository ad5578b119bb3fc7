// SPDX-License-Identifier: MIT
// What a script and a style use that a Chromium of some age does not have yet. Bundlers rewrite syntax; what is called and which
// properties are set they leave as it is.
//
// Scripts are looked at name by name: a member that no interface had by then is reported wherever it is read, unless the script has
// members of that name itself. Those the compiler looks after, which is given no library that is newer.
import { createRequire } from 'node:module';

const data = createRequire(import.meta.url)('@mdn/browser-compat-data');

/** The first version of Chromium that has it; Infinity where none has. */
function since(compat) {
  const support = [compat?.support?.chrome ?? []].flat();
  const versions = support
    .filter((one) => one.prefix === undefined && one.alternative_name === undefined && one.flags === undefined)
    .map((one) => (one.version_added === true ? 1 : Number.parseInt(String(one.version_added).replace('≤', ''), 10)))
    .filter((version) => !Number.isNaN(version));
  return versions.length === 0 ? Infinity : Math.min(...versions);
}

/** What an older engine passes over without loss. */
const HARMLESS = new Set(['color-scheme', 'prefers-reduced-motion', 'accent-color']);

/** For each name the version that had the first thing of that name: globals by themselves, members by what comes behind the dot. */
function names() {
  const globals = new Map();
  const members = new Map();
  const note = (map, name, version) => map.set(name, Math.min(map.get(name) ?? Infinity, version));
  const walk = (tree) => {
    for (const [name, entry] of Object.entries(tree)) {
      if (name === '__compat') continue;
      note(globals, name, since(entry.__compat));
      for (const [member, below] of Object.entries(entry)) {
        if (member === '__compat' || !/^\w+$/.test(member)) continue;
        note(members, member.replace(/_(static|event)$/, ''), since(below.__compat));
        if (name === 'Intl') for (const [inner, deeper] of Object.entries(below)) if (/^\w+$/.test(inner)) note(members, inner, since(deeper.__compat));
        // What a global object offers is a global.
        if (/^(Window|WorkerGlobalScope)$/.test(name)) note(globals, member.replace(/_static$/, ''), since(below.__compat));
      }
    }
  };
  walk(data.api);
  walk(data.javascript.builtins);
  return { globals, members };
}

/** The text without what stands in quotation marks, in templates and in regular expressions' usual places. */
const withoutTexts = (script) => script.replace(/\/\*[\s\S]*?\*\/|^\s*\/\/.*$/gm, '').replace(/"(?:[^"\\\n]|\\.)*"|'(?:[^'\\\n]|\\.)*'/g, '""');

function inScript(version, script) {
  const { globals, members } = names();
  const text = withoutTexts(script);
  const found = new Set();
  // What the script itself declares is its own.
  const own = new Set([...text.matchAll(/\b(?:function|class|var|let|const)\s+(\w+)/g)].map(([, name]) => name));
  // Members that it declares: of literals, of classes, and those that are set.
  const ours = new Set([...text.matchAll(/(?:^|[{,(\s])(?:get |set |async |static )?(\w+)\s*(?::|\([^()]*\)\s*\{|,|\s\})|\bthis\.(\w+)\s*=[^=]/gm)].map(([, name, set]) => name ?? set));
  for (const [, name] of text.matchAll(/\.\s*([A-Za-z_]\w*)/g)) {
    if (!ours.has(name) && (members.get(name) ?? globals.get(name) ?? 0) > version) found.add(`.${name} (${members.get(name) ?? globals.get(name)})`);
  }
  for (const [, name] of text.matchAll(/(?:^|[^.\w$])([A-Za-z_]\w*)\s*(?=[.(;])/gm)) {
    if (!own.has(name) && (globals.get(name) ?? 0) > version) found.add(`${name} (${globals.get(name)})`);
  }
  return [...found];
}

/** Rules as [selector, body], those within at-rules too; what asks whether it is supported is left out. */
function rulesOf(style) {
  const text = style.replace(/\/\*[\s\S]*?\*\//g, '');
  const rules = [];
  const heads = [];
  let from = 0;
  for (let at = 0; at < text.length; ++at) {
    if (text[at] === '{') {
      heads.push(text.slice(from, at).replace(/^[\s\S]*[;}]/, '').trim());
      from = at + 1;
    } else if (text[at] === '}') {
      const body = text.slice(from, at);
      const head = heads.pop() ?? '';
      if (!heads.concat(head).some((one) => one.startsWith('@supports'))) rules.push([head, body.includes('{') ? '' : body.replace(/^[\s\S]*}/, '')]);
      from = at + 1;
    }
  }
  return rules;
}

const FUNCTIONS = new Map();
for (const [name, entry] of Object.entries(data.css.types)) {
  FUNCTIONS.set(name, since(entry.__compat));
  for (const [below, inner] of Object.entries(entry)) if (below !== '__compat') FUNCTIONS.set(below, since(inner.__compat));
}

function inStyle(version, style) {
  const found = new Set();
  for (const [head, body] of rulesOf(style)) {
    const at = /^@([\w-]+)/.exec(head)?.[1];
    if (at !== undefined && !at.startsWith('-') && since(data.css['at-rules'][at]?.__compat) > version) found.add(`@${at}`);
    const media = at === 'media' ? [...head.matchAll(/\(([\w-]+)/g)].map(([, name]) => name) : [];
    for (const name of media) {
      const plain = name.replace(/^(min|max)-/, '');
      const feature = data.css['at-rules'].media[name] ?? data.css['at-rules'].media[plain];
      if (!HARMLESS.has(plain) && feature !== undefined && since(feature.__compat) > version) found.add(`@media (${name})`);
    }
    if (at === undefined) {
      for (const [, name] of head.matchAll(/::?([\w-]+)/g)) {
        if (!name.startsWith('-') && data.css.selectors[name] !== undefined && since(data.css.selectors[name].__compat) > version) found.add(`:${name} in ${head}`);
      }
    }
    const declared = [...body.matchAll(/(?:^|;)\s*([\w-]+)\s*:\s*([^;]+)/g)].map(([, name, value]) => [name, value.trim()]);
    const displays = declared.filter(([name]) => name === 'display').map(([, value]) => value);
    for (const [name, value] of declared) {
      if (name.startsWith('-') || HARMLESS.has(name)) continue;
      const property = data.css.properties[name];
      if (property === undefined) found.add(`${name}, which is no property`);
      else if (since(property.__compat) > version) found.add(`${name} (${since(property.__compat)}) in ${head}`);
      // Between columns of a grid it is old, between those of a flexible box it is not.
      if (/^(row-|column-)?gap$/.test(name) && !displays.some((one) => one.includes('grid'))) found.add(`${name} outside of a grid in ${head}`);
      for (const [unit] of value.matchAll(/\b[\d.]+([dsl]v(?:h|w|min|max)|cq\w+|lh|rlh)\b/g)) found.add(`${unit} in ${head}`);
      for (const [, word, call] of value.matchAll(/(?:^|[\s,(/])([a-z][a-z-]*)(\()?/g)) {
        const newest = call === undefined ? since(property?.[word]?.__compat ?? { support: { chrome: { version_added: '1' } } }) : (FUNCTIONS.get(word) ?? 1);
        if (newest > version) found.add(`${name}: ${word} (${newest}) in ${head}`);
      }
    }
  }
  return [...found];
}

/** @returns what is too new, each with the version that has it where it is known */
export function newerThan(version, { script, style }) {
  return [...inScript(version, script), ...inStyle(version, style)];
}
