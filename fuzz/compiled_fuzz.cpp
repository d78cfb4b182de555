// SPDX-License-Identifier: MIT
//
// A script made out of the input by a grammar gives the same as code as by the walk: codes,
// results, variables, reports and calls, also when a budget ends it on the way.
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "tests/common/compiled_compare.h"
#include "tests/common/program_maker.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string script = kt::test::ProgramMaker(data, size).Program();
  const int limit_steps = size % 2 == 0 ? 300 : 1 + data[size / 2] % 200;
  const kt::test::BothWays ways = kt::test::RunBothWays(script, limit_steps);
  if (ways.likeness != kt::test::BothWays::Likeness::kDifferent) return 0;
  std::fprintf(stderr, "%s\n--- compiled\n%s--- walked\n%s", script.c_str(), ways.compiled.c_str(),
               ways.walked.c_str());
  std::abort();
}
