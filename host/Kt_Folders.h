// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "host/Kt_Engine.h"

namespace kt {

// Folders from which scripts may be read: a source of includes, and of the first text.
//
//   const kt::Folders rules{"rules", "shared"};
//   engine.includes(rules);
//   engine.load("main.kts", rules.read("main.kts"));
//
// A name is a path in one of the folders, the first that has it. Only regular files are read that
// lie inside of a folder, wherever links lead. A value. Threads: free. Between the look at a path
// and the reading of it nobody else should be able to change the folders.
class Folders {
 public:
  Folders(std::initializer_list<std::string> folders) {
    for (const std::string& folder : folders) add(folder);
  }
  // Throws when there is no such folder.
  Folders& add(const std::string& folder) {
    std::error_code error;
    std::filesystem::path path = std::filesystem::canonical(folder, error);
    if (error || !std::filesystem::is_directory(path)) {
      throw RunError("there is no folder '" + folder + "'");
    }
    folders_.push_back(std::move(path));
    return *this;
  }

  std::optional<std::string> operator()(const std::string& name, const std::string&) const {
    for (const std::filesystem::path& folder : folders_) {
      if (auto text = Read(folder, folder / name)) return text;
    }
    return std::nullopt;
  }
  std::string read(const std::string& name) const {
    if (auto text = (*this)(name, "")) return *std::move(text);
    throw RunError("there is no '" + name + "' in the folders of scripts");
  }

 private:
  static std::optional<std::string> Read(const std::filesystem::path& folder,
                                         const std::filesystem::path& wanted) {
    std::error_code error;
    const std::filesystem::path file = std::filesystem::canonical(wanted, error);
    if (error || !std::filesystem::is_regular_file(file, error)) return std::nullopt;
    const auto [end, rest] = std::mismatch(folder.begin(), folder.end(), file.begin(), file.end());
    if (end != folder.end()) return std::nullopt;
    std::ifstream in(file, std::ios::binary);
    if (!in) return std::nullopt;
    return std::string(std::istreambuf_iterator<char>(in), {});
  }

  std::vector<std::filesystem::path> folders_;
};

}  // namespace kt
