// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

#include "classlib/base/Kt_Memory.h"

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

  // Appends `size_bytes` bytes, which must not be the buffer's own. Without memory std::bad_alloc
  // is thrown and nothing appended.
  void Append(const void* data, std::size_t size_bytes) {
    const auto* const first = static_cast<const unsigned char*>(data);
    bytes_.insert(bytes_.end(), first, first + size_bytes);
  }
  // Takes memory for so many bytes at once.
  void Reserve(std::size_t size_bytes) { bytes_.reserve(size_bytes); }
  void Append(std::string_view bytes) { Append(bytes.data(), bytes.size()); }
  void Clear() { bytes_.clear(); }

 private:
  kt::CountedVector<unsigned char> bytes_;
};
