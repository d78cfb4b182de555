// SPDX-License-Identifier: MIT
//
// A value is moved in memory by copying its bytes: nothing points at a value, so the buffers grow
// with realloc and items shift with memmove. The empty value is all zero bits in its first word,
// so fresh items come from memory that the system hands out zeroed.
#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

#include "classlib/base/Kt_Charge.h"
#include "classlib/base/Kt_Memory.h"
#include "classlib/value/Kt_Variant.h"

namespace {

constexpr kt_long kLeastCapacity = 4;

std::size_t RepBytes(kt_long capacity) {
  return sizeof(Kt_VariantList::Rep) + static_cast<std::size_t>(capacity) * sizeof(Kt_Variant);
}

void MoveItems(Kt_Variant* target, const Kt_Variant* source, kt_long count) {
  std::memmove(static_cast<void*>(target), static_cast<const void*>(source),
               static_cast<std::size_t>(count) * sizeof(Kt_Variant));
}

void DestroyItems(Kt_Variant* first, Kt_Variant* last) {
  for (; first != last; ++first) first->~Kt_Variant();
}

constexpr kt_long kPieceItems = 4096;

bool ChargeItems(kt_long count) {
  return kt::Charge(std::int64_t{count} * Kt_WorkMeter::kUnitsPerItem);
}

// Destroys the items from the last one on. False when the run was stopped on the way.
bool DestroyAll(Kt_VariantList::Rep& rep) {
  while (rep.count > kPieceItems) {
    if (!ChargeItems(kPieceItems)) return false;
    const kt_long end = std::exchange(rep.count, rep.count - kPieceItems);
    DestroyItems(rep.Items() + rep.count, rep.Items() + end);
  }
  const kt_long end = std::exchange(rep.count, 0);
  DestroyItems(rep.Items(), rep.Items() + end);
  return true;
}

// Lists of this thread that wait to be freed, in a chain through the lists themselves, so that
// freeing needs no memory.
struct FreeQueue {
  Kt_VariantList::Rep* head;
  bool draining;
};
KT_THREAD_LOCAL FreeQueue free_queue{nullptr, false};

}  // namespace

Kt_VariantList::Kt_VariantList(std::initializer_list<Kt_Variant> items) {
  if (!Reserve(static_cast<kt_long>(std::min<std::size_t>(items.size(), kMaxListItems)))) return;
  for (const Kt_Variant& item : items) Add(item);
}

namespace {

// Lists that are copied and freed in one step.
constexpr kt_long kSmall = 62;

// The fresh part of the buffer is zero, which Resize relies on for long new lists; of small ones
// from item `keep` on, up to where the caller fills it.
Kt_VariantList::Rep* NewRepFor(kt_long capacity, kt_long keep) {
  using Rep = Kt_VariantList::Rep;
  // Small pieces come faster from those that the thread has freed.
  const std::size_t bytes = RepBytes(capacity);
  void* const memory = capacity <= kSmall ? kt::Allocate(bytes) : kt::AllocateZeroed(bytes);
  Rep* const rep = new (memory) Rep;
  if (capacity <= kSmall && keep < capacity) {
    std::memset(static_cast<void*>(rep->Items() + keep), 0, bytes - RepBytes(keep));
  }
  rep->capacity = capacity;
  return rep;
}

// All bits that the first words of the items have. The loop has no way out before its end: lists of
// numbers are the rule.
KT_ALWAYS_INLINE std::uint64_t FirstWords(const Kt_Variant* items, kt_long count) {
  std::uint64_t words = 0;
  for (kt_long at = 0; at < count; ++at) {
    std::uint64_t word = 0;
    std::memcpy(&word, static_cast<const void*>(items + at), sizeof word);
    words |= word;
  }
  return words;
}

}  // namespace

Kt_VariantList::Rep* Kt_VariantList::NewRep(kt_long capacity) { return NewRepFor(capacity, 0); }

// Lists inside the freed one queue up instead of being freed by recursion: a list nested 200,000
// deep takes no more stack than a flat one. What a stopped run lets go of stays in the queue: the
// stop is told first.
void Kt_VariantList::FreeRep(Rep* rep) {
  const bool is_small = rep->count <= kSmall;
  if (is_small && (FirstWords(rep->Items(), rep->count) & Kt_Variant::kCountedBit) == 0) {
    kt::Free(static_cast<void*>(rep), RepBytes(rep->capacity));
    return;
  }
  FreeQueue& queue = free_queue;
  rep->next_freed = queue.head;
  queue.head = rep;
  FreeQueued();
}

void Kt_VariantList::FreeQueued() {
  FreeQueue& queue = free_queue;
  if (queue.draining) return;
  queue.draining = true;
  while (queue.head != nullptr) {
    Rep* const next = std::exchange(queue.head, queue.head->next_freed);
    if (!DestroyAll(*next)) {
      next->next_freed = queue.head;
      queue.head = next;
      Kt_WorkMeter::Defer(&FreeQueued);
      break;
    }
    kt::Free(static_cast<void*>(next), RepBytes(next->capacity));
  }
  queue.draining = false;
}

// Moves the items of a list that nobody else holds to a buffer of another size.
void Kt_VariantList::MoveTo(kt_long capacity) {
  // Far more room than before is mostly empty items: fresh zeroed memory is then cheaper than
  // writing them. Smaller steps are cheaper in place.
  if (rep_ == nullptr || capacity / 4 > rep_->capacity) {
    Rep* const fresh = NewRep(capacity);
    if (rep_ != nullptr) {
      fresh->count = rep_->count;
      MoveItems(fresh->Items(), rep_->Items(), rep_->count);
      kt::Free(static_cast<void*>(rep_), RepBytes(rep_->capacity));
    }
    rep_ = fresh;
    return;
  }
  rep_ = static_cast<Rep*>(
      kt::Reallocate(static_cast<void*>(rep_), RepBytes(rep_->capacity), RepBytes(capacity)));
  if (capacity > rep_->capacity) {
    std::memset(static_cast<void*>(rep_->Items() + rep_->capacity), 0,
                static_cast<std::size_t>(capacity - rep_->capacity) * sizeof(Kt_Variant));
  }
  rep_->capacity = capacity;
}

bool Kt_VariantList::CopyTo(kt_long capacity, kt_long keep) {
  Rep* const fresh = NewRepFor(capacity, keep);
  if (KT_LIKELY(keep <= kSmall)) {
    const Kt_Variant* const from = rep_->Items();
    Kt_Variant* const items = fresh->Items();
    std::memcpy(static_cast<void*>(items), static_cast<const void*>(from),
                static_cast<std::size_t>(keep) * sizeof(Kt_Variant));
    if ((FirstWords(from, keep) & Kt_Variant::kCountedBit) != 0) {
      for (kt_long at = 0; at < keep; ++at) {
        if (items[at].IsCounted()) items[at].payload_.counted->AddRef();
      }
    }
    fresh->count = keep;
    Drop();
    rep_ = fresh;
    return true;
  }
  for (kt_long done = 0; done < keep;) {
    if (done > 0 && !ChargeItems(kPieceItems)) {
      FreeRep(fresh);
      return false;
    }
    const kt_long end = std::min(keep, done + kPieceItems);
    // The bytes at once, then the counts.
    Kt_Variant* const items = fresh->Items();
    std::memcpy(static_cast<void*>(items + done), static_cast<const void*>(rep_->Items() + done),
                static_cast<std::size_t>(end - done) * sizeof(Kt_Variant));
    for (; done < end; ++done) {
      if (items[done].IsCounted()) items[done].payload_.counted->AddRef();
    }
    fresh->count = done;
  }
  Drop();
  rep_ = fresh;
  return true;
}

bool Kt_VariantList::MakeRoom(kt_long capacity, kt_long keep) {
  if (capacity < 0 || capacity > kMaxListItems) return false;
  if (rep_ != nullptr && rep_->IsShared()) {
    return CopyTo(capacity, keep);
  }
  if (rep_ == nullptr || capacity > rep_->capacity) MoveTo(capacity);
  return true;
}

// Private, with room for `count` items, and grown by half when it has to grow.
bool Kt_VariantList::GrowFor(kt_long count) {
  if (count > kMaxListItems) return false;
  const kt_long held = rep_ ? rep_->capacity : 0;
  if (count <= held) return MakeRoom(held, rep_->count);
  // Great lists grow by fixed steps: the system moves their memory without touching it, and one
  // step stays short.
  constexpr kt_long kGreatStep = 1 << 20;
  const kt_long step = std::min(held / 2, kGreatStep);
  const kt_long by_half = std::min(std::max(held + step, kLeastCapacity), kMaxListItems);
  const kt_long keep = GetCount();
  return MakeRoom(std::max(count, by_half), keep);
}

bool Kt_VariantList::Reserve(kt_long count) {
  if (count < 0 || count > kMaxListItems) return false;
  return count == 0 || MakeRoom(std::max(count, GetCount()), GetCount());
}

bool Kt_VariantList::Append(Kt_Variant&& value) {
  if (!GrowFor(GetCount() + 1)) return false;
  new (static_cast<void*>(rep_->Items() + rep_->count)) Kt_Variant(std::move(value));
  ++rep_->count;
  return true;
}

kt_long Kt_VariantList::AddSlow(const Kt_Variant& value) {
  // Copied: `value` may be an item of the buffer that is about to move.
  return Append(Kt_Variant(value)) ? GetCount() - 1 : -1;
}

bool Kt_VariantList::SetItem(kt_long index, const Kt_Variant& value) {
  if (index < 0 || index >= kMaxListItems) return false;
  Kt_Variant stored(value);
  if (index == GetCount()) return Append(std::move(stored));
  if (index > GetCount() && !(GrowFor(index + 1) && Resize(index + 1))) return false;
  Kt_Variant* const item = GetItemW(index);
  if (item == nullptr) return false;
  *item = std::move(stored);
  return true;
}

bool Kt_VariantList::Resize(kt_long count) {
  if (count < 0 || count > kMaxListItems) return false;
  const kt_long held = GetCount();
  if (count == held) return true;
  if (count == 0) {
    ClearItems();
    return true;
  }
  if (!MakeRoom(count, std::min(count, held))) return false;
  if (rep_->count > count) {
    const kt_long old_count = std::exchange(rep_->count, count);
    DestroyItems(rep_->Items() + count, rep_->Items() + old_count);
    // Items past the end stay zero, so that growing never writes them.
    std::memset(static_cast<void*>(rep_->Items() + count), 0,
                static_cast<std::size_t>(old_count - count) * sizeof(Kt_Variant));
  }
  rep_->count = count;
  return true;
}

bool Kt_VariantList::InsertAt(kt_long index, const Kt_Variant& value) {
  const kt_long count = GetCount();
  if (index < 0 || index > count) return false;
  Kt_Variant stored(value);
  if (!GrowFor(count + 1)) return false;
  Kt_Variant* const place = rep_->Items() + index;
  MoveItems(place + 1, place, count - index);
  new (static_cast<void*>(place)) Kt_Variant(std::move(stored));
  ++rep_->count;
  return true;
}

void Kt_VariantList::RemoveAt(kt_long index) {
  Kt_Variant* const place = GetItemW(index);
  if (place == nullptr) return;
  const Kt_Variant removed(std::move(*place));
  --rep_->count;
  MoveItems(place, place + 1, rep_->count - index);
  std::memset(static_cast<void*>(rep_->Items() + rep_->count), 0, sizeof(Kt_Variant));
}

void Kt_VariantList::ClearItems() {
  if (rep_ == nullptr) return;
  if (rep_->IsShared()) return Clear();
  const kt_long count = std::exchange(rep_->count, 0);
  DestroyItems(rep_->Items(), rep_->Items() + count);
  std::memset(static_cast<void*>(rep_->Items()), 0,
              static_cast<std::size_t>(count) * sizeof(Kt_Variant));
}
