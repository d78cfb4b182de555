// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include "cli/Kt_Cli.h"

namespace CLI {
class Option;
}

class Kt_CliFence;
class Kt_CliLoader;

namespace kt::cli {

// The option that several commands share.
void AddIncludeDirOption(CLI::App& command, std::vector<std::string>& include_dirs);
// Hands the folders to the loader; false when one is no folder, which has been said then.
bool AddIncludeDirs(const std::vector<std::string>& include_dirs, const char* command,
                    Kt_CliLoader& loader, Streams streams);

// --json of a command whose results it does not change; Main looks for it before the command runs.
CLI::Option* AddJsonFlag(CLI::App& command, const std::string& help);

// --strict.
CLI::Option* AddStrictFlag(CLI::App& command, bool& strict);

// --threads, for a command that works on data; 0: it was not given.
void AddThreadsOption(CLI::App& command, int& threads);

// Which files scripts may reach, as the command line says.
struct FileRules {
  std::vector<std::string> allow_dirs;
  std::vector<std::string> allow_hosts;
  bool no_files = false;
  bool all_files = false;
};
void AddFileRules(CLI::App& command, FileRules& rules);
// Tells the fence; false when a folder is none, which has been said then.
bool SetUpFence(const FileRules& rules, const char* command, Kt_CliFence& fence, Streams streams);

}  // namespace kt::cli
