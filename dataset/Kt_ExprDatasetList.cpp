// SPDX-License-Identifier: MIT
#include "dataset/Kt_ExprDataset.h"

void Kt_ExprDatasetList::Add(Kt_ExprDataset& wrapper) { wrappers_.emplace_back(nullptr, &wrapper); }

int Kt_ExprDatasetList::GetCount() const { return static_cast<int>(wrappers_.size()); }

Kt_ExprDataset* Kt_ExprDatasetList::GetItem(int index) const {
  if (index < 0 || index >= GetCount()) return nullptr;
  Kt_Object* const object = wrappers_[static_cast<std::size_t>(index)].GetObject();
  return static_cast<Kt_ExprDataset*>(Kt_ExprObject::From(object));
}

int Kt_ExprDatasetList::FindComp(const Kt_Dataset* dataset) const {
  if (dataset == nullptr) return -1;
  for (int index = 0; index < GetCount(); ++index) {
    const Kt_ExprDataset* const wrapper = GetItem(index);
    if (wrapper != nullptr && wrapper->GetDataset() == dataset) return index;
  }
  return -1;
}

void* Kt_ExprDatasetHandler::_InitItem(void* memory) const {
  Kt_ExprDataset::InitWithMemory(static_cast<Kt_ExprDataset*>(memory));
  return memory;
}

void Kt_ExprDatasetHandler::_FreeItem(void* item) const {
  Kt_ExprDataset::FreeWithMemory(static_cast<Kt_ExprDataset*>(item));
}

void Kt_ExprDatasetHandler::_AssignItem(void* target, const void* source) const {
  if (target == nullptr || target == source) return;
  const auto* const from = static_cast<const Kt_ExprDataset*>(source);
  static_cast<Kt_ExprDataset*>(target)->Rebind(from ? from->GetDataset() : nullptr,
                                               from ? from->GetParentCtx() : nullptr);
}

int Kt_ExprDatasetHandler::_CompareItem(const void* a, const void* b) const {
  if (a == b) return 0;
  if (a == nullptr) return -1;
  if (b == nullptr) return 1;
  const auto* const first = static_cast<const Kt_ExprDataset*>(a);
  const auto* const second = static_cast<const Kt_ExprDataset*>(b);
  return first->GetDataset() == second->GetDataset() ? 0 : 1;
}

std::size_t Kt_ExprDatasetHandler::ItemSize() const { return sizeof(Kt_ExprDataset); }
