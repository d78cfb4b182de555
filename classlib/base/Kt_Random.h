// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/base/Kt_Types.h"

// Random numbers for scripts: fast and evenly spread, not for secrets.
//
// Threads: every thread has its own sequence, seeded from the system when it first asks.

// Starts the calling thread's sequence anew: the same seed gives the same numbers everywhere.
KT_CLASS_API void kt_srandom(std::uint64_t seed);
// A whole number from `low` to `high`, both included, in either order; every one is equally likely,
// also over the whole range of 32 bits.
KT_CLASS_API kt_long kt_random(kt_long low, kt_long high);
// A number from 0 to below 1 with 53 random bits.
KT_CLASS_API double kt_randomdouble();
