// SPDX-License-Identifier: MIT
#include "classlib/value/Kt_Variant.h"

#include <cstring>
#include <new>

#include "classlib/base/Kt_Charge.h"
#include "classlib/base/Kt_Memory.h"
#include "classlib/value/Kt_Object.h"
#include "classlib/value/Kt_Variable.h"

namespace {

// How far a reference is followed through list items that are references. Chains come from lists
// of by-reference arguments and are short; a ring among them ends here and is empty.
constexpr int kMaxRefHops = 16;

struct BinaryRep : Kt_Counted {
  std::uint32_t size_bytes = 0;
  std::uint8_t* Bytes() { return reinterpret_cast<std::uint8_t*>(this + 1); }
};

// The list of a value, taken out so that its buffer is not shared meanwhile, and put back at the
// end, also when there was no memory for the change.
struct TakenList {
  explicit TakenList(Kt_Variant& value) : list(value.TakeList()), owner(value) {}
  TakenList(const TakenList&) = delete;
  TakenList& operator=(const TakenList&) = delete;
  ~TakenList() { owner.Set(std::move(list)); }
  Kt_VariantList list;
  Kt_Variant& owner;
};

struct HolderRep : Kt_Counted {
  explicit HolderRep(const Kt_ObjectHolder& held) : holder(held) {}
  static void* operator new(std::size_t bytes) { return kt::Allocate(bytes); }
  static void operator delete(void* memory, std::size_t bytes) { kt::Free(memory, bytes); }
  Kt_ObjectHolder holder;
};

BinaryRep* NewBinary(const void* bytes, std::size_t size_bytes) {
  if (size_bytes == 0 || size_bytes > static_cast<std::size_t>(kMaxBinaryBytes)) return nullptr;
  auto* const rep = new (kt::Allocate(sizeof(BinaryRep) + size_bytes)) BinaryRep;
  rep->size_bytes = static_cast<std::uint32_t>(size_bytes);
  const auto* const from = static_cast<const std::uint8_t*>(bytes);
  const auto copy = [&](std::size_t first, std::size_t count) {
    std::memcpy(rep->Bytes() + first, from + first, count);
    return true;
  };
  if (kt::detail::InPieces(size_bytes, 1, copy)) return rep;
  kt::Free(static_cast<void*>(rep), sizeof(BinaryRep) + size_bytes);
  return nullptr;
}

void FreeBinary(BinaryRep* rep) {
  kt::Free(static_cast<void*>(rep), sizeof(BinaryRep) + rep->size_bytes);
}

Kt_WString::Rep* CountedRep(const Kt_WString& text) {
  Kt_WString::Rep* const rep = text.GetRep();
  if (rep != nullptr) rep->AddRef();
  return rep;
}

}  // namespace

const Kt_Variant Kt_Variant::_KtNullVariant;

Kt_Variant::Kt_Variant(const Kt_WString& value) { AdoptString(CountedRep(value)); }

Kt_Variant::Kt_Variant(const Kt_VariantList& value) {
  if (value.rep_ != nullptr) value.rep_->AddRef();
  Adopt(kTagList, value.rep_);
}

Kt_Variant::Kt_Variant(Kt_VariantList&& value) noexcept {
  Adopt(kTagList, std::exchange(value.rep_, nullptr));
}

Kt_Variant::Kt_Variant(Kt_Currency value) : bits_(kTagCurrency) { payload_.bits = value.units; }

Kt_Variant::Kt_Variant(Kt_DateTime value) : bits_(kTagDateTime) { payload_.real = value.days; }

Kt_Variant::Kt_Variant(const Kt_ObjectHolder& value) {
  Adopt(kTagObject, value.IsEmpty() ? nullptr : new HolderRep(value));
}

void Kt_Variant::Set(Kt_VariantList&& value) { *this = Kt_Variant(std::move(value)); }

void Kt_Variant::SetBinary(const void* bytes, std::size_t size_bytes) {
  BinaryRep* const rep = NewBinary(bytes, size_bytes);  // before the old bytes may go
  Drop();
  Adopt(kTagBinary, rep);
}

// No kind frees more than one level by recursion: lists queue up (see Kt_VariantList::FreeRep), and
// everything that can nest, nests through a list.
void Kt_Variant::FreePayload() {
  switch (GetTag()) {
    case kTagString: Kt_WString::FreeRep(static_cast<Kt_WString::Rep*>(payload_.counted)); break;
    case kTagList:
      Kt_VariantList::FreeRep(static_cast<Kt_VariantList::Rep*>(payload_.counted));
      break;
    case kTagBinary: FreeBinary(static_cast<BinaryRep*>(payload_.counted)); break;
    case kTagObject: delete static_cast<HolderRep*>(payload_.counted); break;
    case kTagRef: delete static_cast<Kt_Variable*>(payload_.counted); break;
    default: KT_ASSERT(false);
  }
}

Kt_WString Kt_Variant::AsString() const {
  if (!IsCounted()) return {};
  auto* const rep = static_cast<Kt_WString::Rep*>(payload_.counted);
  rep->AddRef();
  return Kt_WString::FromRep(rep);
}

std::span<const std::uint8_t> Kt_Variant::AsBinary() const {
  if (!IsCounted()) return {};
  auto* const rep = static_cast<BinaryRep*>(payload_.counted);
  return {rep->Bytes(), rep->size_bytes};
}

const Kt_VariantList& Kt_Variant::GetList() const {
  static const Kt_VariantList kNone;
  // A list is one pointer to the buffer, null when empty, and that is what the payload is.
  const void* const payload = &payload_;
  return IsList() ? *static_cast<const Kt_VariantList*>(payload) : kNone;
}

Kt_VariantList Kt_Variant::TakeList() {
  Kt_VariantList list;
  if (!IsList()) return list;
  if (IsCounted()) list.rep_ = static_cast<Kt_VariantList::Rep*>(payload_.counted);
  bits_ = 0;
  return list;
}

Kt_WString Kt_Variant::TakeString() {
  if (!IsString()) return {};
  const bool counted = IsCounted();
  bits_ = 0;
  if (!counted) return {};
  return Kt_WString::FromRep(static_cast<Kt_WString::Rep*>(payload_.counted));
}

Kt_Variant* Kt_Variant::ListItemSlow(kt_long index) {
  // A list is one pointer to the buffer, as the payload is (see GetList).
  void* const payload = &payload_;
  return static_cast<Kt_VariantList*>(payload)->GetItemW(index);
}

bool Kt_Variant::ListSetSlow(kt_long index, const Kt_Variant& value) {
  if (!IsList()) return false;
  // Counted while the list is taken apart: `value` may be this list, which then becomes shared and
  // is copied instead of ending up inside itself, or one of its items, which may move.
  const Kt_Variant stored = value.Dereference();
  TakenList taken(*this);
  return taken.list.SetItem(index, stored);
}

const Kt_ObjectHolder& Kt_Variant::GetHolder() const {
  if (KT_LIKELY(IsObject() && IsCounted())) {
    return static_cast<const HolderRep*>(payload_.counted)->holder;
  }
  static const Kt_ObjectHolder kNone;
  return kNone;
}

void Kt_Variant::SetRef(Kt_Variable& variable, kt_long item) {
  variable.AddRef();  // before the old content goes: it may be what keeps the variable
  Drop();
  Adopt(kTagRef, &variable);
  bits_ |= static_cast<std::uint64_t>(static_cast<std::uint32_t>(item)) << 32;
}

const Kt_Variant& Kt_Variant::FollowRef() const {
  const Kt_Variant* at = this;
  for (int hop = 0; at->IsRef(); ++hop) {
    if (hop == kMaxRefHops) return _KtNullVariant;
    const Kt_Variant& value = at->GetRefVariable()->GetValue();
    const kt_long item = at->GetRefItem();
    at = item < 0 ? &value : &value.GetList().GetItemNN(item);
  }
  return *at;
}

bool Kt_Variant::AssignThroughRef(const Kt_Variant& value) const {
  Kt_Variable* const variable = GetRefVariable();
  if (variable == nullptr) return false;
  const kt_long item = GetRefItem();
  // Copied: it may lie in the list that is about to be made private.
  const Kt_Variant stored = value.Dereference();
  if (item >= 0) return variable->GetValueW().ListSet(item, stored);
  variable->SetValue(stored);
  return true;
}
