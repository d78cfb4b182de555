// SPDX-License-Identifier: MIT
#pragma once

#include <optional>

#include "connect/Kt_Xlsx.h"

class Kt_CliView;

namespace kt::cli {

struct SheetOptions {
  kt_long rows = 0;  // at most so many; 0: all
  std::optional<kt_long> decimals;
};

// The view as a sheet, with its subtotals and total. Borrows the view.
Kt_XlsxTable SheetOf(const Kt_CliView& view, const SheetOptions& options = {});

}  // namespace kt::cli
