// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string_view>

#include "classlib/base/Kt_Types.h"

// What the cells of a column hold.
enum class Kt_ColumnType : std::uint8_t {
  kString,
  kLong,
  kDouble,
  kCurrency,
  kDateTime,
  kBinary,
  kVariant,
};

// The name of a type ("string", "long", ...), and the type of a name without regard to case. Also
// known: text; int, integer; number, float, decimal; date. False for any other name.
KT_CLASS_API std::u16string_view kt_columntypenameW(Kt_ColumnType type);
KT_CLASS_API bool kt_findcolumntypeW(std::u16string_view name, Kt_ColumnType& type);
