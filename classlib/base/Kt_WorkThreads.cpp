// SPDX-License-Identifier: MIT
#include "classlib/base/Kt_WorkThreads.h"

#include <limits>
#include <utility>

namespace {

constexpr std::size_t kNever = std::numeric_limits<std::size_t>::max();

// Items from which on operations of this thread share their work.
KT_THREAD_LOCAL std::size_t least_shared = kNever;

}  // namespace

Kt_WorkThreads::Kt_WorkThreads(int count, std::size_t least_items) noexcept
    : outer_least_(std::exchange(least_shared, count > 1 ? least_items : kNever)) {}

Kt_WorkThreads::~Kt_WorkThreads() { least_shared = outer_least_; }

bool Kt_WorkThreads::MayShare(std::size_t items) noexcept { return items >= least_shared; }
