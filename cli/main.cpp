// SPDX-License-Identifier: MIT
#include <unistd.h>

#include <iostream>
#include <new>

#include "cli/Kt_Cli.h"

int main(int argc, char** argv) try {
  std::ios::sync_with_stdio(false);
  std::cin.tie(nullptr);
  // Somebody who watches sees each line at once; a pipe gets full buffers.
  if (::isatty(STDOUT_FILENO)) std::cout << std::unitbuf;
  std::vector<std::string> arguments(argv + (argc > 0 ? 1 : 0), argv + argc);
  return kt::cli::Main(std::move(arguments), {std::cout, std::cerr});
} catch (const std::bad_alloc&) {
  (void)!::write(STDERR_FILENO, "kt: out of memory\n", 18);
  return kt::cli::kScriptFault;
}
