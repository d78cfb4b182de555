// SPDX-License-Identifier: MIT
#include "classlib/base/Kt_Buffer.h"

#include <algorithm>
#include <cstring>

#include "classlib/base/Kt_Memory.h"

Kt_Buffer::~Kt_Buffer() {
  if (data_ != nullptr) kt::Free(data_, capacity_bytes_);
}

void Kt_Buffer::Append(const void* data, std::size_t size_bytes) {
  if (size_bytes == 0) return;
  if (size_bytes > capacity_bytes_ - size_bytes_) {
    Reserve(std::max(size_bytes_ + size_bytes, capacity_bytes_ + capacity_bytes_ / 2));
  }
  std::memcpy(data_ + size_bytes_, data, size_bytes);
  size_bytes_ += size_bytes;
}

void Kt_Buffer::Reserve(std::size_t size_bytes) {
  if (size_bytes <= capacity_bytes_) return;
  data_ = static_cast<unsigned char*>(data_ == nullptr
                                          ? kt::Allocate(size_bytes)
                                          : kt::Reallocate(data_, capacity_bytes_, size_bytes));
  capacity_bytes_ = size_bytes;
}
