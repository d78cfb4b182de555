// SPDX-License-Identifier: MIT
#pragma once

#include <iosfwd>
#include <optional>
#include <vector>

#include "cli/show/Kt_Cell.h"

class Kt_CliView;

namespace kt::cli {

struct TableOptions {
  kt_long width = 0;  // columns of the terminal, which nothing passes; 0: as wide as it gets
  kt_long rows = 0;   // at most so many; 0: all
  std::optional<kt_long> decimals;
  bool types = false;    // a second heading with the types of the columns
  bool colours = false;  // headings and subtotals bold, what is of little interest faint
};

// Writes the view as a table aligned by display width: numbers to the right with their points below
// each other, nulls as "·", subtotal rows with "Σ" and their level in front and an empty line
// after, the total below a line. When the table is wider than `width`, texts are cut first, each
// with "…", then columns are left out from the right, which a line below the table says.
// Only the rows that are written are read.
void PrintTable(const Kt_CliView& view, const TableOptions& options, std::ostream& out);

}  // namespace kt::cli
