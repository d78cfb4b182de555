// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include "cli/Kt_Bounds.h"
#include "cli/Kt_Cli.h"
#include "cli/Kt_Options.h"

namespace kt::cli {

class Coverage;

struct TestOptions {
  std::vector<std::string> paths;
  std::vector<std::string> include_dirs;
  FileRules file_rules;
  BoundOptions bounds;  // of each test
  std::string filter;
  bool updates = false;
  bool json = false;
  bool strict = false;
};

struct TestResult {
  std::string file;
  std::string name;  // empty: the file could not be loaded
  bool has_passed = false;
  double seconds = 0;
  std::string output;    // of print()
  std::string messages;  // as they are told
};

// The files that the paths name or, of folders, that end with _test.kts there or below; sorted. The
// first path that is neither is left in `missing`.
std::vector<std::string> FindTestFiles(const std::vector<std::string>& paths, std::string& missing);

// Runs the tests of a file, each in a script that is loaded anew. A result of its own says when the
// file cannot be loaded. `coverage` may be null.
std::vector<TestResult> RunTestFile(const std::string& file, const TestOptions& options,
                                    Coverage* coverage);

// For programs that read what JUnit writes; false when it would be too long.
bool JUnitReport(const std::vector<TestResult>& results, std::string& xml);
// One line of JSON.
std::string JsonReport(const TestResult& result);

}  // namespace kt::cli
