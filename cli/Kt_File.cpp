// SPDX-License-Identifier: MIT
#include "cli/Kt_File.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <memory>
#include <system_error>

#include "classlib/base/Kt_Memory.h"
#include "classlib/text/Kt_AString.h"
#include "cli/Kt_Bounds.h"
#include "cli/data/Kt_Save.h"

namespace kt::cli {
namespace {

// No text within the limit needs more bytes than three for each unit.
constexpr std::size_t kMaxFileBytes = std::size_t{3} * kMaxStringLength;
constexpr std::size_t kReadBytes = 1 << 16;
constexpr int kMillisecondsPerLook = 5;  // while waiting

class FileHandle {
 public:
  explicit FileHandle(int fd) : fd_(fd) {}
  FileHandle(const FileHandle&) = delete;
  FileHandle& operator=(const FileHandle&) = delete;
  ~FileHandle() { Close(); }

  bool IsOpen() const { return fd_ >= 0; }
  int Get() const { return fd_; }
  bool Close() {
    if (fd_ < 0) return true;
    const int result = ::close(fd_);
    fd_ = -1;
    return result == 0;
  }

 private:
  int fd_;
};

// The system would read a path with a zero inside as another, shorter one.
bool IsUsable(const std::string& path) { return path.find('\0') == std::string::npos; }

int FlagsOf(Links links) { return links == Links::kRefuse ? O_NOFOLLOW : 0; }

std::string ErrnoText() { return std::generic_category().message(errno); }

// Makes room for a plain file at once, so that a large one is not copied while it is read.
template <class Bytes>
void ReserveFor(int fd, std::size_t limit_bytes, Bytes& bytes) {
  struct stat info;
  if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode) || info.st_size <= 0) return;
  bytes.reserve(std::min(static_cast<std::size_t>(info.st_size), limit_bytes) + 1);
}

// Whether the file may be read or written now. Nobody waits for a pipe longer than the work may
// last: false when it has been stopped. Where nothing limits it, the call itself waits.
bool WaitFor(int fd, short events) {
  Kt_WorkMeter* const meter = Kt_WorkMeter::Current();
  while (meter != nullptr) {
    if (!meter->LookNow()) return false;
    pollfd wanted{fd, events, 0};
    if (::poll(&wanted, 1, kMillisecondsPerLook) > 0) break;
  }
  return true;
}

// Opening a pipe waits for its other end, unless it is not to.
int WaitFlag() { return Kt_WorkMeter::Current() != nullptr ? O_NONBLOCK : 0; }

int OpenDevice(const std::string& path, Links links) {
  for (;;) {
    const int fd = ::open(path.c_str(), O_WRONLY | O_CLOEXEC | FlagsOf(links) | WaitFlag());
    Kt_WorkMeter* const meter = Kt_WorkMeter::Current();
    if (fd >= 0 || errno != ENXIO || meter == nullptr || !meter->LookNow()) return fd;
    ::poll(nullptr, 0, kMillisecondsPerLook);
  }
}

bool WriteAll(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    if (!WaitFor(fd, POLLOUT)) return false;
    const ssize_t count = ::write(fd, bytes.data(), bytes.size());
    if (count < 0) {
      if (errno == EINTR || errno == EAGAIN) continue;
      return false;
    }
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

// The file that a link stands for, so that renaming replaces that and not the link.
std::string BehindLinks(const std::string& path) {
  std::error_code ignored;
  const std::filesystem::path target = std::filesystem::canonical(path, ignored);
  return ignored ? path : target.string();
}

// A file that grows for ever (a device) ends at the limit.
template <class Bytes>
FileResult ReadToEnd(int fd, std::size_t limit_bytes, Bytes& bytes, std::string& error) {
  ReserveFor(fd, limit_bytes, bytes);
  const auto buffer = std::make_unique<char[]>(kReadBytes);
  for (;;) {
    if (!WaitFor(fd, POLLIN)) {
      error = StopReason();
      return FileResult::kBadContent;
    }
    const ssize_t count = ::read(fd, buffer.get(), kReadBytes);
    if (count == 0) return FileResult::kOk;
    if (count < 0) {
      if (errno == EINTR || errno == EAGAIN) continue;
      error = ErrnoText();
      return FileResult::kNoAccess;
    }
    bytes.append(buffer.get(), static_cast<std::size_t>(count));
    if (bytes.size() > limit_bytes) {
      error = fmt::format("longer than {} bytes", limit_bytes);
      return FileResult::kBadContent;
    }
  }
}

FileResult TakeUtf8(std::string_view bytes, Kt_WString& text, std::string& error) {
  const std::size_t mark = bytes.starts_with("\xEF\xBB\xBF") ? 3 : 0;
  const std::int64_t bad = ConvertUtf8(bytes.substr(mark), text);
  if (Kt_WorkMeter::CurrentStop() != 0) {
    error = StopReason();
    return FileResult::kBadContent;
  }
  if (bad < 0) return FileResult::kOk;
  const bool too_long = text.IsEmpty() && bad >= kMaxStringLength;
  error = too_long ? fmt::format("longer than {} characters", kMaxStringLength)
                   : fmt::format("no valid UTF-8 at byte offset {}",
                                 static_cast<std::size_t>(bad) + mark);
  return FileResult::kBadContent;
}

template <class Bytes>
FileResult ReadWholeFile(const std::string& path, std::size_t limit_bytes, Bytes& bytes,
                         std::string& error, Links links) {
  if (!IsUsable(path)) {
    errno = ENOENT;
    error = ErrnoText();
    return FileResult::kNoAccess;
  }
  const FileHandle file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | FlagsOf(links) | WaitFlag()));
  if (file.IsOpen()) return ReadToEnd(file.Get(), limit_bytes, bytes, error);
  error = ErrnoText();
  return FileResult::kNoAccess;
}

}  // namespace

FileResult ReadFileBytes(const std::string& path, std::size_t limit_bytes, std::string& bytes,
                         std::string& error, Links links) {
  return ReadWholeFile(path, limit_bytes, bytes, error, links);
}

FileResult ReadStandardInput(std::size_t limit_bytes, std::string& bytes, std::string& error) {
  return ReadToEnd(STDIN_FILENO, limit_bytes, bytes, error);
}

FileResult ReadTextFile(const std::string& path, Kt_WString& text, std::string& error,
                        Links links) {
  CountedBytes bytes;
  const FileResult result = ReadWholeFile(path, kMaxFileBytes, bytes, error, links);
  return result == FileResult::kOk ? TakeUtf8(bytes, text, error) : result;
}

FileResult ReadStandardText(Kt_WString& text, std::string& error) {
  CountedBytes bytes;
  const FileResult result = ReadToEnd(STDIN_FILENO, kMaxFileBytes, bytes, error);
  return result == FileResult::kOk ? TakeUtf8(bytes, text, error) : result;
}

bool WriteTextFile(const std::string& path, const Kt_WString& text, std::string& error,
                   Links links) {
  const CountedBytes bytes = ToUtf8Bytes(text);  // which may be stopped
  return WriteFileBytes(path, bytes, error, links);
}

bool WriteFileBytes(const std::string& path, std::string_view bytes, std::string& error,
                    Links links) {
  struct stat info;
  const auto look = links == Links::kFollow ? ::stat : ::lstat;
  bool written = false;
  if (Kt_WorkMeter::CurrentStop() != 0) {  // the bytes may be a part
    error = StopReason();
    return false;
  }
  if (!IsUsable(path)) {
    errno = ENOENT;
    // A device or a pipe cannot be replaced by a rename; it takes the bytes as they come.
  } else if (look(path.c_str(), &info) == 0 && !S_ISREG(info.st_mode) && !S_ISLNK(info.st_mode)) {
    FileHandle file(OpenDevice(path, links));
    written = file.IsOpen() && WriteAll(file.Get(), bytes) && file.Close();
  } else {
    // A link that is not followed is replaced itself.
    written = ReplaceFile(links == Links::kFollow ? BehindLinks(path) : path, bytes);
  }
  if (!written) error = Kt_WorkMeter::CurrentStop() != 0 ? StopReason() : ErrnoText();
  return written;
}

}  // namespace kt::cli
