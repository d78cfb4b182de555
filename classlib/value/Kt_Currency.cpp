// SPDX-License-Identifier: MIT
#include "classlib/value/Kt_Currency.h"

#include <charconv>
#include <cmath>
#include <limits>

#include "classlib/base/Kt_Charge.h"
#include "classlib/text/detail/Kt_Blank.h"

namespace {

__extension__ using Wide = __int128;

constexpr int kDecimals = 4;

bool Store(Wide units, Kt_Currency& result) {
  if (units > std::numeric_limits<std::int64_t>::max()) return false;
  if (units < std::numeric_limits<std::int64_t>::min()) return false;
  result.units = static_cast<std::int64_t>(units);
  return true;
}

// The quotient, halves away from zero.
Wide RoundedQuotient(Wide value, Wide divisor) {
  const Wide quotient = value / divisor;
  const Wide rest = value % divisor;
  const Wide twice = (rest < 0 ? -rest : rest) * 2;
  if (twice < (divisor < 0 ? -divisor : divisor)) return quotient;
  return (value < 0) == (divisor < 0) ? quotient + 1 : quotient - 1;
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

  Wide Units() const {
    Wide units = units_;
    for (int at = decimals_; at < kDecimals; ++at) units *= 10;
    return round_up_ ? units + 1 : units;
  }

 private:
  void TakeDigit(int digit) {
    // Far past 64 bits already: more digits before the point cannot bring it back.
    constexpr Wide kTooMuch = Wide{1} << 80;
    if (!behind_point_) {
      if (units_ < kTooMuch) units_ = units_ * 10 + digit;
      return;
    }
    if (decimals_ < kDecimals) {
      units_ = units_ * 10 + digit;
    } else if (decimals_ == kDecimals) {
      round_up_ = digit >= 5;
    }
    if (decimals_ <= kDecimals) ++decimals_;
  }

  Wide units_ = 0;
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
  const Wide units = reader.Units();
  if (!reader.HasDigits() || !Store(negative ? -units : units, result)) return std::nullopt;
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
  // Unsigned, because the least amount has no positive counterpart.
  const auto raw = static_cast<std::uint64_t>(units);
  std::uint64_t rest = units < 0 ? 0 - raw : raw;
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
  return Store(Wide{units} + other.units, result);
}

bool Kt_Currency::Sub(Kt_Currency other, Kt_Currency& result) const {
  return Store(Wide{units} - other.units, result);
}

bool Kt_Currency::Mul(kt_long factor, Kt_Currency& result) const {
  return Store(Wide{units} * factor, result);
}

bool Kt_Currency::Mul(Kt_Currency factor, Kt_Currency& result) const {
  return Store(RoundedQuotient(Wide{units} * factor.units, kScale), result);
}

bool Kt_Currency::Div(kt_long divisor, Kt_Currency& result) const {
  return divisor != 0 && Store(RoundedQuotient(units, divisor), result);
}
