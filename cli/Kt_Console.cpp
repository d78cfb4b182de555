// SPDX-License-Identifier: MIT
#include "cli/Kt_Console.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <csignal>
#include <cstring>

#include "connect/Kt_DatabaseUrl.h"

namespace kt::cli {

bool IsTerminal(Stream stream) { return ::isatty(static_cast<int>(stream)) != 0; }

int TerminalWidth(Stream stream, int otherwise) {
  winsize size{};
  const bool told = ::ioctl(static_cast<int>(stream), TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return told ? size.ws_col : otherwise;
}

std::vector<std::string> TakeArguments(int argc, char** argv) {
  std::vector<std::string> arguments(argv + (argc > 0 ? 1 : 0), argv + argc);
  // Passwords are not for those who list the processes of the machine.
  for (int at = 1; at < argc; ++at) {
    const std::string shown = WithoutPasswords(argv[at]);
    if (shown != argv[at]) std::strncpy(argv[at], shown.c_str(), std::strlen(argv[at]));
  }
  return arguments;
}

void SetUpStreams() {}

void OutliveReaders() { std::signal(SIGPIPE, SIG_IGN); }

void WriteError(std::string_view text) noexcept {
  (void)!::write(STDERR_FILENO, text.data(), text.size());
}

}  // namespace kt::cli
