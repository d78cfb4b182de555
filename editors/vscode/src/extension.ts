// SPDX-License-Identifier: MIT
import * as path from 'node:path';
import * as vscode from 'vscode';
import { LanguageClient } from 'vscode-languageclient/node';
import { type Command, initializationOptions, languageServer, runScript, type Settings, testFolder } from './commands';

const LANGUAGE = 'ktscript';
let client: LanguageClient | undefined;

function readSettings(): Settings {
  const configured = vscode.workspace.getConfiguration(LANGUAGE);
  return {
    program: configured.get('program', 'kt'),
    data: configured.get('data', {}),
    includeDirs: configured.get('includeDirs', []),
    width: configured.get('width', 100),
  };
}

function openFolder(): string | undefined {
  return vscode.workspace.workspaceFolders?.find(({ uri }) => uri.scheme === 'file')?.uri.fsPath;
}

async function start(): Promise<void> {
  const settings = readSettings();
  const { program, args } = languageServer(settings);
  const cwd = openFolder();
  client = new LanguageClient(LANGUAGE, 'KtScript',
    { command: program, args, ...(cwd ? { options: { cwd } } : {}) },
    { documentSelector: [{ language: LANGUAGE }], initializationOptions: initializationOptions(settings) });
  try {
    await client.start();
  } catch (reason) {
    // Colours work without it.
    void vscode.window.showWarningMessage(
      `KtScript: '${program} lsp' does not start (${String(reason)}). Set "ktscript.program" to where kt is.`);
  }
}

async function stop(): Promise<void> {
  const stopped = client;
  client = undefined;
  try {
    await stopped?.dispose();
  } catch {
    // One that did not start cannot be stopped, and the next one is to start all the same.
  }
}

async function restart(): Promise<void> {
  await stop();
  await start();
}

// As a task: no shell reads the arguments.
async function execute(name: string, { program, args }: Command): Promise<void> {
  const cwd = openFolder();
  const task = new vscode.Task({ type: 'process' }, vscode.TaskScope.Workspace, name, 'KtScript',
    new vscode.ProcessExecution(program, args, cwd ? { cwd } : {}));
  task.presentationOptions = { clear: true };
  await vscode.tasks.executeTask(task);
}

async function savedFile(): Promise<string | undefined> {
  const document = vscode.window.activeTextEditor?.document;
  if (document?.languageId !== LANGUAGE || !(await document.save())) return undefined;
  return document.uri.fsPath;
}

async function run(): Promise<void> {
  const file = await savedFile();
  if (file) await execute('run', runScript(readSettings(), file));
}

async function test(): Promise<void> {
  const file = await savedFile();
  if (file) await execute('test', testFolder(readSettings(), path.dirname(file)));
}

export async function activate(context: vscode.ExtensionContext): Promise<void> {
  context.subscriptions.push(
    vscode.commands.registerCommand('ktscript.run', run),
    vscode.commands.registerCommand('ktscript.test', test),
    vscode.commands.registerCommand('ktscript.restart', restart),
    vscode.workspace.onDidChangeConfiguration((change) => {
      if (change.affectsConfiguration(LANGUAGE)) void restart();
    }));
  await start();
}

export async function deactivate(): Promise<void> {
  await stop();
}
