// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

#include "cli/show/Kt_Cell.h"

class Kt_CliView;

namespace kt::cli {

struct MarkdownOptions {
  kt_long rows = 0;  // at most so many; 0: all
  std::optional<kt_long> decimals;
};

// The view as a pipe table in UTF-8, which GitHub and others render: numbers to the right, nulls
// empty, the total in bold, lines of a cell with "<br>" between. What Markdown would take for marks
// is escaped. The columns are aligned in the text too. Empty when there are no columns.
std::string MarkdownTable(const Kt_CliView& view, const MarkdownOptions& options);

// A text as it stands in a cell of such a table.
Kt_WString MarkdownText(const Kt_WString& text);

}  // namespace kt::cli
