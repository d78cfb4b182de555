// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/base/detail/Kt_PlainList.h"

// A list of integers; 0 outside the list.
// Threads: const members may run in parallel; a change needs sole access.
class Kt_IntList : public kt::detail::Kt_PlainList<kt_long> {};
