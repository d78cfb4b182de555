// SPDX-License-Identifier: MIT
#include "classlib/value/Kt_Variable.h"

#include <algorithm>
#include <new>

#include "classlib/base/Kt_Memory.h"
#include "classlib/base/Kt_ThreadEnd.h"

namespace {

// Freed variables of this thread, kept for the next ones: a script call makes and frees one for
// each argument and local, and this is several times faster than the general heap.
struct FreeNode {
  FreeNode* next;
};
constexpr int kMaxKept = 1024;
KT_THREAD_LOCAL FreeNode* free_variables = nullptr;
KT_THREAD_LOCAL int kept_count = 0;
KT_THREAD_LOCAL bool is_watched = false;

// Empties the list when the thread ends; what is freed after that goes straight to the heap.
void FreeList() {
  while (free_variables != nullptr) {
    kt::Free(std::exchange(free_variables, free_variables->next), sizeof(Kt_Variable));
  }
  kept_count = kMaxKept;
}

bool IsWatched() {
  if (KT_UNLIKELY(!is_watched)) is_watched = kt::AtThreadEnd<FreeList>();
  return is_watched;
}

}  // namespace

void* Kt_Variable::operator new(std::size_t size_bytes) {
  if (KT_LIKELY(free_variables != nullptr)) {
    --kept_count;
    return std::exchange(free_variables, free_variables->next);
  }
  return kt::Allocate(size_bytes);
}

void Kt_Variable::operator delete(void* memory) {
  // Without memory to note that the list is to be emptied, nothing is put into it.
  if (KT_UNLIKELY(kept_count >= kMaxKept || !IsWatched())) {
    kt::Free(memory, sizeof(Kt_Variable));
    return;
  }
  ++kept_count;
  free_variables = new (memory) FreeNode{free_variables};
}

Kt_VariableList::Kt_VariableList(const Kt_VariableList& other) { *this = other; }

Kt_VariableList& Kt_VariableList::operator=(const Kt_VariableList& other) {
  if (this == &other) return *this;
  Clear();
  for (kt_long item = 0; item < other.GetCount(); ++item) {
    AddVariable(other.GetItemName(item), other.variables_[item]->GetValue());
  }
  return *this;
}

Kt_WString Kt_VariableList::GetItemName(kt_long index) const {
  if (index < 0 || index >= GetCount()) return {};
  const Kt_WString& name = variables_[index]->GetName();
  return kt_symbolW(name) == symbols_[index] ? name : kt_symbolnameW(symbols_[index]);
}

std::uint32_t Kt_VariableList::IndexOf(Kt_Symbol symbol) const {
  if (index_) {
    const auto it = index_->find(symbol);
    return it == index_->end() ? count_ : it->second;
  }
  return static_cast<std::uint32_t>(std::find(symbols_, symbols_ + count_, symbol) - symbols_);
}

Kt_Variable* Kt_VariableList::Search(Kt_Symbol symbol) const {
  const std::uint32_t found = IndexOf(symbol);
  return found < count_ ? variables_[found] : nullptr;
}

Kt_Variable* Kt_VariableList::SearchAndNote(Kt_Symbol symbol, std::uint16_t& hint) const {
  const std::uint32_t found = IndexOf(symbol);
  if (found >= count_) return nullptr;
  hint = static_cast<std::uint16_t>(found);
  return variables_[found];
}

Kt_Variable* Kt_VariableList::FindOrAppend(const Kt_WString& name) {
  const Kt_Symbol symbol = kt_makesymbolW(name);
  if (symbol == 0) return nullptr;
  if (Kt_Variable* const found = Find(symbol)) return found;
  return Append(symbol, Kt_Variable::New(name));
}

Kt_Variable* Kt_VariableList::AddVariable(const Kt_WString& name, const Kt_Variant& value) {
  Kt_Variable* const variable = FindOrAppend(name);
  if (variable != nullptr) variable->SetValue(value);
  return variable;
}

Kt_Variable* Kt_VariableList::AddVariable(const Kt_WString& name, Kt_Variant&& value) {
  Kt_Variable* const variable = FindOrAppend(name);
  if (variable != nullptr) variable->SetValue(std::move(value));
  return variable;
}

// A variable of the list keeps its symbol by its own name; a shared one may have another.
Kt_Variable* Kt_VariableList::AddRefVariable(const Kt_WString& name, const Kt_Variant& reference,
                                             bool name_outlives_list) {
  Kt_Variable* const target = reference.GetRefVariable();
  if (target == nullptr || reference.GetRefItem() >= 0) return AddVariable(name, reference);
  const Kt_Symbol symbol = kt_makesymbolW(name);
  if (symbol == 0) return nullptr;
  if (!name_outlives_list) kt_keepsymbolW(name);
  target->AddRef();
  const std::uint32_t found = IndexOf(symbol);
  if (found == count_) return Append(symbol, target);
  ++version_;
  std::exchange(variables_[found], target)->Unref();
  return target;
}

void Kt_VariableList::RemoveVariable(const Kt_WString& name) {
  const Kt_Symbol symbol = kt_symbolW(name);
  const std::uint32_t found = IndexOf(symbol);
  if (found >= count_) return;
  Kt_Variable* const variable = variables_[found];
  std::copy(symbols_ + found + 1, symbols_ + count_, symbols_ + found);
  std::copy(variables_ + found + 1, variables_ + count_, variables_ + found);
  --count_;
  ++version_;
  mask_ = 0;
  for (std::uint32_t item = 0; item < count_; ++item) mask_ |= Bit(symbols_[item]);
  if (index_) {
    index_->erase(symbol);
    for (auto& [key, item] : *index_) item -= item > found ? 1 : 0;
  }
  variable->Unref();
}

void Kt_VariableList::MakeRoom(Kt_Symbol symbol) {
  if (count_ == capacity_) Grow();
  if (index_) {
    index_->emplace(symbol, count_);
  } else if (count_ + 1 >= kIndexed) {
    auto index = std::make_unique<Index>();
    for (std::uint32_t item = 0; item < count_; ++item) index->emplace(symbols_[item], item);
    index->emplace(symbol, count_);
    index_ = std::move(index);
  }
}

Kt_Variable* Kt_VariableList::Append(Kt_Symbol symbol, Kt_Variable* variable) {
  try {
    MakeRoom(symbol);
  } catch (...) {
    variable->Unref();
    throw;
  }
  symbols_[count_] = symbol;
  variables_[count_] = variable;
  mask_ |= Bit(symbol);
  ++count_;
  ++version_;
  return variable;
}

void Kt_VariableList::Grow() {
  const std::uint32_t capacity = capacity_ * 2;
  auto symbols = std::make_unique<Kt_Symbol[]>(capacity);
  auto variables = std::make_unique<Kt_Variable*[]>(capacity);
  std::copy(symbols_, symbols_ + count_, symbols.get());
  std::copy(variables_, variables_ + count_, variables.get());
  if (symbols_ != inline_symbols_) {
    delete[] symbols_;
    delete[] variables_;
  }
  symbols_ = symbols.release();
  variables_ = variables.release();
  capacity_ = capacity;
}

void Kt_VariableList::Release() {
  // Emptied first: dropping a value may run code that looks at this list.
  Kt_Symbol* const symbols = std::exchange(symbols_, inline_symbols_);
  Kt_Variable** const variables = std::exchange(variables_, inline_variables_);
  const std::uint32_t count = std::exchange(count_, 0);
  mask_ = 0;
  ++version_;
  capacity_ = kInline;
  index_.reset();
  if (variables != inline_variables_) {
    for (std::uint32_t item = 0; item < count; ++item) variables[item]->Unref();
    delete[] symbols;
    delete[] variables;
    return;
  }
  for (std::uint32_t item = 0; item < count; ++item) variables[item]->Unref();
}

Kt_Variable* Kt_VariableListChain::FindVariable(const Kt_WString& name) const {
  const Kt_Symbol symbol = kt_symbolW(name);
  if (symbol == 0) return nullptr;
  for (Kt_VariableList* const list : lists_) {
    if (Kt_Variable* const variable = list->Find(symbol)) return variable;
  }
  return nullptr;
}
