// SPDX-License-Identifier: MIT
#include "classlib/text/Kt_Symbol.h"

#include <atomic>
#include <deque>
#include <mutex>
#include <shared_mutex>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "classlib/base/Kt_Charge.h"
#include "classlib/base/Kt_Memory.h"
#include "classlib/text/detail/Kt_SymbolHold.h"
#include "classlib/text/detail/Kt_TextHash.h"

namespace {

// A name goes when its last holder does. Holders are counted under the shared lock, because numbers
// move to other names; only making and dropping a name take the lock alone.
class SymbolTable {
 public:
  // The symbol with one more holder; 0 when the name has none.
  Kt_Symbol Hold(const kt::CountedText& folded) {
    const std::shared_lock lock(mutex_);
    const auto it = symbols_.find(folded);
    if (it == symbols_.end()) return 0;
    EntryOf(it->second).holders.fetch_add(1, std::memory_order_relaxed);
    return it->second;
  }

  Kt_Symbol HoldOrMake(const kt::CountedText& folded, std::u16string_view name) {
    if (const Kt_Symbol known = Hold(folded)) return known;
    const std::unique_lock lock(mutex_);
    const auto it = symbols_.find(folded);
    const Kt_Symbol symbol = it != symbols_.end() ? it->second : Add(folded, name);
    EntryOf(symbol).holders.fetch_add(1, std::memory_order_relaxed);
    return symbol;
  }

  void Release(Kt_Symbol symbol) {
    {
      const std::shared_lock lock(mutex_);
      if (EntryOf(symbol).holders.fetch_sub(1, std::memory_order_relaxed) > 1) return;
    }
    const std::unique_lock lock(mutex_);
    Entry& entry = EntryOf(symbol);
    // Meanwhile the name may have been asked for again, or dropped by whoever asked.
    if (entry.folded == nullptr || entry.holders.load(std::memory_order_relaxed) > 0) return;
    symbols_.erase(symbols_.find(*entry.folded));
    entry.folded = nullptr;
    kt::CountedText().swap(entry.name);
    free_.push_back(symbol);
  }

  Kt_WString Name(Kt_Symbol symbol) {
    const std::shared_lock lock(mutex_);
    if (symbol == 0 || symbol > entries_.size()) return {};
    const Entry& entry = EntryOf(symbol);
    if (entry.folded == nullptr) return {};
    return Kt_WString(entry.name.empty() ? *entry.folded : entry.name);
  }

  std::size_t Count() {
    const std::shared_lock lock(mutex_);
    return symbols_.size();
  }

 private:
  struct Entry {
    const kt::CountedText* folded = nullptr;  // in the table; null: the number is free
    kt::CountedText name;                     // as first written; empty: as `folded`
    std::atomic<std::uint64_t> holders = 0;
  };

  Entry& EntryOf(Kt_Symbol symbol) { return entries_[symbol - 1]; }

  // What is dropped finds room in the list of free numbers, which therefore grows here.
  Kt_Symbol Add(const kt::CountedText& folded, std::u16string_view name) {
    if (free_.empty()) {
      if (free_.capacity() <= entries_.size()) free_.reserve(2 * entries_.size() + 64);
      entries_.emplace_back();
      free_.push_back(static_cast<Kt_Symbol>(entries_.size()));
    }
    const Kt_Symbol symbol = free_.back();
    kt::CountedText spelled(name == folded ? std::u16string_view() : name);
    const auto it = symbols_.emplace(folded, symbol).first;
    free_.pop_back();
    Entry& entry = EntryOf(symbol);
    entry.folded = &it->first;
    entry.name = std::move(spelled);
    return symbol;
  }

  std::shared_mutex mutex_;
  std::unordered_map<kt::CountedText, Kt_Symbol, kt::detail::TextHasher> symbols_;
  std::deque<Entry> entries_;
  std::vector<Kt_Symbol> free_;
};

// Never destroyed: variables of static objects may be looked up after main has ended.
SymbolTable& Table() {
  static SymbolTable* const kTable = new SymbolTable;
  return *kTable;
}

// False when the run was stopped on the way.
bool Fold(const Kt_WString& name, kt::CountedText& folded) {
  const std::u16string_view units = name.View();
  folded.reserve(units.size());
  return kt::detail::InPieces(units.size(), 8, [&](std::size_t first, std::size_t count) {
    for (const char16_t unit : units.substr(first, count)) folded += kt_foldcaseW(unit);
    return true;
  });
}

// The text keeps the holder that `symbol` came with, unless another thread was first.
Kt_Symbol Remember(const Kt_WString& name, Kt_Symbol symbol) {
  Kt_Symbol known = 0;
  if (symbol != 0 && !name.GetRep()->symbol.compare_exchange_strong(known, symbol)) {
    Table().Release(symbol);
  }
  return symbol;
}

}  // namespace

void kt::detail::DropSymbol(Kt_Symbol symbol) { Table().Release(symbol); }

Kt_Symbol kt_makesymbolW(const Kt_WString& name) {
  if (name.IsEmpty()) return 0;
  if (const Kt_Symbol known = name.GetRep()->symbol.load(std::memory_order_relaxed)) return known;
  kt::CountedText folded;
  return Fold(name, folded) ? Remember(name, Table().HoldOrMake(folded, name.View())) : 0;
}

Kt_Symbol kt_findsymbolW(const Kt_WString& name) {
  if (name.IsEmpty()) return 0;
  kt::CountedText folded;
  return Fold(name, folded) ? Remember(name, Table().Hold(folded)) : 0;
}

Kt_WString kt_symbolnameW(Kt_Symbol symbol) { return Table().Name(symbol); }

void kt_keepsymbolW(const Kt_WString& name) {
  kt::CountedText folded;
  if (!name.IsEmpty() && Fold(name, folded)) (void)Table().HoldOrMake(folded, name.View());
}

std::size_t kt_symbolcountW() { return Table().Count(); }
