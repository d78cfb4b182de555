// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string_view>

#include "object/Kt_ExprObject.h"

namespace kt {

// The texts that were seen last, for those who parse many names or expressions: equal texts share
// one buffer, which keeps the symbol of a name as well, and a called name is looked up among the
// built-in functions once.
//
// A table without chains: a text takes the place of another one that falls on the same slot. Long
// texts are not kept. Threads: one at a time.
class ExprTexts {
 public:
  struct Known {
    Kt_WString text;
    int row = kUnasked;  // of the built-in function of that name

    int BuiltinRow() {
      if (row == kUnasked) {
        row = FindIntFuncIdx(Kt_ExprObject::GetIntFuncMap(), Kt_ExprObject::GetIntFuncCount(),
                             text.GetText());
      }
      return row;
    }
  };

  // Stays good until the next call.
  Known& Get(std::u16string_view text) {
    if (slots_ == nullptr) slots_ = std::make_unique<Known[]>(kSlots + 1);
    Known& known = slots_[text.size() <= kLongest ? SlotOf(text) : kSlots];
    if (known.text.View() != text) known = {Kt_WString(text), kUnasked};
    return known;
  }

 private:
  static constexpr int kUnasked = -9;
  static constexpr std::size_t kSlots = 128;
  static constexpr std::size_t kLongest = 32;

  static std::size_t SlotOf(std::u16string_view text) {
    std::uint32_t hash = 0;
    for (const char16_t unit : text) hash = (hash ^ unit) * 0x9E3779B1U;
    return hash >> 25;
  }
  static_assert(kSlots == std::size_t{1} << (32 - 25));

  std::unique_ptr<Known[]> slots_;  // the last one is for long texts; made when it is needed
};

}  // namespace kt
