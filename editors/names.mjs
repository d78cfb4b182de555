// SPDX-License-Identifier: MIT
//
// Writes the names that `kt functions --json` lists into the grammars, or with --check tells which of
// them are out of date: build/release/bin/kt functions --json | node editors/names.mjs [--check]
import { readFileSync, writeFileSync } from 'node:fs';

const here = (path) => new URL(path, import.meta.url);

// The names by what they are; of methods also those with texts that are expressions over rows: only
// the first argument, or every text.
export function readNames(json) {
  const things = json.split('\n').filter(Boolean).map((line) => JSON.parse(line));
  const named = (kind) => things.filter((thing) => thing.kind === kind);
  const names = (some) => [...new Set(some.map((thing) => thing.name))];
  const methods = named('method of datasets');
  // The arguments of the form that asks for most.
  const expressions = (method) =>
    Math.max(...method.forms.map((form) => form.split(/[(,]/).filter((a) => /Expr\b/.test(a)).length));
  return {
    function: names(named('function')),
    method: names(methods),
    property: names(named('property of datasets')),
    keyword: names(named('keyword of row expressions')),
    'row-first': names(methods.filter((method) => expressions(method) === 1)),
    'row-all': names(methods.filter((method) => expressions(method) > 1)),
  };
}

// "names: .method(" asks for a member with its point, and for the bracket behind it.
function textMatePattern(names, wanted) {
  const [, point, kind, bracket] = /^names: (\.?)([a-z-]+)(\(?)$/.exec(wanted);
  const any = names[kind].join('|');
  if (kind.startsWith('row-')) return `(?i)(\\.)\\s*(${any})\\s*(\\()`;
  if (point) return `(?i)(\\.)\\s*(${any})\\b`;
  return `(?i)\\b(${any})${bracket ? '(?=\\s*\\()' : '\\b'}`;
}

// Sets the pattern of the rule behind every such comment, and leaves the layout of the file alone.
export function fillTextMate(text, names) {
  return text.replace(/("comment": "(names: [^"]*)"[^{}]*?"(?:begin|match)": )"[^"]*"/g,
    (_, head, wanted) => head + JSON.stringify(textMatePattern(names, wanted)));
}

// Lines of at most 100 characters that all begin alike.
function lines(start, words) {
  const out = [start];
  for (const word of words) {
    if (out.at(-1).length + word.length > 99) out.push(start);
    out[out.length - 1] += ` ${word}`;
  }
  return out.join('\n');
}

// Between a mark, which has the kind and what the lines begin with, and "names end". A word is of one
// group only there.
export function fillVim(text, names) {
  const rows = new Set([...names['row-first'], ...names['row-all']]);
  const methods = new Set(names.method.map((name) => name.toLowerCase()));
  const groups = {
    ...names,
    method: names.method.filter((name) => !rows.has(name)),
    property: names.property.filter((name) => !methods.has(name.toLowerCase())),
  };
  return text.replace(/(^" names (\S+): (.*)\n)[^]*?(?=^" names end)/gm,
    (_, mark, kind, start) => `${mark}${lines(start, groups[kind])}\n`);
}

// Texts cannot be compared without regard to case there.
export function fillQueries(text, names) {
  const spellings = (kind) => [...new Set(names[kind].flatMap((name) => [name, name.toLowerCase()]))];
  return text.replace(/(^; names (?!end)(\S+)\n)[^]*?(?=^; names end)/gm, (_, mark, kind) =>
    `${mark}${lines('   ', spellings(kind).map((name) => `"${name}"`))}\n`);
}

const files = [
  ['textmate/ktscript.tmLanguage.json', fillTextMate],
  ['tree-sitter/queries/highlights.scm', fillQueries],
  ['vim/syntax/ktscript.vim', fillVim],
];

export function staleFiles(names) {
  return files
    .map(([path, fill]) => ({ path, text: readFileSync(here(path), 'utf8'), fill }))
    .map(({ path, text, fill }) => ({ path, text, filled: fill(text, names) }))
    .filter(({ text, filled }) => text !== filled);
}

if (process.argv[1] === new URL(import.meta.url).pathname) {
  const stale = staleFiles(readNames(readFileSync(0, 'utf8')));
  for (const { path, filled } of stale) {
    if (process.argv.includes('--check')) console.error(`editors/${path} is out of date`);
    else writeFileSync(here(path), filled);
  }
  process.exit(stale.length > 0 && process.argv.includes('--check') ? 1 : 0);
}
