// SPDX-License-Identifier: MIT
#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <string_view>

#include "classlib/base/Kt_Types.h"
#include "classlib/text/Kt_WString.h"

// An exact amount with four decimals: a 64-bit count of ten-thousandths, about +-922 trillion.
//
//   Kt_Currency price = *Kt_Currency::FromText(u"12.50");
//   Kt_Currency total;
//   if (!price.Mul(3, total)) ...                        // too large: go on with ToDouble()
//   total.ToText();                                      // "37.5"
//
// Results that need more than four decimals are rounded, halves away from zero. An operation whose
// result does not fit returns false (or nothing) and leaves `result` as it was.
struct KT_CLASS_API Kt_Currency {
  static constexpr std::int64_t kScale = 10000;

  std::int64_t units = 0;  // ten-thousandths

  static constexpr Kt_Currency FromUnits(std::int64_t units) { return Kt_Currency{units}; }
  static constexpr Kt_Currency FromLong(kt_long value) { return Kt_Currency{value * kScale}; }
  // Nothing when out of range or not a number.
  static std::optional<Kt_Currency> FromDouble(double value);
  // The whole text must be a number: blanks, a sign, digits with at most one '.', blanks. Nothing
  // when it is not, or is out of range.
  static std::optional<Kt_Currency> FromText(std::u16string_view text);

  double ToDouble() const { return static_cast<double>(units) / static_cast<double>(kScale); }
  // Without zeros that say nothing: "12.5", "3", "-0.0001".
  Kt_WString ToText() const;

  [[nodiscard]] bool Add(Kt_Currency other, Kt_Currency& result) const;
  [[nodiscard]] bool Sub(Kt_Currency other, Kt_Currency& result) const;
  [[nodiscard]] bool Mul(kt_long factor, Kt_Currency& result) const;
  [[nodiscard]] bool Mul(Kt_Currency factor, Kt_Currency& result) const;
  // Also false for a divisor of 0.
  [[nodiscard]] bool Div(kt_long divisor, Kt_Currency& result) const;

  friend constexpr auto operator<=>(const Kt_Currency&, const Kt_Currency&) = default;
};
