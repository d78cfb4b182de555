// SPDX-License-Identifier: MIT
#pragma once

#include <optional>

#include "classlib/store/Kt_Dataset.h"

namespace kt::cli {

// The text in at most `width` columns of a terminal, with "…" in place of what does not fit.
// REQUIRES: width > 0.
Kt_WString CutToWidth(const Kt_WString& text, kt_long width);

}  // namespace kt::cli

// How the cells of one column are written, so that they can stand below each other: dates in one
// form, numbers with their points in one line. First all cells that will be shown are measured.
//
//   Kt_CliCellFormat format;
//   for (...) format.Measure(cell);
//   for (...) Use(format.Text(cell));
//
// Threads: one.
class Kt_CliCellFormat {
 public:
  // Shows exactly so many decimals; nothing: those that the numbers have.
  void SetDecimals(std::optional<kt_long> decimals) { decimals_ = decimals; }

  // `made_by`: what made the value of many others. The last digits of a sum of doubles are those
  // that adding lost, those of an average say nothing: neither is shown.
  void Measure(const Kt_Variant& value, Kt_Aggregate made_by = Kt_Aggregate::kNone);
  // Numbers and nothing else was measured.
  bool IsNumeric() const { return has_numbers_ && !has_texts_; }
  // Columns of a terminal that the widest cell takes.
  kt_long Width() const;

  // The text of a value: visible controls; a date in the form of the column; a null is empty.
  Kt_WString Text(const Kt_Variant& value, Kt_Aggregate made_by = Kt_Aggregate::kNone) const;
  // Of a number in a numeric column: with `pad` after it for the decimals that others have more,
  // and `point_pad` for a point that it has not.
  Kt_WString Padded(const Kt_Variant& value, Kt_Aggregate made_by, char16_t pad,
                    char16_t point_pad) const;

 private:
  Kt_WString NumberText(const Kt_Variant& value, Kt_Aggregate made_by) const;
  Kt_WString DateText(const Kt_Variant& value) const;

  std::optional<kt_long> decimals_;
  bool has_numbers_ = false;
  bool has_texts_ = false;
  bool has_times_ = false;  // a date with a time of day
  bool has_milliseconds_ = false;
  kt_long text_width_ = 0;
  kt_long date_width_ = 0;
  kt_long whole_width_ = 0;     // before the point
  kt_long decimals_width_ = 0;  // from the point on
};
