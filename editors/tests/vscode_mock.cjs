// SPDX-License-Identifier: MIT
//
// As much of the module `vscode` as the extension and its client of language servers touch. What is
// registered and what is shown is kept, so that a test can ask the providers as the editor does.
// Anything that is not here is a class without members, or a function that does nothing.
'use strict';
const { pathToFileURL, fileURLToPath } = require('node:url');

class Disposable {
  constructor(dispose = () => {}) { this.dispose = dispose; }
  static from(...all) { return new Disposable(() => all.forEach((one) => one.dispose())); }
}

class EventEmitter {
  #listeners = new Set();
  event = (listener, self) => {
    const bound = self ? listener.bind(self) : listener;
    this.#listeners.add(bound);
    return new Disposable(() => this.#listeners.delete(bound));
  };
  fire(value) { for (const listener of this.#listeners) listener(value); }
  dispose() { this.#listeners.clear(); }
}

class CancellationTokenSource {
  #emitter = new EventEmitter();
  token = { isCancellationRequested: false, onCancellationRequested: this.#emitter.event };
  cancel() { this.token.isCancellationRequested = true; this.#emitter.fire(); }
  dispose() {}
}

class Uri {
  constructor(text) {
    this.text = text;
    this.scheme = text.slice(0, text.indexOf(':'));
    this.fsPath = this.scheme === 'file' ? fileURLToPath(text) : text;
    this.path = this.fsPath;
  }
  static parse(text) { return new Uri(text); }
  static file(path) { return new Uri(pathToFileURL(path).href); }
  toString() { return this.text; }
}

class Position {
  constructor(line, character) { Object.assign(this, { line, character }); }
}
class Range {
  constructor(a, b, c, d) {
    const [start, end] = typeof a === 'number' ? [new Position(a, b), new Position(c, d)] : [a, b];
    Object.assign(this, { start, end });
  }
}
class Location {
  constructor(uri, range) { Object.assign(this, { uri, range }); }
}
class Diagnostic {
  constructor(range, message, severity) { Object.assign(this, { range, message, severity }); }
}
class DiagnosticRelatedInformation {
  constructor(location, message) { Object.assign(this, { location, message }); }
}
class CodeActionKind {
  constructor(value) { this.value = value; }
  append(part) { return new CodeActionKind(this.value ? `${this.value}.${part}` : part); }
  static Empty = new CodeActionKind('');
  static QuickFix = new CodeActionKind('quickfix');
}
class CodeAction {
  constructor(title, kind) { Object.assign(this, { title, kind }); }
}
class TextEdit {
  constructor(range, newText) { Object.assign(this, { range, newText }); }
  static replace(range, text) { return new TextEdit(range, text); }
}
class WorkspaceEdit {
  #all = new Map();
  set(uri, edits) { this.#all.set(uri.toString(), edits); }
  get(uri) { return this.#all.get(uri.toString()) ?? []; }
}
class CompletionItem {
  constructor(label, kind) { Object.assign(this, { label, kind }); }
}
class CompletionList {
  constructor(items, isIncomplete) { Object.assign(this, { items, isIncomplete }); }
}
class MarkdownString {
  constructor(value = '') { this.value = value; }
  appendMarkdown(text) { this.value += text; return this; }
  appendCodeblock(text) { this.value += text; return this; }
}
class Hover {
  constructor(contents, range) { Object.assign(this, { contents, range }); }
}

// A document that is open, as the editor hands it out.
class TextDocument {
  constructor(path, languageId, text) {
    Object.assign(this, { uri: Uri.file(path), fileName: path, languageId, version: 1, text, isClosed: false });
  }
  getText() { return this.text; }
  async save() { return true; }
}

// `known`, and for every other name something that can be had.
function withAnything(known) {
  return new Proxy(known, {
    get(target, name) {
      if (name in target || typeof name === 'symbol') return target[name];
      target[name] = /^[A-Z]/.test(name)
        ? class {}
        : /^on(Did|Will)/.test(name) ? new EventEmitter().event : () => new Disposable();
      return target[name];
    },
  });
}

function makeVscode({ folder, settings, documents }) {
  const providers = {};
  const commands = {};
  const shown = { diagnostics: new Map(), warnings: [], tasks: [] };
  const published = new EventEmitter();
  const registers = (name) => (selector, provider) => {
    providers[name] = provider;
    return new Disposable();
  };
  const collection = {
    set(uri, diagnostics) {
      shown.diagnostics.set(uri.toString(), diagnostics);
      published.fire();
    },
    get: (uri) => shown.diagnostics.get(uri.toString()), has: () => false, delete() {}, clear() {}, dispose() {},
  };
  const languages = withAnything({
    createDiagnosticCollection: () => collection,
    match: (selector, document) => ([selector].flat().some(({ language }) => language === document.languageId) ? 10 : 0),
    registerCompletionItemProvider: registers('completion'),
    registerCodeActionsProvider: registers('codeAction'),
    registerHoverProvider: registers('hover'),
    registerDocumentFormattingEditProvider: registers('formatting'),
  });
  const workspace = withAnything({
    textDocuments: documents, workspaceFolders: [{ uri: Uri.file(folder), name: 'test', index: 0 }],
    notebookDocuments: [],
    getConfiguration: () => ({ get: (name, otherwise) => settings[name] ?? otherwise, has: () => false, inspect: () => undefined }),
    getWorkspaceFolder: () => undefined,
    createFileSystemWatcher: () => withAnything({}),
  });
  const window = withAnything({
    createOutputChannel: () => withAnything({ append() {}, appendLine() {}, clear() {}, show() {}, dispose() {} }),
    showWarningMessage: async (text) => { shown.warnings.push(text); },
    showErrorMessage: async (text) => { shown.warnings.push(text); },
    activeTextEditor: { document: documents[0] },
    visibleTextEditors: [],
    tabGroups: withAnything({ all: [] }),
  });
  const vscode = withAnything({
    version: '1.82.0', Disposable, EventEmitter, CancellationTokenSource, Uri, Position, Range, Location,
    Diagnostic, DiagnosticRelatedInformation, CodeActionKind, CodeAction, TextEdit, WorkspaceEdit,
    CompletionItem, CompletionList, MarkdownString, Hover, languages, workspace, window,
    DiagnosticSeverity: { Error: 0, Warning: 1, Information: 2, Hint: 3 },
    DiagnosticTag: { Unnecessary: 1, Deprecated: 2 },
    CompletionItemKind: { Text: 0 }, CompletionItemTag: { Deprecated: 1 }, CompletionTriggerKind: { Invoke: 0 },
    CodeActionTriggerKind: { Invoke: 1, Automatic: 2 }, SymbolKind: { File: 0 }, TaskScope: { Workspace: 2 },
    TextDocumentSaveReason: { Manual: 1 }, FileType: { File: 1 },
    commands: withAnything({
      registerCommand(name, run) { commands[name] = run; return new Disposable(); },
    }),
    tasks: withAnything({ executeTask: async (task) => { shown.tasks.push(task); } }),
    ProcessExecution: class { constructor(process, args) { Object.assign(this, { process, args }); } },
    Task: class { constructor(kind, scope, name, source, execution) { Object.assign(this, { kind, name, execution }); } },
    env: withAnything({ language: 'en', appName: 'test' }),
    l10n: { t: (text) => text },
  });
  return { vscode, providers, commands, shown, onPublished: published.event };
}

module.exports = { makeVscode, TextDocument };
