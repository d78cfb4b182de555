// SPDX-License-Identifier: MIT
import { transformSync } from 'esbuild';
import assert from 'node:assert/strict';
import { spawnSync } from 'node:child_process';
import { readFileSync } from 'node:fs';
import { join } from 'node:path';
import { test } from 'node:test';
import { GRAMMAR, ROOT } from './scripts.mjs';

const FOLDER = join(ROOT, 'editors/vscode');
const read = (path) => readFileSync(join(FOLDER, path), 'utf8');
const manifest = JSON.parse(read('package.json'));
const source = read('src/extension.ts');
const language = JSON.parse(read('language-configuration.json'));

test('the package holds what its manifest names', () => {
  const made = spawnSync('npm', ['run', '--silent', 'package'], { cwd: FOLDER, encoding: 'utf8' });
  assert.equal(made.status, 0, made.stdout + made.stderr);
  const listed = spawnSync('python3', ['-m', 'zipfile', '-l', 'dist/ktscript.vsix'], { cwd: FOLDER, encoding: 'utf8' });
  const { languages, grammars } = manifest.contributes;
  const wanted = [manifest.main, languages[0].configuration, grammars[0].path, './README.md', './dist/LICENSE.txt'];
  for (const path of wanted) assert.match(listed.stdout, new RegExp(`^extension/${path.slice(2)} `, 'm'));
  assert.doesNotMatch(listed.stdout, /\.ts |node_modules|package-lock/);
  assert.equal(read('dist/ktscript.tmLanguage.json'), readFileSync(GRAMMAR, 'utf8'));
  assert.equal(grammars[0].scopeName, JSON.parse(readFileSync(GRAMMAR, 'utf8')).scopeName);
});

test('manifest and extension name the same commands and settings', () => {
  const all = (text, pattern) => [...text.matchAll(pattern)].map(([, name]) => name).sort();
  assert.deepEqual(all(source, /registerCommand\('([^']+)'/g), manifest.contributes.commands.map(({ command }) => command).sort());
  assert.deepEqual(all(source, /configured\.get\('([^']+)'/g).map((name) => `ktscript.${name}`),
    Object.keys(manifest.contributes.configuration.properties).sort());
});

test('the version is that of the project', () => {
  const [, version] = /project\(KtScript VERSION ([\d.]+)/.exec(readFileSync(join(ROOT, 'CMakeLists.txt'), 'utf8'));
  assert.equal(manifest.version, version);
});

test('what kt is started with', async () => {
  const { code } = transformSync(read('src/commands.ts'), { loader: 'ts', format: 'esm' });
  const commands = await import(`data:text/javascript,${encodeURIComponent(code)}`);
  const settings = { program: '/opt/kt', data: { t: 'my data.csv', u: 'u.csv' }, includeDirs: ['lib'], width: 80 };
  assert.deepEqual(commands.languageServer(settings), { program: '/opt/kt', args: ['lsp'] });
  assert.deepEqual(commands.initializationOptions(settings), { data: settings.data, includeDirs: ['lib'], width: 80 });
  assert.deepEqual(commands.runScript(settings, 'a b.kts').args,
    ['run', '--data', 't=my data.csv', '--data', 'u=u.csv', '--include-dir', 'lib', 'a b.kts']);
  assert.deepEqual(commands.testFolder(settings, 'x').args, ['test', 'x']);
});

// What happens to the indent of the line behind.
test('indents while typing', () => {
  const { increaseIndentPattern, decreaseIndentPattern } = language.indentationRules;
  for (const [line, increases, decreases] of [
    ['function f(a) {', true, false],
    ['  } else {', true, true],
    ['  }', false, true],
    ['  f(', true, false],
    ['  case 1:', true, false],
    ['  default:', true, false],
    ['  // function f(a) {', false, false],
    ['  a = b;', false, false],
    ['  if (a) { b(); }', false, false],
  ]) {
    assert.equal(new RegExp(increaseIndentPattern).test(line), increases, `${line} increases`);
    assert.equal(new RegExp(decreaseIndentPattern).test(line), decreases, `${line} decreases`);
  }
  for (const [line, previous, wanted] of [
    ['  if (a)', '', 'indent'],
    ['  else if (f(a))', '', 'indent'],
    ['  } else', '', 'indent'],
    ['    b();', '  if (a)', 'outdent'],
    ['  b();', '  c();', undefined],
    ['  if (a) b();', '  c();', undefined],
  ]) {
    const rule = language.onEnterRules.find(({ beforeText, previousLineText }) =>
      new RegExp(beforeText).test(line) && (!previousLineText || new RegExp(previousLineText).test(previous)));
    assert.equal(rule?.action.indent, wanted, `${previous} / ${line}`);
  }
});

test('words to select and to complete', () => {
  assert.deepEqual('größe1 = a_b.c + 12 "é"'.match(new RegExp(language.wordPattern, 'g')), ['größe1', 'a_b', 'c', 'é']);
});
