// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "analysis/Kt_Finding.h"
#include "analysis/Kt_KnownNames.h"
#include "analysis/Kt_NameUses.h"
#include "cli/lsp/Kt_SourceText.h"
#include "cli/lsp/Kt_Tokens.h"
#include "script/Kt_ScriptOutline.h"

struct Kt_ParsedFile;

namespace kt::cli::lsp {

// Something that is wrong in a file, or hardly meant.
struct Problem {
  Range range;
  bool is_error = true;
  std::string code;                      // as `kt explain` takes it
  std::string message;                   // with its hint in another line
  bool is_unnecessary = false;           // what is underlined could go
  std::optional<Range> related;          // the other place that the hint is about
  std::vector<analysis::Edit> fix = {};  // when there is one cure
};

struct ScriptFile {
  std::filesystem::path path;
  SourceText text;
  std::vector<Problem> problems;
  bool has_syntax_errors = false;
  // Of the text, or of one that is like it where that has faults.
  std::unique_ptr<Kt_ScriptOutline> outline;
  std::vector<Token> tokens;

  TokenView View() const { return {text.View(), tokens}; }
};

// What reading a script needs. Borrowed.
struct ReadingRules {
  // The texts that an editor holds; false for files on the disk.
  std::function<bool(const std::filesystem::path& file, Kt_WString& text)> text_source;
  std::vector<std::string> folders;  // that includes may be in
  std::vector<std::string> include_dirs;
  analysis::KnownNames known;
  bool is_strict = false;  // as kt check --strict
};

// A script with the files that it includes, read and not run. The first file is the one that
// includes the others.
//
// A text with faults has no whole outline. For names it is read once more with the lines at fault
// left out and its braces balanced, which changes no place: what is being typed is a fault most of
// the time, and everything around it has names all the same.
// Borrows the rules. Threads: one.
class Program {
 public:
  // REQUIRES: the text source has the file.
  Program(const ReadingRules& rules, const std::filesystem::path& file);

  const std::vector<ScriptFile>& Files() const { return files_; }
  // The number of a file; -1 for one that does not belong to the script.
  int FindFile(const std::filesystem::path& file) const;
  const analysis::KnownNames& Known() const { return rules_.known; }
  // What the names stand for; the outlines are whole afterwards. Computed when it is first asked
  // for, unless the script is without faults.
  const analysis::NameUses& Uses();
  // Whether something is at fault, so that names may stand where nobody has read them.
  bool HasFaults() const { return has_faults_; }
  // Whether an include was not found: a file that comes into being may be it.
  bool LacksFiles() const { return lacks_files_; }

 private:
  void Read(const std::filesystem::path& file);
  void AddFile(Kt_ParsedFile parsed);
  static void AddErrors(const Kt_ParsedFile& parsed, ScriptFile& file);
  void AddFindings();
  void ReadMended();

  const ReadingRules& rules_;
  std::vector<ScriptFile> files_;
  std::unique_ptr<analysis::NameUses> uses_;
  bool has_faults_ = false;
  bool lacks_files_ = false;
  // Of each file with faults that hide what follows them: the lines, from 0.
  struct Faulty {
    std::filesystem::path path;
    Kt_WString text;
    std::vector<kt_long> lines;
  };
  std::vector<Faulty> faulty_;
};

// The text as long as it was, for reading names: with the tokens of these lines left out, their
// braces kept, and with braces that balance.
Kt_WString Mended(const Kt_WString& text, const std::vector<kt_long>& lines);

}  // namespace kt::cli::lsp
