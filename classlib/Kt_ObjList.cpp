// SPDX-License-Identifier: MIT
#include "classlib/Kt_ObjList.h"

#include <new>
#include <utility>

Kt_ObjList::Kt_ObjList(const Kt_ObjList& other) : handler_(other.handler_) { Assign(&other); }

Kt_ObjList& Kt_ObjList::operator=(const Kt_ObjList& other) {
  KT_ASSERT(handler_ == other.handler_);
  Assign(&other);
  return *this;
}

kt_long Kt_ObjList::Append() {
  if (GetCount() >= kMaxListItems) return -1;
  void* const memory = ::operator new(handler_->ItemSize(), std::nothrow);
  if (memory == nullptr) return -1;
  try {
    items_.push_back(nullptr);
  } catch (const std::bad_alloc&) {
    ::operator delete(memory);
    return -1;
  }
  items_.back() = handler_->_InitItem(memory);
  return GetCount() - 1;
}

kt_long Kt_ObjList::AddCopy(const void* source) {
  const kt_long index = Append();
  if (index >= 0) handler_->_AssignItem(GetAt(index), source);
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
