// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

#include "cli/Kt_File.h"

namespace kt::cli {

// An open file, pipe or device as the system has it, read and written in order. Closes itself.
//
// Nobody waits for a pipe longer than the work of this thread may last (Kt_WorkMeter): what was
// stopped while it waited fails, and the meter says why. Where nothing limits the work, it waits.
// Paths are UTF-8. The reason of a failure is in errno.
class OpenFile {
 public:
  static OpenFile ToRead(const std::string& path, Links links);
  // For what is there and no plain file, which a rename cannot replace.
  static OpenFile ToWrite(const std::string& path, Links links);
  static OpenFile StandardInput() { return OpenFile(0, false); }

  OpenFile(OpenFile&& other) noexcept
      : file_(std::exchange(other.file_, -1)), is_owned_(other.is_owned_) {}
  OpenFile& operator=(OpenFile&&) = delete;
  ~OpenFile() { Close(); }

  bool IsOpen() const { return file_ >= 0; }
  // False when what was written may not have arrived.
  bool Close();

  // How many bytes a plain file has; 0 for anything else.
  std::size_t PlainSize() const;
  // Puts up to `size` bytes into `to`: how many, 0 at the end, less than 0 when it failed.
  std::ptrdiff_t Read(char* to, std::size_t size) const;
  bool Write(std::string_view bytes) const;

 private:
  explicit OpenFile(int file, bool is_owned = true) : file_(file), is_owned_(is_owned) {}

  int file_;
  bool is_owned_;
};

// Whether a device, a pipe or the like has the name: what cannot be replaced by a rename.
bool IsDevice(const std::string& path, Links links);

}  // namespace kt::cli
