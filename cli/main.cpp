// SPDX-License-Identifier: MIT
#include <exception>
#include <iostream>
#include <new>

#include "classlib/base/Kt_SoleThread.h"
#include "cli/Kt_Cli.h"
#include "cli/Kt_Console.h"

int main(int argc, char** argv) try {
  using kt::cli::Stream;
  const Kt_SoleThread alone;  // besides the second thread of operations and the line of progress
  kt::cli::SetUpStreams();
  std::ios::sync_with_stdio(false);
  std::cin.tie(nullptr);
  // Somebody who watches sees each line at once; a pipe gets full buffers.
  if (kt::cli::IsTerminal(Stream::kOutput)) std::cout << std::unitbuf;
  return kt::cli::Main(kt::cli::TakeArguments(argc, argv), {std::cout, std::cerr});
} catch (const std::bad_alloc&) {
  kt::cli::WriteError("kt: out of memory\n");
  return kt::cli::kScriptFault;
} catch (const std::exception& failure) {  // nothing that is known to come here
  kt::cli::WriteError(failure.what());
  kt::cli::WriteError("\n");
  return kt::cli::kScriptFault;
}
