// SPDX-License-Identifier: MIT
//
// docs/sql.md says of every operator and function what becomes of it, and that is so.
// KT_UPDATE_DOCS=1 writes its tables anew.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>

#include "connect/connect_test_util.h"
#include "connect/sql/Kt_SqlSupport.h"
#include "connect/sql/Kt_SqlTranslate.h"
#include "connect/sqlite_file.h"
#include "object/Kt_ExprObject.h"

namespace {

// The table after a heading in place of the one that is there.
std::string WithTable(const std::string& page, const std::string& heading,
                      const std::string& table) {
  const std::size_t start = page.find("| ", page.find(heading));
  const std::size_t end = page.find("\n\n", start);
  if (start == page.npos || page.find(heading) == page.npos) return page;
  return page.substr(0, start) + table + page.substr(std::min(end + 1, page.size()));
}

TEST(SqlDocs, TablesAreUpToDate) {
  const std::string path = std::string(KT_PROJECT_DIR) + "/docs/sql.md";
  std::stringstream page;
  page << std::ifstream(path).rdbuf();
  std::string wanted = WithTable(page.str(), "## Operators", Kt_SqlOperatorTable());
  wanted = WithTable(wanted, "## Built-in functions", Kt_SqlFunctionTable());
  if (std::getenv("KT_UPDATE_DOCS") != nullptr) std::ofstream(path) << wanted;
  EXPECT_TRUE(page.str() == wanted) << "run the test with KT_UPDATE_DOCS=1";
}

// A call of each function that is translated; the others are refused whatever they are given.
TEST(SqlDocs, WhatIsTranslatedIs) {
  const SqliteFile file(
      "CREATE TABLE t(n INTEGER, s TEXT); INSERT INTO t VALUES (1, 'a'), (2, 'b');");
  std::string error;
  const std::unique_ptr<Kt_Database> database = OpenUrl(file.Url(), {}, error);
  ASSERT_NE(database, nullptr) << error;
  Kt_SqlTable table;
  ASSERT_TRUE(table.Describe(*database, Kt_DatabaseUrl::Kind::kSqlite, "t", error)) << error;
  ASSERT_TRUE(
      table.Ask(*database, {{0, Kt_SqlQuestion::kRange}, {1, Kt_SqlQuestion::kRange}}, error));
  const std::map<std::string, std::string> arguments = {
      {"abs", "n"},      {"bound", "s"},       {"ceil", "n"},         {"charat", "s, 0"},
      {"floor", "n"},    {"iif", "n, 1, 2"},   {"indexOf", "s, 'a'"}, {"left", "s, 1"},
      {"length", "s"},   {"ltrim", "s"},       {"mid", "s, 1"},       {"pos", "s, 'a'"},
      {"right", "s, 1"}, {"rtrim", "s"},       {"sqrt", "n"},         {"substr", "s, 1, 1"},
      {"toLower", "s"},  {"toLowerCase", "s"}, {"toUpper", "s"},      {"toUpperCase", "s"},
      {"trim", "s"}};
  const std::string functions = Kt_SqlFunctionTable();
  const _EXPR_INTFUNC_INFO* const rows = Kt_ExprObject::GetIntFuncMap();
  for (int row = 0; row < Kt_ExprObject::GetIntFuncCount(); ++row) {
    const std::string name = Kt_WString(rows[row].name).ToUtf8();
    const bool is_no = functions.find("| `" + name + "` | no | ") != functions.npos;
    const bool is_yes = functions.find("| `" + name + "` | `") != functions.npos;
    EXPECT_NE(is_no, is_yes) << name;
    const auto given = arguments.find(name);
    EXPECT_EQ(is_yes, given != arguments.end()) << name;
    const std::string call = name + '(' + (given != arguments.end() ? given->second : "n") + ')';
    Kt_SqlExpr expr(Kt_WString::FromUtf8(call));
    std::vector<Kt_Variant> parameters;
    std::string reason;
    const bool is_bound = expr.Bind(table, reason);
    const std::string sql = is_bound ? expr.ToValue(table, parameters, reason) : "";
    EXPECT_EQ(!sql.empty(), is_yes) << call << ": " << sql << reason;
  }
}

}  // namespace
