// SPDX-License-Identifier: MIT
#include "cli/test/Kt_TestRun.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <sstream>

#include "classlib/base/Kt_Path.h"
#include "cli/Kt_Diagnostic.h"
#include "cli/Kt_Loader.h"
#include "cli/Kt_Report.h"
#include "cli/test/Kt_Coverage.h"
#include "cli/test/Kt_TestHost.h"
#include "script/Kt_Script.h"

namespace fs = std::filesystem;

namespace kt::cli {
namespace {

constexpr std::string_view kEnding = "_test.kts";
constexpr std::u16string_view kPrefix = u"test";

bool IsTest(const Kt_WString& name) {
  const auto size = static_cast<kt_long>(kPrefix.size());
  return name.GetLength() > size && name.Mid(0, size).EqualsNoCase(Kt_WString(kPrefix));
}

// A script with the host that it runs in, loaded from a file of tests.
class LoadedTests {
 public:
  LoadedTests(const std::string& file, const TestOptions& options, Coverage* coverage,
              Streams streams)
      : host_(streams, kt_path(file).parent_path().string(), options.updates), script_(&host_) {
    host_.SetStrict(options.strict);
    host_.SetScript(script_);
    Kt_CliReport report(streams);
    Kt_CliLoader loader(script_, report, host_.GetFence());
    if (!AddIncludeDirs(options.include_dirs, "kt test", loader, streams) ||
        !SetUpFence(options.file_rules, "kt test", host_.GetFence(), streams)) {
      return;
    }
    loader.SetOnFile([&](const std::string& name, const Kt_WString& text) {
      host_.SetSource(name, text);
      if (coverage != nullptr && !name.ends_with(kEnding)) coverage->AddFile(name, text);
    });
    is_loaded_ = loader.Load(file) == kFine && host_.GetErrorCount() == 0;
    if (coverage != nullptr) coverage->Watch(script_);
  }

  bool IsLoaded() const { return is_loaded_; }
  // Those of the file itself, in its order.
  std::vector<Kt_WString> TestsOf(const std::string& file) const {
    std::vector<Kt_WString> tests;
    for (kt_long at = 0; at < script_.GetFuncs().GetCount(); ++at) {
      const Kt_ScriptFunc& func = *script_.GetFuncs().GetItem(at);
      if (IsTest(func.GetName()) && func.GetSourceName().ToUtf8() == file) {
        tests.push_back(func.GetName());
      }
    }
    return tests;
  }
  bool Run(const Kt_WString& test) {
    if (script_.GetFunc(u"setUp") != nullptr && !host_.Call(u"setUp")) return false;
    return host_.Call(test);
  }

 private:
  Kt_TestHost host_;
  Kt_Script script_;
  bool is_loaded_ = false;
};

// Loads the file and, when `run` says so, runs something of it.
template <class RunLoaded>
TestResult Attempt(const std::string& file, const TestOptions& options, Coverage* coverage,
                   RunLoaded run) {
  TestResult result;
  result.file = file;
  std::ostringstream out;
  std::ostringstream messages;
  const Streams streams{out, messages, options.json};
  const auto start = std::chrono::steady_clock::now();
  {
    const Bounds bounds(options.bounds);
    LoadedTests tests(file, options, coverage, streams);
    result.has_passed = tests.IsLoaded() && run(tests);
    if (TellStop(file, streams)) result.has_passed = false;
  }
  result.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  result.output = out.str();
  result.messages = messages.str();
  return result;
}

}  // namespace

std::vector<std::string> FindTestFiles(const std::vector<std::string>& paths,
                                       std::string& missing) {
  std::vector<std::string> files;
  for (const std::string& path : paths) {
    const fs::path given = kt_path(path);
    std::error_code error;
    if (!fs::is_directory(given, error)) {
      if (!fs::exists(given, error) && missing.empty()) missing = path;
      files.push_back(path);
      continue;
    }
    const auto options = fs::directory_options::skip_permission_denied;
    for (fs::recursive_directory_iterator entry(given, options, error), end; entry != end;
         entry.increment(error)) {
      const std::string file = entry->path().lexically_normal().string();
      if (file.ends_with(kEnding)) files.push_back(file);
    }
  }
  std::sort(files.begin(), files.end());
  files.erase(std::unique(files.begin(), files.end()), files.end());
  return files;
}

std::vector<TestResult> RunTestFile(const std::string& file, const TestOptions& options,
                                    Coverage* coverage) {
  std::vector<Kt_WString> tests;
  TestResult loading = Attempt(file, options, coverage, [&](LoadedTests& loaded) {
    tests = loaded.TestsOf(file);
    return true;
  });
  if (!loading.has_passed) return {std::move(loading)};
  std::vector<TestResult> results;
  for (const Kt_WString& test : tests) {
    const std::string name = test.ToUtf8();
    if (fmt::format("{}:{}", file, name).find(options.filter) == std::string::npos) continue;
    results.push_back(
        Attempt(file, options, coverage, [&](LoadedTests& loaded) { return loaded.Run(test); }));
    results.back().name = name;
  }
  return results;
}

}  // namespace kt::cli
