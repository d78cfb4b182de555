// SPDX-License-Identifier: MIT
#pragma once

#include <utility>

#include "classlib/base/Kt_Counted.h"

class Kt_Dataset;

namespace kt::detail {

// Tells handles whether a dataset still lives. Made when the first handle is taken.
struct DatasetLife : Kt_Counted {
  Kt_Dataset* dataset = nullptr;  // null once the dataset was destroyed
};

// A dataset's own end of its life record. Not part of the value: copies start with none.
class DatasetLifeOwner {
 public:
  DatasetLifeOwner() = default;
  DatasetLifeOwner(const DatasetLifeOwner&) {}
  DatasetLifeOwner& operator=(const DatasetLifeOwner&) { return *this; }
  ~DatasetLifeOwner() {
    if (life_ == nullptr) return;
    life_->dataset = nullptr;
    if (life_->Release()) delete life_;
  }
  DatasetLife* Hold(Kt_Dataset* dataset) {
    if (life_ == nullptr) {
      life_ = new DatasetLife;
      life_->dataset = dataset;
    }
    life_->AddRef();
    return life_;
  }

 private:
  DatasetLife* life_ = nullptr;
};

}  // namespace kt::detail

// A pointer to a dataset that becomes null when the dataset was destroyed.
// Owns nothing. Threads: those of the dataset.
class KT_CLASS_API Kt_DatasetHandle {
 public:
  Kt_DatasetHandle() = default;
  explicit Kt_DatasetHandle(Kt_Dataset* dataset);
  Kt_DatasetHandle(const Kt_DatasetHandle& other) : life_(other.life_) {
    if (life_ != nullptr) life_->AddRef();
  }
  Kt_DatasetHandle(Kt_DatasetHandle&& other) noexcept
      : life_(std::exchange(other.life_, nullptr)) {}
  Kt_DatasetHandle& operator=(Kt_DatasetHandle other) noexcept {
    std::swap(life_, other.life_);
    return *this;
  }
  ~Kt_DatasetHandle() {
    if (life_ != nullptr && life_->Release()) delete life_;
  }

  Kt_Dataset* Get() const { return life_ != nullptr ? life_->dataset : nullptr; }

 private:
  kt::detail::DatasetLife* life_ = nullptr;
};
