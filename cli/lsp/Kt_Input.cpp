// SPDX-License-Identifier: MIT
#include "cli/lsp/Kt_Input.h"

#include <array>
#include <cerrno>

#if defined(_WIN32)
#include <windows.h>
#else
#include <poll.h>
#include <unistd.h>
#endif

namespace kt::cli::lsp {
namespace {

constexpr std::size_t kReadBytes = 1 << 16;

}  // namespace

#if defined(_WIN32)

bool ReadBytes(bool waits, std::string& bytes) {
  bytes.clear();
  const HANDLE input = ::GetStdHandle(STD_INPUT_HANDLE);
  DWORD waiting = 0;
  const bool is_pipe = ::PeekNamedPipe(input, nullptr, 0, nullptr, &waiting, nullptr) != 0;
  if (is_pipe && !waits && waiting == 0) return true;
  std::array<char, kReadBytes> buffer;
  DWORD count = 0;
  if (::ReadFile(input, buffer.data(), static_cast<DWORD>(buffer.size()), &count, nullptr) == 0) {
    return false;
  }
  bytes.assign(buffer.data(), count);
  return count > 0;
}

#else

bool ReadBytes(bool waits, std::string& bytes) {
  bytes.clear();
  pollfd input{STDIN_FILENO, POLLIN, 0};
  const int ready = ::poll(&input, 1, waits ? -1 : 0);
  if (ready == 0 || (ready < 0 && errno == EINTR)) return true;
  std::array<char, kReadBytes> buffer;
  const ssize_t count = ::read(STDIN_FILENO, buffer.data(), buffer.size());
  if (count < 0) return errno == EINTR || errno == EAGAIN;
  bytes.assign(buffer.data(), static_cast<std::size_t>(count));
  return count > 0;
}

#endif

}  // namespace kt::cli::lsp
