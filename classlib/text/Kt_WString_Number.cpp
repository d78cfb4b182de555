// SPDX-License-Identifier: MIT
//
// Numbers at the start of a text. No locale: the decimal point is always '.'.

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <limits>

#include "classlib/base/Kt_Charge.h"
#include "classlib/text/Kt_WString.h"
#include "classlib/text/detail/Kt_Blank.h"
#include "classlib/text/detail/Kt_FromChars.h"

namespace {

bool IsDigit(char16_t unit) { return unit >= u'0' && unit <= u'9'; }

// Reads a text from left to right; past its end every unit is 0.
class Scanner {
 public:
  explicit Scanner(std::u16string_view text) : text_(text) {}

  char16_t Peek(std::size_t ahead = 0) const {
    return at_ + ahead < text_.size() ? text_[at_ + ahead] : u'\0';
  }
  void Skip() {
    if (!kt::detail::GoesOnAt(at_++)) text_ = {};
  }
  // Takes a sign if there is one; true for '-'.
  bool TakeSign() {
    const char16_t unit = Peek();
    if (unit == u'-' || unit == u'+') Skip();
    return unit == u'-';
  }

 private:
  std::u16string_view text_;
  std::size_t at_ = 0;
};

// A decimal number as digits times a power of ten. A double is decided by its first 767
// significant digits and by whether anything but zeros follows, so the rest is folded into one
// more digit and a text of any length is read in a fixed space.
class Decimal {
 public:
  void AddDigit(char digit, bool behind_point) {
    if (count_ == 0 && digit == '0') {
      if (behind_point) --exponent_;
      return;
    }
    if (count_ < kMaxDigits) {
      digits_[count_++] = digit;
      if (behind_point) --exponent_;
      return;
    }
    if (digit != '0') digits_[kMaxDigits - 1] = '1';
    if (!behind_point) ++exponent_;
  }

  void AddExponent(std::int64_t exponent) { exponent_ += exponent; }

  double Value() {
    if (count_ == 0) return 0.0;
    const std::int64_t point = exponent_ + count_;  // the value is 0.ddd times 10 to this power
    if (point > 400) return std::numeric_limits<double>::infinity();
    if (point < -400) return 0.0;
    char* const exponent_start = digits_ + count_;
    *exponent_start = 'e';
    const char* const end =
        std::to_chars(exponent_start + 1, digits_ + sizeof digits_, exponent_).ptr;
    double value = 0.0;
    const auto read = kt::detail::FromChars(digits_, end, value);
    if (read.ec == std::errc()) return value;
    return point > 0 ? std::numeric_limits<double>::infinity() : 0.0;
  }

 private:
  static constexpr int kMaxDigits = 769;
  char digits_[kMaxDigits + 24];
  int count_ = 0;
  std::int64_t exponent_ = 0;
};

// The exponent after an 'e', clamped to what no number needs; 0, and nothing taken, if there are
// no digits after the 'e'.
std::int64_t TakeExponent(Scanner& in) {
  constexpr std::int64_t kHuge = 1'000'000'000'000;
  if (in.Peek() != u'e' && in.Peek() != u'E') return 0;
  const bool has_sign = in.Peek(1) == u'-' || in.Peek(1) == u'+';
  if (!IsDigit(in.Peek(has_sign ? 2 : 1))) return 0;
  in.Skip();
  const bool negative = in.TakeSign();
  std::int64_t exponent = 0;
  for (; IsDigit(in.Peek()); in.Skip()) {
    exponent = std::min(exponent * 10 + (in.Peek() - u'0'), kHuge);
  }
  return negative ? -exponent : exponent;
}

}  // namespace

namespace {

// The usual numbers, of up to 15 digits and nothing but those, a sign and a point: digits and the
// power of ten are doubles then, and the division rounds once. False, and nothing told, for others.
bool ReadShort(std::u16string_view text, double& value) {
  constexpr std::size_t kMostDigits = 15;
  static constexpr double kPowers[] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                       1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
  const bool is_negative = !text.empty() && text[0] == u'-';
  if (is_negative) text.remove_prefix(1);
  if (text.size() > kMostDigits + 1) return false;
  std::int64_t digits = 0;
  std::size_t count = 0;
  std::size_t point = text.size();
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (IsDigit(text[at])) {
      digits = digits * 10 + (text[at] - u'0');
      ++count;
    } else if (text[at] == u'.' && point == text.size()) {
      point = at;
    } else {
      return false;
    }
  }
  if (count == 0 || count > kMostDigits) return false;
  const auto whole = static_cast<double>(digits);
  const double read = point < text.size() ? whole / kPowers[text.size() - 1 - point] : whole;
  value = is_negative ? -read : read;
  return true;
}

}  // namespace

kt_long Kt_WString::ToInteger() const {
  constexpr std::int64_t kTooMuch = std::int64_t{1} << 40;
  Scanner in(kt::detail::WithoutLeadingBlanks(View()));
  const bool negative = in.TakeSign();
  std::int64_t value = 0;
  for (; IsDigit(in.Peek()); in.Skip()) {
    value = std::min(value * 10 + (in.Peek() - u'0'), kTooMuch);
  }
  if (negative) value = -value;
  return static_cast<kt_long>(std::clamp<std::int64_t>(value, std::numeric_limits<kt_long>::min(),
                                                       std::numeric_limits<kt_long>::max()));
}

double Kt_WString::ToDouble() const {
  if (double value = 0; KT_LIKELY(ReadShort(View(), value))) return value;
  Scanner in(kt::detail::WithoutLeadingBlanks(View()));
  const bool negative = in.TakeSign();
  Decimal number;
  bool behind_point = false;
  bool any_digit = false;
  for (;; in.Skip()) {
    const char16_t unit = in.Peek();
    if (IsDigit(unit)) {
      number.AddDigit(static_cast<char>(unit), behind_point);
      any_digit = true;
    } else if (unit == u'.' && !behind_point) {
      behind_point = true;
    } else {
      break;
    }
  }
  if (!any_digit) return 0.0;
  number.AddExponent(TakeExponent(in));
  const double value = number.Value();
  return negative ? -value : value;
}
