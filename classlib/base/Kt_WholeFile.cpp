// SPDX-License-Identifier: MIT
#include "classlib/base/detail/Kt_WholeFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#if defined(_WIN32)
#include <io.h>
#include <process.h>
#else
#include <unistd.h>
#endif

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <filesystem>
#include <system_error>

#include "classlib/base/Kt_Path.h"

namespace kt::detail {
namespace {

namespace fs = std::filesystem;

// What the C library of Windows has under other names, or not at all. Names are UTF-8 here, and
// another code page in its plain functions.
#if defined(_WIN32)
using Status = struct _stat64;
using Count = int;
constexpr std::size_t kMostBytes = std::size_t{1} << 30;  // in one call
constexpr int kReadFlags = _O_RDONLY | _O_BINARY | _O_NOINHERIT;
constexpr int kNewFlags = _O_WRONLY | _O_CREAT | _O_EXCL | _O_BINARY | _O_NOINHERIT;
int Open(const std::string& path, int flags) {
  return ::_wopen(kt_path(path).c_str(), flags, _S_IREAD | _S_IWRITE);
}
bool IsPlainFile(int file) {
  Status status;
  return ::_fstat64(file, &status) == 0 && (status.st_mode & _S_IFMT) == _S_IFREG;
}
Count Read(int file, char* to, std::size_t size) {
  return ::_read(file, to, static_cast<unsigned>(size));
}
Count Write(int file, const char* from, std::size_t size) {
  return ::_write(file, from, static_cast<unsigned>(std::min(size, kMostBytes)));
}
bool KeepMode(int, const std::string&) { return true; }  // who may read is the folder's to say
bool Flush(int file) { return ::_commit(file) == 0; }
int CloseFile(int file) { return ::_close(file); }
void Remove(const std::string& path) { ::_wunlink(kt_path(path).c_str()); }
int ProcessNumber() { return ::_getpid(); }
#else
using Count = ssize_t;
constexpr int kReadFlags = O_RDONLY | O_NONBLOCK | O_CLOEXEC;
constexpr int kNewFlags = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC;
int Open(const std::string& path, int flags) { return ::open(path.c_str(), flags, 0666); }
bool IsPlainFile(int file) {
  struct stat status;
  return ::fstat(file, &status) == 0 && S_ISREG(status.st_mode);
}
Count Read(int file, char* to, std::size_t size) { return ::read(file, to, size); }
Count Write(int file, const char* from, std::size_t size) { return ::write(file, from, size); }
bool KeepMode(int file, const std::string& target) {
  struct stat status;
  return ::stat(target.c_str(), &status) != 0 || ::fchmod(file, status.st_mode & 07777) == 0;
}
bool Flush(int file) { return ::fsync(file) == 0; }
int CloseFile(int file) { return ::close(file); }
void Remove(const std::string& path) { ::unlink(path.c_str()); }
int ProcessNumber() { return ::getpid(); }
#endif

// An open file; closes itself.
class File {
 public:
  explicit File(int descriptor) : descriptor_(descriptor) {}
  ~File() { Close(); }
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  bool IsOpen() const { return descriptor_ >= 0; }
  int Descriptor() const { return descriptor_; }
  bool Close() {
    if (descriptor_ < 0) return true;
    const bool closed = CloseFile(descriptor_) == 0;
    descriptor_ = -1;
    return closed;
  }

 private:
  int descriptor_;
};

bool WriteAll(const File& file, std::string_view bytes) {
  while (!bytes.empty()) {
    const Count written = Write(file.Descriptor(), bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

// A new file beside `target`; its name goes to `temporary`. As for any new file, the user's mask
// decides who may read it.
int OpenTemporary(const std::string& target, std::string& temporary) {
  static std::atomic<unsigned> counter{0};
  for (int attempt = 0; attempt < 100; ++attempt) {
    temporary = target + '.' + std::to_string(ProcessNumber()) + '.' + std::to_string(counter++);
    const int file = Open(temporary, kNewFlags);
    if (file >= 0 || errno != EEXIST) return file;
  }
  return -1;
}

// Fills and closes the temporary file, on the disk before it takes the place of the old one.
bool Fill(File& file, std::string_view bytes) {
  return WriteAll(file, bytes) && Flush(file.Descriptor()) && file.Close();
}

// Where writing has to happen, so that a link to the file stays a link.
std::string Target(const std::string& path) {
  std::error_code error;
  const fs::path target = fs::weakly_canonical(kt_path(path), error);
  return error ? path : target.string();
}

}  // namespace

std::optional<std::string> ReadWholeFile(const std::string& path, std::size_t max_bytes) {
  const File file(Open(path, kReadFlags));
  if (!file.IsOpen() || !IsPlainFile(file.Descriptor())) return std::nullopt;
  std::string bytes;
  char piece[4096];
  for (;;) {
    const Count count = Read(file.Descriptor(), piece, sizeof piece);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return std::nullopt;
    if (count == 0) return bytes;
    if (bytes.size() + static_cast<std::size_t>(count) > max_bytes) return std::nullopt;
    bytes.append(piece, static_cast<std::size_t>(count));
  }
}

bool ReplaceWholeFile(const std::string& path, std::string_view bytes) {
  const std::string target = Target(path);
  std::error_code error;
  fs::create_directories(kt_path(target).parent_path(), error);
  if (error) return false;
  std::string temporary;
  File file(OpenTemporary(target, temporary));
  if (!file.IsOpen()) return false;
  bool replaced = KeepMode(file.Descriptor(), target) && Fill(file, bytes);
  if (replaced)
    fs::rename(kt_path(temporary), kt_path(target), error);  // over the old one, on every system
  replaced = replaced && !error;
  if (!replaced) Remove(temporary);
  return replaced;
}

bool PathExists(const std::string& path) {
  std::error_code error;  // of a folder that may not be looked into: somebody is there
  return fs::symlink_status(kt_path(path), error).type() != fs::file_type::not_found;
}

}  // namespace kt::detail
