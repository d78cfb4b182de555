// SPDX-License-Identifier: MIT
#pragma once

#include <vector>

#include "classlib/text/detail/Kt_NameMap.h"
#include "classlib/value/Kt_Variant.h"

namespace kt::detail {

struct Constant {
  Kt_WString id;
  Kt_Variant value;
};

// The constants of a dataset in their order, found by id without regard to case.
class ConstantList {
 public:
  std::size_t size() const { return items_.size(); }
  auto begin() const { return items_.begin(); }
  auto end() const { return items_.end(); }
  const Constant& operator[](std::size_t at) const { return items_[at]; }

  // -1 when there is none of that id.
  kt_long Find(std::u16string_view id) const { return names_.Find(id); }
  // REQUIRES: no constant has the id.
  void Add(const Kt_WString& id, const Kt_Variant& value) {
    // Room first, so that no name is known without its constant.
    if (items_.size() == items_.capacity()) items_.reserve(items_.size() * 2 + 4);
    names_.Add(id, static_cast<kt_long>(items_.size()));
    items_.push_back({id, value});
  }
  void Set(std::size_t at, const Kt_Variant& value) { items_[at].value = value; }
  void Clear() {
    items_.clear();
    names_.Clear();
  }

 private:
  std::vector<Constant> items_;
  NameMap names_;
};

}  // namespace kt::detail
