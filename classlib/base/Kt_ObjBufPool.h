// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

#include "classlib/base/Kt_Types.h"

// A named pool of equally sized objects: a free list that grows by `step` objects at a time and
// never shrinks. For classes of which a script has thousands.
//
// Threads: every call locks; pools are process-wide. Fails: without memory Alloc throws
// std::bad_alloc.
class KT_CLASS_API Kt_ObjBufPool {
 public:
  // `name` must outlive the pool (a literal). `object_size` in bytes.
  Kt_ObjBufPool(const char* name, std::size_t object_size, kt_long step);
  ~Kt_ObjBufPool();
  Kt_ObjBufPool(const Kt_ObjBufPool&) = delete;
  Kt_ObjBufPool& operator=(const Kt_ObjBufPool&) = delete;

  void* Alloc();
  void Free(void* object);  // null is allowed

  const char* GetName() const { return name_; }
  kt_long GetUsedCount() const;  // objects given out and not yet back

 private:
  struct Impl;
  const char* name_;
  Impl* impl_;
};
