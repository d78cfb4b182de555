// SPDX-License-Identifier: MIT
#include "cli/show/Kt_Html.h"

#include <fmt/format.h>

#include <algorithm>
#include <vector>

#include "cli/Kt_Bounds.h"
#include "cli/Kt_Visible.h"
#include "cli/show/Kt_Cell.h"
#include "cli/show/Kt_Chart.h"
#include "cli/show/Kt_Sha256.h"
#include "cli/show/Kt_View.h"

namespace kt::cli {
namespace {

constexpr char kStyle[] = R"(
:root { color-scheme: light dark; --text: #1d2329; --back: #ffffff; --faint: #67717b;
  --line: #d9dee3; --head: #f2f4f6; --level1: #eef3f9; --level2: #e2ebf5; --bar: #3572b0;
  --below: #b5483a; }
@media (prefers-color-scheme: dark) { :root { --text: #e3e6e9; --back: #15191d; --faint: #8e98a2;
  --line: #343b42; --head: #20262c; --level1: #1c2733; --level2: #223244; --bar: #6aa5e0;
  --below: #e0796a; } }
body { margin: 2rem; color: var(--text); background: var(--back);
  font: 15px/1.45 system-ui, sans-serif; }
h1 { font-size: 1.4rem; font-weight: 600; }
h2 { font-size: 1.05rem; font-weight: 600; }
p, .null, .type { color: var(--faint); }
svg { display: block; width: 100%; max-width: 60rem; margin-bottom: 2rem; }
svg text { fill: var(--text); font-size: 13px; dominant-baseline: central; }
svg .label { text-anchor: end; }
svg .above { fill: var(--bar); }
svg .below { fill: var(--below); }
svg line { stroke: var(--faint); }
table { border-collapse: collapse; font-variant-numeric: tabular-nums; }
th, td { padding: .25rem .75rem; text-align: left; vertical-align: top;
  border-bottom: 1px solid var(--line); }
td { white-space: pre-wrap; overflow-wrap: anywhere; }
th { position: sticky; top: 0; background: var(--head); font-weight: 600; }
.type { display: block; font-weight: 400; font-size: .85em; }
.n { text-align: right; white-space: pre; }
.l1 td { background: var(--level1); font-weight: 600; }
.l2 td, .l3 td, .l4 td { background: var(--level2); font-weight: 600; }
tfoot td { border-top: 2px solid var(--text); font-weight: 700; }
)";

// Whatever a cell or title brought into the page, a browser runs and loads nothing: all that the
// page may use is the style above, known by its hash.
constexpr HashText kStyleHash = Sha256Base64(kStyle);

// Levels beyond look like this one.
constexpr kt_long kMaxStyledLevel = 4;

class Page {
 public:
  Page(const Kt_CliView& view, const HtmlOptions& options) : view_(view), options_(options) {}

  std::string Make() {
    rows_ = view_.RowCount();
    if (options_.rows > 0) rows_ = std::min(rows_, options_.rows);
    Measure();
    const std::string title = HtmlText(options_.title);
    out_ = fmt::format(
        "<!DOCTYPE html>\n<html lang=\"en\" xmlns=\"http://www.w3.org/1999/xhtml\">\n<head>\n"
        "<meta charset=\"utf-8\"/>\n"
        "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\"/>\n"
        "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; "
        "style-src 'sha256-{2}'; base-uri 'none'; form-action 'none'\"/>\n"
        "<title>{0}</title>\n<style>{1}</style>\n</head>\n<body>\n<h1>{0}</h1>\n",
        title, kStyle, std::string_view(kStyleHash.data(), kStyleHash.size()));
    AddChart();
    AddTable();
    out_ += "</body>\n</html>\n";
    return std::move(out_);
  }

 private:
  struct Column {
    Kt_CliCellFormat format;
    bool numeric = false;
  };

  void Measure() {
    columns_.resize(view_.Columns().size());
    for (std::size_t at = 0; at < columns_.size(); ++at) {
      Kt_CliCellFormat& format = columns_[at].format;
      format.SetDecimals(options_.decimals);
      for (kt_long row = 0; row < rows_ && GoesOn(); ++row) {
        format.Measure(view_.Cell(row, at), view_.MadeBy(row, at));
      }
      if (!view_.Total().empty() && !view_.IsTotalLabel(at)) {
        format.Measure(view_.Total()[at], view_.Columns()[at].total);
      }
      columns_[at].numeric = format.IsNumeric();
    }
  }

  void AddChart() {
    if (options_.chart == nullptr) return;
    out_ += fmt::format("<h2>{}</h2>\n", HtmlText(options_.chart->title));
    out_ += ChartSvg(*options_.chart);
    if (options_.chart->more_bars > 0) {
      out_ += fmt::format("<p>… {} more bars</p>\n", options_.chart->more_bars);
    }
  }

  void AddTable() {
    out_ += "<table>\n<thead>\n<tr>";
    if (view_.MixesLevels()) out_ += "<th></th>";
    for (std::size_t at = 0; at < columns_.size(); ++at) AddHeading(at);
    out_ += "</tr>\n</thead>\n<tbody>\n";
    for (kt_long row = 0; row < rows_ && GoesOn(columns_.size()); ++row) AddRow(row);
    out_ += "</tbody>\n";
    AddTotal();
    out_ += "</table>\n";
    const std::int64_t more = view_.RowCount() - rows_ + view_.MoreRows();
    if (more > 0) out_ += fmt::format("<p>… {} more row{}</p>\n", more, more == 1 ? "" : "s");
  }

  void AddHeading(std::size_t at) {
    const Kt_CliView::Column& shown = view_.Columns()[at];
    out_ += columns_[at].numeric ? "<th class=\"n\">" : "<th>";
    out_ += HtmlText(WithVisibleControls(shown.heading));
    if (options_.types) {
      const Kt_WString type(kt_columntypenameW(shown.type));
      out_ += fmt::format("<span class=\"type\">{}</span>", HtmlText(type));
    }
    out_ += "</th>";
  }

  void AddRow(kt_long row) {
    const kt_long level = view_.Level(row);
    const bool is_subtotal = level > 0 && view_.MixesLevels();
    out_ += is_subtotal ? fmt::format("<tr class=\"l{}\">", std::min(level, kMaxStyledLevel))
                        : std::string("<tr>");
    if (view_.MixesLevels()) out_ += is_subtotal ? fmt::format("<td>Σ{}</td>", level) : "<td></td>";
    for (std::size_t at = 0; at < columns_.size(); ++at) {
      AddCell(at, view_.Cell(row, at), view_.MadeBy(row, at), view_.IsNull(row, at));
    }
    out_ += "</tr>\n";
  }

  void AddTotal() {
    if (view_.Total().empty()) return;
    out_ += "<tfoot>\n<tr>";
    if (view_.MixesLevels()) out_ += "<td>Σ</td>";
    for (std::size_t at = 0; at < columns_.size(); ++at) {
      AddCell(at, view_.Total()[at], view_.Columns()[at].total, false);
    }
    out_ += "</tr>\n</tfoot>\n";
  }

  void AddCell(std::size_t at, const Kt_Variant& value, Kt_Aggregate made_by, bool marks_null) {
    const Column& column = columns_[at];
    const char* const attributes = column.numeric ? " class=\"n\"" : "";
    if (value.IsEmpty()) {
      out_ += fmt::format("<td{}>{}</td>", attributes,
                          marks_null ? "<span class=\"null\">·</span>" : "");
      return;
    }
    // Blanks as wide as a digit and as a point keep the points below each other.
    const Kt_WString text = column.format.Padded(value, made_by, u'\u2007', u'\u2008');
    out_ += fmt::format("<td{}>{}</td>", attributes, HtmlText(text));
  }

  const Kt_CliView& view_;
  const HtmlOptions& options_;
  kt_long rows_ = 0;
  std::vector<Column> columns_;
  std::string out_;
};

bool IsAllowed(char16_t unit) {
  return (unit >= 0x20 && unit < 0x7F) || unit == u'\t' || unit == u'\n' ||
         (unit >= 0xA0 && unit < 0xFFFE);
}

}  // namespace

std::string HtmlPage(const Kt_CliView& view, const HtmlOptions& options) {
  return Page(view, options).Make();
}

std::string HtmlText(const Kt_WString& text) {
  Kt_WString allowed = text;
  for (kt_long at = 0; at < text.GetLength(); ++at) {
    if (!IsAllowed(text.GetAt(at))) allowed.SetAt(at, u'\uFFFD');
  }
  std::string out;
  for (const char unit : allowed.ToUtf8()) {  // lone surrogates go out as U+FFFD
    switch (unit) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      case '"': out += "&quot;"; break;
      case '\'': out += "&#39;"; break;
      default: out += unit;
    }
  }
  return out;
}

}  // namespace kt::cli
