// SPDX-License-Identifier: MIT
//
// kt lsp, spoken to by the code that editors speak to servers with.
import assert from 'node:assert/strict';
import { spawn } from 'node:child_process';
import { mkdtempSync, rmSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { test } from 'node:test';
import { pathToFileURL } from 'node:url';
import protocol from 'vscode-languageserver-protocol/node.js';
import { KT } from './scripts.mjs';

const SCRIPT = `function larger(a, b) {
  if (a > b) return a;
  return b;
}

function main() {
  print(larger(1, 2), lenght("é"), orders.prise);
}
`;

// Lets `use` talk to a server that has the script open, and ends it as the protocol says.
async function withServer(use) {
  const folder = mkdtempSync(join(tmpdir(), 'kt-lsp-'));
  writeFileSync(join(folder, 'orders.csv'), 'id,price\n1,2.5\n');
  const server = spawn(KT, ['lsp'], { cwd: folder });
  const ended = new Promise((resolve) => server.on('exit', resolve));
  const connection = protocol.createProtocolConnection(
    new protocol.StreamMessageReader(server.stdout), new protocol.StreamMessageWriter(server.stdin));
  const uri = pathToFileURL(join(folder, 'a.kts')).href;
  const problems = new Promise((resolve) =>
    connection.onNotification(protocol.PublishDiagnosticsNotification.type, resolve));
  connection.listen();
  try {
    const { capabilities } = await connection.sendRequest(protocol.InitializeRequest.type, {
      processId: process.pid, capabilities: {}, rootUri: null,
      workspaceFolders: [{ uri: pathToFileURL(folder).href, name: 'test' }],
      initializationOptions: { data: { orders: 'orders.csv' }, includeDirs: [], width: 100 },
    });
    await connection.sendNotification(protocol.InitializedNotification.type, {});
    await connection.sendNotification(protocol.DidOpenTextDocumentNotification.type,
      { textDocument: { uri, languageId: 'ktscript', version: 1, text: SCRIPT } });
    await use({ connection, capabilities, problems, textDocument: { uri } });
    await connection.sendRequest(protocol.ShutdownRequest.type);
    await connection.sendNotification(protocol.ExitNotification.type);
    assert.equal(await ended, 0);
  } finally {
    server.kill();
    connection.dispose();
    rmSync(folder, { recursive: true });
  }
}

test('a session', { timeout: 60000 }, () => withServer(async ({ connection, capabilities, problems, textDocument }) => {
  const { diagnostics } = await problems;
  assert.deepEqual(diagnostics.map(({ code, range }) => [code, range.start.line, range.start.character]),
    [['unknown-function', 6, 22], ['unknown-member', 6, 42]]);

  const at = (line, character) => ({ textDocument, position: { line, character } });
  const found = await connection.sendRequest(protocol.DefinitionRequest.type, at(6, 10));
  assert.deepEqual([found].flat().map(({ range }) => range.start), [{ line: 0, character: 9 }]);

  const offered = await connection.sendRequest(protocol.CompletionRequest.type, at(6, 42));
  const labels = (offered.items ?? offered).map(({ label }) => label);
  for (const label of ['price', 'Sum', 'rowcount']) assert.ok(labels.includes(label), `${label} in ${labels}`);

  const shown = await connection.sendRequest(protocol.HoverRequest.type, at(6, 3));
  assert.match(JSON.stringify(shown.contents), /print/i);

  await connection.sendNotification(protocol.DidChangeTextDocumentNotification.type, {
    textDocument: { ...textDocument, version: 2 },
    contentChanges: [{ range: { start: { line: 1, character: 0 }, end: { line: 1, character: 2 } }, text: '' }],
  });
  const edits = await connection.sendRequest(protocol.DocumentFormattingRequest.type,
    { textDocument, options: { tabSize: 2, insertSpaces: true } });
  assert.ok(edits.length > 0);

  const colours = await connection.sendRequest(protocol.SemanticTokensRequest.type, { textDocument });
  assert.equal(colours.data.length % 5, 0);
  const { legend } = capabilities.semanticTokensProvider;
  assert.ok(colours.data.length > 0 && colours.data.every((value, index) => index % 5 !== 3 || value < legend.tokenTypes.length));
}));

test('a bad request is answered, and the next one too', { timeout: 60000 }, () => withServer(async ({ connection, textDocument }) => {
  await assert.rejects(connection.sendRequest('no/such', {}), { code: protocol.ErrorCodes.MethodNotFound });
  const symbols = await connection.sendRequest(protocol.DocumentSymbolRequest.type, { textDocument });
  assert.deepEqual(symbols.map(({ name }) => name), ['larger', 'main']);
}));
