// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

// The types of PostgreSQL by their numbers (pg_type.oid), the same in every version.
namespace kt::detail::pg {

inline constexpr std::uint32_t kBool = 16;
inline constexpr std::uint32_t kInt8 = 20;
inline constexpr std::uint32_t kInt2 = 21;
inline constexpr std::uint32_t kInt4 = 23;
inline constexpr std::uint32_t kText = 25;
inline constexpr std::uint32_t kOid = 26;
inline constexpr std::uint32_t kFloat4 = 700;
inline constexpr std::uint32_t kFloat8 = 701;
inline constexpr std::uint32_t kBpchar = 1042;
inline constexpr std::uint32_t kVarchar = 1043;
inline constexpr std::uint32_t kDate = 1082;
inline constexpr std::uint32_t kTimestamp = 1114;
inline constexpr std::uint32_t kTimestampTz = 1184;
inline constexpr std::uint32_t kNumeric = 1700;

// Collations by their numbers (pg_collation.oid). Two of them order by bytes, on every server.
inline constexpr std::uint32_t kDefaultCollation = 100;
inline constexpr std::uint32_t kCollationC = 950;
inline constexpr std::uint32_t kCollationPosix = 951;
inline constexpr bool IsByteOrder(std::uint32_t collation) {
  return collation == kCollationC || collation == kCollationPosix;
}

}  // namespace kt::detail::pg
