// SPDX-License-Identifier: MIT
//
// How a save can be interrupted anywhere, and leftovers be told from files that are being written.
//
// All bytes go into a file of another name in the same folder. It gets rights and owner, is synced,
// and takes the place of the target by one rename; then the folder is synced, because a rename that
// is not on the disk is lost in a power cut.
//
// The names of these files are known beforehand (slots), so that no folder has to be searched. A
// writer holds a lock on its file from before the first byte until after the rename; the system
// drops it when the writer dies. Whoever finds a slot taken and gets its lock may remove it, as
// long as the file still has its name, because everybody who removes a slot holds its lock. A
// writer that was overtaken between making its file and locking it sees that the file has no name
// any more, and starts again.
#include "cli/data/Kt_Save.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <utility>

#include "classlib/base/Kt_WorkMeter.h"

namespace fs = std::filesystem;

namespace kt::cli {
namespace {

constexpr int kSlots = 10;
// So many bytes a call: the system may not take more than 2 GiB at once.
constexpr std::size_t kWriteBytes = std::size_t{1} << 20;
// File names have at most 255 bytes; of longer names the beginning will do.
constexpr std::size_t kMaxNameBytes = 200;

SaveHook g_hook;

bool MayCall(std::string_view name) { return !g_hook || g_hook(name); }

// Closes at the end, and with the file its lock goes. errno stays what it was.
class File {
 public:
  explicit File(int fd = -1) : fd_(fd) {}
  File(File&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  File& operator=(File&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }
  ~File() {
    const int cause = errno;
    if (fd_ >= 0) ::close(fd_);
    errno = cause;
  }

  bool IsOpen() const { return fd_ >= 0; }
  int Get() const { return fd_; }

 private:
  int fd_;
};

bool Lock(const File& file) {
  return MayCall("flock") && ::flock(file.Get(), LOCK_EX | LOCK_NB) == 0;
}

bool HasName(const File& file) {
  struct stat info;
  return MayCall("fstat") && ::fstat(file.Get(), &info) == 0 && S_ISREG(info.st_mode) &&
         info.st_nlink > 0;
}

void RemoveLeftover(const std::string& path) {
  if (!MayCall("open leftover")) return;
  const File file(::open(path.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  if (file.IsOpen() && Lock(file) && HasName(file) && MayCall("unlink")) ::unlink(path.c_str());
}

std::string SlotPath(const fs::path& target, int slot) {
  const std::string name = target.filename().string().substr(0, kMaxNameBytes);
  return (target.parent_path() / ("." + name + ".kt" + std::to_string(slot))).string();
}

// A file that is replaced hands on its rights and owner.
std::optional<struct stat> OldFile(const std::string& target) {
  struct stat info;
  if (::stat(target.c_str(), &info) != 0) return std::nullopt;
  return info;
}

mode_t RightsOfNewFile() {
  const mode_t mask = ::umask(0);
  ::umask(mask);
  return 0666 & ~mask;
}

class Replacement {
 public:
  explicit Replacement(const std::string& target) : target_(target) {}
  Replacement(const Replacement&) = delete;
  Replacement& operator=(const Replacement&) = delete;
  ~Replacement() {
    const int cause = errno;
    if (!beside_.empty()) ::unlink(beside_.c_str());
    errno = cause;
  }

  bool Run(std::string_view bytes) {
    return Create() && Write(bytes) && HandOnRights() && MayCall("fsync") &&
           ::fsync(file_.Get()) == 0 && Rename() && SyncFolder();
  }

 private:
  // Takes the first free slot; those of killed programs become free on the way.
  bool Create() {
    for (int slot = 0; slot < kSlots; ++slot) RemoveLeftover(SlotPath(target_, slot));
    for (int slot = 0; slot < kSlots; ++slot) {
      std::string path = SlotPath(target_, slot);
      if (!MayCall("open")) return false;
      File file(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
      if (!file.IsOpen() && errno == EEXIST) continue;
      if (!file.IsOpen()) return false;
      file_ = std::move(file);
      beside_ = std::move(path);  // from here on nothing asks for memory before it can be removed
      bool is_lost = false;
      if (!Hold(is_lost)) return false;
      if (!is_lost) return true;
      beside_.clear();
    }
    errno = EBUSY;
    return false;
  }

  // Locks the new file. It is lost when somebody took it for a leftover in the moment before.
  // Without locks, as on some network file systems, nobody removes leftovers either.
  bool Hold(bool& is_lost) const {
    is_lost = !Lock(file_) && errno == EWOULDBLOCK;
    struct stat info;
    if (!MayCall("fstat") || ::fstat(file_.Get(), &info) != 0) return false;
    is_lost = is_lost || info.st_nlink == 0;
    return true;
  }

  bool Write(std::string_view bytes) {
    while (!bytes.empty()) {
      if (!MayCall("write") || !kt::Charge(kWriteBytes / 4)) return false;
      const ssize_t count = ::write(file_.Get(), bytes.data(), std::min(bytes.size(), kWriteBytes));
      if (count < 0 && errno == EINTR) continue;
      if (count < 0) return false;
      bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
  }

  bool Chown(uid_t owner, gid_t group) {
    return MayCall("fchown") && ::fchown(file_.Get(), owner, group) == 0;
  }

  bool HandOnRights() {
    const std::optional<struct stat> old = OldFile(target_);
    mode_t rights = old ? old->st_mode & 07777 : RightsOfNewFile();
    if (old) {
      constexpr auto kSameOwner = static_cast<uid_t>(-1);
      const bool has_owner = Chown(old->st_uid, old->st_gid);
      if (!has_owner) rights &= 0777;
      if (!has_owner && !Chown(kSameOwner, old->st_gid)) {
        const mode_t others = (rights & S_IRWXO) << 3;
        rights &= ~static_cast<mode_t>(S_IRWXG) | others;
      }
    }
    return MayCall("fchmod") && ::fchmod(file_.Get(), rights) == 0;
  }

  bool Rename() {
    if (!MayCall("rename") || ::rename(beside_.c_str(), target_.c_str()) != 0) return false;
    beside_.clear();
    return true;
  }

  // A folder that cannot be opened for reading, or a file system that has nothing to sync, is none
  // of the reasons why a save fails.
  bool SyncFolder() const {
    fs::path folder = fs::path(target_).parent_path();
    if (folder.empty()) folder = ".";
    if (!MayCall("open folder")) return true;
    const File opened(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!opened.IsOpen()) return true;
    if (MayCall("fsync folder") && ::fsync(opened.Get()) == 0) return true;
    return errno == EINVAL || errno == ENOTSUP || errno == EBADF;
  }

  const std::string target_;
  std::string beside_;  // to be removed at the end; empty: nothing
  File file_;
};

}  // namespace

bool ReplaceFile(const std::string& target, std::string_view bytes) {
  return Replacement(target).Run(bytes);
}

void SetSaveHook(SaveHook hook) { g_hook = std::move(hook); }

}  // namespace kt::cli
