// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <vector>

#include "classlib/base/Kt_Types.h"
#include "classlib/store/Kt_Keys.h"
#include "classlib/value/Kt_Aggregate.h"

namespace kt::detail {

struct SortKey {
  kt_long col;
  bool ascending;
};

// A column that orders, groups or is totalled.
struct Key {
  Kt_KeyType type;
  kt_long col;
  bool ascending;
  Kt_Aggregate subtotal;
};

// The keys of a dataset, of all types, in the order in which they were given.
class KeyList {
 public:
  auto begin() const { return keys_.begin(); }
  auto end() const { return keys_.end(); }

  // Adds a key, or removes or changes that of its type and column. False when it is known already,
  // or unknown; nothing has changed then.
  bool Modify(Kt_KeyCall call, const Key& key) {
    const auto found = std::find_if(keys_.begin(), keys_.end(), [&](const Key& known) {
      return known.type == key.type && known.col == key.col;
    });
    const bool is_known = found != keys_.end();
    if (is_known != (call != Kt_KeyCall::kAdd)) return false;
    if (call == Kt_KeyCall::kRemove) {
      keys_.erase(found);
    } else if (is_known) {
      *found = key;
    } else {
      keys_.push_back(key);
    }
    return true;
  }
  void Clear() { keys_.clear(); }
  // Puts others in the place of those of one type.
  void Replace(Kt_KeyType type, const std::vector<SortKey>& keys) {
    std::erase_if(keys_, [type](const Key& key) { return key.type == type; });
    for (const SortKey& key : keys) {
      keys_.push_back({type, key.col, key.ascending, Kt_Aggregate::kNone});
    }
  }
  // Gives each key the column that find(n) knows for the n-th, and drops those that have none.
  template <class Find>
  void Follow(Find find) {
    for (std::size_t at = 0; at < keys_.size(); ++at) keys_[at].col = find(at);
    std::erase_if(keys_, [](const Key& key) { return key.col < 0; });
  }

  // Whether they make a cross table.
  bool HasPivotKeys() const {
    return std::any_of(keys_.begin(), keys_.end(), [](const Key& key) {
      return key.type == Kt_KeyType::kPivotRow || key.type == Kt_KeyType::kPivotColumn;
    });
  }

 private:
  std::vector<Key> keys_;
};

}  // namespace kt::detail
