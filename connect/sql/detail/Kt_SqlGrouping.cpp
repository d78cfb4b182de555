// SPDX-License-Identifier: MIT
#include "connect/sql/detail/Kt_SqlGrouping.h"

#include <algorithm>
#include <string_view>

namespace kt::detail {
namespace {

// Every part is a branch of the plan. So many servers hold a table of these; tables of more
// partitions have a few of them elsewhere, and most here.
constexpr kt_long kMaxParts = 256;

std::string PartColumn(std::size_t at) { return "p" + std::to_string(at + 1); }

std::string Merged(SqlMerge merge, const std::string& part) {
  switch (merge) {
    case SqlMerge::kKey: return part;
    case SqlMerge::kNull: return "NULL";
    case SqlMerge::kSum: return "sum(" + part + ")";
    case SqlMerge::kCount:
    case SqlMerge::kWholeSum: return "sum(" + part + ")::int8";
    case SqlMerge::kMin: return "min(" + part + ")";
    case SqlMerge::kMax: return "max(" + part + ")";
    case SqlMerge::kAll: return "bool_and(" + part + ")";
    case SqlMerge::kAny: return "bool_or(" + part + ")";
  }
  return part;
}

void AddItem(std::string& list, const std::string& item) {
  list += (list.empty() ? "" : ", ") + item;
}

std::string GroupBy(const std::string& keys) { return keys.empty() ? "" : " GROUP BY " + keys; }

}  // namespace

void SqlGrouping::Add(SqlMerge merge, std::string sql, const std::string& id) {
  columns_.push_back({merge, std::move(sql), id.empty() ? "" : " AS " + Kt_Database::Quoted(id)});
}

std::string SqlGrouping::From(const std::string& table) const {
  return " FROM " + table + (where_.empty() ? "" : " WHERE " + where_);
}

std::string SqlGrouping::OverTable() const {
  std::string list;
  std::string keys;
  for (const Column& column : columns_) {
    const char* const cast = column.merge == SqlMerge::kWholeSum ? "::int8" : "";
    AddItem(list, column.sql + cast + column.as);
    if (column.merge == SqlMerge::kKey) AddItem(keys, column.sql);
  }
  return "SELECT " + list + From(table_) + GroupBy(keys);
}

// What the answer does not use is not asked for: such a column of a part keeps PostgreSQL from
// asking the parts at the same time.
std::string SqlGrouping::OverPart(const std::string& part) const {
  std::string list;
  std::string keys;
  for (std::size_t at = 0; at < columns_.size(); ++at) {
    if (columns_[at].merge == SqlMerge::kNull) continue;
    AddItem(list, columns_[at].sql + " AS " + PartColumn(at));
    if (columns_[at].merge == SqlMerge::kKey) AddItem(keys, columns_[at].sql);
  }
  return "SELECT " + list + From(part) + GroupBy(keys);
}

std::string SqlGrouping::OverParts() const {
  std::string list;
  std::string keys;
  for (std::size_t at = 0; at < columns_.size(); ++at) {
    AddItem(list, Merged(columns_[at].merge, PartColumn(at)) + columns_[at].as);
    if (columns_[at].merge == SqlMerge::kKey) AddItem(keys, PartColumn(at));
  }
  std::string from;
  for (const std::string& part : parts_) {
    from += (from.empty() ? "" : " UNION ALL ") + OverPart(part);
  }
  return "SELECT " + list + " FROM (" + from + ") AS parts" + GroupBy(keys);
}

// A scan that fetches groups says of what they are made in a line of its own, one that fetches rows
// names the table at once:
//
//   ->  Async Foreign Scan                      ->  Foreign Scan on orders_0
//         Relations: Aggregate on (orders_0)
//
// Where the rows of one part are fetched to be grouped here, those of the table are as well: the
// server fetches them from all parts at the same time, and adds up on the way.
bool SqlGrouping::Choose(Kt_Database& database, std::string& statement, bool& is_over_parts,
                         std::string& error) const {
  is_over_parts = false;
  statement = parts_.empty() ? OverTable() : OverParts();
  if (parts_.empty()) return true;
  Kt_Dataset plan;
  if (database.Query("EXPLAIN (COSTS off) " + statement, {}, plan, error) < 0) return false;
  std::size_t scans = 0;
  std::size_t grouped = 0;
  for (kt_long row = 0; row < plan.GetRowCount(); ++row) {
    const std::string line = plan.ReadColumn(row, 0).ToString().ToUtf8();
    std::string_view words = line;
    words.remove_prefix(std::min(words.find_first_not_of(" ->"), words.size()));
    constexpr std::string_view kAsync = "Async ";
    if (words.starts_with(kAsync)) words.remove_prefix(kAsync.size());
    scans += words.starts_with("Foreign Scan") ? 1 : 0;
    grouped += words.starts_with("Relations: Aggregate on (") ? 1 : 0;
  }
  is_over_parts = grouped == scans;
  if (!is_over_parts) statement = OverTable();
  return true;
}

// Who may read the table may not be allowed to read its partitions, and rows that a policy hides
// are hidden by the policies of the table that a statement names.
bool FindParts(Kt_Database& database, const std::string& table, std::vector<std::string>& parts,
               std::string& error) {
  const Kt_Variant names[] = {Kt_Variant(Kt_WString::FromUtf8(table))};
  Kt_Dataset answer;
  const kt_long count = database.Query(
      "SELECT n.nspname::text, c.relname::text, c.relkind = 'f', "
      "has_schema_privilege(n.oid, 'USAGE') AND has_table_privilege(c.oid, 'SELECT') AND NOT "
      "row_security_active(c.oid) AND NOT row_security_active($1::pg_catalog.regclass) "
      "FROM pg_catalog.pg_partition_tree($1::pg_catalog.regclass) t "
      "JOIN pg_catalog.pg_class c ON c.oid = t.relid "
      "JOIN pg_catalog.pg_namespace n ON n.oid = c.relnamespace WHERE t.isleaf ORDER BY c.oid",
      names, answer, error);
  parts.clear();
  if (count < 0) return false;
  bool is_elsewhere = false;
  bool is_open = count <= kMaxParts;
  for (kt_long row = 0; row < count; ++row) {
    const auto name = [&](kt_long col) {
      return Kt_Database::Quoted(answer.ReadColumn(row, col).ToString().ToUtf8());
    };
    parts.push_back(name(0) + "." + name(1));
    is_elsewhere = is_elsewhere || answer.ReadColumn(row, 2).ToInteger() != 0;
    is_open = is_open && answer.ReadColumn(row, 3).ToInteger() != 0;
  }
  if (!is_elsewhere || !is_open) parts.clear();
  return true;
}

}  // namespace kt::detail
