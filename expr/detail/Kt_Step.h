// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/Kt_VarInline.h"

namespace kt::detail {

// Lists and binaries have no next or previous value.
inline bool CanStep(const Kt_Variant& value) {
  return value.GetTag() != kTagBinary && value.GetTag() != kTagList;
}

// What ++ and -- make of a value: its integer value plus or minus one.
inline Kt_Variant Stepped(const Kt_Variant& value, kt_long step) {
  Kt_Variant result;
  StoreWhole(std::int64_t{value.ToInteger()} + step, result);
  return result;
}

}  // namespace kt::detail
