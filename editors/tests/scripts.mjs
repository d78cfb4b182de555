// SPDX-License-Identifier: MIT
//
// The scripts that grammars are compared with kt over. KT_PROGRAM names the program, and
// RANDOM_SCRIPTS the one that makes scripts at random (tests/editors).
import { spawnSync } from 'node:child_process';
import { mkdtempSync, readdirSync, readFileSync, rmSync, statSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { fileURLToPath } from 'node:url';

export const ROOT = fileURLToPath(new URL('../..', import.meta.url));
export const GRAMMAR = join(ROOT, 'editors/textmate/ktscript.tmLanguage.json');
export const KT = process.env.KT_PROGRAM ?? join(ROOT, 'build/release/bin/kt');

export function runKt(args, input = '') {
  return spawnSync(KT, args, { input, encoding: 'utf8', maxBuffer: 1 << 28 });
}

function filesBelow(folder, ending) {
  return readdirSync(join(ROOT, folder), { withFileTypes: true }).flatMap((entry) => {
    const path = join(folder, entry.name);
    if (entry.isDirectory()) return filesBelow(path, ending);
    return entry.name.endsWith(ending) ? [path] : [];
  });
}

// Blocks without a function are the inside of main, as the documents say.
function documentBlocks() {
  return filesBelow('docs', '.md').flatMap((path) => {
    const blocks = readFileSync(join(ROOT, path), 'utf8').matchAll(/^```(?:kts|check[^\n]*)\n([^]*?)^```/gm);
    return [...blocks].map(([, text], index) => ({
      name: `${path} block ${index + 1}`,
      text: /\bfunction\b/.test(text) ? text : `function main() {\n${text}}\n`,
    }));
  });
}

export function writtenScripts() {
  const files = ['examples', 'tests/mistakes', 'bench/workloads', 'scripts'].flatMap((folder) => filesBelow(folder, '.kts'));
  return [...files.map((path) => ({ name: path, text: readFileSync(join(ROOT, path), 'utf8') })), ...documentBlocks()];
}

// Which of the scripts kt check finds no error in. One run for all: the messages name the files.
export function withoutErrors(scripts) {
  const folder = mkdtempSync(join(tmpdir(), 'kt-editors-'));
  try {
    scripts.forEach(({ text }, index) => writeFileSync(join(folder, `${index}.kts`), text));
    const files = scripts.map((_, index) => `${index}.kts`);
    const failed = new Set();
    for (let at = 0; at < files.length; at += 500) {
      const run = spawnSync(KT, ['check', '--json', ...files.slice(at, at + 500)],
        { cwd: folder, encoding: 'utf8', maxBuffer: 1 << 28 });
      if (run.status === null || run.status > 1) throw new Error(`kt check: ${run.error ?? run.stderr}`);
      for (const line of run.stdout.split('\n').filter(Boolean)) {
        const message = JSON.parse(line);
        if (message.severity === 'error') failed.add(message.file);
      }
    }
    return scripts.filter((_, index) => !failed.has(`${index}.kts`));
  } finally {
    rmSync(folder, { recursive: true });
  }
}

export function randomScripts(count, seed) {
  const run = spawnSync(process.env.RANDOM_SCRIPTS, [count, seed], { encoding: 'utf8', maxBuffer: 1 << 28 });
  if (run.status !== 0) throw new Error(`RANDOM_SCRIPTS: ${run.error ?? run.stderr}`);
  return run.stdout.split('\0').slice(0, -1).map((text, index) => ({ name: `random script ${index} of seed ${seed}`, text }));
}

let accepted;
// The written ones that have no error.
export function acceptedScripts() {
  accepted ??= withoutErrors(writtenScripts());
  if (accepted.length < 100) throw new Error(`only ${accepted.length} scripts without errors`);
  return accepted;
}
