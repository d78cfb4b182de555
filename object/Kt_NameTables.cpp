// SPDX-License-Identifier: MIT
#include "object/Kt_NameTables.h"

#include <utility>

#include "classlib/text/Kt_WString.h"

namespace {

// Bisection over the inclusive range 0 .. count - 1. The answer for a key below the last pair of
// records differs by table and is passed in; callers treat any negative result as not found.
template <class Row>
int FindRow(const Row* table, int count, const char16_t* name, int below_pair) {
  int low = 0;
  int high = count > 0 ? count - 1 : 0;  // the first record is compared in any case
  while (low != high) {
    const int middle = (low + high) / 2;
    const int order = kt_stricmpW(name, table[middle].name);
    if (order == 0) return middle;
    if (middle == low) {  // two records are left
      if (order < 0) return below_pair;
      return kt_stricmpW(name, table[high].name) == 0 ? high : -1;
    }
    if (order > 0) {
      low = middle + 1;
    } else {
      high = middle - 1;
    }
  }
  return kt_stricmpW(name, table[low].name) == 0 ? low : -1;
}

template <class Row>
int FindInTable(const Row* table, int count, const char16_t* name) {
  return table ? FindRow(table, count, name, -2) : -1;
}

// Quicksort on the inclusive range with its first record as the pivot. The larger side is done by
// the loop, so that a table that is sorted already cannot exhaust the stack.
template <class Row>
void SortRows(Row* table, int first, int last) {
  while (first < last) {
    int boundary = first;
    for (int at = first + 1; at <= last; ++at) {
      if (kt_stricmpW(table[at].name, table[first].name) < 0) {
        std::swap(table[++boundary], table[at]);
      }
    }
    std::swap(table[first], table[boundary]);
    if (boundary - first < last - boundary) {
      SortRows(table, first, boundary - 1);
      first = boundary + 1;
    } else {
      SortRows(table, boundary + 1, last);
      last = boundary - 1;
    }
  }
}

template <class Row>
int SortTable(Row* table, int count) {
  if (table) SortRows(table, 0, count - 1);
  return 0;
}

}  // namespace

int FindIntFuncIdx(const _EXPR_INTFUNC_INFO* table, int count, const char16_t* name) {
  return FindRow(table, count, name, -1);
}

Kt_Getter GetIntFunc(const _EXPR_INTFUNC_INFO* table, int count, const char16_t* name) {
  const int row = FindIntFuncIdx(table, count, name);
  return row < 0 ? nullptr : table[row].handler;
}

int FindSimplePropFuncIdx(const _EXPR_SIMPLEPROP_INFO* table, int count, const char16_t* name) {
  return FindRow(table, count, name, -2);
}
int FindObjMethodFuncIdx(const _EXPR_OBJMETHOD_INFO* table, int count, const char16_t* name) {
  return FindInTable(table, count, name);
}
int FindObjEventFuncIdx(const _EXPR_OBJEVENT_INFO* table, int count, const char16_t* name) {
  return FindInTable(table, count, name);
}
int FindObjPropFuncIdx(const _EXPR_OBJPROP_INFO* table, int count, const char16_t* name) {
  return FindInTable(table, count, name);
}
int FindExtApiFuncIdx(const _EXPR_EXTAPI_INFO* table, int count, const char16_t* name) {
  return FindInTable(table, count, name);
}

int SortObjPropMap(_EXPR_OBJPROP_INFO* table, int count) { return SortTable(table, count); }
int SortObjMethodMap(_EXPR_OBJMETHOD_INFO* table, int count) { return SortTable(table, count); }
int SortObjEventMap(_EXPR_OBJEVENT_INFO* table, int count) { return SortTable(table, count); }
int SortExtApiMap(_EXPR_EXTAPI_INFO* table, int count) { return SortTable(table, count); }
