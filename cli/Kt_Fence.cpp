// SPDX-License-Identifier: MIT
#include "cli/Kt_Fence.h"

#include <algorithm>
#include <system_error>

#include "classlib/base/Kt_Path.h"

namespace fs = std::filesystem;

namespace {

using kt::cli::IsInside;

bool IsInsideAny(const std::vector<fs::path>& folders, const fs::path& file) {
  return std::any_of(folders.begin(), folders.end(),
                     [&file](const fs::path& folder) { return IsInside(folder, file); });
}

// Where the file is, or would be if it is still to be made. Only the folders of a file that is not
// there have to exist: those that it lacks could hide a ".." from the look at its name.
fs::path Locate(const fs::path& path, std::error_code& error) {
  fs::path file = fs::canonical(path, error);
  if (error != std::errc::no_such_file_or_directory) return file;
  const fs::path name = path.filename();
  if (name == "." || name == "..") return {};
  const fs::path folder = path.parent_path();
  const fs::path found = fs::canonical(folder.empty() ? "." : folder, error);
  return error ? fs::path() : found / name;
}

}  // namespace

bool kt::cli::IsInside(const fs::path& folder, const fs::path& file) {
  return std::mismatch(folder.begin(), folder.end(), file.begin(), file.end()).first ==
         folder.end();
}

Kt_CliFence::Kt_CliFence() {
  std::error_code ignored;
  working_dir_ = fs::canonical(".", ignored);
}

bool Kt_CliFence::AllowDir(const std::string& path) {
  std::error_code error;
  const fs::path folder = fs::canonical(kt_path(path), error);
  if (error || !fs::is_directory(folder, error)) return false;
  named_dirs_.push_back(folder);
  return true;
}

bool Kt_CliFence::Resolve(const std::string& path, std::string& file, std::string& reason) const {
  file = path;
  if (all_files_) return true;
  std::error_code error;
  // The system would read a path with a zero inside as another, shorter one.
  const bool is_usable = !path.empty() && path.find('\0') == std::string::npos;
  if (!is_usable) error = std::make_error_code(std::errc::no_such_file_or_directory);
  const fs::path found = is_usable ? Locate(kt_path(path), error) : fs::path();
  if (error) {
    // Nothing is said of what there is outside.
    std::error_code ignored;
    const bool may_say =
        !is_usable || Allows(fs::absolute(kt_path(path), ignored).lexically_normal());
    reason = may_say ? error.message() : Refusal("--allow-dir");
    return false;
  }
  if (found.empty() || !Allows(found)) {
    reason = Refusal("--allow-dir");
    return false;
  }
  file = found.string();
  return true;
}

bool Kt_CliFence::Allows(const fs::path& file) const {
  if (all_files_ || IsInsideAny(named_dirs_, file)) return true;
  if (no_files_) return false;
  return IsInsideAny(script_dirs_, file) || (!working_dir_.empty() && IsInside(working_dir_, file));
}

bool Kt_CliFence::AllowsHost(const std::string& host, std::string& reason) const {
  if (host.empty()) {
    reason = "a script has to name the host";
    return false;
  }
  reason = "the host is not allowed (--allow-host allows one)";
  return std::find(hosts_.begin(), hosts_.end(), host) != hosts_.end();
}

std::string Kt_CliFence::Refusal(const std::string& option) const {
  if (no_files_) return "no files are allowed (" + option + " allows a folder)";
  return "it is outside the folder of the script and the working folder (" + option +
         " allows others)";
}
