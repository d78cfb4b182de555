// SPDX-License-Identifier: MIT
#include "classlib/base/detail/Kt_WholeFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#if defined(_WIN32)
#include <io.h>
#endif

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <system_error>

namespace kt::detail {
namespace {

namespace fs = std::filesystem;

// What the C library of Windows has under other names, or not at all.
#if defined(_WIN32)
constexpr int kReadFlags = O_RDONLY | O_BINARY | O_NOINHERIT;
constexpr int kNewFlags = O_WRONLY | O_CREAT | O_EXCL | O_BINARY | O_NOINHERIT;
constexpr int kNewMode = _S_IREAD | _S_IWRITE;
bool SetMode(int, unsigned) { return true; }  // who may read is inherited from the folder
bool Flush(int file) { return ::_commit(file) == 0; }
#else
constexpr int kReadFlags = O_RDONLY | O_NONBLOCK | O_CLOEXEC;
constexpr int kNewFlags = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC;
constexpr int kNewMode = 0666;
bool SetMode(int file, mode_t mode) { return ::fchmod(file, mode) == 0; }
bool Flush(int file) { return ::fsync(file) == 0; }
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
    const bool closed = ::close(descriptor_) == 0;
    descriptor_ = -1;
    return closed;
  }

 private:
  int descriptor_;
};

bool WriteAll(const File& file, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(file.Descriptor(), bytes.data(), bytes.size());
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
    temporary = target + '.' + std::to_string(::getpid()) + '.' + std::to_string(counter++);
    const int file = ::open(temporary.c_str(), kNewFlags, kNewMode);
    if (file >= 0 || errno != EEXIST) return file;
  }
  return -1;
}

bool KeepMode(const File& file, const std::string& target) {
  struct stat status;
  return ::stat(target.c_str(), &status) != 0 || SetMode(file.Descriptor(), status.st_mode & 07777);
}

// Fills and closes the temporary file, on the disk before it takes the place of the old one.
bool Fill(File& file, std::string_view bytes) {
  return WriteAll(file, bytes) && Flush(file.Descriptor()) && file.Close();
}

// Where writing has to happen, so that a link to the file stays a link.
std::string Target(const std::string& path) {
  std::error_code error;
  const fs::path target = fs::weakly_canonical(path, error);
  return error ? path : target.string();
}

}  // namespace

std::optional<std::string> ReadWholeFile(const std::string& path, std::size_t max_bytes) {
  const File file(::open(path.c_str(), kReadFlags));
  struct stat status;
  if (!file.IsOpen() || ::fstat(file.Descriptor(), &status) != 0) return std::nullopt;
  if (!S_ISREG(status.st_mode)) return std::nullopt;
  std::string bytes;
  char piece[4096];
  for (;;) {
    const ssize_t count = ::read(file.Descriptor(), piece, sizeof piece);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return std::nullopt;
    if (count == 0) return bytes;
    // The size that fstat gave may be out of date by now; what counts is what comes.
    if (bytes.size() + static_cast<std::size_t>(count) > max_bytes) return std::nullopt;
    bytes.append(piece, static_cast<std::size_t>(count));
  }
}

bool ReplaceWholeFile(const std::string& path, std::string_view bytes) {
  const std::string target = Target(path);
  std::error_code error;
  fs::create_directories(fs::path(target).parent_path(), error);
  if (error) return false;
  std::string temporary;
  File file(OpenTemporary(target, temporary));
  if (!file.IsOpen()) return false;
  bool replaced = KeepMode(file, target) && Fill(file, bytes);
  if (replaced) fs::rename(temporary, target, error);  // over the old one, on every system
  replaced = replaced && !error;
  if (!replaced) ::unlink(temporary.c_str());
  return replaced;
}

bool PathExists(const std::string& path) {
  std::error_code error;  // of a folder that may not be looked into: somebody is there
  return fs::symlink_status(path, error).type() != fs::file_type::not_found;
}

}  // namespace kt::detail
