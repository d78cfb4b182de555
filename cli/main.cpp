// SPDX-License-Identifier: MIT
#include <iostream>

#include "cli/Kt_Cli.h"

int main(int argc, char** argv) {
  std::ios::sync_with_stdio(false);
  std::cin.tie(nullptr);
  std::vector<std::string> arguments(argv + (argc > 0 ? 1 : 0), argv + argc);
  return kt::cli::Main(std::move(arguments), {std::cout, std::cerr});
}
