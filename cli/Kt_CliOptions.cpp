// SPDX-License-Identifier: MIT
#include "cli/Kt_CliOptions.h"

#include <CLI/CLI.hpp>
#include <ostream>

#include "cli/Kt_CliLoader.h"

namespace kt::cli {

void AddIncludeDirOption(CLI::App& command, std::vector<std::string>& include_dirs) {
  command.add_option("--include-dir", include_dirs, "Allow #include from this folder too")
      ->type_name("DIR")
      ->allow_extra_args(false);
}

void AddJsonFlag(CLI::App& command, const std::string& help) { command.add_flag("--json", help); }

bool AddIncludeDirs(const std::vector<std::string>& include_dirs, const char* command,
                    Kt_CliLoader& loader, Streams streams) {
  for (const std::string& dir : include_dirs) {
    if (loader.AddIncludeDir(dir)) continue;
    streams.messages << command << ": --include-dir: there is no folder '" << dir << "'\n";
    return false;
  }
  return true;
}

}  // namespace kt::cli
