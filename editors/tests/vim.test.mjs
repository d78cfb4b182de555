// SPDX-License-Identifier: MIT
import assert from 'node:assert/strict';
import { spawnSync } from 'node:child_process';
import { mkdtempSync, readFileSync, rmSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { test } from 'node:test';
import { acceptedScripts, KT, ROOT, runKt } from './scripts.mjs';

const VIM = join(ROOT, 'editors/vim');
const hasVim = /\+syntax\b/.test(spawnSync('vim', ['--version'], { encoding: 'utf8' }).stdout ?? '');
const skip = hasVim ? false : 'vim with syntax is not installed';

// Runs vim with more arguments, and gives what it writes to the file PROBE_OUT.
function runVim(args, env = {}) {
  const folder = mkdtempSync(join(tmpdir(), 'kt-vim-'));
  try {
    const output = join(folder, 'out.json');
    const run = spawnSync('vim', ['-es', '-u', 'NONE', '-i', 'NONE', '-n', '--cmd', `set nocp rtp^=${VIM}`,
      '--cmd', `let g:ktscript_kt = '${KT}'`, '--cmd', 'filetype plugin indent on | syntax on', ...args],
      { cwd: folder, encoding: 'utf8', timeout: 60000, env: { ...process.env, ...env, PROBE_OUT: output } });
    assert.equal(run.status, 0, run.stdout + run.stderr);
    return JSON.parse(readFileSync(output, 'utf8'));
  } finally {
    rmSync(folder, { recursive: true });
  }
}

// What the probe writes of sources, each a list of lines.
function probe(sources, env = {}) {
  return withFile('in.json', JSON.stringify(sources), (input) =>
    runVim(['-S', join(ROOT, 'editors/tests/vim_probe.vim')], { ...env, PROBE_IN: input }));
}

function withFile(name, text, use) {
  const folder = mkdtempSync(join(tmpdir(), 'kt-vim-'));
  try {
    writeFileSync(join(folder, name), text);
    return use(join(folder, name));
  } finally {
    rmSync(folder, { recursive: true });
  }
}

// The group at the first character of each text, one behind the other.
const ROWS = [
  ['if (a) b(); ELSE c();', 'if:ktConditional a:ktName b:ktCall ELSE:ktConditional'],
  ['for (;;) while (1) break;', 'for:ktRepeat while:ktRepeat 1:ktNumber break:ktStatement'],
  ['switch (a) { case 1: default : }', 'switch:ktConditional case:ktLabel default:ktLabel'],
  ['CASE 1: Default:', 'CASE:ktName Default:ktName'],
  ['function larger(a, b) { var c; }', 'function:ktFunctionWord larger:ktFunctionName a:ktArgument b:ktArgument var:ktDeclaration c:ktName'],
  ['x = Length(s) + length + larger(1)', 'Length:ktFunction length:ktName larger:ktCall'],
  ['swap(ref(a)); trace(ref)', 'swap:ktCall ref:ktSpecialCall trace:ktSpecialCall ref:ktName'],
  ['s.trim().x + t.AddRow() + t.currow', 'trim:ktMemberFunction x:ktName AddRow:ktMethod currow:ktProperty'],
  ['42 + 4.2 - .5 + .9 + 1e3', '42:ktNumber 4.2:ktNumber .5:ktNumber .9:ktBadNumber 1e3:ktBadNumber'],
  ['größe = a && b AND TRUE', 'größe:ktName &&:ktOperator AND:ktWordOperator TRUE:ktConstant'],
  ['a & b ? c', '&:ktLoneOperator ?:ktBadCharacter'],
  [`"it's" + 'say "hi"' + c`, `it's:ktString say:ktString hi:ktString c:ktName`],
  ['"a \\" b" + c', 'b:ktString c:ktName'],
  ['"a\\\\" + c', 'c:ktName'],
  ['"two\nlines" + c', 'lines:ktString c:ktName'],
  ['a // "b\nc /* " */ d', 'b:ktComment c:ktName ":ktComment d:ktName'],
  ['#include "a.kts" // why', 'include:ktInclude "a:ktIncludeName why:ktComment'],
  ['t.Sum("price * qty") + "text"', 'Sum:ktRowMethod ":ktString price:ktColumn *:ktOperator qty:ktColumn text:ktString'],
  [`t.filter('region = "North" and rowidx > 2')`, 'region:ktColumn "North:ktDoubleInRow and:ktWordOperator rowidx:ktRowKeyword 2:ktNumber'],
  ['t.CaseSum("a > 1",\n "round(b, 2)", "c")', '"a:ktString round:ktFunction b:ktColumn c:ktColumn'],
  ['t.Sum("a", "b") + t.GetColumn(0, "c")', 'a:ktColumn b:ktString c:ktString'],
];

test('groups at places', { skip }, () => {
  const found = probe(ROWS.map(([source]) => source.split('\n')));
  ROWS.forEach(([source, wanted], index) => {
    const groups = source.split('\n').flatMap((line, row) => [...found[index][row], 'line end']);
    const bytes = Buffer.from(source);
    let at = 0;
    for (const pair of wanted.split(' ')) {
      const [text, group] = pair.split(/:(?=kt)/);
      at = bytes.indexOf(text, at);
      assert.ok(at >= 0, `${source}: no ${text}`);
      assert.equal(groups[at], group, `${source}: ${text}`);
      at += Buffer.byteLength(text);
    }
  });
});

// What kt fmt lays out is what the indents of vim come to.
test('indents as kt fmt does it', { skip }, () => {
  const scripts = acceptedScripts();
  const wanted = scripts.map(({ name, text }) => {
    const run = runKt(['fmt', '-'], text);
    assert.equal(run.status, 0, `${name}: ${run.stderr}`);
    return run.stdout.trimEnd().split('\n');
  });
  const found = probe(wanted.map((lines) => lines.map((line) => line.trimStart())), { INDENT: '1' });
  wanted.forEach((lines, index) => {
    // What stands around a comment inside of a statement is left as its author has it.
    const differs = (row) => found[index][row] !== lines[row] && !/\/[/*]/.test(lines[row] + lines[row - 1]);
    const at = lines.findIndex((_, row) => differs(row));
    assert.equal(at < 0 ? '' : found[index][at], at < 0 ? '' : lines[at], `${scripts[index].name}:${at + 1}`);
  });
});

// The lines of a script behind these keys and commands.
function edited(text, ...commands) {
  return withFile('my script.kts', text, (file) => runVim([...commands.flatMap((command) => ['-c', command]),
    '-c', "call writefile([json_encode([getline(1, '$'), getqflist()])], $PROBE_OUT)", '-c', 'qall!', file]));
}

test('formatting', { skip }, () => {
  const all = 'silent normal! gggqG';
  assert.deepEqual(edited('function f(a){a();}\n\n\n\n', all)[0], ['function f(a) { a(); }']);
  assert.deepEqual(edited('function f(a){a(;}\n', all)[0], ['function f(a){a(;}']);
  assert.deepEqual(edited('// a\n// b\nfunction f(a){a();}\n', 'silent normal! gggqj')[0], ['// a b', 'function f(a){a();}']);
});

test('checking', { skip }, () => {
  const [, found] = edited('function f(a) {\n  return b;\n}\nfunction g(a) {\n  return (1;\n}\n', 'silent make!');
  assert.deepEqual(found.filter(({ valid }) => valid).map(({ lnum, type }) => [lnum, type]), [[5, 'e']]);
  const [, warned] = edited('function f(a) {\n  return bb;\n}\n', 'silent make!');
  assert.deepEqual(warned.filter(({ valid }) => valid).map(({ lnum, col, type }) => [lnum, col, type]), [[2, 10, 'w']]);
});
