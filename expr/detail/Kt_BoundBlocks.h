// SPDX-License-Identifier: MIT
#pragma once

#include <vector>

#include "expr/detail/Kt_BoundForm.h"
#include "expr/detail/Kt_NumberBlocks.h"

namespace kt::detail {

// Evaluates a form that has blocks over arrays. Arrays of doubles are read where they are, anything
// else is read into one first. For one thread; borrows the form and the places.
class BoundBlocks {
 public:
  static constexpr std::size_t kRows = NumberBlocks::kRows;

  // For blocks of at most `rows`; places and strides as for Kt_BoundExpr::EvaluateMany.
  BoundBlocks(const BoundForm& form, BoundForm::Places places, const std::ptrdiff_t* strides,
              std::size_t rows);

  // Evaluates `rows` of them, from the evaluation `first` on. False, and `out` as it was unless the
  // work was stopped, when they are to be evaluated one by one.
  bool Run(std::size_t first, std::size_t rows, double* out);

 private:
  struct Column {
    const Kt_Bindings::Item* name;
    std::size_t index;  // among the places of the number code
    const char* place;
    std::ptrdiff_t stride;
    std::vector<double> read;
    bool IsDoubles() const {
      return name->kind == Kt_Bindings::Kind::kDouble && stride == sizeof(double);
    }
  };
  bool Read(Column& column, std::size_t first, std::size_t rows);

  const BoundForm& form_;
  NumberBlocks blocks_;
  std::vector<Column> columns_;
  std::vector<const double*> table_;  // of the places of the number code
};

}  // namespace kt::detail
