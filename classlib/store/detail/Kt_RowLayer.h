// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <memory>
#include <optional>
#include <vector>

#include "classlib/base/detail/Kt_CopyOnWrite.h"
#include "classlib/store/Kt_Column.h"
#include "classlib/store/detail/Kt_ChangeBuffer.h"
#include "classlib/store/detail/Kt_GroupView.h"
#include "classlib/store/detail/Kt_KeyList.h"
#include "classlib/store/detail/Kt_RowIndex.h"

namespace kt::detail {

// The cells of a key column by slot.
struct KeyCells {
  kt_long col;
  std::shared_ptr<Kt_Column> cells;
  bool HasValue(Slot slot) const { return slot < cells->RowCount() && !cells->IsNull(slot); }
};

// What is known of the rows of a dataset beside their cells. A copy shares order and changes until
// one side writes, so it costs next to nothing to have one to go back to.
struct RowState {
  CopyOnWrite<RowIndex> index;
  CopyOnWrite<ChangeBuffer> changes;
  CountedVector<Slot> free_slots;  // their cells are null
  Slot slot_count = 0;             // every column has at least as many cells
  kt_long inserted_count = 0;
  View active_view = kAllRows;
  std::vector<Key> shown_keys;      // those that the subtotal rows are made of
  std::vector<KeyCells> key_cells;  // of those among them that are expressions
  bool grouped = false;             // there are subtotal rows
};

// The rows and their subtotals: those of the dataset, or of the cross table that is shown in their
// place.
struct RowLayer : RowState {
  mutable std::array<std::optional<GroupView>, 4> groups;  // by view, made when asked

  // The views that a change of `flags` can touch, all but `kept`.
  void DropGroups(std::uint8_t flags = 0, int kept = -1) const {
    for (int view = 0; view < static_cast<int>(groups.size()); ++view) {
      if (view != kept && (view & flags) == flags) groups[static_cast<std::size_t>(view)].reset();
    }
  }
};

}  // namespace kt::detail
