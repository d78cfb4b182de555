// SPDX-License-Identifier: MIT
//
// A formula made out of the input, over values made out of it too, gives the same as a bound
// expression in all its ways and in contexts of a host, as it gives with the evaluator.
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "tests/common/formula_compare.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string differences = kt::test::CompareFormula(data, size);
  if (differences.empty()) return 0;
  std::fputs(differences.c_str(), stderr);
  std::abort();
}
