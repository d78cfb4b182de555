// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "cli/Kt_Cli.h"
#include "common/system.h"

// A folder of its own for one test, removed with it.
class TestFolder {
 public:
  TestFolder() : path_(kt::test::NewFolder("kt_test")) {}
  TestFolder(const TestFolder&) = delete;
  TestFolder& operator=(const TestFolder&) = delete;
  ~TestFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  std::string Path(const std::string& name) const { return (path_ / name).string(); }
  std::string Write(const std::string& name, const std::string& text) const {
    std::filesystem::create_directories((path_ / name).parent_path());
    std::ofstream(path_ / name, std::ios::binary) << text;
    return Path(name);
  }
  std::string Read(const std::string& name) const {
    std::ifstream file(path_ / name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  // `text` with the names of files in this folder as they are inside of it.
  std::string Shorten(std::string text) const {
    const std::string prefix = path_.string() + "/";
    for (std::size_t at = 0; (at = text.find(prefix, at)) != std::string::npos;) {
      text.erase(at, prefix.size());
    }
    return text;
  }

 private:
  std::filesystem::path path_;
};

// Another working folder, as long as this lives.
class WorkingFolder {
 public:
  explicit WorkingFolder(const std::string& path) : before_(std::filesystem::current_path()) {
    std::filesystem::create_directories(path);
    std::filesystem::current_path(path);
  }
  WorkingFolder(const WorkingFolder&) = delete;
  WorkingFolder& operator=(const WorkingFolder&) = delete;
  ~WorkingFolder() { std::filesystem::current_path(before_); }

 private:
  const std::filesystem::path before_;
};

struct Outcome {
  int status;
  std::string out;
  std::string messages;
};

// kt with these arguments, in this process.
inline Outcome Kt(std::vector<std::string> arguments) {
  std::ostringstream out;
  std::ostringstream messages;
  const int status = kt::cli::Main(std::move(arguments), {out, messages});
  return {status, out.str(), messages.str()};
}

// kt run of a script with this text, its messages without the folder.
inline Outcome RunText(const std::string& text, std::vector<std::string> options = {},
                       std::vector<std::string> behind = {}) {
  const TestFolder folder;
  std::vector<std::string> arguments = {"run"};
  arguments.insert(arguments.end(), options.begin(), options.end());
  arguments.push_back(folder.Write("a.kts", text));
  arguments.insert(arguments.end(), behind.begin(), behind.end());
  Outcome outcome = Kt(std::move(arguments));
  outcome.messages = folder.Shorten(outcome.messages);
  return outcome;
}
