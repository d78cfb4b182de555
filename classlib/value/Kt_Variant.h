// SPDX-License-Identifier: MIT
#pragma once

#include <concepts>
#include <initializer_list>
#include <span>

#include "classlib/base/Kt_Counted.h"
#include "classlib/text/Kt_WString.h"
#include "classlib/value/Kt_Currency.h"
#include "classlib/value/Kt_DateTime.h"

class Kt_Object;
class Kt_ObjectHolder;
class Kt_Variable;
class Kt_VariantList;

// The 16-bit type tags of a value.
using Kt_Tag = std::uint16_t;
inline constexpr Kt_Tag kTagEmpty = 0;
inline constexpr Kt_Tag kTagLong = 3;
inline constexpr Kt_Tag kTagDouble = 5;
inline constexpr Kt_Tag kTagCurrency = 6;  // 64 bits, four decimals
inline constexpr Kt_Tag kTagDateTime = 7;  // day number as double, day 0 = 1899-12-30
inline constexpr Kt_Tag kTagString = 8;
inline constexpr Kt_Tag kTagBool = 11;
inline constexpr Kt_Tag kTagBinary = 13;
// A register of a running function whose variable is not declared. No value of a script has it.
inline constexpr Kt_Tag kTagUndeclared = 0x1FFF;
inline constexpr Kt_Tag kTagList = 0x2000;
inline constexpr Kt_Tag kTagObject = 0x4000;
inline constexpr Kt_Tag kTagRef = 0x8000;  // a variable, or one item of a variable's list

// A single unit of text: whether its number or a text is meant nobody can say.
template <class T>
concept Kt_CharUnit = std::same_as<T, char> || std::same_as<T, wchar_t> ||
    std::same_as<T, char8_t> || std::same_as<T, char16_t> || std::same_as<T, char32_t>;

// A tagged value of 16 bytes. Numbers are stored in place; strings, lists, binaries, object holds
// and referenced variables are counted and shared, so a copy never copies content. A change to a
// list or string makes it private first: values behave as if they were copied whole.
//
// The conversions never fail: what a kind has no sensible number or text for is 0 or empty. A
// reference converts as the value that it refers to. docs/values.md has the tables.
// Fails: when memory for content runs out the value becomes the empty value of its kind (an empty
// text, list or binary); nothing throws.
// Threads: a value belongs to one thread; content may be shared across threads.
class KT_CLASS_API Kt_Variant {
 public:
  static const Kt_Variant _KtNullVariant;  // the empty value

  Kt_Variant() : bits_(0) { payload_.bits = 0; }
  // The whole payload is written at once: a copy reads all of it, and a processor cannot forward
  // two smaller stores to one load.
  Kt_Variant(kt_long value) : bits_(kTagLong) { payload_.bits = value; }
  Kt_Variant(double value) : bits_(kTagDouble) { payload_.real = value; }
  // A bool and nothing that converts to one: a pointer is no boolean.
  template <std::same_as<bool> Bool>
  explicit Kt_Variant(Bool value) : bits_(kTagBool) {
    payload_.bits = value ? 1 : 0;
  }
  template <Kt_CharUnit Unit>
  Kt_Variant(Unit) = delete;
  // Texts: UTF-16, or narrow texts in UTF-8, where bytes that are none become U+FFFD. Null gives
  // the empty text.
  Kt_Variant(const Kt_WString& value);
  Kt_Variant(Kt_WString&& value) noexcept { AdoptString(value.Detach()); }
  Kt_Variant(const char16_t* value) : Kt_Variant(Kt_WString(value)) {}
  Kt_Variant(std::u16string_view value) : Kt_Variant(Kt_WString(value)) {}
  Kt_Variant(const char* utf8) : Kt_Variant(std::string_view(utf8 != nullptr ? utf8 : "")) {}
  Kt_Variant(std::string_view utf8) : Kt_Variant(Kt_WString::FromUtf8(utf8)) {}
  Kt_Variant(const Kt_VariantList& value);
  Kt_Variant(Kt_VariantList&& value) noexcept;
  Kt_Variant(Kt_Currency value);
  Kt_Variant(Kt_DateTime value);
  // Tag 0x4000 also for an empty hold.
  explicit Kt_Variant(const Kt_ObjectHolder& value);

  Kt_Variant(const Kt_Variant& other) : bits_(other.bits_), payload_(other.payload_) {
    if (IsCounted()) payload_.counted->AddRef();
  }
  Kt_Variant(Kt_Variant&& other) noexcept : bits_(other.bits_), payload_(other.payload_) {
    other.bits_ = 0;
  }
  ~Kt_Variant() { Drop(); }

  Kt_Variant& operator=(const Kt_Variant& other) {
    // Counted up before the old content goes: it may be what keeps `other` alive.
    const std::uint64_t bits = other.bits_;
    const Payload payload = other.payload_;
    if (bits & kCountedBit) payload.counted->AddRef();
    Drop();
    bits_ = bits;
    payload_ = payload;
    return *this;
  }
  Kt_Variant& operator=(Kt_Variant&& other) noexcept {
    const std::uint64_t bits = std::exchange(other.bits_, 0);
    const Payload payload = other.payload_;
    Drop();
    bits_ = bits;
    payload_ = payload;
    return *this;
  }
  Kt_Variant& operator=(kt_long value) {
    Set(value);
    return *this;
  }
  Kt_Variant& operator=(double value) {
    Set(value);
    return *this;
  }
  Kt_Variant& operator=(const Kt_WString& value) {
    Set(value);
    return *this;
  }
  Kt_Variant& operator=(const Kt_VariantList& value) {
    Set(value);
    return *this;
  }
  Kt_Variant& operator=(Kt_WString&& value) { return *this = Kt_Variant(std::move(value)); }
  Kt_Variant& operator=(Kt_VariantList&& value) {
    Set(std::move(value));
    return *this;
  }
  Kt_Variant& operator=(const char16_t* value) { return *this = Kt_Variant(value); }
  Kt_Variant& operator=(std::u16string_view value) { return *this = Kt_Variant(value); }
  Kt_Variant& operator=(const char* utf8) { return *this = Kt_Variant(utf8); }
  Kt_Variant& operator=(std::string_view utf8) { return *this = Kt_Variant(utf8); }
  // Write kt_long{value} or Kt_Variant(value).
  template <class T>
  requires std::same_as<T, bool> || Kt_CharUnit<T> Kt_Variant& operator=(T) = delete;
  template <class T>
  requires std::same_as<T, bool> || Kt_CharUnit<T>
  void Set(T) = delete;

  void Set(kt_long value) {
    Drop();
    bits_ = kTagLong;
    payload_.bits = value;
  }
  void Set(double value) {
    Drop();
    bits_ = kTagDouble;
    payload_.real = value;
  }
  void Set(const Kt_WString& value) { *this = Kt_Variant(value); }
  void Set(Kt_WString&& value) { *this = Kt_Variant(std::move(value)); }
  void Set(const Kt_VariantList& value) { *this = Kt_Variant(value); }
  void Set(Kt_VariantList&& value);
  // Copies the bytes. More than kMaxBinaryBytes gives an empty binary.
  void SetBinary(const void* bytes, std::size_t size_bytes);
  void Clear() {
    Drop();
    bits_ = 0;
  }

  Kt_Tag GetTag() const { return static_cast<Kt_Tag>(bits_); }
  bool IsEmpty() const { return GetTag() == kTagEmpty; }
  bool IsLong() const { return GetTag() == kTagLong; }
  bool IsDouble() const { return GetTag() == kTagDouble; }
  bool IsString() const { return GetTag() == kTagString; }
  bool IsList() const { return GetTag() == kTagList; }
  bool IsObject() const { return GetTag() == kTagObject; }
  bool IsRef() const { return GetTag() == kTagRef; }
  bool IsUndeclared() const { return GetTag() == kTagUndeclared; }
  // Whether there is content that is counted and shared: what is left alone can be overwritten.
  bool IsCounted() const { return (bits_ & kCountedBit) != 0; }
  // Whether somebody else has the content too.
  bool IsContentShared() const { return IsCounted() && payload_.counted->IsShared(); }
  void SetUndeclared() {
    Drop();
    bits_ = kTagUndeclared;
  }

  // The content. REQUIRES: the tag is the one named.
  kt_long AsLong() const { return static_cast<kt_long>(payload_.bits); }
  double AsDouble() const { return payload_.real; }       // double and date-time
  std::int64_t AsInt64() const { return payload_.bits; }  // currency (ten-thousandths), bool
  Kt_WString AsString() const;                            // shares the buffer
  // Good while the value stays.
  std::u16string_view AsStringView() const {
    if (!IsCounted()) return {};
    const auto* const rep = static_cast<const Kt_WString::Rep*>(payload_.counted);
    return {rep->Text(), static_cast<std::size_t>(rep->length)};
  }
  std::span<const std::uint8_t> AsBinary() const;  // good while the value stays

  // Conversions. ToInteger cuts towards zero and clamps to 32 bits; NaN is 0.
  kt_long ToInteger() const { return KT_LIKELY(IsLong()) ? AsLong() : ConvertToInteger(); }
  double ToDouble() const { return KT_LIKELY(IsDouble()) ? AsDouble() : ConvertToDouble(); }
  Kt_WString ToString() const;
  Kt_Currency ToCurrency() const;
  Kt_DateTime ToDateTime() const;

  // The list inside; empty for every other kind. Good while the value stays.
  const Kt_VariantList& GetList() const;
  // Items of the list inside. All of them answer as an empty list does for every other kind, a
  // reference included; see Target().
  kt_long ListCount() const;
  // Null outside the list. The writable form makes the list private first, so copy out what you
  // are about to store before you ask for the place: storing a list inside itself through this
  // pointer would make a ring. Both pointers are good until the list changes.
  const Kt_Variant* ListItem(kt_long index) const;
  Kt_Variant* ListItemW(kt_long index);
  // Stores / appends a value (what a reference refers to, never the reference); storing grows the
  // list with empty values to hold the index. False, and nothing changed, when this is no list, the
  // index is negative, the list would pass kMaxListItems or memory runs out.
  bool ListSet(kt_long index, const Kt_Variant& value);
  bool ListAdd(const Kt_Variant& value);
  // For any other change in place: takes the content out without copying, leaving this value
  // empty; give it back with Set(std::move(content)). Empty for every other kind, which stays.
  Kt_VariantList TakeList();
  Kt_WString TakeString();
  // The hold inside; an empty hold for every other kind.
  const Kt_ObjectHolder& GetHolder() const;

  // References. A reference to a variable (item -1) or to item `item` of the list in it; holds the
  // variable. GetRefVariable is null for other kinds (Kt_Variable.h has it).
  void SetRef(Kt_Variable& variable, kt_long item = -1);
  Kt_Variable* GetRefVariable() const;
  kt_long GetRefItem() const { return static_cast<kt_long>(bits_ >> 32); }
  // The value behind a reference, through items that are references themselves; any other value
  // itself. An item that is no longer there is empty. Target is good until the variable changes.
  const Kt_Variant& Target() const { return KT_LIKELY(!IsRef()) ? *this : FollowRef(); }
  Kt_Variant Dereference() const { return Target(); }
  // Writes through a reference; returns false (and does nothing) for other kinds and for an item
  // whose variable holds no list any more. An item that is no longer there is made again.
  bool AssignThroughRef(const Kt_Variant& value) const;

  // Exchanges the contents; never counts.
  void Swap(Kt_Variant& other) noexcept {
    std::swap(bits_, other.bits_);
    std::swap(payload_, other.payload_);
  }

 private:
  friend class Kt_VariantList;
  // Set in the head word of a value whose payload is counted, so that copying and dropping need
  // one test instead of a look at every tag.
  static constexpr std::uint64_t kCountedBit = 1 << 16;
  static constexpr std::uint64_t kCountedList = kTagList | kCountedBit;
  union Payload {
    std::int64_t bits;
    double real;
    Kt_Counted* counted;
  };

  void Drop() {
    if (IsCounted() && payload_.counted->Release()) FreePayload();
  }
  KT_NOINLINE void FreePayload();
  void Adopt(Kt_Tag tag, Kt_Counted* counted) {  // takes over one reference; null is allowed
    bits_ = counted ? tag | kCountedBit : tag;
    payload_.bits = 0;
    if (counted) payload_.counted = counted;
  }
  void AdoptString(Kt_WString::Rep* rep) { Adopt(kTagString, rep); }
  const Kt_Variant& FollowRef() const;
  KT_NOINLINE Kt_Variant* ListItemSlow(kt_long index);
  KT_NOINLINE bool ListSetSlow(kt_long index, const Kt_Variant& value);
  kt_long ConvertToInteger() const;
  double ConvertToDouble() const;

  std::uint64_t bits_;  // tag in bits 0 to 15, kCountedBit, item of a reference in 32 to 63
  Payload payload_;
};
static_assert(sizeof(Kt_Variant) == 16);

// An ordered list of values; one pointer wide, shared until changed.
//
// Owns its items. The empty list is null and allocates nothing. Appending is amortised constant.
// Fails: growing past kMaxListItems returns false / -1 and changes nothing. Where memory runs out,
// std::bad_alloc is thrown and the list is as it was.
class KT_CLASS_API Kt_VariantList {
 public:
  // The shared buffer: this head, then room for `capacity` values. The link costs nothing, because
  // the allocator's own head makes 24 bytes plus whole values fill its 16-byte lines.
  struct alignas(8) Rep : Kt_Counted {
    kt_long count = 0;
    kt_long capacity = 0;
    Rep* next_freed = nullptr;  // chains lists that wait to be freed
    Kt_Variant* Items() { return reinterpret_cast<Kt_Variant*>(this + 1); }
  };
  static_assert(sizeof(Rep) % 8 == 0);

  Kt_VariantList() = default;
  Kt_VariantList(std::initializer_list<Kt_Variant> items);
  Kt_VariantList(const Kt_VariantList& other) : rep_(other.rep_) {
    if (rep_) rep_->AddRef();
  }
  Kt_VariantList(Kt_VariantList&& other) noexcept : rep_(std::exchange(other.rep_, nullptr)) {}
  Kt_VariantList& operator=(const Kt_VariantList& other) {
    Rep* const rep = other.rep_;
    if (rep) rep->AddRef();
    Drop();
    rep_ = rep;
    return *this;
  }
  Kt_VariantList& operator=(Kt_VariantList&& other) noexcept {
    std::swap(rep_, other.rep_);
    return *this;
  }
  ~Kt_VariantList() { Drop(); }

  kt_long GetCount() const { return rep_ ? rep_->count : 0; }
  bool IsEmpty() const { return GetCount() == 0; }
  // Null outside the list; GetItemNN gives the empty value there.
  const Kt_Variant* GetItem(kt_long index) const {
    return static_cast<std::uint32_t>(index) < static_cast<std::uint32_t>(GetCount())
               ? rep_->Items() + index
               : nullptr;
  }
  const Kt_Variant& GetItemNN(kt_long index) const {
    const Kt_Variant* const item = GetItem(index);
    return item ? *item : Kt_Variant::_KtNullVariant;
  }
  const Kt_Variant* begin() const { return rep_ ? rep_->Items() : nullptr; }
  const Kt_Variant* end() const { return begin() + GetCount(); }

  // Appends a copy; returns its index or -1.
  kt_long Add(const Kt_Variant& value) {
    if (KT_UNLIKELY(!rep_ || rep_->count == rep_->capacity || rep_->IsShared())) {
      return AddSlow(value);
    }
    new (static_cast<void*>(rep_->Items() + rep_->count)) Kt_Variant(value);
    return rep_->count++;
  }
  // Appends a reference that shares the caller's value: `value` has tag 0x8000. Other kinds are
  // appended by copy.
  kt_long AddRefVar(const Kt_Variant& value) { return Add(value); }
  // The item for writing, made private first; null outside the list.
  Kt_Variant* GetItemW(kt_long index) {
    if (static_cast<std::uint32_t>(index) >= static_cast<std::uint32_t>(GetCount())) return nullptr;
    if (KT_UNLIKELY(rep_->IsShared()) && !MakeRoom(rep_->count, rep_->count)) return nullptr;
    return rep_->Items() + index;
  }
  // Stores a value, growing the list with empty values to hold the index.
  bool SetItem(kt_long index, const Kt_Variant& value);
  // Cuts the list, or grows it with empty values; a long new list takes no time for them.
  bool Resize(kt_long count);
  // Makes room for `count` items in all, so that adding up to there cannot fail.
  bool Reserve(kt_long count);
  // Inserts before item `index`, or appends at GetCount(); false outside.
  bool InsertAt(kt_long index, const Kt_Variant& value);
  // Nothing outside the list.
  void RemoveAt(kt_long index);
  void Clear() {
    Drop();
    rep_ = nullptr;
  }
  // Removes the items and keeps the memory, when it is not shared.
  void ClearItems();

 private:
  friend class Kt_Variant;
  // Kt_Variant::GetList reads the pointer in a value's payload as a list.
  using RepPointer KT_MAY_ALIAS = Rep*;

  void Drop() {
    if (rep_ && rep_->Release()) FreeRep(rep_);
  }
  KT_NOINLINE kt_long AddSlow(const Kt_Variant& value);
  // A private buffer with room for `capacity` items; copies the first `keep` items when the old
  // one is shared. False when the capacity passes the limit.
  bool MakeRoom(kt_long capacity, kt_long keep);
  void MoveTo(kt_long capacity);
  bool CopyTo(kt_long capacity, kt_long keep);
  bool GrowFor(kt_long count);
  bool Append(Kt_Variant&& value);
  static Rep* NewRep(kt_long capacity);
  static void FreeRep(Rep* rep);
  // Frees what a stopped run has left to be freed; the meter does so when it ends.
  static void FreeQueued();
  friend class Kt_WorkMeter;

  RepPointer rep_ = nullptr;
};
static_assert(sizeof(Kt_VariantList) == sizeof(void*));

inline kt_long Kt_Variant::ListCount() const {
  return bits_ == kCountedList ? static_cast<Kt_VariantList::Rep*>(payload_.counted)->count : 0;
}

inline const Kt_Variant* Kt_Variant::ListItem(kt_long index) const {
  if (KT_UNLIKELY(static_cast<std::uint32_t>(index) >= static_cast<std::uint32_t>(ListCount()))) {
    return nullptr;
  }
  return static_cast<Kt_VariantList::Rep*>(payload_.counted)->Items() + index;
}

inline Kt_Variant* Kt_Variant::ListItemW(kt_long index) {
  if (KT_UNLIKELY(static_cast<std::uint32_t>(index) >= static_cast<std::uint32_t>(ListCount()))) {
    return nullptr;
  }
  if (KT_UNLIKELY(payload_.counted->IsShared())) return ListItemSlow(index);
  return static_cast<Kt_VariantList::Rep*>(payload_.counted)->Items() + index;
}

inline bool Kt_Variant::ListSet(kt_long index, const Kt_Variant& value) {
  // Numbers and texts cannot hold this list; all else goes the careful way.
  if (KT_LIKELY(value.GetTag() < kTagList)) {
    Kt_Variant* const item = ListItemW(index);
    if (KT_LIKELY(item != nullptr)) {
      *item = value;
      return true;
    }
  }
  return ListSetSlow(index, value);
}

inline bool Kt_Variant::ListAdd(const Kt_Variant& value) {
  if (KT_LIKELY(bits_ == kCountedList && value.GetTag() < kTagList)) {
    auto* const rep = static_cast<Kt_VariantList::Rep*>(payload_.counted);
    if (KT_LIKELY(rep->count < rep->capacity && !rep->IsShared())) {
      new (static_cast<void*>(rep->Items() + rep->count)) Kt_Variant(value);
      ++rep->count;
      return true;
    }
  }
  return ListSetSlow(ListCount(), value);
}

// Relations for Var_Cmp and Var_AndOr.
inline constexpr std::int16_t kCmpEqual = 31;
inline constexpr std::int16_t kCmpGreater = 32;
inline constexpr std::int16_t kCmpGreaterEqual = 33;
inline constexpr std::int16_t kCmpLess = 34;
inline constexpr std::int16_t kCmpLessEqual = 35;
inline constexpr std::int16_t kLogicAnd = 41;
inline constexpr std::int16_t kLogicOr = 42;

// The operators of the expression language. docs/values.md has the whole table of kinds.
// `result` may be either operand. Return 0, or kErrStringTooLong when a joined text would pass the
// limit (`result` is then empty).
KT_CLASS_API kt_long Var_Add(const Kt_Variant& left, const Kt_Variant& right, Kt_Variant& result);
KT_CLASS_API kt_long Var_Sub(const Kt_Variant& left, const Kt_Variant& right, Kt_Variant& result);
KT_CLASS_API kt_long Var_Mul(const Kt_Variant& left, const Kt_Variant& right, Kt_Variant& result);
KT_CLASS_API kt_long Var_Div(const Kt_Variant& left, const Kt_Variant& right, Kt_Variant& result);
KT_CLASS_API kt_long Var_Mod(const Kt_Variant& left, const Kt_Variant& right, Kt_Variant& result);
// 1 when the relation holds, else 0 (also for any comparison with NaN, and for other flags).
KT_CLASS_API int Var_Cmp(const Kt_Variant& left, const Kt_Variant& right, std::int16_t relation);
// The order for sorting: negative, 0 or positive. Total over all values, with no conversions
// between kinds: empty, then numbers, booleans, currencies and dates by value (NaN last among
// them), texts by code unit, lists item by item, binaries by byte, objects by identity (all objects
// that have gone are equal). A reference counts as its target.
KT_CLASS_API int Var_Order(const Kt_Variant& left, const Kt_Variant& right);
// 1 when both (41) or either (42) operand is true, else 0.
KT_CLASS_API int Var_AndOr(const Kt_Variant& left, const Kt_Variant& right, std::int16_t relation);
// The truth of one value: a number that is not 0 (NaN is true), a text that is "true" or a number
// that is not 0, a list with items, a valid object; empty is false.
KT_CLASS_API bool Var_IsTrue(const Kt_Variant& value);
