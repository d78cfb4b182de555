// SPDX-License-Identifier: MIT
#pragma once

#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

#include "classlib/base/Kt_Types.h"

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
class KT_SCRIPT_API Folders {
 public:
  Folders(std::initializer_list<std::string> folders) {
    for (const std::string& folder : folders) add(folder);
  }
  // Throws when there is no such folder.
  Folders& add(const std::string& folder);

  std::optional<std::string> operator()(const std::string& name, const std::string&) const;
  std::string read(const std::string& name) const;

 private:
  std::vector<std::string> folders_;  // without links and dots
};

}  // namespace kt
