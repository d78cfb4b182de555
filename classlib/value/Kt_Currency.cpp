// SPDX-License-Identifier: MIT
#include "classlib/value/Kt_Currency.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

#include "classlib/base/Kt_Charge.h"
#include "classlib/base/detail/Kt_Wide.h"
#include "classlib/text/detail/Kt_Blank.h"

namespace {

constexpr int kDecimals = 4;
constexpr std::uint64_t kMaxUnits = std::numeric_limits<std::int64_t>::max();

// The least number has no positive counterpart among signed ones.
std::uint64_t MagnitudeOf(std::int64_t value) {
  const auto bits = static_cast<std::uint64_t>(value);
  return value < 0 ? 0 - bits : bits;
}

bool Store(bool negative, std::uint64_t magnitude, Kt_Currency& result) {
  if (magnitude > kMaxUnits + (negative ? 1 : 0)) return false;
  result.units = static_cast<std::int64_t>(negative ? 0 - magnitude : magnitude);
  return true;
}

// The quotient by a divisor below 2^32, halves away from zero; false when it is beyond 64 bits.
bool RoundedQuotient(kt::detail::WideProduct value, std::uint64_t divisor,
                     std::uint64_t& quotient) {
  if (value.high >= divisor) return false;
  const std::uint64_t upper = value.high << 32 | value.low >> 32;
  const std::uint64_t lower = upper % divisor << 32 | (value.low & 0xFFFFFFFF);
  quotient = (upper / divisor << 32) + lower / divisor;
  if (lower % divisor * 2 < divisor) return true;
  return ++quotient != 0;
}

// Reads the digits of an unsigned amount.
class AmountReader {
 public:
  // False when `unit` can be no part of a number.
  bool Take(char16_t unit) {
    if (unit == u'.' && !behind_point_) {
      behind_point_ = true;
      return true;
    }
    if (unit < u'0' || unit > u'9') return false;
    any_digit_ = true;
    TakeDigit(unit - u'0');
    return true;
  }

  bool HasDigits() const { return any_digit_; }

  // At most kTooMuch.
  std::uint64_t Units() {
    for (; decimals_ < kDecimals; ++decimals_) Append(0);
    return round_up_ ? units_ + 1 : units_;
  }

 private:
  // Past all amounts: more digits cannot bring it back. Leaves room for one more when rounding.
  static constexpr std::uint64_t kTooMuch = kMaxUnits + 2;

  void Append(int digit) {
    const bool fits = units_ <= kMaxUnits / 10 + 1;
    units_ = fits ? std::min(units_ * 10 + static_cast<unsigned>(digit), kTooMuch) : kTooMuch;
  }

  void TakeDigit(int digit) {
    if (!behind_point_ || decimals_ < kDecimals) {
      Append(digit);
    } else if (decimals_ == kDecimals) {
      round_up_ = digit >= 5;
    }
    if (behind_point_ && decimals_ <= kDecimals) ++decimals_;
  }

  std::uint64_t units_ = 0;
  int decimals_ = 0;
  bool behind_point_ = false;
  bool any_digit_ = false;
  bool round_up_ = false;
};

// An optional sign and an amount, nothing around them.
template <class Unit>
std::optional<Kt_Currency> ReadAmount(std::basic_string_view<Unit> text) {
  const bool negative = text.starts_with(Unit{'-'});
  if (negative || text.starts_with(Unit{'+'})) text.remove_prefix(1);
  AmountReader reader;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (!reader.Take(static_cast<char16_t>(text[at])) || !kt::detail::GoesOnAt(at, 4)) {
      return std::nullopt;
    }
  }
  Kt_Currency result;
  if (!reader.HasDigits() || !Store(negative, reader.Units(), result)) return std::nullopt;
  return result;
}

}  // namespace

std::optional<Kt_Currency> Kt_Currency::FromDouble(double value) {
  // Through the shortest decimal text that means this double: 1.00015 is held a little below, and
  // arithmetic on it would round the half that the user wrote downwards. Scaling a large value
  // would lose its last digits, too.
  constexpr double kBeyond = 1e15;
  if (!(value > -kBeyond && value < kBeyond)) return std::nullopt;
  if (std::abs(value) < 1e-5) return Kt_Currency{};
  char narrow[32];  // at most 15 digits before the point; below 1e-5 nothing comes here
  const char* const end =
      std::to_chars(narrow, narrow + sizeof narrow, value, std::chars_format::fixed).ptr;
  return ReadAmount(std::string_view(narrow, end));
}

std::optional<Kt_Currency> Kt_Currency::FromText(std::u16string_view text) {
  return ReadAmount(kt::detail::WithoutBlanks(text));
}

Kt_WString Kt_Currency::ToText() const {
  char16_t buffer[24];
  char16_t* const end = buffer + 24;
  char16_t* at = end;
  std::uint64_t rest = MagnitudeOf(units);
  bool shown = false;
  for (int place = 0; place < kDecimals; ++place, rest /= 10) {
    const auto digit = static_cast<char16_t>(rest % 10);
    shown = shown || digit != 0;
    if (shown) *--at = static_cast<char16_t>(u'0' + digit);
  }
  if (shown) *--at = u'.';
  do {
    *--at = static_cast<char16_t>(u'0' + rest % 10);
    rest /= 10;
  } while (rest != 0);
  if (units < 0) *--at = u'-';
  return Kt_WString(at, static_cast<kt_long>(end - at));
}

bool Kt_Currency::Add(Kt_Currency other, Kt_Currency& result) const {
  using Limits = std::numeric_limits<std::int64_t>;
  const bool fits = other.units >= 0 ? units <= Limits::max() - other.units
                                     : units >= Limits::min() - other.units;
  if (fits) result.units = units + other.units;
  return fits;
}

bool Kt_Currency::Sub(Kt_Currency other, Kt_Currency& result) const {
  using Limits = std::numeric_limits<std::int64_t>;
  const bool fits = other.units >= 0 ? units >= Limits::min() + other.units
                                     : units <= Limits::max() + other.units;
  if (fits) result.units = units - other.units;
  return fits;
}

bool Kt_Currency::Mul(kt_long factor, Kt_Currency& result) const {
  const auto product = kt::detail::MultiplyWide(MagnitudeOf(units), MagnitudeOf(factor));
  return product.high == 0 && Store((units < 0) != (factor < 0), product.low, result);
}

bool Kt_Currency::Mul(Kt_Currency factor, Kt_Currency& result) const {
  const auto product = kt::detail::MultiplyWide(MagnitudeOf(units), MagnitudeOf(factor.units));
  std::uint64_t magnitude = 0;
  return RoundedQuotient(product, kScale, magnitude) &&
         Store((units < 0) != (factor.units < 0), magnitude, result);
}

bool Kt_Currency::Div(kt_long divisor, Kt_Currency& result) const {
  std::uint64_t magnitude = 0;
  return divisor != 0 &&
         RoundedQuotient({0, MagnitudeOf(units)}, MagnitudeOf(divisor), magnitude) &&
         Store((units < 0) != (divisor < 0), magnitude, result);
}
