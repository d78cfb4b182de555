// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/base/Kt_Types.h"

namespace kt::detail {

// The row in which expressions are evaluated, for messages about them. Set once for a walk over
// many rows, whose number is then read where it stands; negative: none. Scopes nest, the innermost
// counts. Threads: each has its own.
class KT_SCRIPT_API RowMark {
 public:
  // Borrows the number.
  explicit RowMark(const kt_long& row);
  RowMark(const RowMark&) = delete;
  RowMark& operator=(const RowMark&) = delete;
  ~RowMark();

  static kt_long Current();

 private:
  const kt_long* outer_;
};

}  // namespace kt::detail
