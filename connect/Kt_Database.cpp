// SPDX-License-Identifier: MIT
#include "connect/Kt_Database.h"

#include <algorithm>

#include "classlib/formats/Kt_Formats.h"
#include "classlib/store/Kt_UniqueIds.h"
#include "connect/detail/Kt_Answer.h"
#include "connect/detail/Kt_Guarded.h"

using kt::detail::Answer;

namespace {

// The cells in a column of another type; null when that changes a value.
std::shared_ptr<Kt_Column> Converted(const Kt_Column& cells, Kt_ColumnType type) {
  auto made = std::make_shared<Kt_Column>(type);
  made->Reserve(cells.RowCount());
  for (std::size_t row = 0; row < cells.RowCount(); ++row) {
    const Kt_Variant value = cells.Read(row);
    made->Append(value);
    if (!value.IsEmpty() && Var_Cmp(value, made->Read(row), kCmpEqual) == 0) return nullptr;
  }
  return made;
}

// The answer in place of what the dataset held.
kt_long Take(Answer& answer, std::span<const Kt_ColumnType> types, Kt_Dataset& dataset,
             std::string& error) {
  std::vector<kt::ColumnData> columns;
  Kt_UniqueIds ids;
  for (std::size_t col = 0; col < answer.Columns().size(); ++col) {
    std::shared_ptr<Kt_Column> cells = answer[col].Take();
    if (col < types.size() && cells->Type() != types[col]) cells = Converted(*cells, types[col]);
    if (cells == nullptr) {
      error = "column '" + answer.Columns()[col].name + "' has values that its type does not hold";
      return kFailed;
    }
    columns.push_back(
        {ids.MakeHeading(Kt_WString::FromUtf8(answer.Columns()[col].name)), std::move(cells)});
  }
  const kt_long taken = kt::LoadColumns(dataset, columns, true);
  if (taken == -1) error = "the dataset takes no rows";
  return taken;
}

// A part of the name of a table up to the next point; nothing when it is none.
bool TakePart(std::string_view& table, std::string& part) {
  part.clear();
  if (!table.starts_with('"')) {
    const std::size_t end = std::min(table.find('.'), table.size());
    part = table.substr(0, end);
    table.remove_prefix(end);
    return !part.empty();
  }
  for (std::size_t at = 1; at < table.size(); ++at) {
    if (table[at] == '"' && table.substr(at + 1, 1) != "\"") {
      table.remove_prefix(at + 1);
      return !part.empty();
    }
    if (table[at] == '"') ++at;
    part += table[at];
  }
  return false;
}

std::unique_ptr<Kt_Database> OpenByKind(const Kt_DatabaseUrl& url,
                                        const Kt_Database::Options& options, std::string& error) {
#if defined(KT_SQLITE_BUILT)
  if (url.kind == Kt_DatabaseUrl::Kind::kSqlite) {
    return kt::detail::OpenSqlite(url, options, error);
  }
#endif
#if defined(KT_POSTGRESQL_BUILT)
  if (url.kind == Kt_DatabaseUrl::Kind::kPostgresql) {
    return kt::detail::OpenPostgresql(url, options, error);
  }
#endif
  static_cast<void>(options);
  const bool is_sqlite = url.kind == Kt_DatabaseUrl::Kind::kSqlite;
  error = std::string("this build has no connector for ") + (is_sqlite ? "SQLite" : "PostgreSQL");
  return nullptr;
}

}  // namespace

std::unique_ptr<Kt_Database> Kt_Database::Open(const Kt_DatabaseUrl& url, const Options& options,
                                               std::string& error) {
  std::unique_ptr<Kt_Database> opened;
  const kt_long code = kt::detail::Guarded(error, [&]() -> kt_long {
    opened = OpenByKind(url, options, error);
    return opened != nullptr ? kOk : kFailed;
  });
  return code < 0 ? nullptr : std::move(opened);
}

kt_long Kt_Database::Query(std::string_view statement, std::span<const Kt_Variant> parameters,
                           Kt_Dataset& dataset, std::string& error,
                           std::span<const Kt_ColumnType> types) {
  return kt::detail::Guarded(error, [&]() -> kt_long {
    Answer answer(options_.progress);
    if (!Run(statement, parameters, answer, error)) return kFailed;
    if (!answer.Columns().empty()) return Take(answer, types, dataset, error);
    error = "the statement has no rows as its answer";
    return kFailed;
  });
}

kt_long Kt_Database::LoadTable(std::string_view table, Kt_Dataset& dataset, std::string& error) {
  const std::string name = QuotedTable(table);
  if (name.empty()) {
    error = "'" + std::string(table) + "' is no name of a table";
    return kFailed;
  }
  return Query("SELECT * FROM " + name, {}, dataset, error);
}

bool Kt_Database::Execute(std::string_view statement, std::span<const Kt_Variant> parameters,
                          std::int64_t& changed, std::string& error) {
  return kt::detail::Guarded(error, [&]() -> kt_long {
           Answer answer;
           const bool ran = Run(statement, parameters, answer, error);
           changed = answer.changed;
           return ran ? kOk : kFailed;
         }) >= 0;
}

std::string Kt_Database::Quoted(std::string_view name) {
  std::string quoted = "\"";
  for (const char byte : name) {
    if (byte == '"') quoted += byte;
    quoted += byte;
  }
  return quoted + '"';
}

std::vector<std::string> Kt_Database::TableParts(std::string_view table) {
  std::vector<std::string> parts;
  std::string part;
  while (TakePart(table, part)) {
    parts.push_back(part);
    if (table.empty()) return parts;
    if (!table.starts_with('.')) return {};
    table.remove_prefix(1);
  }
  return {};
}

std::string Kt_Database::QuotedTable(std::string_view table) {
  std::string quoted;
  for (const std::string& part : TableParts(table)) {
    quoted += (quoted.empty() ? "" : ".") + Quoted(part);
  }
  return quoted;
}

kt_long kt::LoadDatabase(const Kt_DatabaseUrl& url, const Kt_Database::Options& options,
                         Kt_Dataset& dataset, std::string& error) {
  if (url.table.empty() && url.query.empty()) {
    error = "expected ?table=NAME or ?query=STATEMENT";
    return kFailed;
  }
  if (url.HasSelection()) {
    error = "filter, sort, limit and columns need the library KtSqlLib320U";
    return kFailed;
  }
  const std::unique_ptr<Kt_Database> database = Kt_Database::Open(url, options, error);
  if (database == nullptr) return kt::detail::FailureCode();
  return url.query.empty() ? database->LoadTable(url.table, dataset, error)
                           : database->Query(url.query, {}, dataset, error);
}
