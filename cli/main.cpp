// SPDX-License-Identifier: MIT
#include <unistd.h>

#include <cstring>
#include <exception>
#include <iostream>
#include <new>

#include "cli/Kt_Cli.h"
#include "connect/Kt_DatabaseUrl.h"

namespace {

// Passwords of databases are not for those who list the processes of the machine.
void HidePasswords(int argc, char** argv) {
  for (int at = 1; at < argc; ++at) {
    const std::string shown = kt::WithoutPasswords(argv[at]);
    if (shown != argv[at]) std::strncpy(argv[at], shown.c_str(), std::strlen(argv[at]));
  }
}

}  // namespace

int main(int argc, char** argv) try {
  std::ios::sync_with_stdio(false);
  std::cin.tie(nullptr);
  // Somebody who watches sees each line at once; a pipe gets full buffers.
  if (::isatty(STDOUT_FILENO)) std::cout << std::unitbuf;
  std::vector<std::string> arguments(argv + (argc > 0 ? 1 : 0), argv + argc);
  HidePasswords(argc, argv);
  return kt::cli::Main(std::move(arguments), {std::cout, std::cerr});
} catch (const std::bad_alloc&) {
  (void)!::write(STDERR_FILENO, "kt: out of memory\n", 18);
  return kt::cli::kScriptFault;
} catch (const std::exception& failure) {  // nothing that is known to come here
  (void)!::write(STDERR_FILENO, failure.what(), std::strlen(failure.what()));
  (void)!::write(STDERR_FILENO, "\n", 1);
  return kt::cli::kScriptFault;
}
