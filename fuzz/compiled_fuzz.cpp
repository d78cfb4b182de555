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
  const std::string compiled = kt::test::RunToText(script, true, limit_steps);
  const std::string evaluated = kt::test::RunToText(script, false, limit_steps);
  if (compiled == evaluated) return 0;
  std::fprintf(stderr, "%s\n--- compiled\n%s--- evaluated\n%s", script.c_str(), compiled.c_str(),
               evaluated.c_str());
  std::abort();
}
