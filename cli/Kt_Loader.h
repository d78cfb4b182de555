// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "classlib/text/Kt_WString.h"
#include "cli/Kt_Fence.h"
#include "cli/Kt_Report.h"
#include "script/Kt_ScriptLoadHandler.h"
#include "script/Kt_ScriptOutline.h"
#include "script/Kt_SyntaxErrors.h"

// A file as the parser found it.
struct Kt_ParsedFile {
  std::filesystem::path file;
  std::string name;  // as messages name it
  Kt_WString text;
  std::unique_ptr<Kt_ScriptOutline> outline;
  Kt_SyntaxErrorList errors;
  std::vector<kt::analysis::Finding> findings = {};  // of tools: what is hardly meant, by place
};

// Loads a script file, and what it includes, into one script.
//
// An #include names a file relative to the one that has it, or else to one of the include folders.
// Every file is loaded once, so files may include each other. Only files that the fence allows or
// that are inside an include folder are read, wherever links lead.
// Included files wait in a list until the file that names them is through: however long a chain of
// includes is, it takes no native stack.
// Borrows script, report and fence, which learns the folder of the script. Threads: one.
class Kt_CliLoader : public Kt_ScriptLoadHandler {
 public:
  Kt_CliLoader(Kt_Script& script, Kt_CliReport& report, Kt_CliFence& fence)
      : script_(script), report_(report), fence_(fence) {}

  // False when there is no such folder.
  bool AddIncludeDir(const std::string& path);
  // Called with the name and the text of each file before it is parsed.
  using OnFile = std::function<void(const std::string& name, const Kt_WString& text)>;
  void SetOnFile(OnFile on_file) { on_file_ = std::move(on_file); }

  // Gets what was found in each file, which is then not reported.
  using OnParsed = std::function<void(Kt_ParsedFile parsed)>;
  void SetOnParsed(OnParsed on_parsed) { on_parsed_ = std::move(on_parsed); }

  // Asked for the text of a file before that is read; false: it is to be read.
  using TextSource = std::function<bool(const std::filesystem::path& file, Kt_WString& text)>;
  void SetTextSource(TextSource text_source) { text_source_ = std::move(text_source); }

  // 0 when everything loaded; 1 when a script is at fault, which has been told then; 2 when
  // there is no file `path`.
  int Load(const std::string& path);
  // The same for a file that the text source has, whether it is there or not. REQUIRES: canonical.
  int LoadKnown(const std::filesystem::path& file);

  kt_long LoadIncludes(Kt_Script* script, Kt_WStrList& includes) override;

 private:
  // A file that is to be loaded, and the #include that asked for it.
  struct Wanted {
    Kt_WString name;
    std::string includer;  // as messages name it
    Kt_WString text;       // of the includer
    std::size_t offset;    // of the '#' in it
    std::filesystem::path folder;
  };
  struct Found {
    std::filesystem::path file;  // canonical; empty: none
    std::string shown_name;
    bool refused = false;  // there is one, but outside the folders
  };

  int LoadAll(const std::filesystem::path& file, const std::string& path, kt::cli::Links links);
  // `file` says which file it is and where its includes are; `path` opens it.
  bool LoadFile(const std::filesystem::path& file, const std::string& path,
                const std::string& shown_name, kt::cli::Links links);
  // False when the source has a fault.
  bool TellFound(Kt_ParsedFile parsed);
  bool LoadWanted(const Wanted& wanted);
  Found Find(const Wanted& wanted) const;
  bool IsAllowed(const std::filesystem::path& file) const;

  Kt_Script& script_;
  Kt_CliReport& report_;
  Kt_CliFence& fence_;
  OnFile on_file_;
  OnParsed on_parsed_;
  TextSource text_source_;
  // As given on the command line, and canonical.
  struct IncludeDir {
    std::filesystem::path given;
    std::filesystem::path canonical;
  };
  std::vector<IncludeDir> include_dirs_;
  std::set<std::filesystem::path> loaded_;
  std::vector<Wanted> wanted_;  // the next one last
  int include_faults_ = 0;
  // The file that is being parsed.
  std::string current_name_;
  Kt_WString current_text_;
  std::filesystem::path current_folder_;
};
