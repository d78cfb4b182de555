// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

// What ModifyKeyStat does, and with which keys; the codes that scripts give.
enum class Kt_KeyCall : std::uint8_t { kAdd, kRemove, kChange, kClear };
enum class Kt_KeyType : std::uint8_t { kSort, kGroup, kPivotRow, kPivotColumn, kPivotValue };
