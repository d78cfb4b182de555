// SPDX-License-Identifier: MIT
#include "classlib/Kt_Symbol.h"

#include <mutex>
#include <shared_mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "classlib/detail/Kt_TextHash.h"

namespace {

class SymbolTable {
 public:
  Kt_Symbol Find(const std::u16string& folded) {
    const std::shared_lock lock(mutex_);
    const auto it = symbols_.find(folded);
    return it == symbols_.end() ? 0 : it->second;
  }

  Kt_Symbol Make(const std::u16string& folded, const Kt_WString& name) {
    const std::unique_lock lock(mutex_);
    // The name first: memory may run out between the two, and a name too many does no harm.
    const auto known = symbols_.find(folded);
    if (known != symbols_.end()) return known->second;
    names_.push_back(name);
    return symbols_.emplace(folded, static_cast<Kt_Symbol>(names_.size())).first->second;
  }

  Kt_WString Name(Kt_Symbol symbol) {
    const std::shared_lock lock(mutex_);
    return symbol == 0 || symbol > names_.size() ? Kt_WString() : names_[symbol - 1];
  }

 private:
  std::shared_mutex mutex_;
  std::unordered_map<std::u16string, Kt_Symbol, kt::detail::TextHasher> symbols_;
  std::vector<Kt_WString> names_;
};

// Never destroyed: variables of static objects may be looked up after main has ended.
SymbolTable& Table() {
  static SymbolTable* const table = new SymbolTable;
  return *table;
}

std::u16string Fold(const Kt_WString& name) {
  std::u16string folded(name.View());
  for (char16_t& unit : folded) unit = kt_foldcaseW(unit);
  return folded;
}

Kt_Symbol Remember(const Kt_WString& name, Kt_Symbol symbol) {
  if (symbol != 0) name.GetRep()->symbol.store(symbol, std::memory_order_relaxed);
  return symbol;
}

}  // namespace

Kt_Symbol kt_makesymbolW(const Kt_WString& name) {
  if (name.IsEmpty()) return 0;
  if (const Kt_Symbol known = name.GetRep()->symbol.load(std::memory_order_relaxed)) return known;
  return Remember(name, Table().Make(Fold(name), name));
}

Kt_Symbol kt_findsymbolW(const Kt_WString& name) {
  if (name.IsEmpty()) return 0;
  return Remember(name, Table().Find(Fold(name)));
}

Kt_WString kt_symbolnameW(Kt_Symbol symbol) { return Table().Name(symbol); }
