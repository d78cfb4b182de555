// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "classlib/store/Kt_Dataset.h"

// What the targets over datasets hold against each other.
namespace kt::fuzz {

inline void Check(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "broken: %s\n", what);
  std::abort();
}

// Equal to the bit; except that one NaN is as good as another.
inline bool SameNumber(double a, double b) {
  if (std::isnan(a) || std::isnan(b)) return std::isnan(a) && std::isnan(b);
  return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
}

inline bool SameValue(const Kt_Variant& a, const Kt_Variant& b) {
  if (a.GetTag() != b.GetTag()) return false;
  switch (a.GetTag()) {
    case kTagEmpty: return true;
    case kTagLong: return a.AsLong() == b.AsLong();
    case kTagDouble:
    case kTagDateTime: return SameNumber(a.AsDouble(), b.AsDouble());
    case kTagCurrency:
    case kTagBool: return a.AsInt64() == b.AsInt64();
    case kTagString: return a.AsStringView() == b.AsStringView();
    case kTagBinary: return std::ranges::equal(a.AsBinary(), b.AsBinary());
    case kTagList: return std::ranges::equal(a.GetList(), b.GetList(), SameValue);
    default: return false;
  }
}

inline void CheckSameColumns(const Kt_Dataset& a, const Kt_Dataset& b) {
  Check(a.GetColCount() == b.GetColCount(), "the columns are the same");
  for (kt_long col = 0; col < a.GetColCount(); ++col) {
    Check(a.GetColID(col) == b.GetColID(col), "column ids are the same");
    Check(a.GetColType(col) == b.GetColType(col), "column types are the same");
    Check(a.GetColSize(col) == b.GetColSize(col), "column sizes are the same");
    Check(a.GetColMapValue(col) == b.GetColMapValue(col), "column maps are the same");
  }
}

inline void CheckSameCells(const Kt_Dataset& a, const Kt_Dataset& b) {
  CheckSameColumns(a, b);
  Check(a.GetRowCountNF() == b.GetRowCountNF(), "the rows are the same");
  for (kt_long row = 0; row < a.GetRowCountNF(); ++row) {
    for (kt_long col = 0; col < a.GetColCount(); ++col) {
      Check(SameValue(a.ReadColumnNF(row, col), b.ReadColumnNF(row, col)), "cells are the same");
    }
  }
}

// A few bytes can make a table of millions of empty cells; looking at each would take seconds.
inline bool IsLarge(const Kt_Dataset& data) {
  constexpr std::int64_t kMaxCells = std::int64_t{1} << 16;
  return std::int64_t{data.GetColCount()} * data.GetRowCountNF() > kMaxCells;
}

// Cells, states, first values, deleted rows and constants.
inline void CheckSameStates(const Kt_Dataset& a, const Kt_Dataset& b) {
  CheckSameCells(a, b);
  Check(a.GetId() == b.GetId(), "the id is the same");
  Check(a.GetUpdate() == b.GetUpdate(), "both are changed or neither");
  Check(a.GetOrgBuffCount() == b.GetOrgBuffCount(), "the change buffers are the same");
  Check(a.GetDelRowCount() == b.GetDelRowCount(), "the deleted rows are the same");
  for (kt_long row = 0; row < a.GetRowCountNF(); ++row) {
    Check(a.GetRowTypeNF(row) == b.GetRowTypeNF(row), "row states are the same");
  }
  for (kt_long at = 0; at < a.GetOrgBuffCount(); ++at) {
    Check(a.GetOrgBuffType(at) == b.GetOrgBuffType(at), "changes are the same");
  }
  for (kt_long col = 0; col < a.GetColCount(); ++col) {
    for (kt_long at = 0; at < a.GetOrgBuffCount(); ++at) {
      Check(SameValue(a.GetOrgBuffColumn(at, col), b.GetOrgBuffColumn(at, col)),
            "first values are the same");
    }
    for (kt_long at = 0; at < a.GetDelRowCount(); ++at) {
      Check(SameValue(a.GetDelColumn(at, col), b.GetDelColumn(at, col)),
            "deleted cells are the same");
    }
  }
  Check(a.GetConstCount() == b.GetConstCount(), "the constants are the same");
  for (kt_long at = 0; at < a.GetConstCount(); ++at) {
    Check(a.GetConstColID(at) == b.GetConstColID(at), "constant ids are the same");
    Check(SameValue(a.GetConstColumn(at), b.GetConstColumn(at)), "constant values are the same");
  }
}

// What Reset makes of both: deleted rows are remembered with their places.
inline void CheckSameAfterReset(Kt_Dataset a, Kt_Dataset b) {
  a.Reset();
  b.Reset();
  CheckSameStates(a, b);
}

// Every row has one of the three states, and the buffer holds the updated and the deleted ones.
inline void CheckStates(const Kt_Dataset& data) {
  kt_long updated = 0;
  kt_long inserted = 0;
  for (kt_long row = 0; row < data.GetRowCountNF(); ++row) {
    const kt_long type = data.GetRowTypeNF(row);
    updated += type == kRowTypeUpdate ? 1 : 0;
    inserted += type == kRowTypeInsert ? 1 : 0;
    Check(type == kRowTypeNormal || type == kRowTypeUpdate || type == kRowTypeInsert ||
              type == kRowTypeLogical,
          "a row has a state");
  }
  Check(data.GetOrgBuffCount() == updated + data.GetDelRowCount(),
        "the buffer has the updated and the deleted rows");
  Check(data.GetUpdate() == (updated + inserted + data.GetDelRowCount() > 0),
        "changed when a row is");
}

// After ApplyChange nothing is changed; after Reset neither, and no inserted row is left.
inline void CheckEndOfChanges(const Kt_Dataset& data) {
  Kt_Dataset applied(data);
  applied.ApplyChange();
  CheckStates(applied);
  Check(!applied.GetUpdate(), "nothing is changed after ApplyChange");
  CheckSameCells(applied, data);
  Kt_Dataset reset(data);
  reset.Reset();
  CheckStates(reset);
  Check(!reset.GetUpdate(), "nothing is changed after Reset");
}

}  // namespace kt::fuzz
