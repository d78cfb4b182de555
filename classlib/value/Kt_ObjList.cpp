// SPDX-License-Identifier: MIT
#include "classlib/value/Kt_ObjList.h"

#include <algorithm>
#include <memory>
#include <new>
#include <utility>

namespace {

struct FreeMemory {
  void operator()(void* memory) const { ::operator delete(memory); }
};

}  // namespace

Kt_ObjList::Kt_ObjList(const Kt_ObjList& other) : Kt_ObjList(*other.handler_) { Assign(&other); }

Kt_ObjList& Kt_ObjList::operator=(const Kt_ObjList& other) {
  KT_ASSERT(handler_ == other.handler_);
  Assign(&other);
  return *this;
}

kt_long Kt_ObjList::Append() {
  if (GetCount() >= kMaxListItems) return -1;
  if (items_.size() == items_.capacity())
    items_.reserve(std::max<std::size_t>(4, items_.size() * 2));
  std::unique_ptr<void, FreeMemory> memory(::operator new(handler_->ItemSize()));
  items_.push_back(handler_->_InitItem(memory.get()));
  (void)memory.release();
  return GetCount() - 1;
}

kt_long Kt_ObjList::AddCopy(const void* source) {
  const kt_long index = Append();
  if (index < 0) return index;
  try {
    handler_->_AssignItem(GetAt(index), source);
  } catch (...) {
    RemoveAt(index);
    throw;
  }
  return index;
}

void Kt_ObjList::RemoveAt(kt_long index) {
  void* const item = GetAt(index);
  if (item == nullptr) return;
  items_.erase(items_.begin() + index);
  handler_->_FreeItem(item);
  ::operator delete(item);
}

void Kt_ObjList::Clear() {
  // Taken out first: an element's destructor may look at the list it sits in.
  for (void* const item : std::exchange(items_, {})) {
    handler_->_FreeItem(item);
    ::operator delete(item);
  }
}

kt_long Kt_ObjList::Assign(const Kt_ObjList* source) {
  if (source == nullptr || source == this) return GetCount();
  // The copy is complete before anything of ours goes: `source` may lie inside an element.
  Kt_ObjList copy(*handler_);
  for (const void* const item : source->items_) {
    if (copy.AddCopy(item) < 0) break;
  }
  items_.swap(copy.items_);
  return GetCount();
}
