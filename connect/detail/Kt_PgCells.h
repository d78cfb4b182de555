// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string_view>

#include "connect/detail/Kt_ColumnBuilder.h"

namespace kt::detail {

// A type of PostgreSQL whose values are read as they are sent in binary form. All others are asked
// for as texts.
struct PgType {
  std::uint32_t number;  // pg_type.oid, the same in every version
  Kt_ColumnType type;    // of a column of nulls
  // Adds a cell. False, and nothing added, for bytes that are no such value.
  bool (*read)(std::string_view bytes, ColumnBuilder& cells);
  bool is_comparable;  // with its own kind, by =
};

inline constexpr std::uint32_t kPgBytea = 17;
inline constexpr std::uint32_t kPgText = 25;
inline constexpr std::uint32_t kPgDate = 1082;

// Null for a type that is read as a text.
const PgType* FindPgType(std::uint32_t number);

}  // namespace kt::detail
