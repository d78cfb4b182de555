// SPDX-License-Identifier: MIT
#include "object/Kt_RowMark.h"

#include <utility>

namespace kt::detail {
namespace {

KT_THREAD_LOCAL const kt_long* row_of_thread = nullptr;

}  // namespace

RowMark::RowMark(const kt_long& row) : outer_(std::exchange(row_of_thread, &row)) {}

RowMark::~RowMark() { row_of_thread = outer_; }

kt_long RowMark::Current() { return row_of_thread != nullptr ? *row_of_thread : -1; }

}  // namespace kt::detail
