// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

#include "classlib/text/Kt_WString.h"

// What is made of the values of several rows; the codes that ModifyKeyStat takes.
enum class Kt_Aggregate : std::uint8_t { kNone, kSum, kAvg, kMax, kMin, kCount };

namespace kt::detail {
inline constexpr std::u16string_view kAggregateNames[] = {u"",    u"sum", u"avg",
                                                          u"max", u"min", u"count"};
}

// "sum" and so on; empty for kNone.
inline std::u16string_view kt_aggregatenameW(Kt_Aggregate what) {
  return kt::detail::kAggregateNames[static_cast<std::size_t>(what)];
}
// The aggregate of that name in any case; kNone for every other text.
inline Kt_Aggregate kt_findaggregateW(const Kt_WString& name) {
  constexpr Kt_Aggregate kAll[] = {Kt_Aggregate::kSum, Kt_Aggregate::kAvg, Kt_Aggregate::kMax,
                                   Kt_Aggregate::kMin, Kt_Aggregate::kCount};
  for (const Kt_Aggregate what : kAll) {
    if (name.EqualsNoCase(kt_aggregatenameW(what))) return what;
  }
  return Kt_Aggregate::kNone;
}
