// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "classlib/store/Kt_DatasetHandle.h"
#include "classlib/store/detail/Kt_SlotHistory.h"

namespace kt::detail {

// The dataset whose records a logical dataset shows, and how things stood when its rows were taken:
// they have the slots that they have at the root, the dataset where the cells are.
class SourceLink {
 public:
  SourceLink() = default;
  explicit SourceLink(Kt_Dataset* source) : handle_(source), is_set_(true) {}

  // Null: none, or it was destroyed.
  Kt_Dataset* Get() const { return handle_.Get(); }
  // It stays set when the dataset gets cells of its own by a copy or a load: a plain dataset again,
  // but for that.
  bool IsSet() const { return is_set_; }
  bool Shows() const { return is_set_ && !has_own_cells_; }
  void TakeOwnCells() { has_own_cells_ = true; }

  // Notes that rows are taken: from that source, and, which can be found then, that root. Null: it
  // is not there.
  void NoteSource(const SlotHistory* source) {
    source_era_ = source != nullptr ? source->Era() : 0;
  }
  void NoteRoot(const SlotHistory* root) {
    root_era_ = root != nullptr ? root->Era() : 0;
    losses_ = root != nullptr ? root->Losses() : 0;
  }
  // Whether the source is what it was.
  bool Knows(const SlotHistory& source) const { return source.Era() == source_era_; }
  // Whether the slots of the root mean what they meant / no row was lost since.
  bool KnowsSlots(const SlotHistory& root) const { return root.Era() == root_era_; }
  bool HasAll(const SlotHistory& root) const {
    return KnowsSlots(root) && root.Losses() == losses_;
  }
  // REQUIRES: KnowsSlots(root).
  bool WasFreed(const SlotHistory& root, Slot slot) const { return root.FreedSince(slot, losses_); }

 private:
  Kt_DatasetHandle handle_;
  bool is_set_ = false;
  bool has_own_cells_ = false;
  std::uint64_t source_era_ = 0;
  std::uint64_t root_era_ = 0;
  std::uint32_t losses_ = 0;  // of the root
};

}  // namespace kt::detail
