// SPDX-License-Identifier: MIT
#include "cli/show/Kt_Pushdown.h"

#include "cli/data/Kt_Database.h"
#include "connect/sql/Kt_SqlSteps.h"

namespace kt::cli {
namespace {

// A dataset with the columns of the table, as far as their types are known, and no rows.
void MakeColumns(const Kt_SqlTable& table, Kt_Dataset& columns) {
  columns.ClearAll();
  for (const Kt_SqlColumn& column : table.Columns()) columns.AddColumn(column.id, column.type);
}

bool WantsAnything(const Kt_SqlRequest& request) {
  return !request.filter.IsEmpty() || !request.columns.empty() || !request.keys.empty() ||
         request.limit > 0;
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
    const Kt_SqlColumn* const column = table.Find(id);  // none: one that is added has its type
    if (column != nullptr) values.push_back({table.IndexOf(*column), Kt_SqlQuestion::kType});
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
  if (url.HasSelection()) return whole("the URL says itself what is loaded");
  const bool takes_all = wanted.filter.empty() && wanted.columns.empty() && !wanted.totals_only &&
                         wanted.pivot.empty() && wanted.first_rows == 0;
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
  pushed.lines = Kt_SqlSteps(table, request, answer, rows);
  report = {};
  report.rows.rows_read = rows;
  report.rows.records = rows;
  if (answer.is_filtered) pushed.filter.clear();
  if (answer.row_count > rows) pushed.more_rows = answer.row_count - rows;
  if (answer.is_grouped) pushed.groups = GroupsOf(request, answer);
  return true;
}

}  // namespace kt::cli
