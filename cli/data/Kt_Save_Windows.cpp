// SPDX-License-Identifier: MIT
//
// The same as Kt_Save.cpp with what Windows has. A file that is open, and was not opened for
// sharing, can neither be opened nor deleted by others: no lock is needed, and deleting a leftover
// fails as long as somebody writes it. It has to be closed before it can be renamed; who finds it
// in that moment takes it for a leftover, and then the rename fails, which is told, and the old
// file stays. Rights come from the folder.
#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <sys/stat.h>
#include <windows.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

#undef ReplaceFile  // the system's own, with a suffix

#include "classlib/base/Kt_Path.h"
#include "classlib/base/Kt_WorkMeter.h"
#include "cli/data/Kt_Save.h"

namespace fs = std::filesystem;

namespace kt::cli {
namespace {

constexpr int kSlots = 10;
constexpr std::size_t kWriteBytes = std::size_t{1} << 20;
constexpr std::size_t kMaxNameUnits = 200;  // file names have at most 255
constexpr int kNewFlags = _O_WRONLY | _O_CREAT | _O_EXCL | _O_BINARY | _O_NOINHERIT;

SaveHook g_hook;

bool MayCall(std::string_view name) { return !g_hook || g_hook(name); }

fs::path SlotPath(const fs::path& target, int slot) {
  const std::wstring name = target.filename().wstring().substr(0, kMaxNameUnits);
  return target.parent_path() / (L"." + name + L".kt" + std::to_wstring(slot));
}

// A file beside the target, from its first byte to the rename. What is left of it is removed.
class Replacement {
 public:
  explicit Replacement(const std::string& target) : target_(kt_path(target)) {}
  Replacement(const Replacement&) = delete;
  Replacement& operator=(const Replacement&) = delete;
  ~Replacement() {
    const int cause = errno;
    Close();
    if (!beside_.empty()) ::_wunlink(beside_.c_str());
    errno = cause;
  }

  bool Run(std::string_view bytes) {
    return Create() && Write(bytes) && MayCall("fsync") && ::_commit(file_) == 0 && Close() &&
           Rename();
  }

 private:
  // Takes the first free slot; those of programs that were ended become free on the way.
  bool Create() {
    for (int slot = 0; slot < kSlots; ++slot) {
      fs::path path = SlotPath(target_, slot);
      if (MayCall("unlink")) ::_wunlink(path.c_str());
      if (!MayCall("open")) return false;
      file_ = ::_wsopen(path.c_str(), kNewFlags, _SH_DENYRW, _S_IREAD | _S_IWRITE);
      if (file_ >= 0) {
        beside_ = std::move(path);
        return true;
      }
      if (errno != EEXIST) return false;
    }
    errno = EBUSY;
    return false;
  }

  bool Write(std::string_view bytes) const {
    while (!bytes.empty()) {
      if (!MayCall("write") || !kt::Charge(kWriteBytes / 4)) return false;
      const std::size_t size = std::min(bytes.size(), kWriteBytes);
      const int count = ::_write(file_, bytes.data(), static_cast<unsigned>(size));
      if (count < 0) return false;
      bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
  }

  bool Close() {
    const int file = std::exchange(file_, -1);
    return file < 0 || ::_close(file) == 0;
  }

  bool Rename() {
    if (!MayCall("rename")) return false;
    constexpr DWORD kFlags = MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH;
    if (::MoveFileExW(beside_.c_str(), target_.c_str(), kFlags) == 0) {
      const std::error_code error(static_cast<int>(::GetLastError()), std::system_category());
      errno = error.default_error_condition().value();
      return false;
    }
    beside_.clear();
    return true;
  }

  const fs::path target_;
  fs::path beside_;  // to be removed at the end; empty: nothing
  int file_ = -1;
};

}  // namespace

bool ReplaceFile(const std::string& target, std::string_view bytes) {
  return Replacement(target).Run(bytes);
}

void SetSaveHook(SaveHook hook) { g_hook = std::move(hook); }

}  // namespace kt::cli
