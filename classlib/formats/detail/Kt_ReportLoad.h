// SPDX-License-Identifier: MIT
#pragma once

#include <utility>

#include "classlib/base/detail/Kt_Refuse.h"
#include "classlib/store/Kt_LoadReport.h"
#include "classlib/text/detail/Kt_RefusalText.h"

namespace kt::detail {

// Runs a load that writes the report. Of one that is refused it keeps why and where: nothing was
// loaded, so there is nothing else to tell. The number of rows, or the refusal.
template <class Load>
kt_long ReportLoad(Kt_LoadReport& report, Load load) {
  report = {};
  const kt_long loaded = RefuseOnFailure(load);
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

}  // namespace kt::detail
