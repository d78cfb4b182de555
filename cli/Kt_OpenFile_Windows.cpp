// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>
#include <windows.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>

#include "classlib/base/Kt_Path.h"
#include "classlib/base/Kt_WorkMeter.h"
#include "cli/Kt_OpenFile.h"

namespace kt::cli {
namespace {

namespace fs = std::filesystem;

constexpr DWORD kMillisecondsPerLook = 5;  // while waiting
constexpr std::size_t kBytesPerCall = 1u << 20;

bool IsStopped() {
  Kt_WorkMeter* const meter = Kt_WorkMeter::Current();
  return meter != nullptr && !meter->LookNow();
}

// Waits until a pipe has bytes or ends; false when the work has been stopped. Files and consoles
// are read at once.
bool WaitForBytes(int file) {
  const HANDLE handle = reinterpret_cast<HANDLE>(::_get_osfhandle(file));
  const bool is_pipe = ::GetFileType(handle) == FILE_TYPE_PIPE;
  for (;;) {
    if (IsStopped()) return false;
    DWORD waiting = 0;
    const bool waits = is_pipe && Kt_WorkMeter::Current() != nullptr &&
                       ::PeekNamedPipe(handle, nullptr, 0, nullptr, &waiting, nullptr) != 0 &&
                       waiting == 0;
    if (!waits) return true;
    ::Sleep(kMillisecondsPerLook);
  }
}

bool IsLink(const std::string& path) {
  std::error_code ignored;
  return fs::is_symlink(fs::symlink_status(kt_path(path), ignored));
}

int Open(const std::string& path, int flags, Links links) {
  if (links == Links::kRefuse && IsLink(path)) {
    errno = EACCES;
    return -1;
  }
  std::error_code ignored;
  if (fs::is_directory(kt_path(path), ignored)) {
    errno = EISDIR;
    return -1;
  }
  return ::_wopen(kt_path(path).c_str(), flags | _O_BINARY | _O_NOINHERIT);
}

}  // namespace

OpenFile OpenFile::ToRead(const std::string& path, Links links) {
  return OpenFile(Open(path, _O_RDONLY, links));
}

OpenFile OpenFile::ToWrite(const std::string& path, Links links) {
  return OpenFile(Open(path, _O_WRONLY, links));
}

bool OpenFile::Close() {
  const int file = is_owned_ ? std::exchange(file_, -1) : -1;
  return file < 0 || ::_close(file) == 0;
}

std::size_t OpenFile::PlainSize() const {
  struct _stat64 info;
  const bool is_plain = ::_fstat64(file_, &info) == 0 && (info.st_mode & _S_IFMT) == _S_IFREG;
  return is_plain && info.st_size > 0 ? static_cast<std::size_t>(info.st_size) : 0;
}

std::ptrdiff_t OpenFile::Read(char* to, std::size_t size) const {
  if (!WaitForBytes(file_)) return -1;
  return ::_read(file_, to, static_cast<unsigned>(std::min(size, kBytesPerCall)));
}

bool OpenFile::Write(std::string_view bytes) const {
  while (!bytes.empty()) {
    if (IsStopped()) return false;
    const std::size_t size = std::min(bytes.size(), kBytesPerCall);
    const int count = ::_write(file_, bytes.data(), static_cast<unsigned>(size));
    if (count <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

bool IsDevice(const std::string& path, Links links) {
  std::error_code ignored;
  const fs::file_status status = links == Links::kFollow
                                     ? fs::status(kt_path(path), ignored)
                                     : fs::symlink_status(kt_path(path), ignored);
  return fs::exists(status) && !fs::is_regular_file(status) && !fs::is_symlink(status);
}

}  // namespace kt::cli
