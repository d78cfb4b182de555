// SPDX-License-Identifier: MIT
#pragma once

#include <exception>
#include <string_view>
#include <vector>

#include "classlib/Kt_Types.h"

// A growing run of bytes, for what is written to a stream.
// Owns its bytes. Threads: const members may run in parallel; a change needs sole access.
class Kt_Buffer {
 public:
  // Null while empty. Good until the next change.
  const unsigned char* GetData() const { return bytes_.data(); }
  std::size_t GetSize() const { return bytes_.size(); }
  std::string_view View() const {
    return {reinterpret_cast<const char*>(bytes_.data()), bytes_.size()};
  }

  // Appends `size_bytes` bytes, which must not be the buffer's own. False, and nothing appended,
  // when memory ran out.
  bool Append(const void* data, std::size_t size_bytes) {
    if (size_bytes == 0) return true;
    const auto* const first = static_cast<const unsigned char*>(data);
    try {
      bytes_.insert(bytes_.end(), first, first + size_bytes);
    } catch (const std::exception&) {
      return false;
    }
    return true;
  }
  bool Append(std::string_view bytes) { return Append(bytes.data(), bytes.size()); }
  void Clear() { bytes_.clear(); }

 private:
  std::vector<unsigned char> bytes_;
};
