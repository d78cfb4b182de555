// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <optional>
#include <utility>

#include "classlib/store/Kt_Pivot.h"
#include "classlib/store/detail/Kt_RowLayer.h"

namespace kt::detail {

// The cross table whose rows a dataset shows in place of its own, and those meanwhile.
class PivotLayer {
 public:
  bool IsOn() const { return pivot_ != nullptr; }
  const Kt_Pivot* Get() const { return pivot_.get(); }
  const Kt_Pivot* operator->() const { return pivot_.get(); }
  // The rows of the dataset itself, where `shown` are those that it shows.
  const RowLayer& PlainOf(const RowLayer& shown) const { return plain_ ? *plain_ : shown; }

  // Puts the rows of a cross table in place of those that are shown / those back. What may fail
  // comes first.
  void Enter(RowLayer& shown, std::shared_ptr<const Kt_Pivot> pivot) {
    RowLayer rows;
    rows.slot_count = static_cast<Slot>(pivot->GetPivotRowCount());
    rows.index.Write().Append(0, rows.slot_count);
    std::swap(shown, rows);
    plain_ = std::move(rows);
    pivot_ = std::move(pivot);
  }
  void Leave(RowLayer& shown) {
    shown = std::move(*plain_);
    plain_.reset();
    pivot_.reset();
  }

 private:
  friend class PlainRows;

  std::shared_ptr<const Kt_Pivot> pivot_;  // what the rows are made of; null: records
  std::optional<RowLayer> plain_;          // while there is a pivot
};

// Puts the plain rows of a pivot in their place for as long as it lives.
class PlainRows {
 public:
  PlainRows(RowLayer& shown, PivotLayer& layer)
      : shown_(shown), layer_(layer), pivot_(std::move(layer.pivot_)) {
    if (pivot_ != nullptr) std::swap(shown_, *layer_.plain_);
  }
  PlainRows(const PlainRows&) = delete;
  PlainRows& operator=(const PlainRows&) = delete;
  ~PlainRows() {
    if (pivot_ == nullptr) return;
    std::swap(shown_, *layer_.plain_);
    layer_.pivot_ = std::move(pivot_);
  }

 private:
  RowLayer& shown_;
  PivotLayer& layer_;
  std::shared_ptr<const Kt_Pivot> pivot_;
};

}  // namespace kt::detail
