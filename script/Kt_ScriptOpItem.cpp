// SPDX-License-Identifier: MIT
#include "script/Kt_ScriptOpItem.h"

#include <new>

const Kt_ScriptOpItemHandler Kt_ScriptOpItem::_KtScriptOpItemHandler;

void* Kt_ScriptOpItemHandler::_InitItem(void* memory) const { return new (memory) Kt_ScriptOpItem; }

void Kt_ScriptOpItemHandler::_FreeItem(void* item) const {
  Kt_ScriptOpItem::FreeWithMemory(static_cast<Kt_ScriptOpItem*>(item));
}

void Kt_ScriptOpItemHandler::_AssignItem(void* target, const void* source) const {
  if (target == nullptr || source == nullptr) return;
  static_cast<Kt_ScriptOpItem*>(target)->Set(*static_cast<const Kt_ScriptOpItem*>(source));
}

int Kt_ScriptOpItemHandler::_CompareItem(const void* a, const void* b) const {
  return static_cast<int>(a != nullptr) - static_cast<int>(b != nullptr);
}

std::size_t Kt_ScriptOpItemHandler::ItemSize() const { return sizeof(Kt_ScriptOpItem); }

void Kt_ScriptOpItem::InitWithMemory(Kt_ScriptOpItem* item) { new (item) Kt_ScriptOpItem; }

void Kt_ScriptOpItem::FreeWithMemory(Kt_ScriptOpItem* item) { item->~Kt_ScriptOpItem(); }

void Kt_ScriptOpItem::Set(const Kt_ScriptOpItem& source) {
  expression = source.expression;
  body.Assign(&source.body);
}

const Kt_ScriptOpItem& Kt_ScriptOpItemList::operator[](kt_long index) const {
  static const Kt_ScriptOpItem empty;
  const Kt_ScriptOpItem* const item = GetItem(index);
  return item != nullptr ? *item : empty;
}

Kt_ScriptOpItem* Kt_ScriptOpItemList::AddItem(kt_long flag, kt_long line) {
  Kt_ScriptOpItem* const item = GetSafeItem(Append());
  if (item == nullptr) return nullptr;
  item->flag = flag;
  item->line = line;
  return item;
}

Kt_ScriptOpSwitch& Kt_ScriptOpSwitch::operator=(const Kt_ScriptOpSwitch& other) {
  if (this != &other) Assign(other);
  return *this;
}

kt_long Kt_ScriptOpSwitch::Assign(const Kt_ScriptOpSwitch& source) {
  expression = source.expression;
  return items.Assign(&source.items);
}

void Kt_ScriptOpSwitch::Clear() {
  expression.Clear();
  items.Clear();
}
