// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>
#include <utility>

#include "classlib/base/detail/Kt_Refuse.h"
#include "classlib/formats/detail/Kt_SavedValue.h"
#include "classlib/store/Kt_LoadReport.h"
#include "classlib/store/detail/Kt_TableDoor.h"
#include "classlib/text/detail/Kt_RefusalText.h"

namespace kt::detail {

// What all loads and saves have in common: a form only makes a table of a text, or a text of a
// table.

// Runs read(table), which makes a table of what a file holds, and puts that into the dataset. read
// is false, with the reason in the report, when there is no table. Of a load that is refused the
// report keeps why and where: nothing was loaded, so there is nothing else to tell. The number of
// rows, or the refusal.
template <class Read>
kt_long LoadTable(Kt_Dataset& dataset, bool clear, Kt_LoadReport& report, Read read) {
  report = {};
  const kt_long loaded = RefuseOnFailure([&]() -> kt_long {
    LoadedTable table;
    return read(table) ? TableDoor::Take(dataset, table, clear) : -1;
  });
  if (loaded >= 0) {
    report.rows_read = loaded;
    return loaded;
  }
  Kt_LoadReport failure;
  failure.error = report.error.IsEmpty() ? RefusalText(loaded) : report.error;
  failure.error_line = report.error_line;
  failure.error_column = report.error_column;
  report = std::move(failure);
  return loaded;
}

// Runs write(table) on what a file will hold, a LoadedTable or SavedRows: kOk or a code. The number
// of rows saved, or the code of the report.
template <class Table, class Write>
kt_long SaveTable(const Kt_Dataset& dataset, std::u16string_view type, Kt_SaveReport& report,
                  Write write) {
  report = {};
  const kt_long saved = RefuseOnFailure([&]() -> kt_long {
    Table table;
    kt_long code = TableDoor::Give(dataset, type, table);
    if (code == kErrNotAllowed) {
      return report.Refuse(code, Kt_WString(u"unknown save type '") + type + u"'");
    }
    if (code == kOk) code = write(table);
    return code == kOk ? table.RowCount() : code;
  });
  return saved < 0 ? SaveRefusal(saved, report) : saved;
}

}  // namespace kt::detail
