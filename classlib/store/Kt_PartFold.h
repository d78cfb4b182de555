// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "classlib/base/Kt_Memory.h"
#include "classlib/store/Kt_Fold.h"
#include "classlib/store/kernels/Kt_ExactSum.h"
#include "classlib/store/kernels/Kt_WindowSum.h"

// A sum of cells that may be made in parts: no part of it is rounded before the end.
class KT_CLASS_API Kt_PartSum {
 public:
  void Step(const Kt_Variant& value) {
    switch (value.GetTag()) {
      case kTagLong: longs_.AddOne(value.AsLong()); break;
      case kTagCurrency:
        has_units_ = true;
        units_.AddOne(value.AsInt64());
        break;
      default: Step(value.ToDouble()); break;
    }
  }
  void Step(double number) {
    if (doubles_.empty()) doubles_.emplace_back();
    doubles_.front().AddOne(number);
  }
  // Numbers that were added before, at least one.
  void Step(const kt::kernels::WindowSum& sum, kt::kernels::SumWindow window) {
    if (doubles_.empty()) doubles_.emplace_back();
    sum.AddTo(doubles_.front(), window);
  }
  void StepLongs(std::int64_t sum) { longs_.AddOne(sum); }
  void StepUnits(const kt::kernels::WideSum& sum) {
    has_units_ = true;
    units_.Merge(sum);
  }
  void Merge(const Kt_PartSum& other);
  // After this Merge of that sum needs no memory.
  void PrepareMerge(const Kt_PartSum& other) { doubles_.reserve(other.doubles_.size()); }
  Kt_Variant Total() const;
  double Real() const { return Total().ToDouble(); }

  void Save(std::string& bytes) const;
  // Takes it from the front of `bytes`; false when these are none.
  bool Load(std::span<const std::uint8_t>& bytes);

 private:
  kt::kernels::WideSum longs_;
  kt::kernels::WideSum units_;
  bool has_units_ = false;
  // One when there were doubles: groups without any need no room for it.
  kt::CountedVector<kt::kernels::ExactSum> doubles_;
};

struct KT_CLASS_API Kt_PartRule : Kt_CellRule {
  using Sum = Kt_PartSum;
};

// The aggregate of the cells of one part of the rows, which takes in those of other parts.
//
//   Kt_PartFold sum(Kt_Aggregate::kSum);
//   for (...) sum.Step(cell);
//   sum.Merge(of_later_rows);
//   Kt_Variant total = sum.Finish();
//
// The rules are those of cells (Kt_CellRule), but that sums of doubles are exact and rounded once,
// when finished: so what comes out does not depend on how the rows were cut into parts, as long as
// the parts are merged in their order, which decides the kind of the extreme among equal values.
// Throws std::bad_alloc.
class KT_CLASS_API Kt_PartFold : public Kt_Fold<Kt_PartRule> {
 public:
  using Kt_Fold::Kt_Fold;
  using Kt_Fold::Step;
  void Step(double number) {
    if (IsExtreme()) return Step(Kt_Variant(number));
    if (Adds()) sum_.Step(number);
    ++rows_;
    ++values_;
  }
  // Takes in rows, some with a null and others with a value. Those of a sum or an average were
  // added before: add(sum), called if there were any, passes that on. Those of an extreme had that
  // one.
  template <class Add>
  void StepSum(std::int64_t nulls, std::int64_t values, Add add) {
    if (Adds() && values > 0) add(sum_);
    rows_ += nulls + values;
    values_ += values;
  }
  void StepExtreme(std::int64_t nulls, std::int64_t values, const Kt_Variant& extreme) {
    if (values > 0) Offer(extreme);
    rows_ += nulls + values;
    values_ += values;
  }
  // REQUIRES: the same aggregate.
  void Merge(const Kt_PartFold& later);
  // After this Merge of that fold needs no memory.
  void PrepareMerge(const Kt_PartFold& later) { sum_.PrepareMerge(later.sum_); }

  // What it is kept as between two programs: bytes, and the extreme.
  std::string Save() const;
  const Kt_Variant& Best() const { return best_; }
  // False when the bytes are no state of this aggregate; then it is not to be used.
  bool Load(std::span<const std::uint8_t> bytes, Kt_Variant best);
};
