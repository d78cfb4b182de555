// SPDX-License-Identifier: MIT
import assert from 'node:assert/strict';
import { spawnSync } from 'node:child_process';
import { existsSync, mkdtempSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { after, test } from 'node:test';
import { buildParser } from '../tree-sitter/build.mjs';
import { acceptedScripts, randomScripts, ROOT, withoutErrors } from './scripts.mjs';

const skip = existsSync('/usr/include/tree_sitter/api.h') ? false : 'libtree-sitter-dev is not installed';
const folder = mkdtempSync(join(tmpdir(), 'kt-tree-sitter-'));
const program = join(folder, 'probe');
after(() => rmSync(folder, { recursive: true }));

// For each source whether it has an error, and the captures of the queries.
function parse(sources, queries) {
  if (!existsSync(program)) {
    const made = spawnSync('cc', ['-Wall', '-O1', join(ROOT, 'editors/tests/tree_sitter_probe.c'), buildParser(),
      '-o', program, '-ltree-sitter'], { encoding: 'utf8' });
    assert.equal(made.status, 0, made.stderr);
  }
  const run = spawnSync(program, queries ? [join(ROOT, 'editors/tree-sitter/queries', queries)] : [],
    { input: sources.map((text) => `${text}\0`).join(''), encoding: 'utf8', maxBuffer: 1 << 28 });
  assert.equal(run.status, 0, run.stderr);
  const results = [];
  for (const line of run.stdout.trimEnd().split('\n')) {
    const [start, end, pattern, capture] = line.split(' ');
    if (!end) results.push({ parsed: line === 'parsed', captures: [] });
    else results.at(-1).captures.push({ start: Number(start), end: Number(end), pattern: Number(pattern), capture });
  }
  return results;
}

// Texts one behind the other, and the last pattern's capture of what begins there.
function checkCaptures(queries, rows) {
  const found = parse(rows.map(([source]) => source), queries);
  rows.forEach(([source, wanted], index) => {
    let at = 0;
    for (const [, text, capture] of wanted.matchAll(/(\S+?):([a-z][a-z.]*|-)(?: |$)/g)) {
      at = source.indexOf(text, at);
      assert.ok(at >= 0, `${source}: no ${text}`);
      const best = found[index].captures
        .filter(({ start, end }) => start === at && end === at + text.length)
        .sort((a, b) => a.pattern - b.pattern).at(-1);
      assert.equal(best?.capture ?? '-', capture, `${source}: ${text}`);
      at += text.length;
    }
  });
}

test('highlights', { skip }, () => checkCaptures('highlights.scm', [
  ['function larger(a, b) { RETURN a; }', 'function:keyword larger:function a:variable.parameter RETURN:keyword.return a:variable'],
  ['function f() { if (iffy) x(); Else y(); }', 'if:keyword.conditional iffy:variable x:function.call Else:keyword.conditional'],
  ['function f() { for (var i = 0; i < 2; i++) break; }', 'for:keyword.repeat var:keyword i:variable <:operator ++:operator break:keyword.repeat'],
  ['function f() { switch (a) { case 1: default: } }', 'switch:keyword.conditional case:keyword.conditional 1:number ::punctuation.delimiter default:keyword.conditional'],
  ['var a = LENGTH(b);', 'LENGTH:function.call'],
  ['var a = length(length) + TRUE;', 'length:function.builtin length:variable TRUE:constant.builtin'],
  ['var a = s.trim().size + s.show(1);', 's:variable trim:function.builtin size:variable.member show:function.method.call'],
  ['var a = t.Sum("b") + t.sum("b") + t.currow;', 'Sum:function.method "b":string sum:function.method currow:property'],
  ['var a = ref(b) and é; // c', 'ref:keyword.modifier b:variable and:keyword.operator'],
  ['#include "a.kts"\nvar b;', '#:keyword.import include:keyword.import "a.kts":string b:variable'],
  ['var a; //b\n/*c*/', '//b:comment /*c*/:comment'],
]));

test('folds and locals', { skip }, () => {
  checkCaptures('folds.scm', [['function f() {a();}', '{a();}:fold'], ['/*a*/', '/*a*/:fold']]);
  checkCaptures('locals.scm', [
    ['function fn(a) { var b[a] = c; }', 'fn:local.definition.function a:local.definition.parameter b:local.definition.var a:local.reference c:local.reference'],
    ['function fn(a) { a.b = 1; }', 'a:local.definition.parameter a:local.reference b:-'],
  ]);
});

test('scripts that kt takes have no error', { skip }, () => {
  const scripts = [...acceptedScripts(), ...withoutErrors(randomScripts(1000, 3))];
  assert.ok(scripts.length > 900, `${scripts.length} scripts`);
  parse(scripts.map(({ text }) => text)).forEach(({ parsed }, index) => assert.ok(parsed, scripts[index].name));
});

test('broken scripts have one', { skip }, () => {
  const rows = ['function f', 'function f( { }', 'function f() { a(; }', 'function f() { a = 1 }', 'function f() { if a b(); }',
    'function f() { "a; }', 'function f() { a b; }', 'function f() { var = 1; }', 'x = 1;', 'function f() { [1; }',
    'function f() { a = 1.2.3; }', 'function f() { a = b ? c : d; }', 'function f() { /* }', 'function 1() { }',
    'function f() { case 1: }', 'function f() { else a(); }', 'function f() { a = f(b & c); }', 'function f() { a = 1e3; }'];
  assert.deepEqual(withoutErrors(rows.map((text) => ({ text }))), []);
  parse(rows).forEach(({ parsed }, index) => assert.ok(!parsed, rows[index]));
});

// One place of a good script is changed. Where kt sees an error tree-sitter does, but for what only a
// parser of expressions sees, such as a comparison that stands alone.
test('scripts that are broken at random', { skip }, () => {
  let state = 5;
  const choose = (count) => {
    state = (Math.imul(state, 1103515245) + 12345) & 0x7fffffff;
    return (state >> 8) % count;
  };
  const signs = ';(){}[],.+*="1a';
  const broken = withoutErrors(randomScripts(500, 4)).map(({ text }) => {
    const at = choose(text.length);
    const change = ['', signs[choose(signs.length)] + text[at], text[at] + text[at]][choose(3)];
    return { text: text.slice(0, at) + change + text.slice(at + 1) };
  });
  const good = new Set(withoutErrors(broken));
  const bad = broken.filter((script) => !good.has(script));
  assert.ok(bad.length > 150, `${bad.length} broken scripts`);
  const missed = parse(bad.map(({ text }) => text)).filter(({ parsed }) => parsed).length;
  assert.ok(missed <= bad.length / 20, `${missed} of ${bad.length} broken scripts have no error`);
});
