// SPDX-License-Identifier: MIT
#include "expr/detail/Kt_BoundBlocks.h"

#include <algorithm>

#include "classlib/base/Kt_WorkMeter.h"

namespace kt::detail {

BoundBlocks::BoundBlocks(const BoundForm& form, BoundForm::Places places,
                         const std::ptrdiff_t* strides, std::size_t rows)
    : form_(form),
      blocks_(*form.numbers, rows),
      table_(std::max(form.places.size(), form.names.size())) {
  for (std::size_t at = 0; at < form.names.size(); ++at) {
    const std::size_t place = form.names[at]->place_index;
    Column& column = columns_.emplace_back();
    column.name = form.names[at];
    column.index = form.converts ? at : place;
    column.place = static_cast<const char*>(places[place]);
    column.stride = strides[place];
    if (!column.IsDoubles()) column.read.resize(rows);
    table_[column.index] = column.read.data();
  }
}

bool BoundBlocks::Run(std::size_t first, std::size_t rows, double* out) {
  for (Column& column : columns_) {
    if (!Read(column, first, rows)) return false;
  }
  if (!blocks_.Run(table_.data(), rows, out)) return false;
  const std::int64_t units = form_.numbers->GetUnits();
  return units == 0 || ChargeTime(units * static_cast<std::int64_t>(rows));
}

bool BoundBlocks::Read(Column& column, std::size_t first, std::size_t rows) {
  const std::ptrdiff_t stride = column.stride;
  const char* place = column.place + static_cast<std::ptrdiff_t>(first) * stride;
  if (column.IsDoubles()) {
    table_[column.index] = reinterpret_cast<const double*>(place);
    return true;
  }
  if (column.name->kind == Kt_Bindings::Kind::kDouble) {
    double* const read = column.read.data();
    for (std::size_t row = 0; row < rows; ++row, place += stride) {
      read[row] = *reinterpret_cast<const double*>(place);
    }
    return true;
  }
  for (std::size_t row = 0; row < rows; ++row, place += stride) {
    if (!ReadNumber(*column.name, place, column.read[row])) return false;
  }
  return true;
}

}  // namespace kt::detail
