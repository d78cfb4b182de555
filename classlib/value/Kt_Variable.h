// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <unordered_map>
#include <vector>

#include "classlib/text/Kt_Symbol.h"
#include "classlib/value/Kt_Variant.h"

// A named value that lists, references and evaluations share: counted, so that it lives as long as
// anything refers to it, even when its context has gone.
//
// A variable never holds a reference: SetValue stores the value behind it. So no ring of
// references can form that counting would never free.
// Threads: belongs to one thread.
class KT_CLASS_API Kt_Variable : public Kt_Counted {
 public:
  // Count 1; the caller releases. Memory comes from a list of freed variables of this thread.
  static Kt_Variable* New(const Kt_WString& name) { return new Kt_Variable(name); }
  void Unref() {
    if (Release()) delete this;
  }

  const Kt_WString& GetName() const { return name_; }
  const Kt_Variant& GetValue() const { return value_; }
  // For changes in place (an item of a list, a unit of a text). Never store a reference here.
  Kt_Variant& GetValueW() { return value_; }
  void SetValue(const Kt_Variant& value) {
    if (KT_LIKELY(!value.IsRef())) {
      value_ = value;
    } else {
      value_ = value.Dereference();
    }
  }

  void SetValue(Kt_Variant&& value) {
    if (KT_LIKELY(!value.IsRef())) {
      value_ = std::move(value);
    } else {
      value_ = value.Dereference();
    }
  }

  static void* operator new(std::size_t size_bytes);
  static void operator delete(void* memory);

 private:
  explicit Kt_Variable(const Kt_WString& name) : name_(name) {}

  Kt_WString name_;
  Kt_Variant value_;
};

inline Kt_Variable* Kt_Variant::GetRefVariable() const {
  return IsRef() ? static_cast<Kt_Variable*>(payload_.counted) : nullptr;
}

// The variables of one context, found by name without regard to case.
//
// Owns a reference to each variable; addresses of variables stay good while they are in the list,
// or for as long as somebody else refers to them. Up to 8 variables need no memory of their own,
// and a look-up in a list that does not have the name is one test.
// Threads: belongs to one thread.
class KT_CLASS_API Kt_VariableList {
 public:
  Kt_VariableList() = default;
  Kt_VariableList(const Kt_VariableList& other);  // shares no variable: values are copied
  Kt_VariableList& operator=(const Kt_VariableList& other);
  ~Kt_VariableList() { Clear(); }

  kt_long GetCount() const { return static_cast<kt_long>(count_); }
  // Null outside the list.
  Kt_Variable* GetItem(kt_long index) const {
    return index >= 0 && index < GetCount() ? variables_[index] : nullptr;
  }
  // The name that item `index` has in this list (a shared variable may have another of its own).
  Kt_WString GetItemName(kt_long index) const;
  // Null when there is none. `hint`, when given, holds the place where the name was found last and
  // is tried first.
  Kt_Variable* Find(Kt_Symbol symbol) const {
    return (mask_ & Bit(symbol)) == 0 ? nullptr : Search(symbol);
  }
  Kt_Variable* Find(Kt_Symbol symbol, std::uint16_t& hint) const {
    if ((mask_ & Bit(symbol)) == 0) return nullptr;
    if (KT_LIKELY(hint < count_ && symbols_[hint] == symbol)) return variables_[hint];
    return SearchAndNote(symbol, hint);
  }
  Kt_Variable* FindVariable(const Kt_WString& name) const { return Find(kt_symbolW(name)); }

  // Adds the variable, or replaces the value of the one that has the name. Never null, unless the
  // name is empty.
  Kt_Variable* AddVariable(const Kt_WString& name, const Kt_Variant& value);
  Kt_Variable* AddVariable(const Kt_WString& name, Kt_Variant&& value);
  // Makes `name` stand for the variable that `reference` (tag 0x8000) refers to; a reference to an
  // item of a list, or any other value, is added by copy. A new name is never forgotten by the
  // process unless the caller says that `name` outlives the list.
  Kt_Variable* AddRefVariable(const Kt_WString& name, const Kt_Variant& reference,
                              bool name_outlives_list = false);
  void RemoveVariable(const Kt_WString& name);
  // Changes whenever a name came, went or stands for another variable.
  std::uint64_t GetVersion() const { return version_; }
  void Clear() {
    if (count_ != 0) Release();
  }

 private:
  static constexpr std::uint32_t kInline = 8;
  static constexpr std::uint32_t kIndexed = 24;  // from here on a hash index pays
  using Index = std::unordered_map<Kt_Symbol, std::uint32_t>;

  static std::uint64_t Bit(Kt_Symbol symbol) { return std::uint64_t{1} << (symbol & 63); }
  Kt_Variable* Search(Kt_Symbol symbol) const;
  Kt_Variable* SearchAndNote(Kt_Symbol symbol, std::uint16_t& hint) const;
  Kt_Variable* FindOrAppend(const Kt_WString& name);
  std::uint32_t IndexOf(Kt_Symbol symbol) const;                 // count_ when there is none
  void MakeRoom(Kt_Symbol symbol);                               // for one more, of that name
  Kt_Variable* Append(Kt_Symbol symbol, Kt_Variable* variable);  // takes over one reference
  void Grow();
  void Release();

  std::uint64_t version_ = 0;
  std::uint64_t mask_ = 0;  // one bit for each symbol that is in the list
  std::uint32_t count_ = 0;
  std::uint32_t capacity_ = kInline;
  Kt_Symbol* symbols_ = inline_symbols_;
  Kt_Variable** variables_ = inline_variables_;
  std::unique_ptr<Index> index_;  // from kIndexed on
  Kt_Symbol inline_symbols_[kInline];
  Kt_Variable* inline_variables_[kInline];
};

// The variable lists of a chain of contexts, innermost first. Borrows the lists.
class KT_CLASS_API Kt_VariableListChain {
 public:
  void Add(Kt_VariableList* list) { lists_.push_back(list); }
  kt_long GetCount() const { return static_cast<kt_long>(lists_.size()); }
  // Null outside the chain.
  Kt_VariableList* GetItem(kt_long index) const {
    return index >= 0 && index < GetCount() ? lists_[static_cast<std::size_t>(index)] : nullptr;
  }
  // The variable of the innermost list that has the name; null when none has.
  Kt_Variable* FindVariable(const Kt_WString& name) const;

 private:
  std::vector<Kt_VariableList*> lists_;
};
