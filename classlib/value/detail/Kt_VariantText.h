// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/text/Kt_Number.h"
#include "classlib/value/Kt_Variant.h"

namespace kt::detail {

// Lists inside lists are looked into this far, by the text form and by comparisons; anything deeper
// counts as empty. Data is never nested so deeply; what is, is a ring or an attack.
inline constexpr int kMaxListDepth = 64;

// Items that one text form or comparison may visit inside inner lists. Lists that share their
// parts are exponentially larger to walk than to build; without a bound a few lines of script
// would run for ever. This many take a fraction of a second, and a quarter of a gigabyte if they
// are real.
inline constexpr std::int64_t kMaxInnerVisits = std::int64_t{1} << 24;

// Appends the text of a value. False when the text would be too long (`out` then ends early).
bool AppendText(const Kt_Variant& value, Kt_WString& out);

// The text of one value for as long as both live; numbers and strings take no memory.
class ValueText {
 public:
  explicit ValueText(const Kt_Variant& value);
  ValueText(const ValueText&) = delete;
  ValueText& operator=(const ValueText&) = delete;

  std::u16string_view View() const { return view_; }
  bool IsTooLong() const { return too_long_; }

 private:
  char16_t number_[kMaxNumberUnits];
  Kt_WString other_;
  std::u16string_view view_;
  bool too_long_ = false;
};

}  // namespace kt::detail
