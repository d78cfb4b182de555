// SPDX-License-Identifier: MIT
#include "cli/show/Kt_Pushdown.h"

#include <fmt/format.h>

#include "cli/data/Kt_Database.h"
#include "connect/sql/Kt_SqlQuery.h"

namespace kt::cli {
namespace {

// A dataset with the columns of the table, as far as their types are known, and no rows.
void MakeColumns(const Kt_SqlTable& table, Kt_Dataset& columns) {
  columns.ClearAll();
  for (const Kt_SqlColumn& column : table.Columns()) columns.AddColumn(column.id, column.type);
}

bool WantsAnything(const Kt_SqlRequest& request) {
  return !request.filter.IsEmpty() || !request.columns.empty() || !request.keys.empty();
}

// The kind of a pivot's total may hang on the type of its column, which has to be asked for.
bool ReadRequest(Kt_Database& database, Kt_SqlTable& table, const Arrangement& wanted,
                 Kt_SqlRequest& request) {
  Kt_Dataset columns;
  MakeColumns(table, columns);
  if (!RequestOf(wanted, columns, request)) return false;
  if (wanted.pivot.empty()) return true;
  std::vector<Kt_SqlTable::Wanted> values;
  for (const auto& [kind, id] : request.totals) {
    values.push_back({table.IndexOf(*table.Find(id)), Kt_SqlQuestion::kType});
  }
  std::string error;
  if (!table.Ask(database, values, error)) return false;
  MakeColumns(table, columns);
  return RequestOf(wanted, columns, request);
}

PartialGroups GroupsOf(const Kt_SqlRequest& request, const Kt_SqlAnswer& answer) {
  PartialGroups groups;
  groups.row_count_id = answer.row_count_id;
  groups.value_count_ids = answer.value_count_ids;
  for (const auto& [kind, id] : request.totals) groups.kinds.push_back(kind);
  return groups;
}

void Explain(const Kt_SqlTable& table, const Kt_SqlRequest& request, const Kt_SqlAnswer& answer,
             kt_long rows, std::vector<std::string>& lines) {
  for (const std::string& question : answer.questions) lines.push_back("asked first: " + question);
  lines.push_back("statement: " + answer.statement);
  for (std::size_t at = 0; at < answer.parameters.size(); ++at) {
    const std::string value = answer.parameters[at].ToString().ToUtf8();
    lines.push_back(fmt::format("?{} is {}", at + 1, value));
  }
  std::string there;
  const auto add = [&](const std::string& what) { there += (there.empty() ? "" : "; ") + what; };
  if (answer.has_filter) add(answer.is_filtered ? "the filter" : "a part of the filter");
  if (answer.is_grouped) {
    add("the groups and their totals");
  } else if (answer.column_count < table.Columns().size()) {
    add(fmt::format("the choice of {} of {} columns", answer.column_count, table.Columns().size()));
  }
  lines.push_back("in the database: " + (there.empty() ? "nothing but reading" : there) +
                  fmt::format("; {} {} fetched", rows, rows == 1 ? "row was" : "rows were"));
  if (!request.filter.IsEmpty() && !answer.is_filtered) lines.push_back("here: the filter");
  for (const std::string& reason : answer.reasons) lines.push_back("here, because of " + reason);
}

}  // namespace

bool LoadArranged(const std::string& text, const DataOptions& options, const Arrangement& wanted,
                  const std::string& chart, Kt_Dataset& dataset, DataReport& report,
                  PushedDown& pushed) {
  pushed = {};
  pushed.filter = wanted.filter;
  const auto whole = [&](const std::string& why) {
    pushed.lines.push_back("here: everything; " + why);
    return false;
  };
  Kt_DatabaseUrl url;
  std::string error;
  if (!Kt_DatabaseUrl::Parse(text, url, error)) return false;
  if (!options.rules.types.empty()) return whole("--types names columns of all that is loaded");
  if (url.table.empty()) return whole("a query is taken as it is");
  const bool takes_all = wanted.filter.empty() && wanted.columns.empty() && !wanted.totals_only &&
                         wanted.pivot.empty();
  if (takes_all) return whole("all rows and columns are shown");
  const std::unique_ptr<Kt_Database> database =
      Kt_Database::Open(url, DatabaseOptions(options), error);
  if (database == nullptr) {
    report.error = error;
    NoteNotOpened(url, report);
    return false;
  }
  Kt_SqlTable table;
  if (!table.Describe(*database, url.kind, url.table, error)) return whole(error);
  Kt_SqlRequest request;
  if (!ReadRequest(*database, table, wanted, request)) return whole("the options are at fault");
  if (!WantsAnything(request)) return whole("all rows and columns are shown");
  if (!chart.empty() && !request.columns.empty() && request.keys.empty()) {
    request.columns.push_back(Kt_WString::FromUtf8(chart));
  }
  Kt_SqlAnswer answer;
  const kt_long rows = Kt_SqlLoad(*database, table, request, dataset, answer, error);
  if (rows < 0) return whole(error);
  Explain(table, request, answer, rows, pushed.lines);
  report = {};
  report.rows.rows_read = rows;
  report.rows.records = rows;
  if (answer.is_filtered) pushed.filter.clear();
  if (answer.is_grouped) pushed.groups = GroupsOf(request, answer);
  return true;
}

}  // namespace kt::cli
