// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <ostream>

#include "cli/Kt_Cli.h"
#include "cli/Kt_Diagnostic.h"
#include "cli/Kt_File.h"
#include "cli/test/Kt_Coverage.h"
#include "cli/test/Kt_TestRun.h"

namespace kt::cli {
namespace {

struct CommandOptions {
  TestOptions tests;
  std::string junit;
  std::string coverage;       // text, lcov or html; empty for none
  std::string coverage_file;  // of the last two
};

constexpr const char* kCommand = "kt test";

void Show(const TestResult& result, const CommandOptions& options, Streams streams) {
  if (options.tests.json) {
    streams.out << JsonReport(result) << '\n';
    return;
  }
  if (!result.has_passed) {
    streams.out << "FAILED " << result.file << (result.name.empty() ? "" : ": ") << result.name
                << '\n'
                << result.output << std::flush;
  } else if (!options.tests.strict) {
    return;
  }
  streams.messages << result.messages << std::flush;
}

bool Write(const std::string& file, const std::string& text, Streams streams) {
  std::string error;
  if (WriteFileBytes(file, text, error)) return true;
  Tell(streams, Diagnostic::Error("cannot write: " + error, file));
  return false;
}

bool ReportCoverage(const Coverage& coverage, const CommandOptions& options, Streams streams) {
  if (options.coverage == "text") {
    streams.out << CoverageText(coverage.Files());
    return true;
  }
  const bool is_lcov = options.coverage == "lcov";
  const std::string usual = is_lcov ? "coverage.info" : "coverage.html";
  return Write(options.coverage_file.empty() ? usual : options.coverage_file,
               is_lcov ? CoverageLcov(coverage.Files()) : CoverageHtml(coverage.Files()), streams);
}

int Test(const CommandOptions& options, Streams streams) {
  std::string missing;
  const std::vector<std::string> files = FindTestFiles(options.tests.paths, missing);
  if (!missing.empty()) {
    Tell(streams, Diagnostic::Complaint(kCommand, "there is no file or folder '" + missing + "'"));
    return kCommandFault;
  }
  Coverage coverage;
  std::vector<TestResult> results;
  for (const std::string& file : files) {
    for (TestResult& result :
         RunTestFile(file, options.tests, options.coverage.empty() ? nullptr : &coverage)) {
      Show(result, options, streams);
      results.push_back(std::move(result));
    }
  }
  if (results.empty()) {
    Tell(streams, Diagnostic::Complaint(kCommand, "there are no tests"));
    return kScriptFault;
  }
  const auto failed = std::count_if(results.begin(), results.end(),
                                    [](const TestResult& result) { return !result.has_passed; });
  if (!options.tests.json) {
    streams.out << fmt::format("{} {}, {} failed\n", results.size(),
                               results.size() == 1 ? "test" : "tests", failed);
  }
  bool is_good = failed == 0;
  std::string xml;
  if (!options.junit.empty()) {
    is_good = JUnitReport(results, xml) && Write(options.junit, xml, streams) && is_good;
  }
  if (!options.coverage.empty()) is_good = ReportCoverage(coverage, options, streams) && is_good;
  return is_good ? kFine : kScriptFault;
}

}  // namespace

void AddTest(CLI::App& app, Action& action) {
  auto options = std::make_shared<CommandOptions>();
  CLI::App* const test = app.add_subcommand("test", "Run the tests of scripts");
  options->tests.paths = {"."};
  test->add_option("FILE", options->tests.paths,
                   "Files of tests, or folders with files that end with _test.kts")
      ->capture_default_str();
  test->add_option("--filter", options->tests.filter,
                   "Only tests with this text in 'file:function'")
      ->type_name("TEXT");
  test->add_flag("--update", options->tests.updates, "Record what assertRecorded() gets");
  test->add_option("--junit", options->junit, "Write the results as JUnit does")->type_name("FILE");
  test->add_option("--coverage", options->coverage,
                   "Tell what the tests run: --coverage, --coverage=lcov or --coverage=html")
      ->type_name("[=text|lcov|html]")
      ->check(CLI::IsMember({"text", "lcov", "html"}).description(""));
  test->add_option("--coverage-file", options->coverage_file,
                   "Where lcov and html go; coverage.info and coverage.html if not given")
      ->type_name("FILE");
  AddIncludeDirOption(*test, options->tests.include_dirs);
  AddFileRules(*test, options->tests.file_rules);
  AddBoundOptions(*test, options->tests.bounds);
  AddStrictFlag(*test, options->tests.strict);
  test->add_flag("--json", options->tests.json, "Print each result as an object, one a line");
  test->callback([options, &action] {
    action = [options](Streams streams) { return Test(*options, streams); };
  });
}

}  // namespace kt::cli
