// SPDX-License-Identifier: MIT
#include "cli/show/Kt_Chart.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <ostream>

#include "classlib/text/Kt_Unicode.h"
#include "cli/Kt_Bounds.h"
#include "cli/Kt_Visible.h"
#include "cli/show/Kt_Cell.h"
#include "cli/show/Kt_Html.h"
#include "cli/show/Kt_View.h"

namespace kt::cli {
namespace {

// ---- Bars from a view -------------------------------------------------------------------------

std::vector<std::size_t> LabelColumns(const Kt_CliView& view, std::size_t charted) {
  if (!view.LabelColumns().empty()) return view.LabelColumns();
  for (const Kt_ColumnType type : {Kt_ColumnType::kString, Kt_ColumnType::kDateTime}) {
    for (std::size_t at = 0; at < view.Columns().size(); ++at) {
      if (view.Columns()[at].type == type && at != charted) return {at};
    }
  }
  return {};
}

Kt_WString LabelOf(const Kt_CliView& view, kt_long row, const std::vector<std::size_t>& columns) {
  if (columns.empty()) return Kt_WString::FromUtf8(std::to_string(row + 1));
  Kt_WString label;
  for (const std::size_t column : columns) {
    if (!label.IsEmpty()) label += u" / ";
    const Kt_Variant value = view.Cell(row, column);
    label += value.IsEmpty() ? Kt_WString(u"·") : Kt_CliCellFormat().Text(value);
  }
  return label;
}

bool HasSubtotals(const Kt_CliView& view) {
  for (kt_long row = 0; row < view.RowCount() && GoesOn(); ++row) {
    if (view.Level(row) == 1) return true;
  }
  return false;
}

// ---- Bars on a terminal -----------------------------------------------------------------------

// What of the range from the least to the greatest value lies on each side of 0.
struct Scale {
  double least = 0;
  double greatest = 0;
};

Scale ScaleOf(const Chart& chart) {
  Scale scale;
  for (const Chart::Bar& bar : chart.bars) {
    if (!bar.value || !std::isfinite(*bar.value)) continue;
    scale.least = std::min(scale.least, *bar.value);
    scale.greatest = std::max(scale.greatest, *bar.value);
  }
  return scale;
}

// The part of `room` that a value takes of `full`. Quotients first: the difference of the greatest
// and the least double is no double.
double PartOf(double value, double full, double room) {
  if (full == 0 || std::isnan(value)) return 0;
  return std::clamp(value / full, 0.0, 1.0) * room;
}

// A bar to the right in eighths of a column. What is not 0 is seen.
Kt_WString RightBar(double columns) {
  constexpr std::u16string_view kEighths = u" ▏▎▍▌▋▊▉█";
  auto eighths = static_cast<kt_long>(std::lround(columns * 8));
  if (columns > 0 && eighths == 0) eighths = 1;
  Kt_WString bar;
  for (; eighths >= 8; eighths -= 8) bar += u'█';
  if (eighths > 0) bar += kEighths[static_cast<std::size_t>(eighths)];
  return bar;
}

// A bar to the left, in halves: there are no finer blocks that end at the right.
Kt_WString LeftBar(double columns) {
  auto halves = static_cast<kt_long>(std::lround(columns * 2));
  if (columns > 0 && halves == 0) halves = 1;
  Kt_WString bar;
  if (halves % 2 == 1) bar += u'▐';
  for (; halves >= 2; halves -= 2) bar += u'█';
  return bar;
}

std::string Blanks(kt_long count) {
  return std::string(static_cast<std::size_t>(std::max(count, kt_long{0})), ' ');
}

std::string Coloured(const Kt_WString& bar, const char* colour, bool colours) {
  if (bar.IsEmpty()) return {};
  return colours ? colour + bar.ToUtf8() + "\x1b[0m" : bar.ToUtf8();
}

// Columns of the parts of a line: label, bars to the left, bars to the right, text of the value.
struct BarLayout {
  kt_long label = 0;
  kt_long text = 0;
  double left = 0;
  double right = 0;
};

BarLayout LayOut(const Chart& chart, const Scale& scale, kt_long width) {
  constexpr kt_long kLeastRoom = 10;
  BarLayout layout;
  for (const Chart::Bar& bar : chart.bars) {
    layout.label = std::max(layout.label, kt_displaywidthW(bar.label));
    layout.text = std::max(layout.text, kt_displaywidthW(bar.text));
  }
  layout.label = std::min(layout.label, std::max(width * 2 / 5, kt_long{8}));
  const kt_long room = std::max(width - layout.label - layout.text - 4, kLeastRoom);
  const double least = -scale.least / 2;  // halves, so that the sum stays finite
  const double all = least + scale.greatest / 2;
  if (all <= 0) return layout;
  layout.left = std::round(least / all * static_cast<double>(room));
  if (least > 0) layout.left = std::max(layout.left, 1.0);
  layout.right = std::max(static_cast<double>(room) - layout.left, 0.0);
  return layout;
}

void PrintBar(const Chart::Bar& bar, const BarLayout& layout, const Scale& scale, bool colours,
              std::ostream& out) {
  const double value = bar.value.value_or(0);
  const Kt_WString label = CutToWidth(bar.label, layout.label);
  const Kt_WString left = value < 0 ? LeftBar(PartOf(value, scale.least, layout.left)) : u"";
  const Kt_WString right = value > 0 ? RightBar(PartOf(value, scale.greatest, layout.right)) : u"";
  std::string line = label.ToUtf8() + Blanks(layout.label - kt_displaywidthW(label) + 2);
  line += Blanks(static_cast<kt_long>(layout.left) - kt_displaywidthW(left));
  line += Coloured(left, "\x1b[31m", colours) + Coloured(right, "\x1b[34m", colours);
  if (!right.IsEmpty() || layout.left > 0) line += ' ';
  out << line << bar.text.ToUtf8() << '\n';
}

}  // namespace

Chart MakeChart(const Kt_CliView& view, std::size_t column, kt_long max_bars,
                std::optional<kt_long> decimals) {
  Chart chart;
  chart.title = WithVisibleControls(view.Columns()[column].heading);
  Kt_CliCellFormat format;
  format.SetDecimals(decimals);
  const std::vector<std::size_t> labels = LabelColumns(view, column);
  const bool wants_subtotals = HasSubtotals(view);
  for (kt_long row = 0; row < view.RowCount() && GoesOn(); ++row) {
    if (wants_subtotals && view.Level(row) != 1) continue;
    if (static_cast<kt_long>(chart.bars.size()) >= max_bars) {
      ++chart.more_bars;
      continue;
    }
    const Kt_Variant value = view.Cell(row, column);
    Chart::Bar bar{LabelOf(view, row, labels), {}, u"·"};
    if (!value.IsEmpty()) {
      bar.value = value.ToDouble();
      bar.text = format.Text(value, view.MadeBy(row, column));
    }
    chart.bars.push_back(std::move(bar));
  }
  return chart;
}

void PrintChart(const Chart& chart, kt_long width, bool colours, std::ostream& out) {
  const Scale scale = ScaleOf(chart);
  const BarLayout layout = LayOut(chart, scale, width);
  out << (colours ? "\x1b[1m" : "") << chart.title.ToUtf8() << (colours ? "\x1b[0m" : "") << '\n';
  for (const Chart::Bar& bar : chart.bars) PrintBar(bar, layout, scale, colours, out);
  if (chart.more_bars > 0) {
    out << fmt::format("… {} more bar{}\n", chart.more_bars, chart.more_bars == 1 ? "" : "s");
  }
}

// ---- Bars on a page ---------------------------------------------------------------------------

namespace {

constexpr double kLineHeight = 24;
constexpr double kBarHeight = 16;
constexpr double kLabelRoom = 240;
constexpr double kTextRoom = 110;
constexpr double kBarRoom = 610;
constexpr kt_long kLabelWidth = 32;  // characters that fit into kLabelRoom

std::string SvgBar(const Chart::Bar& bar, const Scale& scale, double zero, double top) {
  const double value = bar.value.value_or(0);
  const double room = value < 0 ? zero - kLabelRoom : kLabelRoom + kBarRoom - zero;
  const double length = PartOf(value, value < 0 ? scale.least : scale.greatest, room);
  const double start = value < 0 ? zero - length : zero;
  const double middle = top + kLineHeight / 2;
  std::string out =
      fmt::format("<text class=\"label\" x=\"{:.1f}\" y=\"{:.1f}\">{}</text>", kLabelRoom - 8,
                  middle, HtmlText(CutToWidth(bar.label, kLabelWidth)));
  if (length > 0) {
    out += fmt::format(
        "<rect class=\"{}\" x=\"{:.2f}\" y=\"{:.1f}\" width=\"{:.2f}\" height=\"{:.1f}\">"
        "<title>{}: {}</title></rect>",
        value < 0 ? "below" : "above", start, top + (kLineHeight - kBarHeight) / 2, length,
        kBarHeight, HtmlText(bar.label), HtmlText(bar.text));
  }
  const double text_at = value < 0 ? zero + 6 : start + length + 6;
  return out + fmt::format("<text x=\"{:.1f}\" y=\"{:.1f}\">{}</text>\n", text_at, middle,
                           HtmlText(bar.text));
}

}  // namespace

std::string ChartSvg(const Chart& chart) {
  const Scale scale = ScaleOf(chart);
  const double all = scale.greatest / 2 - scale.least / 2;
  const double below = all > 0 ? -scale.least / 2 / all : 0;
  const double zero = kLabelRoom + below * kBarRoom;
  const double height = kLineHeight * static_cast<double>(chart.bars.size());
  std::string out = fmt::format(
      "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 {:.0f} {:.0f}\" role=\"img\" "
      "aria-label=\"{}\">\n",
      kLabelRoom + kBarRoom + kTextRoom, std::max(height, kLineHeight), HtmlText(chart.title));
  for (std::size_t at = 0; at < chart.bars.size(); ++at) {
    out += SvgBar(chart.bars[at], scale, zero, kLineHeight * static_cast<double>(at));
  }
  out += fmt::format("<line x1=\"{0:.1f}\" y1=\"0\" x2=\"{0:.1f}\" y2=\"{1:.0f}\"/>\n", zero,
                     std::max(height, kLineHeight));
  return out + "</svg>\n";
}

}  // namespace kt::cli
