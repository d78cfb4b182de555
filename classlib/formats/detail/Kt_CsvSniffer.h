// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <vector>

#include "classlib/formats/detail/Kt_CsvScanner.h"

namespace kt::detail {

// Finds out from a CSV text what separates its cells and whether they have quotes.
template <class Unit>
class CsvSniffer {
 public:
  using View = std::basic_string_view<Unit>;

  CsvSniffer(View text, std::int64_t skip) : text_(text), skip_(skip) {}

  // The separator under which the largest share of the first records has the same number of cells,
  // and more than one. A tie goes to `preferred`, then to the one that makes more cells; when none
  // cuts anything, it is `preferred`.
  Unit Separator(CsvFormat<Unit> format, Unit preferred) const {
    Cut best;
    Unit separator = preferred;
    for (const Unit candidate : {preferred, Unit{','}, Unit{';'}, Unit{'\t'}, Unit{'|'}}) {
      if (candidate == format.quote || candidate == format.comment) continue;
      format.separator = candidate;
      const Cut cut = CutBy(format);
      const std::size_t share = cut.alike * best.records;
      const std::size_t best_share = best.alike * cut.records;
      const bool wins = share > best_share ||
                        (share == best_share && separator != preferred && cut.width > best.width);
      if (cut.alike == 0 || (best.alike > 0 && !wins)) continue;
      best = cut;
      separator = candidate;
    }
    return separator;
  }

  // Whether the cells have quotes: not when there are records that break the rules about them, or
  // that take up several lines, and without quotes no more records have the wrong number of cells.
  bool HasQuotes(CsvFormat<Unit> format) const {
    if (text_.find(format.quote) == View::npos) return true;
    const Fit quoted = FitOf(format);
    if (!quoted.any_bad && (!quoted.any_long || quoted.width == 1)) return true;
    format.quote = 0;
    return FitOf(format).misfits > quoted.misfits;
  }

 private:
  using Scanner = CsvScanner<Unit>;
  using Cells = typename Scanner::Cells;

  struct Cut {
    std::size_t records = 0;
    std::size_t alike = 0;  // with `width` cells
    std::size_t width = 0;
  };
  struct Fit {
    std::size_t width = 0;    // cells of the first record
    std::size_t misfits = 0;  // records that are bad or have another number of cells
    bool any_bad = false;
    bool any_long = false;  // of several lines
  };

  // Visits the records that are not empty until visit() gives false.
  template <class Visit>
  void EachRecord(const CsvFormat<Unit>& format, Visit visit) const {
    Scanner scanner(text_, format);
    scanner.SkipLines(skip_);
    Cells cells;
    for (;;) {
      const auto row = scanner.Next(cells);
      if (row == Scanner::Row::kEnd) return;
      const bool is_good = row == Scanner::Row::kGood;
      if (is_good && cells.size() == 1 && cells[0].IsNull()) continue;
      if (!visit(scanner, is_good ? cells.size() : 0)) return;
    }
  }

  Cut CutBy(const CsvFormat<Unit>& format) const {
    constexpr std::size_t kRecords = 100;
    std::vector<std::size_t> widths;
    EachRecord(format, [&](const Scanner&, std::size_t width) {
      widths.push_back(width);
      return widths.size() < kRecords;
    });
    Cut cut;
    cut.records = widths.size();
    for (const std::size_t width : widths) {
      const auto alike = static_cast<std::size_t>(std::ranges::count(widths, width));
      if (width < 2 || alike < cut.alike) continue;
      cut.alike = alike;
      cut.width = width;
    }
    return cut;
  }

  Fit FitOf(const CsvFormat<Unit>& format) const {
    Fit fit;
    EachRecord(format, [&](const Scanner& scanner, std::size_t width) {
      if (fit.width == 0) fit.width = width;
      fit.misfits += width != fit.width ? 1 : 0;
      fit.any_bad = fit.any_bad || width == 0;
      fit.any_long = fit.any_long || scanner.HasLineEnds();
      return true;
    });
    return fit;
  }

  View text_;
  std::int64_t skip_;
};

}  // namespace kt::detail
