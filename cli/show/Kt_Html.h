// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

#include "classlib/text/Kt_WString.h"

class Kt_CliView;

namespace kt::cli {

struct Chart;

struct HtmlOptions {
  Kt_WString title;
  kt_long rows = 0;  // at most so many; 0: all
  std::optional<kt_long> decimals;
  bool types = false;
  const Chart* chart = nullptr;  // above the table; null: none
};

// The view as one page that refers to nothing outside of itself: a table whose headings stay in
// sight, numbers to the right, subtotal rows set off, light or dark as the reader has it. The page
// is well-formed XML too, so that other programs can read it.
std::string HtmlPage(const Kt_CliView& view, const HtmlOptions& options);

// The text as UTF-8 for a place between tags or in an attribute in double quotes. Characters that
// HTML or XML do not allow become U+FFFD.
std::string HtmlText(const Kt_WString& text);

}  // namespace kt::cli
