// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>
#include <unordered_map>

#include "classlib/Kt_WString.h"
#include "classlib/detail/Kt_TextHash.h"

namespace kt::detail {

// Index of the first item of a name, without regard to case.
class NameMap {
 public:
  // -1 when there is no such name.
  kt_long Find(std::u16string_view name) const {
    const auto found = indexes_.find(name);
    return found == indexes_.end() ? -1 : found->second;
  }
  void Add(std::u16string_view name, kt_long index) { indexes_.emplace(name, index); }
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
  std::unordered_map<std::u16string, kt_long, Hash, Equal> indexes_;
};

}  // namespace kt::detail
