// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <utility>

namespace kt::detail {

// A value that copies share until one of them writes.
// Threads: one thread per copy; copies on different threads may share.
template <class T>
class CopyOnWrite {
 public:
  CopyOnWrite() : value_(std::make_shared<T>()) {}
  explicit CopyOnWrite(T value) : value_(std::make_shared<T>(std::move(value))) {}

  const T& operator*() const { return *value_; }
  const T* operator->() const { return value_.get(); }
  // For writing; made private first. References taken earlier stay with the old value.
  T& Write() {
    if (value_.use_count() != 1) value_ = std::make_shared<T>(*value_);
    return *value_;
  }

 private:
  std::shared_ptr<T> value_;
};

}  // namespace kt::detail
