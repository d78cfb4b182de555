// SPDX-License-Identifier: MIT
#pragma once

#include "classlib/text/Kt_WString.h"

// A number that stands for a name without regard to case: equal names have equal symbols, so the
// engine's own contexts compare numbers instead of text. 0 stands for no symbol. Symbols are
// process-wide; only names that become variables make new ones.
//
// A text that was asked for its symbol keeps it until the text changes or its last copy goes. A
// symbol that no text keeps is given back, and its number may come to stand for another name. So
// whoever stores a symbol stores the text that it asked, too, or keeps the symbol for good.
// Threads: free to call from any.
using Kt_Symbol = std::uint32_t;

// The symbol of `name`, made if it is new. 0 for the empty name.
KT_CLASS_API Kt_Symbol kt_makesymbolW(const Kt_WString& name);
// The symbol of `name`, 0 when no variable was ever named so.
KT_CLASS_API Kt_Symbol kt_findsymbolW(const Kt_WString& name);
// The name as it was first written; empty for an unknown symbol.
KT_CLASS_API Kt_WString kt_symbolnameW(Kt_Symbol symbol);
// Never gives back the symbol of `name`.
KT_CLASS_API void kt_keepsymbolW(const Kt_WString& name);
// How many names have a symbol at the moment.
KT_CLASS_API std::size_t kt_symbolcountW();

// As above; a name that was asked before answers from its own buffer without a search.
inline Kt_Symbol kt_symbolW(const Kt_WString& name) {
  const Kt_WString::Rep* const rep = name.GetRep();
  if (rep == nullptr) return 0;
  const Kt_Symbol known = rep->symbol.load(std::memory_order_relaxed);
  return KT_LIKELY(known != 0) ? known : kt_findsymbolW(name);
}
