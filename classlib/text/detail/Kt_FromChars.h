// SPDX-License-Identifier: MIT
#pragma once

#include <charconv>
#include <cmath>

#if !defined(__cpp_lib_to_chars)
#include <fast_float/fast_float.h>
#endif

namespace kt::detail {

// std::from_chars for a double, also where the standard library has none (Clang's, before 20).
inline std::from_chars_result FromChars(const char* first, const char* last, double& value) {
#if defined(__cpp_lib_to_chars)
  return std::from_chars(first, last, value);
#else
  double read = 0;
  const auto result = fast_float::from_chars(first, last, read);
  if (result.ec != std::errc()) return {result.ptr, result.ec};
  const bool is_name = *first == 'i' || (*first == '-' && first[1] == 'i');
  if (std::isinf(read) && !is_name) return {result.ptr, std::errc::result_out_of_range};
  value = read;
  return {result.ptr, std::errc()};
#endif
}

}  // namespace kt::detail
