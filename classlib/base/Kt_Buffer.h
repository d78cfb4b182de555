// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string_view>
#include <utility>

#include "classlib/base/Kt_Types.h"

// A growing run of bytes, for what is written to a stream. Long ones grow in place, so that what
// was written does not lie in memory twice.
// Owns its bytes. Threads: const members may run in parallel; a change needs sole access.
class KT_CLASS_API Kt_Buffer {
 public:
  Kt_Buffer() = default;
  Kt_Buffer(const Kt_Buffer& other) { Append(other.View()); }
  Kt_Buffer(Kt_Buffer&& other) noexcept { Swap(other); }
  Kt_Buffer& operator=(Kt_Buffer other) noexcept {
    Swap(other);
    return *this;
  }
  ~Kt_Buffer();

  // Null while nothing was appended or reserved. Good until the next change.
  const unsigned char* GetData() const { return data_; }
  std::size_t GetSize() const { return size_bytes_; }
  std::string_view View() const { return {reinterpret_cast<const char*>(data_), size_bytes_}; }

  // Appends `size_bytes` bytes, which must not be the buffer's own. Without memory std::bad_alloc
  // is thrown and nothing appended.
  void Append(const void* data, std::size_t size_bytes);
  void Append(std::string_view bytes) { Append(bytes.data(), bytes.size()); }
  // Takes memory for so many bytes at once.
  void Reserve(std::size_t size_bytes);
  void Clear() { size_bytes_ = 0; }

 private:
  void Swap(Kt_Buffer& other) noexcept {
    std::swap(data_, other.data_);
    std::swap(size_bytes_, other.size_bytes_);
    std::swap(capacity_bytes_, other.capacity_bytes_);
  }

  unsigned char* data_ = nullptr;
  std::size_t size_bytes_ = 0;
  std::size_t capacity_bytes_ = 0;
};
