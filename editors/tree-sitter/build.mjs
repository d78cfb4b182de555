// SPDX-License-Identifier: MIT
//
// Makes build/src/parser.c of grammar.js. The generator is the one of tree-sitter-cli 0.13.16, the last
// that npm has the sources of: newer ones are a program that their package fetches from elsewhere. Its
// tables are those of today in an older dress; they are written for the interface of today, version 14.
import { spawnSync } from 'node:child_process';
import { createHash } from 'node:crypto';
import { existsSync, mkdirSync, readdirSync, readFileSync, renameSync, rmSync, writeFileSync } from 'node:fs';
import { createRequire } from 'node:module';
import { join } from 'node:path';
import { fileURLToPath } from 'node:url';

const HERE = fileURLToPath(new URL('.', import.meta.url));
const CACHE = join(HERE, '../node_modules/.cache/tree-sitter');
const PACKAGE = 'tree-sitter-cli@0.13.16';
const INTEGRITY =
  'nOYoNJTY1aHGaMHp5U+Yt62z+GkFldgV2if1HmsYwG5Kgm/zpQPwcrkzQujZkEpilXLn9L4b5UqIXrkrtaN9Zg==';
const require = createRequire(import.meta.url);

function run(program, args, options = {}) {
  const done = spawnSync(program, args, { encoding: 'utf8', maxBuffer: 1 << 28, ...options });
  if (done.status !== 0) throw new Error(`${program} ${args[0]}: ${done.error ?? done.stderr}`);
  return done.stdout;
}

function fetchGenerator() {
  const making = `${CACHE}.${process.pid}`;
  mkdirSync(making, { recursive: true });
  run('npm', ['pack', '--silent', PACKAGE], { cwd: making });
  const [archive] = readdirSync(making);
  const digest = createHash('sha512').update(readFileSync(join(making, archive))).digest('base64');
  if (digest !== INTEGRITY) throw new Error(`${PACKAGE} is not what it was`);
  run('tar', ['-xf', archive], { cwd: making });
  compileGenerator(join(making, 'package/vendor/tree-sitter'), join(making, 'generate'));
  rmSync(CACHE, { recursive: true, force: true });
  renameSync(making, CACHE);
}

// In one piece, which takes a third of the time; rule.cc has what others must see before they use it.
function compileGenerator(source, program) {
  const listed = readFileSync(join(source, 'project.gyp'), 'utf8').matchAll(/'(src\/compiler\/[^']*\.cc)'/g);
  const files = new Set(['src/compiler/rule.cc', ...[...listed].map(([, path]) => path)]);
  writeFileSync(join(source, 'all.cc'), `${[...files].map((path) => `#include "${path}"`).join('\n')}
#include <cstdio>
#include <iostream>
#include <iterator>
int main() {
  const std::string grammar((std::istreambuf_iterator<char>(std::cin)), {});
  const TSCompileResult result = ts_compile_grammar(grammar.c_str(), nullptr);
  std::fputs(result.error_type ? result.error_message : result.code, result.error_type ? stderr : stdout);
  return result.error_type ? 1 : 0;
}
`);
  const folders = ['-Iinclude', '-Isrc', '-Iexternals/utf8proc', '-Iexternals/json-parser', '-I.'];
  for (const path of ['utf8proc/utf8proc.c', 'json-parser/json.c']) {
    run('cc', ['-w', ...folders, '-c', `externals/${path}`], { cwd: source });
  }
  run('c++', ['-std=c++14', '-w', ...folders, 'all.cc', 'utf8proc.o', 'json.o', '-lm', '-o', program], { cwd: source });
}

// What the functions of the grammar are called with: $.name.
class RuleBuilder {
  constructor(rules) {
    return new Proxy({}, {
      get: (_, name) => {
        const symbol = { type: 'SYMBOL', name };
        if (!rules || Object.hasOwn(rules, name)) return symbol;
        return Object.assign(new ReferenceError(`Undefined rule '${name}'`), { symbol });
      },
    });
  }
}

function readGrammar() {
  const api = join(CACHE, 'package/lib/api');
  require.cache[join(api, 'binding.js')] = { loaded: true, exports: { RuleBuilder } };
  Object.assign(globalThis, require(join(api, 'dsl.js')));
  return require(join(HERE, 'grammar.js'));
}

// Every state has a whole row, which version 14 calls a large one. There are no aliases and fields.
function forVersion14(code) {
  if (!/#define ALIAS_COUNT 0\n/.test(code)) throw new Error('aliases of rules are not written');
  const numbers = (type, name, count) =>
    `static const ${type} ${name}[${count}] = {${[...Array(count).keys()].join(',')}};\n`;
  const [, states] = /#define STATE_COUNT (\d+)/.exec(code);
  const [, symbols] = /#define SYMBOL_COUNT (\d+)/.exec(code);
  const tables = numbers('TSSymbol', 'ts_symbol_map', Number(symbols)) +
    numbers('TSStateId', 'ts_primary_state_ids', Number(states)) +
    'static const uint16_t ts_alias_map[1] = {0};\n';
  return code
    .replace('#define LANGUAGE_VERSION 9', '#define LANGUAGE_VERSION 14')
    .replace(/\{(\.count = \d+, \.reusable = \w+)\}/g, '{.entry = {$1}}')
    .replace(/^extern const TSLanguage/m, `${tables}\n$&`)
    .replace('    .version =', `    .state_count = STATE_COUNT,
    .large_state_count = STATE_COUNT,
    .production_id_count = 1,
    .public_symbol_map = ts_symbol_map,
    .alias_map = ts_alias_map,
    .primary_state_ids = ts_primary_state_ids,
    .version =`)
    .replace(/tree_sitter_ktscript\(\)/, 'tree_sitter_ktscript(void)');
}

export function buildParser() {
  if (!existsSync(join(CACHE, 'generate'))) fetchGenerator();
  const code = run(join(CACHE, 'generate'), [], { input: JSON.stringify(readGrammar()) });
  mkdirSync(join(HERE, 'build/src'), { recursive: true });
  writeFileSync(join(HERE, 'build/src/parser.c'), forVersion14(code));
  return join(HERE, 'build/src/parser.c');
}

if (process.argv[1] === fileURLToPath(import.meta.url)) console.log(buildParser());
