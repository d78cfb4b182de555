// SPDX-License-Identifier: MIT
//
// random_scripts COUNT [SEED] prints scripts made at random, each with a NUL behind it, for the
// tests of the editors' grammars.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "tests/common/program_maker.h"

int main(int argc, char** argv) {
  const int count = argc > 1 ? std::atoi(argv[1]) : 1;
  std::mt19937 random(argc > 2 ? static_cast<unsigned>(std::atoi(argv[2])) : 1U);
  for (int made = 0; made < count; ++made) {
    std::vector<std::uint8_t> bytes(40 + random() % 400);
    for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(random());
    const std::string text = kt::test::ProgramMaker(bytes.data(), bytes.size()).Program();
    std::fwrite(text.c_str(), 1, text.size() + 1, stdout);
  }
  return 0;
}
