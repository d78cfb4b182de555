// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "classlib/store/Kt_Dataset.h"
#include "connect/sql/Kt_SqlQuery.h"

class Kt_CliReport;
class Kt_CliView;

namespace kt::cli {

// What is to be done with a dataset before it is shown; empty texts: nothing. Lists are separated
// by commas, ":d" behind a column of `sort`, `group` and the keys of `pivot` is descending.
struct Arrangement {
  // Columns that are computed, as they are given: "worth=price * qty", "kind:string=left(item, 1)".
  std::vector<std::string> added;
  std::string filter;   // an expression over the columns of a row
  std::string sort;     // of a result with subtotals only or a cross table: its rows by its columns
  std::string group;    // subtotals for these keys; in a cross table for those of its row keys
  std::string pivot;    // "ROWS:COLUMNS:VALUES" or "ROWS:COLUMNS:VALUES:KIND"
  std::string columns;  // of the result, in this order
  std::vector<std::pair<Kt_Aggregate, std::string>> totals;  // columns with their kind of total
  bool totals_only = false;                                  // the groups without their records
  // Of a result that is rows and nothing else, how many are shown (0: all), and whether it is told
  // how many there are.
  kt_long first_rows = 0;
  bool counts_rows = false;
};

// What a dataset of groups has in place of rows, where a database has grouped them: how many rows
// each stands for, and the totals, which are merged further.
struct PartialGroups {
  Kt_WString row_count_id;
  std::vector<Kt_Aggregate> kinds;          // of the totals, in their order
  std::vector<Kt_WString> value_count_ids;  // as in Kt_SqlAnswer
};

// The columns that an arrangement adds. False, with what is wrong, for a text that is none.
bool AddedColumns(const Arrangement& wanted, std::vector<Kt_SqlRequest::Added>& added,
                  std::string& reason);

// The request that an arrangement makes of a table with these columns: all that it reads of rows.
// Nothing for an arrangement that is wrong.
bool RequestOf(const Arrangement& wanted, Kt_Dataset& columns, Kt_SqlRequest& request);

// Filters, sorts, groups the dataset, or makes a cross table of it, by the methods that scripts
// call, and has the view show the result. Returns an exit status of kt; what is wrong has been
// reported then, with the names of the columns when one is unknown.
// `groups`: that the dataset holds groups, where the arrangement asks for nothing else.
int Arrange(const Arrangement& wanted, Kt_Dataset& dataset, Kt_CliView& view, Kt_CliReport& report,
            const PartialGroups* groups = nullptr);

// "; did you mean 'price'? Columns: id, price, qty", to go after a complaint about an unknown
// name.
std::string KnownColumns(std::u16string_view wanted, const std::vector<Kt_WString>& names);

}  // namespace kt::cli
