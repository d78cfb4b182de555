// SPDX-License-Identifier: MIT
#include "cli/Kt_Loader.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "classlib/base/Kt_Codes.h"
#include "classlib/base/Kt_Memory.h"
#include "classlib/base/Kt_Path.h"
#include "classlib/base/Kt_WorkMeter.h"
#include "cli/Kt_File.h"
#include "cli/Kt_Visible.h"
#include "expr/Kt_ExprUtil.h"
#include "script/Kt_Script.h"
#include "script/Kt_ScriptUtil.h"

namespace fs = std::filesystem;

using kt::cli::Diagnostic;

namespace {

// Each message looks for its line from the start of the file.
constexpr int kMaxIncludeFaults = 100;

// `start` moved past the bracket group, the literal or the single character there.
kt_long SkipPiece(const Kt_WString& text, kt_long start) {
  const char16_t* const at = text.GetText() + start;
  const kt_long rest = text.GetLength() - start;
  kt_long ignored = 0;
  kt_long size = 1;
  if (*at == u'{') size = Kt_ScriptUtil::FindBraceEnd(at, rest, u'}', ignored);
  if (*at == u'"' || *at == u'\'') size = Kt_ExprUtil::FindQuotEnd(at, rest, *at);
  return start + std::max(size, kt_long{1});
}

// Offsets of the '#' of every pragma line of a script that has been parsed without a fault.
std::vector<std::size_t> PragmaOffsets(const Kt_WString& text) {
  std::vector<std::size_t> offsets;
  const kt_long length = text.GetLength();
  for (kt_long at = 0; at < length;) {
    kt_long ignored = 0;
    const char16_t* const rest = text.GetText() + at;
    const kt_long skipped = Kt_ScriptUtil::FindNextToken(rest, length - at, ignored);
    if (skipped < 0 || at + skipped >= length || rest[skipped] == 0) break;
    at += skipped;
    if (text.GetAt(at) == u'#') {
      offsets.push_back(static_cast<std::size_t>(at));
      at += Kt_ScriptUtil::FindCRLF(text.GetText() + at, length - at);
    } else {
      at = SkipPiece(text, at);
    }
  }
  return offsets;
}

}  // namespace

bool Kt_CliLoader::AddIncludeDir(const std::string& path) {
  std::error_code error;
  const fs::path given = kt_path(path);
  const fs::path folder = fs::canonical(given, error);
  if (error || !fs::is_directory(folder, error)) return false;
  include_dirs_.push_back({given, folder});
  return true;
}

int Kt_CliLoader::Load(const std::string& path) {
  std::error_code error;
  const fs::path given = kt_path(path);
  const bool is_folder = fs::is_directory(given, error);
  if (error || is_folder || !fs::exists(given, error)) {
    const std::string why = is_folder ? "Is a directory" : error.message();
    report_.Tell(Diagnostic::Error("cannot read: " + why, path));
    return 2;
  }
  fs::path file = fs::canonical(given, error);
  // A pipe has no place in the file system (/dev/stdin): its includes are those of this folder.
  if (error) file = fs::current_path() / "-";
  return LoadAll(file, path, kt::cli::Links::kFollow);
}

int Kt_CliLoader::LoadKnown(const fs::path& file) {
  return LoadAll(file, file.string(), kt::cli::Links::kRefuse);
}

int Kt_CliLoader::LoadAll(const fs::path& file, const std::string& path, kt::cli::Links links) {
  fence_.AddScriptDir(file.parent_path());
  loaded_.insert(file);
  bool ok = LoadFile(file, path, path, links);
  while (!wanted_.empty()) {
    const Wanted next = std::move(wanted_.back());
    wanted_.pop_back();
    ok = LoadWanted(next) && ok;
  }
  if (include_faults_ > kMaxIncludeFaults) {
    const int more = include_faults_ - kMaxIncludeFaults;
    report_.Tell(Diagnostic::Note(fmt::format("{} more includes failed", more), path));
  }
  return ok ? 0 : 1;
}

bool Kt_CliLoader::LoadFile(const fs::path& file, const std::string& path,
                            const std::string& shown_name, kt::cli::Links links) {
  std::string error;
  const bool is_given = text_source_ && text_source_(file, current_text_);
  if (!is_given &&
      kt::cli::ReadTextFile(path, current_text_, error, links) != kt::cli::FileResult::kOk) {
    if (Kt_WorkMeter::CurrentStop() == 0) {
      report_.Tell(Diagnostic::Error("cannot read: " + error, shown_name));
    }
    return false;
  }
  current_name_ = shown_name;
  current_folder_ = file.parent_path();
  if (on_file_) on_file_(shown_name, current_text_);
  auto outline = on_parsed_ ? std::make_unique<Kt_ScriptOutline>() : nullptr;
  Kt_SyntaxErrorList errors(report_.WantsWarnings(), outline.get());
  const kt_long code =
      script_.Parse(Kt_WString::FromUtf8(shown_name), current_text_, this, &errors);
  // Without a host nobody has told it.
  if (code == kErrNoMemory && kt::TakeMemoryFailure()) {
    report_.Tell(Diagnostic::Error("out of memory", shown_name));
  }
  if (Kt_WorkMeter::CurrentStop() != 0) return false;  // what was found may be no fault
  const bool clean =
      TellFound({file, shown_name, current_text_, std::move(outline), std::move(errors)});
  return clean && code == 0;
}

bool Kt_CliLoader::TellFound(Kt_ParsedFile parsed) {
  if (!on_parsed_) return report_.Syntax(parsed.file, parsed.name, parsed.text, parsed.errors);
  const bool clean = !parsed.errors.HasFaults();
  on_parsed_(std::move(parsed));
  return clean;
}

kt_long Kt_CliLoader::LoadIncludes(Kt_Script*, Kt_WStrList& includes) {
  const std::vector<std::size_t> offsets = PragmaOffsets(current_text_);
  for (kt_long include = includes.GetCount(); include-- > 0;) {
    const std::size_t at = static_cast<std::size_t>(include);
    wanted_.push_back({includes[include], current_name_, current_text_,
                       at < offsets.size() ? offsets[at] : 0, current_folder_});
  }
  return 0;
}

bool Kt_CliLoader::LoadWanted(const Wanted& wanted) {
  const Found found = Find(wanted);
  if (found.file.empty()) {
    if (++include_faults_ > kMaxIncludeFaults) return false;
    const std::string why =
        found.refused ? fence_.Refusal("--include-dir") : "there is no such file";
    report_.AtPlace(wanted.includer, wanted.text, wanted.offset, 1,
                    Diagnostic::Error(
                        fmt::format("cannot include '{}': {}", kt::cli::Shown(wanted.name), why)));
    return false;
  }
  if (!loaded_.insert(found.file).second) return true;
  return LoadFile(found.file, found.file.string(), found.shown_name, kt::cli::Links::kRefuse);
}

Kt_CliLoader::Found Kt_CliLoader::Find(const Wanted& wanted) const {
  Found found;
  const std::string utf8 = wanted.name.ToUtf8();
  if (utf8.empty() || utf8.find('\0') != std::string::npos) return found;
  const fs::path name = kt_path(utf8);
  const auto take = [&](const fs::path& candidate, const fs::path& shown) {
    std::error_code error;
    const fs::path file = fs::canonical(candidate, error);
    if (error || !fs::is_regular_file(file, error)) return false;
    if (!IsAllowed(file)) {
      found.refused = true;
      return false;
    }
    found.file = file;
    found.shown_name = shown.lexically_normal().string();
    return true;
  };
  if (take(wanted.folder / name, kt_path(wanted.includer).parent_path() / name)) return found;
  for (const IncludeDir& dir : include_dirs_) {
    if (take(dir.canonical / name, dir.given / name)) return found;
  }
  return found;
}

bool Kt_CliLoader::IsAllowed(const fs::path& file) const {
  return fence_.Allows(file) ||
         std::any_of(include_dirs_.begin(), include_dirs_.end(),
                     [&](const IncludeDir& dir) { return kt::cli::IsInside(dir.canonical, file); });
}
