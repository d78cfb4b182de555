// SPDX-License-Identifier: MIT
//
// What kt is started with. Knows nothing of the editor, so that it can be tested by itself.

export interface Settings {
  program: string;
  data: Record<string, string>;
  includeDirs: string[];
  width: number;
}

export interface Command {
  program: string;
  args: string[];
}

export function languageServer(settings: Settings): Command {
  return { program: settings.program, args: ['lsp'] };
}

// What the server is told when it starts.
export function initializationOptions({ data, includeDirs, width }: Settings): object {
  return { data, includeDirs, width };
}

export function runScript(settings: Settings, file: string): Command {
  const data = Object.entries(settings.data).flatMap(([name, path]) => ['--data', `${name}=${path}`]);
  const folders = settings.includeDirs.flatMap((folder) => ['--include-dir', folder]);
  return { program: settings.program, args: ['run', ...data, ...folders, file] };
}

export function testFolder(settings: Settings, folder: string): Command {
  return { program: settings.program, args: ['test', folder] };
}
