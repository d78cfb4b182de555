// SPDX-License-Identifier: MIT
//
// The packed extension with kt lsp behind it, in a stand-in for the editor: what it registers there
// answers as the editor would ask it.
import assert from 'node:assert/strict';
import { spawnSync } from 'node:child_process';
import { mkdtempSync, rmSync, writeFileSync } from 'node:fs';
import Module, { createRequire } from 'node:module';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { test } from 'node:test';
import { KT, ROOT } from './scripts.mjs';

const require = createRequire(import.meta.url);
const { makeVscode, TextDocument } = require('./vscode_mock.cjs');
const EXTENSION = join(ROOT, 'editors/vscode');
const SCRIPT = `function main() {
  print(orders.Sum("qty"), (1 + 2);
  print(orders.);
}
`;

function loadExtension(vscode) {
  const load = Module._load;
  Module._load = (name, ...rest) => (name === 'vscode' ? vscode : load(name, ...rest));
  try {
    const path = join(EXTENSION, 'dist/extension.js');
    delete require.cache[path];
    return require(path);
  } finally {
    Module._load = load;
  }
}

async function withExtension(settings, script, use) {
  const folder = mkdtempSync(join(tmpdir(), 'kt-extension-'));
  try {
    writeFileSync(join(folder, 'orders.csv'), 'id,qty\n1,2\n');
    const document = new TextDocument(join(folder, 'a.kts'), 'ktscript', script);
    const editor = makeVscode({ folder, settings, documents: [document] });
    const published = new Promise((resolve) => editor.onPublished(resolve));
    const extension = loadExtension(editor.vscode);
    const context = { subscriptions: [] };
    await extension.activate(context);
    try {
      await use({ ...editor, document, folder, published });
    } finally {
      await extension.deactivate();
      context.subscriptions.forEach((one) => one.dispose());
    }
  } finally {
    rmSync(folder, { recursive: true });
  }
}

test('the extension builds', () => {
  const made = spawnSync('npm', ['run', '--silent', 'build'], { cwd: EXTENSION, encoding: 'utf8' });
  assert.equal(made.status, 0, made.stdout + made.stderr);
});

test('problems, fixes and names reach the editor', { timeout: 60000 }, () => withExtension(
  { program: KT, data: { orders: 'orders.csv' } }, SCRIPT,
  async ({ vscode, providers, shown, document, published }) => {
    await published;
    assert.deepEqual(shown.warnings, []);
    const problems = shown.diagnostics.get(document.uri.toString());
    assert.deepEqual(problems.map(({ code }) => code), ['unclosed-bracket', 'no-operand']);
    assert.match(problems[0].message, /\n'\)' is missing here/);
    assert.equal(problems[0].relatedInformation[0].location.range.start.character, 7);

    const { token } = new vscode.CancellationTokenSource();
    const offered = await providers.completion.provideCompletionItems(
      document, new vscode.Position(2, 15), token, { triggerKind: 0 });
    const labels = (offered.items ?? offered).map(({ label }) => label.label ?? label);
    assert.ok(labels.includes('qty') && labels.includes('Sum'), labels.join());
  }));

test('a fix is an edit of the document', { timeout: 60000 }, () => withExtension(
  { program: KT }, 'function main() {\n  let a = 1;\n  print(a);\n}\n',
  async ({ vscode, providers, shown, document, published }) => {
    await published;
    const diagnostics = shown.diagnostics.get(document.uri.toString());
    const { token } = new vscode.CancellationTokenSource();
    const actions = await providers.codeAction.provideCodeActions(
      document, diagnostics[0].range, { diagnostics, triggerKind: 1, only: undefined }, token);
    assert.deepEqual(actions.map(({ title }) => title), ["Replace 'let' by 'var'"]);
    assert.deepEqual(actions[0].edit.get(document.uri).map(({ newText }) => newText), ['var']);
  }));

test('scripts run as tasks, with the data of the settings', { timeout: 60000 }, () => withExtension(
  { program: KT, data: { orders: 'my orders.csv' } }, 'function main() { }\n',
  async ({ commands, shown, document }) => {
    await commands['ktscript.run']();
    assert.deepEqual(shown.tasks.map(({ execution }) => execution.args),
      [['run', '--data', 'orders=my orders.csv', document.fileName]]);
    await commands['ktscript.restart']();
  }));

test('without the program the editor says so, until it is found', { timeout: 60000 }, () => {
  const settings = { program: join(ROOT, 'no/such/kt') };
  return withExtension(settings, 'function main() { let a; }\n', async ({ commands, shown, document, published }) => {
    assert.match(shown.warnings.join(), /does not start.*ktscript\.program/);
    settings.program = KT;
    await commands['ktscript.restart']();
    await published;
    assert.equal(shown.diagnostics.get(document.uri.toString())[0].code, 'foreign-declaration');
  });
});
