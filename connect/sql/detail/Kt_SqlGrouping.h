// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "connect/Kt_Database.h"

namespace kt::detail {

// What makes one value of an answer of those that the parts of the table have.
enum class SqlMerge : std::uint8_t {
  kKey,
  kNull,      // there is none
  kCount,     // counts are added up
  kSum,       // of doubles or exact numbers
  kWholeSum,  // of PostgreSQL's bigint, which adds up to a numeric and is one again at the end
  kMin,
  kMax,
  kAll,  // bool_and
  kAny,  // bool_or
};

// What a statement makes of the rows of a table that a condition keeps: a row for every set of
// equal keys, with aggregates; without keys one row.
//
// It is written over the table, or over parts that make up the table. Each part makes groups of its
// own rows then, so that a server that holds one sends a row for each group and not all of its
// rows:
//
//   SELECT "item" AS "item", count(*) AS "n" FROM "orders" WHERE c GROUP BY "item"
//
//   SELECT p1 AS "item", sum(p2)::int8 AS "n" FROM (
//     SELECT "item" AS p1, count(*) AS p2 FROM "public"."orders_0" WHERE c GROUP BY "item"
//     UNION ALL ...) AS parts GROUP BY p1
//
// Both have the same answer, but for the order in which doubles are added up.
class SqlGrouping {
 public:
  // Of a table and its parts, named as statements have them; none: it has no others.
  SqlGrouping(std::string table, std::vector<std::string> parts)
      : table_(std::move(table)), parts_(std::move(parts)) {}

  // The next column of the answer, called `id`: a key, or an aggregate of the rows as statements
  // have it.
  void Add(SqlMerge merge, std::string sql, const std::string& id = {});
  void SetWhere(std::string condition) { where_ = std::move(condition); }  // empty: all rows

  std::string OverTable() const;
  std::string OverParts() const;
  // The one of the two that the server does better: over the parts when those who hold them make
  // the groups. False, with the reason, when the server does not say what it would do.
  bool Choose(Kt_Database& database, std::string& statement, bool& is_over_parts,
              std::string& error) const;

 private:
  struct Column {
    SqlMerge merge;
    std::string sql;
    std::string as;  // " AS id", or nothing
  };

  std::string From(const std::string& table) const;
  std::string OverPart(const std::string& part) const;

  const std::string table_;
  const std::vector<std::string> parts_;
  std::string where_;
  std::vector<Column> columns_;
};

// The partitions of a table of PostgreSQL, as statements have them, when some are foreign tables
// and each may be read in place of the table. Otherwise there are none.
bool FindParts(Kt_Database& database, const std::string& table, std::vector<std::string>& parts,
               std::string& error);

}  // namespace kt::detail
