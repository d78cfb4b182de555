// SPDX-License-Identifier: MIT
#pragma once

#include <new>
#include <vector>

#include "classlib/base/Kt_Types.h"

// The element operations of a Kt_ObjList. One static handler per element class; no
// state. The order of the virtual operations is part of the interface.
class KT_CLASS_API Kt_ObjListHandler {
 public:
  // Constructs an element in the `memory` of ItemSize() bytes and returns it.
  virtual void* _InitItem(void* memory) const = 0;
  // Destroys the element; its memory belongs to the list.
  virtual void _FreeItem(void* item) const = 0;
  // Copies `source` onto `target`; does nothing if either is null.
  virtual void _AssignItem(void* target, const void* source) const = 0;
  // By presence only: both there or both null 0, only the first 1, only the second -1.
  virtual int _CompareItem(const void* a, const void* b) const = 0;
  virtual std::size_t ItemSize() const = 0;
  virtual ~Kt_ObjListHandler() = default;
};

// The handler for a class with a default constructor and `Set(const T&)`.
template <class T>
class Kt_ObjListHandlerOf : public Kt_ObjListHandler {
 public:
  void* _InitItem(void* memory) const override { return new (memory) T; }
  void _FreeItem(void* item) const override { static_cast<T*>(item)->~T(); }
  void _AssignItem(void* target, const void* source) const override {
    if (target == nullptr || source == nullptr) return;
    static_cast<T*>(target)->Set(*static_cast<const T*>(source));
  }
  int _CompareItem(const void* a, const void* b) const override {
    return static_cast<int>(a != nullptr) - static_cast<int>(b != nullptr);
  }
  std::size_t ItemSize() const override { return sizeof(T); }
};

// A list of elements of one class, made, copied and freed through a handler. Elements keep their
// address while the list grows, so pointers from GetSafeItem stay good until the element goes.
//
// Owns its elements. Threads: const members may run in parallel; a change needs sole access.
class KT_CLASS_API Kt_ObjList {
 public:
  explicit Kt_ObjList(const Kt_ObjListHandler& handler) : handler_(&handler) {}
  Kt_ObjList(const Kt_ObjList& other);
  Kt_ObjList& operator=(const Kt_ObjList& other);
  ~Kt_ObjList() { Clear(); }

  kt_long GetCount() const { return static_cast<kt_long>(items_.size()); }
  // Null outside the list.
  const void* GetAt(kt_long index) const {
    return index >= 0 && index < GetCount() ? items_[static_cast<std::size_t>(index)] : nullptr;
  }
  void* GetAt(kt_long index) {
    return index >= 0 && index < GetCount() ? items_[static_cast<std::size_t>(index)] : nullptr;
  }
  // Appends a fresh element; returns its index, -1 when the list is full (kMaxListItems). Without
  // memory std::bad_alloc is thrown and the list is as it was, here and in what follows.
  kt_long Append();
  // Appends a copy.
  kt_long AddCopy(const void* source);
  void RemoveAt(kt_long index);
  void Clear();
  // Replaces the elements by copies; null leaves the list as it is. Returns the count.
  kt_long Assign(const Kt_ObjList* source);
  // Exchanges the elements of two lists of one class; no element moves.
  void Swap(Kt_ObjList& other) noexcept { items_.swap(other.items_); }

 private:
  const Kt_ObjListHandler* handler_;
  std::vector<void*> items_;
};
