// SPDX-License-Identifier: MIT
import assert from 'node:assert/strict';
import { readFileSync } from 'node:fs';
import { createRequire } from 'node:module';
import { test } from 'node:test';
import oniguruma from 'vscode-oniguruma';
import textmate from 'vscode-textmate';
import { acceptedScripts, GRAMMAR, randomScripts, withoutErrors } from './scripts.mjs';

const wasm = createRequire(import.meta.url).resolve('vscode-oniguruma/release/onig.wasm');
await oniguruma.loadWASM(readFileSync(wasm).buffer);
const registry = new textmate.Registry({
  onigLib: Promise.resolve({
    createOnigScanner: (patterns) => new oniguruma.OnigScanner(patterns),
    createOnigString: (text) => new oniguruma.OnigString(text),
  }),
  loadGrammar: async () => textmate.parseRawGrammar(readFileSync(GRAMMAR, 'utf8'), GRAMMAR),
});
const grammar = await registry.loadGrammar('source.ktscript');

// All tokens with their text and scopes, and how deep the rules are nested behind the last line.
function tokenize(source) {
  let stack = textmate.INITIAL;
  const tokens = [];
  source.split('\n').forEach((line, row) => {
    const result = grammar.tokenizeLine(line, stack);
    stack = result.ruleStack;
    for (const { startIndex, endIndex, scopes } of result.tokens) {
      const text = line.slice(startIndex, endIndex);
      if (text.trim()) tokens.push({ text: text.trim(), scopes, row: row + 1 });
    }
  });
  return { tokens, depth: stack.depth };
}

// The tokens of a source, one after the other, as "text:scope text:scope"; others may stand between.
const ROWS = {
  'words of the language': [
    ['if (a) b(); ELSE c();', 'if:keyword.control.conditional ELSE:keyword.control.conditional'],
    ['for (;;) While (1) {}', 'for:keyword.control.loop While:keyword.control.loop'],
    ['break; CONTINUE; return 1;', 'break:keyword.control.flow CONTINUE:keyword.control.flow return:keyword.control.flow'],
    ['switch (a) { case 1: b(); default : c(); }', 'switch:keyword.control.switch case:keyword.control.switch ::punctuation.separator.label default:keyword.control.switch'],
    ['switch (a) { CASE 1: }', 'CASE:variable.other'],
    ['var default_ = iffy;', 'var:storage.type default_:variable.other iffy:variable.other'],
    ['a and b OR c', 'and:keyword.operator.logical b:variable.other OR:keyword.operator.logical'],
    ['a = TRUE + nil', 'TRUE:constant.language nil:constant.language'],
    ['form.case.var', 'case:variable.other.member var:variable.other.member'],
    ['Größe = größe + é', 'Größe:variable.other größe:variable.other é:variable.other'],
    ['größeif = 1', 'größeif:variable.other'],
  ],
  functions: [
    ['function larger(a, b) {', 'function:storage.type.function larger:entity.name.function (:punctuation.section.parameters.begin a:variable.parameter ,:punctuation.separator.comma b:variable.parameter {:punctuation.section.block.begin'],
    ['function /* c */ f // d\n (a)\n{ a', 'c:comment.block f:entity.name.function d:comment.line.double-slash a:variable.parameter a:variable.other'],
    ['x = larger(1) + larger', 'larger:entity.name.function.call larger:variable.other'],
    ['x = LENGTH (s) + length', 'LENGTH:support.function.builtin length:variable.other'],
    ['swap(ref(a), reference(b))', 'ref:storage.modifier.reference reference:entity.name.function.call'],
    ['traceVar(x); tracer(x)', 'traceVar:support.function.debug tracer:entity.name.function.call'],
  ],
  members: [
    ['s.trim().length', '.:punctuation.accessor trim:support.function.builtin length:support.function.builtin'],
    ['orders.AddRow(); orders.rowcount', 'AddRow:support.function.method rowcount:support.function.method'],
    ['orders.currow', 'currow:support.variable.property'],
    ['orders.price', 'price:variable.other.member'],
    ['form.show(1)', 'show:entity.name.function.member'],
    ['orders\n  . Sum2(1)', 'Sum2:entity.name.function.member'],
  ],
  numbers: [
    ['42 + 4.2 - .5 * 12.', '42:constant.numeric.integer 4.2:constant.numeric.float .5:constant.numeric.float 12.:constant.numeric.float'],
    ['a + .9', '.9:invalid.illegal.number'],
    ['1e3 + 2x', '1e3:invalid.illegal.number 2x:invalid.illegal.number'],
    ['a1 + b2.c3', 'a1:variable.other b2:variable.other c3:variable.other.member'],
  ],
  texts: [
    [`"it's" + 'say "hi"'`, `it's:string.quoted.double +:keyword.operator.arithmetic say "hi":string.quoted.single`],
    ['"two\nlines" + a', 'lines:string.quoted.double a:variable.other'],
    ['"a \\" b" + c', '\\":constant.character.escape b:string.quoted.double c:variable.other'],
    ['"a\\\\" + c', '\\\\:string.quoted.double c:variable.other'],
    ['"// no comment" + c', '// no comment:string.quoted.double c:variable.other'],
  ],
  comments: [
    ['a // " b\nc', '//:punctuation.definition.comment " b:comment.line.double-slash c:variable.other'],
    ['a /* " */ b', '":comment.block b:variable.other'],
    ['/* a\n// */ b', '//:comment.block b:variable.other'],
  ],
  operators: [
    ['a += b++ - --c', '+=:keyword.operator.assignment.compound ++:keyword.operator.increment -:keyword.operator.arithmetic --:keyword.operator.increment'],
    ['a <> b != c <= d', '<>:keyword.operator.comparison !=:keyword.operator.comparison <=:keyword.operator.comparison'],
    ['!a && b || c', '!:keyword.operator.logical &&:keyword.operator.logical ||:keyword.operator.logical'],
    ['a & b', '&:invalid.deprecated.lone-operator b:variable.other'],
    ['a ? b : c', '?:invalid.illegal.character'],
    ['a = `b`', '`:invalid.illegal.character'],
    ['f(a]', ']:invalid.illegal.character'],
  ],
  includes: [
    ['#include "lib/tools.kts" // why', '#:punctuation.definition.directive include:keyword.control.import "lib/tools.kts":string.quoted.include why:comment.line.double-slash'],
    ['#Include lib/tools.kts\na', 'lib/tools.kts:string.unquoted.include a:variable.other'],
  ],
  'expressions over rows': [
    ['t.Sum("price * qty")', 'Sum:support.function.method (:punctuation.section.parens.begin ":string.quoted.double price:variable.other.column *:keyword.operator.arithmetic qty:variable.other.column ":string.quoted.double ):punctuation.section.parens.end'],
    [`t.filter('region = "North" and rowidx > 2', a)`, `region:variable.other.column "North":string.quoted.double and:keyword.operator.logical rowidx:variable.language.row 2:constant.numeric.integer ':string.quoted.single a:variable.other`],
    [`t.Filter("a = 'it')") + "text"`, `a:variable.other.column 'it':string.quoted.single text:string.quoted.double`],
    ['t.CaseSum(\n "a > 1",\n "round(b, 2)", 0)', 'a:variable.other.column round:support.function.builtin b:variable.other.column 0:constant.numeric.integer'],
    ['t.Sum("Max(price) - now(x)")', 'Max:support.function.method price:variable.other.column now:entity.name.function.call'],
    ['t.Sum("a", "b")', 'a:variable.other.column b:string.quoted.double'],
    ['t.Sum(f("a"))', 'a:string.quoted.double'],
    ['t.GetColumn(0, "price")', 'price:string.quoted.double'],
    ['t.Sum("a ; b")', ';:invalid.illegal.character b:variable.other.column'],
    ['t.Sum("a // b")', '/:keyword.operator.arithmetic b:variable.other.column'],
  ],
};

for (const [subject, rows] of Object.entries(ROWS)) {
  test(subject, () => {
    for (const [source, wanted] of rows) {
      const { tokens } = tokenize(source);
      const shown = tokens.map(({ text, scopes }) => `${text}:${scopes.slice(1).join('/')}`).join('  ');
      const pairs = [...wanted.matchAll(/(?:^| )(\S.*?):([a-z][a-z.-]*)(?= |$)/g)];
      assert.equal(pairs.map(([pair]) => pair).join(''), wanted);
      let at = 0;
      for (const [, text, scope] of pairs) {
        while (at < tokens.length && tokens[at].text !== text) ++at;
        const scopes = tokens[at++]?.scopes.flatMap((s) => s.split(' ')) ?? [];
        assert.ok(scopes.includes(`${scope}.ktscript`), `${source}: ${text} is no ${scope} in: ${shown}`);
      }
    }
  });
}

// What the parser takes has neither bad tokens nor ones without any scope, and leaves nothing open.
test('scripts that kt takes', () => {
  const random = withoutErrors(randomScripts(300, 1));
  assert.ok(random.length > 150, `${random.length} of 300 random scripts have no error`);
  for (const { name, text } of [...acceptedScripts(), ...random]) {
    const { tokens, depth } = tokenize(text);
    const bad = tokens.filter(({ scopes }) => scopes.length === 1 || scopes.at(-1).startsWith('invalid.illegal'));
    assert.deepEqual(bad.slice(0, 3), [], name);
    assert.equal(depth, 1, `${name}: something is open at its end`);
  }
});
