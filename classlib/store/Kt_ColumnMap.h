// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <memory>

#include "classlib/text/Kt_WString.h"

// Says of the map of a logical column that data brought it, so that a stranger may have written it.
// Belongs to the map and is shared by all copies of the column, on other threads too.
class Kt_MapOrigin {
 public:
  explicit Kt_MapOrigin(const Kt_WString& file = {}) : file_(file) {}

  // As the load named it; empty: a text or bytes in memory.
  const Kt_WString& GetFile() const { return file_; }
  // True for the first who asks: what is wrong with a map is wrong in every row and every copy.
  bool TakeReport() const { return !was_reported_.exchange(true); }

 private:
  Kt_WString file_;
  mutable std::atomic<bool> was_reported_ = false;
};

// What a logical column computes.
struct Kt_ColumnMap {
  Kt_WString column;  // its id
  Kt_WString expression;
  std::shared_ptr<const Kt_MapOrigin> origin;  // null: the host or one of its scripts made the map
};
