// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "cli/Kt_File.h"

// Says which files a script may reach by readText, writeText, loadData, saveData and #include:
// those in the folder of the script and in the working folder, and below. Links and ".." are
// followed before it is asked where a file is. What the user names on the command line is not
// asked about.
//
//   std::string file;
//   std::string reason;
//   if (!fence.Resolve(path, file, reason)) return Fail(reason);
//   ReadTextFile(file, text, error, fence.LinkRule());
//
// Databases in files are such files. Servers are reached when their host was named, by AllowHost.
//
// A file that has been resolved is opened under its resolved name and not through a link, so that
// one that is put there in the meantime leads nowhere. Threads: one.
class Kt_CliFence {
 public:
  // The working folder is the one of this moment.
  Kt_CliFence();

  // Takes away the folder of the script and the working folder; those that are named stay.
  void TakeFilesAway() { no_files_ = true; }
  void AllowAllFiles() { all_files_ = true; }
  // False when there is no such folder.
  bool AllowDir(const std::string& path);
  void AllowHost(const std::string& host) { hosts_.push_back(host); }
  // The folder of a script that is about to run. REQUIRES: canonical.
  void AddScriptDir(const std::filesystem::path& folder) { script_dirs_.push_back(folder); }

  // The file to open for `path`. False with the reason when it may not be reached, or there is no
  // folder that could have it.
  bool Resolve(const std::string& path, std::string& file, std::string& reason) const;
  // Whether a server may be asked; `host` is empty when nobody has named it. False with the reason.
  bool AllowsHost(const std::string& host, std::string& reason) const;
  // Whether a file may be reached. REQUIRES: canonical.
  bool Allows(const std::filesystem::path& file) const;
  // What a refusal says; `option` is the one that allows a folder.
  std::string Refusal(const std::string& option) const;
  // How the file that Resolve gave is to be opened.
  kt::cli::Links LinkRule() const {
    return all_files_ ? kt::cli::Links::kFollow : kt::cli::Links::kRefuse;
  }

 private:
  bool no_files_ = false;
  bool all_files_ = false;
  std::filesystem::path working_dir_;
  std::vector<std::filesystem::path> script_dirs_;
  std::vector<std::filesystem::path> named_dirs_;
  std::vector<std::string> hosts_;
};

namespace kt::cli {

// True when `file` is in `folder` or below. REQUIRES: both are canonical.
bool IsInside(const std::filesystem::path& folder, const std::filesystem::path& file);

}  // namespace kt::cli
