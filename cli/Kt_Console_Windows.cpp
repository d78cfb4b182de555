// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <io.h>
#include <windows.h>
// Needs the one above.
#include <shellapi.h>

#include <filesystem>

#include "cli/Kt_Console.h"

namespace kt::cli {
namespace {

HANDLE HandleOf(Stream stream) {
  constexpr DWORD kNumbers[] = {STD_INPUT_HANDLE, STD_OUTPUT_HANDLE, STD_ERROR_HANDLE};
  return ::GetStdHandle(kNumbers[static_cast<int>(stream)]);
}

}  // namespace

// The C library takes every device for a terminal, NUL too.
bool IsTerminal(Stream stream) {
  DWORD mode = 0;
  return ::GetConsoleMode(HandleOf(stream), &mode) != 0;
}

int TerminalWidth(Stream stream, int otherwise) {
  CONSOLE_SCREEN_BUFFER_INFO info{};
  if (::GetConsoleScreenBufferInfo(HandleOf(stream), &info) == 0) return otherwise;
  const int width = info.srWindow.Right - info.srWindow.Left + 1;
  return width > 0 ? width : otherwise;
}

// Those of main() are in the code page of the machine, where most characters have no place.
std::vector<std::string> TakeArguments(int, char**) {
  int count = 0;
  LPWSTR* const wide = ::CommandLineToArgvW(::GetCommandLineW(), &count);
  std::vector<std::string> arguments;
  for (int at = 1; wide != nullptr && at < count; ++at) {
    arguments.push_back(std::filesystem::path(wide[at]).string());
  }
  ::LocalFree(wide);
  return arguments;
}

void SetUpStreams() {
  for (const Stream stream : {Stream::kInput, Stream::kOutput, Stream::kError}) {
    ::_setmode(static_cast<int>(stream), _O_BINARY);
  }
  ::SetConsoleOutputCP(CP_UTF8);
  for (const Stream stream : {Stream::kOutput, Stream::kError}) {
    DWORD mode = 0;
    if (::GetConsoleMode(HandleOf(stream), &mode) == 0) continue;
    ::SetConsoleMode(HandleOf(stream), mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
  }
}

void OutliveReaders() {}  // there is no signal for it

void WriteError(std::string_view text) noexcept {
  DWORD written = 0;
  ::WriteFile(HandleOf(Stream::kError), text.data(), static_cast<DWORD>(text.size()), &written,
              nullptr);
}

}  // namespace kt::cli
