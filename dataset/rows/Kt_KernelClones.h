// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

// Before a function: it is compiled twice, for any processor of its kind and for one with AVX2, and
// the loader takes the one that fits. Loops over doubles then do four at a time instead of two.
// Both give the same bits: sums and products are never fused, as AVX2 is asked for without FMA.
// Where compiler, C library or a sanitizer that runs before the loader is done cannot do it, it is
// nothing.
//
// Not for loops that compare the longs of a column: they wait for memory, and wide reads that cross
// a line of the cache cost more than they save.
#if defined(__GNUC__) && !defined(__clang__) && defined(__x86_64__) && defined(__GLIBC__) && \
    !defined(__AVX2__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#define KT_KERNEL_CLONES __attribute__((target_clones("avx2", "default")))
#else
#define KT_KERNEL_CLONES
#endif
