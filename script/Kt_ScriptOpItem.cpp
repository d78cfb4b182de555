// SPDX-License-Identifier: MIT
#include "script/Kt_ScriptOpItem.h"

#include <new>

const Kt_ScriptOpItemHandler Kt_ScriptOpItem::_KtScriptOpItemHandler;

void Kt_ScriptOpItem::InitWithMemory(Kt_ScriptOpItem* item) { new (item) Kt_ScriptOpItem; }

void Kt_ScriptOpItem::FreeWithMemory(Kt_ScriptOpItem* item) { item->~Kt_ScriptOpItem(); }

void Kt_ScriptOpItem::Set(const Kt_ScriptOpItem& source) {
  expression = source.expression;
  body.Assign(&source.body);
}

const Kt_ScriptOpItem& Kt_ScriptOpItemList::operator[](kt_long index) const {
  static const Kt_ScriptOpItem kEmpty;
  const Kt_ScriptOpItem* const item = GetItem(index);
  return item != nullptr ? *item : kEmpty;
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
