// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <utility>
#include <vector>

#include "classlib/store/detail/Kt_RowIndex.h"

namespace kt::detail {

// Tells those who show another dataset's rows by their slots whether a slot still holds the row
// that it held when they looked.
//
// An era is a number that no other dataset has; it ends when all slots get a new meaning. Within an
// era every row that goes raises the losses, and a watched dataset notes at which loss each slot
// was freed. Copies begin an era of their own: theirs is another future.
class SlotHistory {
 public:
  SlotHistory() : era_(NextEra()) {}
  SlotHistory(const SlotHistory&) : SlotHistory() {}
  SlotHistory(SlotHistory&& other) noexcept : SlotHistory() { TakeOver(other); }
  SlotHistory& operator=(const SlotHistory&) {
    Restart();
    return *this;
  }
  SlotHistory& operator=(SlotHistory&& other) noexcept {
    if (this != &other) TakeOver(other);
    return *this;
  }

  // The same history, to be gone back to: not another future.
  SlotHistory Saved() const {
    SlotHistory saved;
    saved.era_ = era_;
    saved.losses_ = losses_;
    saved.watched_ = watched_;
    saved.freed_at_ = freed_at_;
    return saved;
  }

  std::uint64_t Era() const { return era_; }
  std::uint32_t Losses() const { return losses_; }
  // From now on freed slots are noted.
  void Watch() const { watched_ = true; }
  void Restart() {
    era_ = NextEra();
    losses_ = 0;
    watched_ = false;
    freed_at_.clear();
  }

  void NoteLoss() {
    if (++losses_ == 0) Restart();
  }
  // After this NoteFreed of the slot needs no memory.
  void MakeRoom(Slot slot) {
    if (watched_ && freed_at_.size() <= slot) freed_at_.resize(std::size_t{slot} + 1);
  }
  void NoteFreed(Slot slot) {
    NoteLoss();
    if (!watched_) return;
    MakeRoom(slot);
    freed_at_[slot] = losses_;
  }
  // The loss at which the slot was freed last, 0 for never: what tells the rows of one slot apart
  // as long as the dataset is watched.
  std::uint32_t FreedAt(Slot slot) const { return slot < freed_at_.size() ? freed_at_[slot] : 0; }
  // Whether the slot was freed after the losses were `losses`.
  bool FreedSince(Slot slot, std::uint32_t losses) const { return FreedAt(slot) > losses; }

 private:
  static std::uint64_t NextEra() {
    static std::atomic<std::uint64_t> last{0};
    return ++last;
  }
  void TakeOver(SlotHistory& other) {
    era_ = std::exchange(other.era_, NextEra());
    losses_ = std::exchange(other.losses_, 0);
    watched_ = std::exchange(other.watched_, false);
    freed_at_ = std::exchange(other.freed_at_, {});
  }

  std::uint64_t era_;
  std::uint32_t losses_ = 0;
  mutable bool watched_ = false;
  CountedVector<std::uint32_t> freed_at_;  // by slot; no entry: never
};

}  // namespace kt::detail
