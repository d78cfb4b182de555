// SPDX-License-Identifier: MIT
#pragma once

#include "script/Kt_ScriptOpPayloads.h"

class Kt_ScriptOpItem;

// The element operations of a Kt_ScriptOpItemList.
using Kt_ScriptOpItemHandler = Kt_ObjListHandlerOf<Kt_ScriptOpItem>;

// One branch of an if or one label of a switch. Threads: as in Kt_ScriptOpPayloads.h.
class KT_SCRIPT_API Kt_ScriptOpItem {
 public:
  // The one handler of all item lists.
  static const Kt_ScriptOpItemHandler _KtScriptOpItemHandler;

  Kt_ScriptOpItem() = default;
  Kt_ScriptOpItem(const Kt_ScriptOpItem& other) { Set(other); }
  Kt_ScriptOpItem& operator=(const Kt_ScriptOpItem& other) {
    Set(other);
    return *this;
  }
  // Copies expression and body; flag and line stay as they are.
  void Set(const Kt_ScriptOpItem& source);

  static void InitWithMemory(Kt_ScriptOpItem* item);
  static void FreeWithMemory(Kt_ScriptOpItem* item);

  kt_long flag = 0;  // 0: guarded by the expression; 1: an else branch or the default label
  mutable Kt_Expr expression;  // condition of the branch, value of the case
  kt_long line = -1;           // counts from 0
  Kt_ScriptOpList body;
};

// The branches of an if or the labels of a switch, in source order. Owns its items; an item keeps
// its address while the list grows.
class KT_SCRIPT_API Kt_ScriptOpItemList : public Kt_ObjList {
 public:
  Kt_ScriptOpItemList() : Kt_ObjList(Kt_ScriptOpItem::_KtScriptOpItemHandler) {}

  // Null outside the list.
  const Kt_ScriptOpItem* GetItem(kt_long index) const {
    return static_cast<const Kt_ScriptOpItem*>(GetAt(index));
  }
  Kt_ScriptOpItem* GetSafeItem(kt_long index) {
    return static_cast<Kt_ScriptOpItem*>(GetAt(index));
  }
  // Outside the list one shared empty item.
  const Kt_ScriptOpItem& operator[](kt_long index) const;
  // Appends an item; null when memory ran out.
  Kt_ScriptOpItem* AddItem(kt_long flag, kt_long line);
};

class KT_SCRIPT_API Kt_ScriptOpIf {
 public:
  Kt_ScriptOpIf() = default;
  Kt_ScriptOpIf(const Kt_ScriptOpIf&) = default;
  Kt_ScriptOpIf& operator=(const Kt_ScriptOpIf&) = default;
  virtual ~Kt_ScriptOpIf() = default;
  KT_POOLED_CLASS

  kt_long GetCount() const { return items.GetCount(); }
  const Kt_ScriptOpItem* GetItem(kt_long index) const { return items.GetItem(index); }
  Kt_ScriptOpItem* GetSafeItem(kt_long index) { return items.GetSafeItem(index); }
  const Kt_ScriptOpItem& operator[](kt_long index) const { return items[index]; }
  // Replaces the items by copies; returns the count.
  kt_long Assign(const Kt_ScriptOpIf& source) { return items.Assign(&source.items); }
  void Clear() { items.Clear(); }

  Kt_ScriptOpItemList items;  // the if branch, then each else part
};

class KT_SCRIPT_API Kt_ScriptOpSwitch {
 public:
  Kt_ScriptOpSwitch() = default;
  Kt_ScriptOpSwitch(const Kt_ScriptOpSwitch&) = default;
  Kt_ScriptOpSwitch& operator=(const Kt_ScriptOpSwitch& other);
  virtual ~Kt_ScriptOpSwitch() = default;
  KT_POOLED_CLASS

  kt_long GetCount() const { return items.GetCount(); }
  const Kt_ScriptOpItem* GetItem(kt_long index) const { return items.GetItem(index); }
  Kt_ScriptOpItem* GetSafeItem(kt_long index) { return items.GetSafeItem(index); }
  const Kt_ScriptOpItem& operator[](kt_long index) const { return items[index]; }
  // Replaces the items by copies and takes over the expression; returns the item count.
  kt_long Assign(const Kt_ScriptOpSwitch& source);
  void Clear();

  Kt_ScriptOpItemList items;  // one per label
  mutable Kt_Expr expression;
};
