// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <filesystem>
#include <string>

#include "common/system.h"

// A file of SQLite in a folder of its own, removed with it.
class SqliteFile {
 public:
  explicit SqliteFile(const std::string& statements) : folder_(kt::test::NewFolder("kt_sqlite")) {
    Run("PRAGMA synchronous=OFF;" + statements + "PRAGMA user_version=1;");
  }
  SqliteFile(const SqliteFile&) = delete;
  SqliteFile& operator=(const SqliteFile&) = delete;
  ~SqliteFile() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }

  std::string Folder() const { return folder_.string(); }
  std::string Path() const { return (folder_ / "shop.db").string(); }
  std::string Url() const { return "sqlite:" + Path(); }

  // Runs statements; the rows of their answers as the database itself quotes them, "a,b|c,d".
  std::string Run(const std::string& statements) const {
    sqlite3* database = nullptr;
    EXPECT_EQ(sqlite3_open(Path().c_str(), &database), SQLITE_OK);
    std::string text;
    const auto add_row = [](void* into, int count, char** cells, char**) {
      std::string& out = *static_cast<std::string*>(into);
      if (!out.empty()) out += '|';
      for (int at = 0; at < count; ++at) {
        if (at > 0) out += ',';
        out += cells[at] != nullptr ? cells[at] : "-";
      }
      return 0;
    };
    char* error = nullptr;
    sqlite3_exec(database, statements.c_str(), add_row, &text, &error);
    if (error != nullptr) ADD_FAILURE() << statements << ": " << error;
    sqlite3_free(error);
    sqlite3_close(database);
    return text;
  }

 private:
  std::filesystem::path folder_;
};
