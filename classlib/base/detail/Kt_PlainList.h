// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>

#include "classlib/base/Kt_Memory.h"

namespace kt::detail {

// The common body of the lists of plain values. GetItem gives T() outside the list; Add gives the
// new index, -1 when the list is full (kMaxListItems); without memory it throws std::bad_alloc.
template <class T>
class Kt_PlainList {
 public:
  kt_long GetCount() const { return static_cast<kt_long>(items_.size()); }
  bool Has(kt_long index) const { return index >= 0 && index < GetCount(); }
  T GetItem(kt_long index) const {
    return Has(index) ? items_[static_cast<std::size_t>(index)] : T();
  }
  // Index of the first equal item, -1 if none.
  kt_long Find(T value) const {
    const auto found = std::find(items_.begin(), items_.end(), value);
    return found == items_.end() ? -1 : static_cast<kt_long>(found - items_.begin());
  }

  kt_long Add(T value) {
    if (GetCount() >= kMaxListItems) return -1;
    items_.push_back(value);
    return GetCount() - 1;
  }
  void SetItem(kt_long index, T value) {
    if (Has(index)) items_[static_cast<std::size_t>(index)] = value;
  }
  void RemoveAt(kt_long index) {
    if (Has(index)) items_.erase(items_.begin() + index);
  }
  void Clear() { items_.clear(); }

 private:
  CountedVector<T> items_;
};

}  // namespace kt::detail
