// SPDX-License-Identifier: MIT
#pragma once

#include <cassert>
#include <cstddef>
#include <cstdint>

#if defined(_WIN32)
#define KT_EXPORT __declspec(dllexport)
#define KT_IMPORT __declspec(dllimport)
#else
#define KT_EXPORT __attribute__((visibility("default")))
#define KT_IMPORT __attribute__((visibility("default")))
#endif

// KT_CLASS_API marks what KtClassLib320U exports, KT_SCRIPT_API what KtScriptLib320U exports.
#if defined(KT_STATIC)
#define KT_CLASS_API
#define KT_SCRIPT_API
#else
#if defined(KT_BUILDING_CLASSLIB)
#define KT_CLASS_API KT_EXPORT
#else
#define KT_CLASS_API KT_IMPORT
#endif
#if defined(KT_BUILDING_SCRIPTLIB)
#define KT_SCRIPT_API KT_EXPORT
#else
#define KT_SCRIPT_API KT_IMPORT
#endif
#endif

#if defined(__GNUC__)
#define KT_LIKELY(x) __builtin_expect(!!(x), 1)
#define KT_UNLIKELY(x) __builtin_expect(!!(x), 0)
#define KT_NOINLINE __attribute__((noinline))
#define KT_COLD __attribute__((cold, noinline))
#define KT_ALWAYS_INLINE inline __attribute__((always_inline))
#define KT_MAY_ALIAS __attribute__((may_alias))
#else
#define KT_LIKELY(x) (x)
#define KT_UNLIKELY(x) (x)
#define KT_NOINLINE
#define KT_COLD
#define KT_ALWAYS_INLINE inline
#define KT_MAY_ALIAS
#endif

// Thread-local state of our libraries that is read in hot paths: at a fixed distance from the
// thread pointer, instead of through a call. Keep such state to a few words.
#if defined(__GNUC__) && defined(__ELF__)
#define KT_THREAD_LOCAL constinit thread_local __attribute__((tls_model("initial-exec")))
#else
#define KT_THREAD_LOCAL constinit thread_local
#endif

// A fault of our own: checked in debug builds only, never used for bad input.
#define KT_ASSERT(condition) assert(condition)

// Result codes and the integers that scripts see: signed 32 bits on every platform.
using kt_long = std::int32_t;

// Limits. One place, with the reason for each; scripts that go past one get a reported error.
// They can be changed at build time only: every one of them also bounds memory that is taken in a
// single step, so a host that needs more has thought about its machine.

// Characters in one string: 256 MiB of UTF-16 text.
inline constexpr kt_long kMaxStringLength = 1 << 27;
// Bytes in one binary value: as many as the longest string takes.
inline constexpr std::int64_t kMaxBinaryBytes = std::int64_t{1} << 28;
// Items in one list: 1 GiB of values.
inline constexpr kt_long kMaxListItems = 1 << 26;
// Pending operators and open brackets in one expression.
inline constexpr kt_long kMaxExprDepth = 10000;
// Blocks, ifs and loops inside one another in a function. Each level is scanned once for every
// level around it, so this also bounds the time that a hostile script can take to load.
inline constexpr kt_long kMaxBlockDepth = 1000;
