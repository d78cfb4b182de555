// SPDX-License-Identifier: MIT
//
// Makes dist/: the extension in one file, and the grammar. Types are checked first.
import { spawnSync } from 'node:child_process';
import { cpSync, mkdirSync, rmSync } from 'node:fs';
import { createRequire } from 'node:module';
import { fileURLToPath } from 'node:url';
import { buildSync } from 'esbuild';

process.chdir(fileURLToPath(new URL('.', import.meta.url)));
const tsc = createRequire(import.meta.url).resolve('typescript/bin/tsc');
const types = spawnSync(process.execPath, [tsc, '-p', '.'], { stdio: 'inherit' });
if (types.status !== 0) process.exit(1);

rmSync('dist', { recursive: true, force: true });
mkdirSync('dist');
cpSync('../textmate/ktscript.tmLanguage.json', 'dist/ktscript.tmLanguage.json');
cpSync('../../LICENSE', 'dist/LICENSE.txt');
buildSync({
  entryPoints: ['src/extension.ts'],
  outfile: 'dist/extension.js',
  bundle: true,
  minify: true,
  platform: 'node',
  target: 'node18',
  format: 'cjs',
  external: ['vscode'],
  logLevel: 'warning',
});
