// SPDX-License-Identifier: MIT
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { readNames, staleFiles } from '../names.mjs';
import { runKt } from './scripts.mjs';

const listed = () => runKt(['functions', '--json']).stdout;

test('the grammars have the names that kt has', () => {
  assert.deepEqual(staleFiles(readNames(listed())).map(({ path }) => path), [],
    'run: kt functions --json | node editors/names.mjs');
});

test('a new name of any kind is missed', () => {
  for (const kind of ['function', 'method of datasets', 'property of datasets', 'keyword of row expressions']) {
    const added = { name: 'brandNew', kind, forms: ['BrandNew(strExpr)'] };
    assert.ok(staleFiles(readNames(`${listed()}\n${JSON.stringify(added)}`)).length >= 2, kind);
  }
});

test('methods with texts that are expressions over rows', () => {
  const names = readNames(listed());
  for (const [kind, some] of [['row-first', ['Sum', 'Filter', 'SearchRow', 'CaseCount']], ['row-all', ['CaseSum', 'TotalCaseMax']]]) {
    for (const name of some) assert.ok(names[kind].includes(name), `${name} is not in ${kind}`);
  }
  assert.ok(![...names['row-first'], ...names['row-all']].includes('GetColumn'));
});
