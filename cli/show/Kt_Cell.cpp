// SPDX-License-Identifier: MIT
#include "cli/show/Kt_Cell.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "classlib/text/Kt_NumberFormat.h"
#include "classlib/text/Kt_Unicode.h"
#include "cli/Kt_Text.h"
#include "cli/Kt_Visible.h"

namespace kt::cli {
Kt_WString CutToWidth(const Kt_WString& text, kt_long width) {
  const std::u16string_view view = text;
  kt_long used = 0;
  std::size_t fits = 0;  // with the mark after it
  for (std::size_t at = 0; at < view.size();) {
    const auto units = static_cast<std::size_t>(kt_codepointW(view, at).units);
    used += kt_displaywidthW(view.substr(at, units));
    if (used > width) return Kt_WString(view.substr(0, fits)) + u"…";
    at += units;
    if (used < width) fits = at;
  }
  return text;
}

}  // namespace kt::cli

namespace {

// The pattern for a double with so many significant digits, but at least `decimals` decimals.
Kt_WString PatternOf(double value, int digits, int decimals) {
  constexpr int kMost = 20;
  const double size = std::abs(value);
  const int whole = size > 0 && std::isfinite(size) ? static_cast<int>(std::log10(size)) : 0;
  const int shown = std::clamp(digits - whole, decimals, kMost);
  Kt_WString pattern(shown > 0 ? u"0." : u"0");
  for (int digit = 0; digit < shown; ++digit) pattern += u'#';
  return pattern;
}

bool IsNumber(const Kt_Variant& value) {
  const Kt_Tag tag = value.GetTag();
  return tag == kTagLong || tag == kTagDouble || tag == kTagCurrency;
}

kt_long PointAt(const Kt_WString& number) {
  const kt_long point = number.Find(u".");
  return point < 0 ? number.GetLength() : point;
}

}  // namespace

Kt_WString Kt_CliCellFormat::NumberText(const Kt_Variant& value, Kt_Aggregate made_by) const {
  Kt_WString plain = value.ToString();
  Kt_WString out;
  if (decimals_ && !value.IsLong()) {
    Kt_WString pattern(u"0.");
    for (kt_long digit = 0; digit < *decimals_; ++digit) pattern += u'0';
    if (*decimals_ == 0) pattern = u"0";
    if (kt_formatpatternW(plain, pattern, out)) return out;
  }
  const bool is_average = made_by == Kt_Aggregate::kAvg;
  if (value.IsDouble() && (is_average || made_by == Kt_Aggregate::kSum)) {
    const Kt_WString pattern = PatternOf(value.AsDouble(), is_average ? 3 : 11, is_average ? 4 : 0);
    if (plain.Find(u"e") < 0 && kt_formatpatternW(plain, pattern, out)) return out;
  }
  return plain;
}

Kt_WString Kt_CliCellFormat::DateText(const Kt_Variant& value) const {
  Kt_WString text = value.ToDateTime().ToText(has_milliseconds_);
  if (text.IsEmpty()) return value.ToString();
  if (has_times_ && text.Find(u":") < 0) text += u" 00:00:00";
  if (has_milliseconds_ && text.Find(u".") < 0) text += u".000";
  return text;
}

void Kt_CliCellFormat::Measure(const Kt_Variant& value, Kt_Aggregate made_by) {
  if (value.IsEmpty()) return;
  if (IsNumber(value)) {
    has_numbers_ = true;
    const Kt_WString text = NumberText(value, made_by);
    const kt_long point = PointAt(text);
    whole_width_ = std::max(whole_width_, point);
    decimals_width_ = std::max(decimals_width_, text.GetLength() - point);
    return;
  }
  has_texts_ = true;
  if (value.GetTag() == kTagDateTime) {
    Kt_DateParts parts;
    if (!value.ToDateTime().ToParts(parts)) return;
    has_milliseconds_ |= parts.millisecond != 0;
    has_times_ |= has_milliseconds_ || parts.hour != 0 || parts.minute != 0 || parts.second != 0;
    date_width_ = has_milliseconds_ ? 23 : (has_times_ ? 19 : 10);
    return;
  }
  text_width_ = std::max(text_width_, kt_displaywidthW(Text(value)));
}

kt_long Kt_CliCellFormat::Width() const {
  return std::max({text_width_, date_width_, whole_width_ + decimals_width_});
}

Kt_WString Kt_CliCellFormat::Text(const Kt_Variant& value, Kt_Aggregate made_by) const {
  if (IsNumber(value)) return NumberText(value, made_by);
  if (value.GetTag() == kTagDateTime) return DateText(value);
  if (value.IsString()) return kt::cli::WithVisibleControls(value.AsString());
  return kt::cli::WithVisibleControls(Kt_WString::FromUtf8(kt::cli::ValueText(value)));
}

Kt_WString Kt_CliCellFormat::Padded(const Kt_Variant& value, Kt_Aggregate made_by, char16_t pad,
                                    char16_t point_pad) const {
  Kt_WString text = Text(value, made_by);
  if (!IsNumeric() || !IsNumber(value)) return text;
  kt_long missing = decimals_width_ - (text.GetLength() - PointAt(text));
  if (missing > 0 && PointAt(text) == text.GetLength()) {
    text += point_pad;
    --missing;
  }
  for (; missing > 0; --missing) text += pad;
  return text;
}
