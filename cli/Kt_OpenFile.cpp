// SPDX-License-Identifier: MIT
#include "cli/Kt_OpenFile.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "classlib/base/Kt_WorkMeter.h"

namespace kt::cli {
namespace {

constexpr int kMillisecondsPerLook = 5;  // while waiting

int FlagsOf(Links links) { return links == Links::kRefuse ? O_NOFOLLOW : 0; }

// Opening a pipe waits for its other end, unless it is not to.
int WaitFlag() { return Kt_WorkMeter::Current() != nullptr ? O_NONBLOCK : 0; }

// Whether the file may be read or written now; false when the work has been stopped. Where nothing
// limits it, the call itself waits.
bool WaitFor(int file, short events) {
  Kt_WorkMeter* const meter = Kt_WorkMeter::Current();
  while (meter != nullptr) {
    if (!meter->LookNow()) return false;
    pollfd wanted{file, events, 0};
    if (::poll(&wanted, 1, kMillisecondsPerLook) > 0) break;
  }
  return true;
}

bool IsToTryAgain() { return errno == EINTR || errno == EAGAIN; }

}  // namespace

OpenFile OpenFile::ToRead(const std::string& path, Links links) {
  return OpenFile(::open(path.c_str(), O_RDONLY | O_CLOEXEC | FlagsOf(links) | WaitFlag()));
}

OpenFile OpenFile::ToWrite(const std::string& path, Links links) {
  for (;;) {
    const int file = ::open(path.c_str(), O_WRONLY | O_CLOEXEC | FlagsOf(links) | WaitFlag());
    Kt_WorkMeter* const meter = Kt_WorkMeter::Current();
    const bool waits = file < 0 && errno == ENXIO && meter != nullptr;
    if (!waits || !meter->LookNow()) return OpenFile(file);
    ::poll(nullptr, 0, kMillisecondsPerLook);
  }
}

bool OpenFile::Close() {
  const int file = is_owned_ ? std::exchange(file_, -1) : -1;
  return file < 0 || ::close(file) == 0;
}

std::size_t OpenFile::PlainSize() const {
  struct stat info;
  const bool is_plain = ::fstat(file_, &info) == 0 && S_ISREG(info.st_mode) && info.st_size > 0;
  return is_plain ? static_cast<std::size_t>(info.st_size) : 0;
}

std::ptrdiff_t OpenFile::Read(char* to, std::size_t size) const {
  for (;;) {
    if (!WaitFor(file_, POLLIN)) return -1;
    const ssize_t count = ::read(file_, to, size);
    if (count >= 0 || !IsToTryAgain()) return count;
  }
}

bool OpenFile::Write(std::string_view bytes) const {
  while (!bytes.empty()) {
    if (!WaitFor(file_, POLLOUT)) return false;
    const ssize_t count = ::write(file_, bytes.data(), bytes.size());
    if (count < 0 && IsToTryAgain()) continue;
    if (count < 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

bool IsDevice(const std::string& path, Links links) {
  const auto look = links == Links::kFollow ? ::stat : ::lstat;
  struct stat info;
  return look(path.c_str(), &info) == 0 && !S_ISREG(info.st_mode) && !S_ISLNK(info.st_mode);
}

}  // namespace kt::cli
