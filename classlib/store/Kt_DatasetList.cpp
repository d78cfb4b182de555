// SPDX-License-Identifier: MIT
#include "classlib/store/Kt_DatasetList.h"

#include <algorithm>

void Kt_DatasetList::DropEnded() const {
  std::erase_if(items_, [](const Kt_DatasetHandle& item) { return item.Get() == nullptr; });
}

kt_long Kt_DatasetList::Add(Kt_Dataset& dataset) {
  DropEnded();
  for (std::size_t index = 0; index < items_.size(); ++index) {
    if (items_[index].Get() == &dataset) return static_cast<kt_long>(index);
  }
  items_.emplace_back(&dataset);
  return static_cast<kt_long>(items_.size() - 1);
}

kt_long Kt_DatasetList::Remove(const Kt_Dataset& dataset) {
  const auto removed =
      std::erase_if(items_, [&](const Kt_DatasetHandle& item) { return item.Get() == &dataset; });
  return removed > 0 ? 1 : -1;
}

Kt_Dataset* Kt_DatasetList::Find(std::u16string_view id) const {
  for (const Kt_DatasetHandle& item : items_) {
    Kt_Dataset* const dataset = item.Get();
    if (dataset != nullptr && dataset->GetId().EqualsNoCase(id)) return dataset;
  }
  return nullptr;
}

kt_long Kt_DatasetList::GetCount() const {
  DropEnded();
  return static_cast<kt_long>(items_.size());
}

Kt_Dataset* Kt_DatasetList::GetItem(kt_long index) const {
  if (index < 0 || index >= GetCount()) return nullptr;
  return items_[static_cast<std::size_t>(index)].Get();
}
