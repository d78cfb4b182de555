// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>
#include <vector>

#include "classlib/store/Kt_Dataset.h"

// Datasets that are found by their ids, without regard to case.
//
// Borrows them: a dataset that ends is in the list no more. The id is that which a dataset has when
// it is asked for; of several with one id the first counts.
// Threads: those of the datasets.
class KT_CLASS_API Kt_DatasetList {
 public:
  // Index of the dataset, also when it was in the list already.
  kt_long Add(Kt_Dataset& dataset);
  // 1, or -1 when it is not in the list.
  kt_long Remove(const Kt_Dataset& dataset);
  void Clear() { items_.clear(); }

  // Null for none.
  Kt_Dataset* Find(std::u16string_view id) const;
  // How many live; the index counts those.
  kt_long GetCount() const;
  Kt_Dataset* GetItem(kt_long index) const;

 private:
  void DropEnded() const;

  mutable std::vector<Kt_DatasetHandle> items_;
};
