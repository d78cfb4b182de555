// SPDX-License-Identifier: MIT
//
// Texts that name a database.
#include <gtest/gtest.h>

#include "connect/Kt_Database.h"

namespace {

// The parts as kind, file or user:password@host:port/database, then what is wanted; "!" and why
// not.
std::string Parts(const std::string& text) {
  Kt_DatabaseUrl url;
  std::string reason;
  if (!Kt_DatabaseUrl::Parse(text, url, reason)) return "!" + reason;
  std::string parts = url.kind == Kt_DatabaseUrl::Kind::kSqlite
                          ? "sqlite " + url.file
                          : "pg " + url.user + ":" + url.password + "@" + url.host + ":" +
                                url.port + "/" + url.database + " " + url.sslmode;
  if (url.HasSelection()) {
    parts +=
        " " + url.columns + "/" + url.sort + "/" + std::to_string(url.limit) + "/" + url.filter;
  }
  return parts + " [" + url.table + "] [" + url.query + "] " + std::to_string(url.timeout.count());
}

TEST(DatabaseUrl, Parts) {
  const struct {
    const char* text;
    const char* parts;
  } kRows[] = {
      {"sqlite:a/b.db?table=t", "sqlite a/b.db [t] [] 30"},
      {"sqlite:/a%3Fb.db?timeout=5&table=x%26y", "sqlite /a?b.db [x&y] [] 5"},
      {"sqlite:b?query=SELECT '%&?=' AS x", "sqlite b [] [SELECT '%&?=' AS x] 30"},
      {"sqlite:b", "sqlite b [] [] 30"},
      {"sqlite:b?table=t&columns=a%26b,c&sort=c:d&limit=3&filter=a == 'x&y' && b > 5%2",
       "sqlite b a&b,c/c:d/3/a == 'x&y' && b > 5%2 [t] [] 30"},
      {"postgresql://u:p%40%3A@h:54/d?table=s.t", "pg u:p@:@h:54/d  [s.t] [] 30"},
      {"postgres://h", "pg :@h:/  [] [] 30"},
      {"postgresql:///d?host=/run/pg&sslmode=require", "pg :@/run/pg:/d require [] [] 30"},
      {"postgresql://u@[::1]:5/d", "pg u:@::1:5/d  [] [] 30"},
      {"postgresql://a@b:c@h/d", "pg a@b:c@h:/d  [] [] 30"},
      {"sqlite:", "!expected a file after 'sqlite:'"},
      {"sqlite:a?table=t&query=x", "!either table or query"},
      {"sqlite:a?query=", "!expected a statement after 'query='"},
      {"sqlite:a?filter=", "!expected an expression after 'filter='"},
      {"sqlite:a?filter=x",
       "!filter, sort, limit and columns go with table; a query says that itself"},
      {"sqlite:a?limit=3&query=SELECT 1",
       "!filter, sort, limit and columns go with table; a query says that itself"},
      {"sqlite:a?limit=0&table=t", "!limit: expected a number of rows"},
      {"sqlite:a?mode=rw",
       "!unknown part 'mode' (table, query, filter, sort, limit, columns, timeout)"},
      {"sqlite:a?timeout=0", "!timeout: expected seconds from 1 to 86400"},
      {"sqlite:a%zz", "!a % that is not followed by two hexadecimal digits; %25 is a %"},
      {"sqlite:a%00", "!a % that is not followed by two hexadecimal digits; %25 is a %"},
      {"postgresql://good,evil/d", "!expected one host"},
      {"postgresql:///d?host=good,evil", "!expected one host"},
      {"postgresql://good/d?host=evil",
       "!unknown part 'host' (table, query, filter, sort, limit, columns, timeout, sslmode, host)"},
      {"postgresql://h/d?passfile=/etc/passwd",
       "!unknown part 'passfile' (table, query, filter, sort, limit, columns, timeout, sslmode, "
       "host)"},
      {"postgresql://h:p/d", "!the port is no number"},
      {"orders.csv", "!expected sqlite:FILE or postgresql://HOST/DATABASE"},
  };
  for (const auto& row : kRows) EXPECT_EQ(Parts(row.text), row.parts) << row.text;
  EXPECT_EQ(Parts(std::string("sqlite:a?query=SELECT\0", 23)), "!a zero in the name of a database");
}

TEST(DatabaseUrl, PasswordsAreHidden) {
  const struct {
    const char* text;
    const char* hidden;
  } kRows[] = {
      {"postgresql://u:geheim@h/d?table=t", "postgresql://u:***@h/d?table=t"},
      {"cannot load 'postgres://u:a@b:c/d@h/x': no", "cannot load 'postgres://u:***@h/x': no"},
      {"x=postgresql://u:a@h y=postgresql://v:b@i",
       "x=postgresql://u:***@h y=postgresql://v:***@i"},
      {"postgresql://h:5432/d", "postgresql://h:5432/d"},
      {"postgresql://u@h:5432/d", "postgresql://u@h:5432/d"},
      {"postgresql://h/d?password=geheim&table=t", "postgresql://h/d?password=***&table=t"},
      {"postgresql://user:gehe\u2026", "postgresql://user:***\u2026"},
      {"http://u:p@h", "http://u:p@h"},
      {"nothing at all", "nothing at all"},
  };
  for (const auto& row : kRows) EXPECT_EQ(kt::WithoutPasswords(row.text), row.hidden);
}

TEST(DatabaseUrl, TableNames) {
  const struct {
    const char* text;
    const char* quoted;  // empty: none
  } kRows[] = {
      {"orders", "\"orders\""},
      {"sales.orders", "\"sales\".\"orders\""},
      {"\"a.b\"", "\"a.b\""},
      {"\"a\"\"b\".c", "\"a\"\"b\".\"c\""},
      {"a\"; DROP TABLE x; --", "\"a\"\"; DROP TABLE x; --\""},
      {"", ""},
      {"a.", ""},
      {".a", ""},
      {"\"a", ""},
      {"\"a\"b", ""},
      {"\"\"", ""},
  };
  for (const auto& row : kRows) EXPECT_EQ(Kt_Database::QuotedTable(row.text), row.quoted);
}

}  // namespace
