// SPDX-License-Identifier: MIT
#pragma once

#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "classlib/text/Kt_WString.h"

class Kt_CliView;

namespace kt::cli {

// Horizontal bars, one below the other.
struct Chart {
  struct Bar {
    Kt_WString label;
    std::optional<double> value;  // nothing for a null, which has no bar
    Kt_WString text;              // the value in the form of its column
  };
  Kt_WString title;
  std::vector<Bar> bars;
  kt_long more_bars = 0;  // left out behind the last one
};

// The values of one column of the view as bars: of its subtotal rows of level 1 when it has any,
// otherwise of its records. Labels come from its label columns, else from the first column of
// texts, else of dates, else from the row numbers.
Chart MakeChart(const Kt_CliView& view, std::size_t column, kt_long max_bars,
                std::optional<kt_long> decimals);

// Writes the chart for a terminal of `width` columns. Bars begin at 0; negative ones go to the
// left.
void PrintChart(const Chart& chart, kt_long width, bool colours, std::ostream& out);

// The chart as an <svg> element for the page that Kt_CliHtml makes, whose style it uses.
std::string ChartSvg(const Chart& chart);

}  // namespace kt::cli
