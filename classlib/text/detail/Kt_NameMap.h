// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>
#include <unordered_map>

#include "classlib/base/Kt_Charge.h"
#include "classlib/text/Kt_WString.h"
#include "classlib/text/detail/Kt_TextHash.h"

namespace kt::detail {

// Index of the first item of a name, without regard to case.
class NameMap {
 public:
  // -1 when there is no such name, or the work is stopped.
  kt_long Find(std::u16string_view name) const {
    const auto found = indexes_.find(name);
    return found == indexes_.end() ? -1 : found->second;
  }
  // The map shares the text of `name`: names may be long.
  void Add(const Kt_WString& name, kt_long index) {
    const auto [place, is_new] = indexes_.emplace(name, index);
    if (KT_LIKELY(!is_new || name.View().size() <= kShortUnits || kt::Charge(0))) return;
    indexes_.erase(place);  // its hash is of no use
    throw WorkStopped();
  }
  void Clear() { indexes_.clear(); }

 private:
  struct Hash {
    using is_transparent = void;
    std::size_t operator()(std::u16string_view name) const { return FoldedTextHash(name); }
  };
  struct Equal {
    using is_transparent = void;
    bool operator()(std::u16string_view a, std::u16string_view b) const {
      return a.size() == b.size() && kt_stricmpW(a, b) == 0;
    }
  };
  std::unordered_map<Kt_WString, kt_long, Hash, Equal> indexes_;
};

}  // namespace kt::detail
