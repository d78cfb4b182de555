// SPDX-License-Identifier: MIT
#include "cli/Kt_Options.h"

#include <CLI/CLI.hpp>

#include "cli/Kt_Diagnostic.h"
#include "cli/Kt_Fence.h"
#include "cli/Kt_Loader.h"

namespace kt::cli {

void AddIncludeDirOption(CLI::App& command, std::vector<std::string>& include_dirs) {
  command.add_option("--include-dir", include_dirs, "Allow #include from this folder too")
      ->type_name("DIR")
      ->allow_extra_args(false);
}

CLI::Option* AddJsonFlag(CLI::App& command, const std::string& help) {
  return command.add_flag("--json", help);
}

CLI::Option* AddStrictFlag(CLI::App& command, bool& strict) {
  return command.add_flag("--strict", strict, "Warn of texts that arithmetic reads as 0");
}

bool AddIncludeDirs(const std::vector<std::string>& include_dirs, const char* command,
                    Kt_CliLoader& loader, Streams streams) {
  for (const std::string& dir : include_dirs) {
    if (loader.AddIncludeDir(dir)) continue;
    Tell(streams,
         Diagnostic::Complaint(command, "--include-dir: there is no folder '" + dir + "'"));
    return false;
  }
  return true;
}

void AddFileRules(CLI::App& command, FileRules& rules) {
  command.add_option("--allow-dir", rules.allow_dirs, "Let scripts use files in this folder too")
      ->type_name("DIR")
      ->allow_extra_args(false);
  command.add_option("--allow-host", rules.allow_hosts, "Let scripts use databases of this server")
      ->type_name("HOST")
      ->allow_extra_args(false);
  CLI::Option* const none = command.add_flag(
      "--no-files", rules.no_files, "Let scripts use files in folders of --allow-dir only");
  command.add_flag("--allow-all-files", rules.all_files, "Let scripts use files anywhere")
      ->excludes(none);
}

bool SetUpFence(const FileRules& rules, const char* command, Kt_CliFence& fence, Streams streams) {
  if (rules.no_files) fence.TakeFilesAway();
  if (rules.all_files) fence.AllowAllFiles();
  for (const std::string& host : rules.allow_hosts) fence.AllowHost(host);
  for (const std::string& dir : rules.allow_dirs) {
    if (fence.AllowDir(dir)) continue;
    Tell(streams, Diagnostic::Complaint(command, "--allow-dir: there is no folder '" + dir + "'"));
    return false;
  }
  return true;
}

void AddThreadsOption(CLI::App& command, int& threads) {
  command
      .add_option("--threads", threads,
                  "How many threads loading, saving, sorting, totals and filters of large data may "
                  "use, 1 or 2 (without it 2 where a processor is free; results are the same)")
      ->type_name("N")
      ->check(CLI::Range(1, 2));
}

}  // namespace kt::cli
