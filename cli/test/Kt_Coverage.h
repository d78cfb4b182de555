// SPDX-License-Identifier: MIT
#pragma once

#include <map>
#include <string>
#include <unordered_map>
#include <vector>

#include "classlib/text/Kt_WString.h"
#include "script/Kt_StatementHook.h"

class Kt_Script;
class Kt_ScriptOpList;

namespace kt::cli {

// What the tests have run of one file.
struct FileCoverage {
  // How often each way of a statement with several was gone: those of an if or a switch in the
  // order of the source, with the way past all of them last if there is one; of a loop past it and
  // into it.
  using Ways = std::vector<long>;

  std::map<kt_long, long> lines;                  // with a statement, from 1, and how often it ran
  std::map<kt_long, std::vector<Ways>> branches;  // by line
  Kt_WString text;

  struct Sum {
    long run = 0;
    long all = 0;
  };
  Sum Lines() const;
  Sum Branches() const;
};

// Collects over many runs of many scripts; files are known by their names in messages.
// Threads: one.
class Coverage : public Kt_StatementHook {
 public:
  // Of a file that is loaded.
  void AddFile(const std::string& name, const Kt_WString& text) { files_[name].text = text; }
  // Watches a script, with what it has loaded, in place of the one before. The script must outlive
  // the next call, or the last run.
  void Watch(Kt_Script& script);
  const std::map<std::string, FileCoverage>& Files() const { return files_; }

  void OnStatement(const Kt_StatementPlace& place) override;
  void OnBranch(const Kt_StatementPlace& place, kt_long taken) override;

 private:
  struct Point {
    FileCoverage* file;
    kt_long line;
    std::size_t branch;  // among those of the line
  };
  void Add(const Kt_ScriptOpList& ops, FileCoverage& file);
  void AddBranch(const Kt_ScriptOp& op, std::size_t ways, FileCoverage& file);
  void AddPart(const Kt_ScriptOp& op, FileCoverage& file);

  std::map<std::string, FileCoverage> files_;
  std::unordered_map<const Kt_ScriptOp*, Point> points_;
  // Branches seen so far while a script is looked through.
  std::map<std::pair<const FileCoverage*, kt_long>, std::size_t> seen_;
};

// A table with the lines that did not run.
std::string CoverageText(const std::map<std::string, FileCoverage>& files);
// As lcov and genhtml read it.
std::string CoverageLcov(const std::map<std::string, FileCoverage>& files);
// A page with the sources.
std::string CoverageHtml(const std::map<std::string, FileCoverage>& files);

}  // namespace kt::cli
