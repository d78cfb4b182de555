// SPDX-License-Identifier: MIT
#pragma once

#include <span>
#include <unordered_map>
#include <vector>

#include "classlib/base/Kt_Buffer.h"
#include "classlib/store/Kt_PartFold.h"
#include "classlib/value/Kt_VariantCompare.h"
#include "dataset/Kt_ExprDataset.h"

// Totals of groups over rows that come in parts: each part is added where it is, in a thread, a
// process or on a machine of its own, and what was made of the parts is merged.
//
//   Kt_GroupTotals totals({{u"region", u"region"}},
//                         {{u"revenue", Kt_Aggregate::kSum, u"price * qty"}}, u"qty > 0");
//   totals.Add(first_part);
//   totals.Merge(of_second_part);
//   totals.Finish(answer);           // region, revenue: a row for each group, in the order of
//   sorts
//
// Keys and totals are columns or row expressions; with a filter, rows in which it is false are left
// out, as Filter does. Aggregates take the values as those of cells (docs/values.md), but that sums
// of doubles are exact and rounded once, at the end. So the answer does not depend on where the
// parts were cut, as long as they are merged in the order of their rows.
//
// Keys are equal as in sorts: 1 and 1.0 are one group. Without keys all rows are one group.
// Threads: those of the dataset that is added; otherwise sole access. Throws std::bad_alloc, and
// then Add and Merge have added nothing.
class KT_SCRIPT_API Kt_GroupTotals {
 public:
  struct Key {
    Kt_WString id;    // of the column of the answer
    Kt_WString text;  // id of a column, or row expression
  };
  struct Total {
    Kt_WString id;
    Kt_Aggregate what = Kt_Aggregate::kSum;
    Kt_WString text;
  };

  // Expressions are not looked at yet; an empty filter takes all rows.
  Kt_GroupTotals(std::vector<Key> keys, std::vector<Total> totals, Kt_WString filter);

  // Adds the rows of the dataset that are shown, after those that were added before. What is wrong
  // with an expression is reported by the wrapper, as in every other row expression. kOk; the code
  // of a run that was stopped; kFailed when the rows changed meanwhile, or there is no dataset:
  // then nothing was added.
  kt_long Add(Kt_ExprDataset& rows);
  // Takes in the totals of later rows. False, and nothing is changed, when they have other columns.
  bool Merge(const Kt_GroupTotals& later);

  std::size_t GroupCount() const { return groups_.size(); }
  // Puts the answer in the place of the columns and rows of a dataset. Numbers of several kinds in
  // one column become doubles. A code as LoadColumns gives it.
  kt_long Finish(Kt_Dataset& answer) const;

  // The state as bytes, for a program that has made one of the same keys and totals. Load is false,
  // and leaves no group, when the bytes are none. A code below 0: that of SaveBinary.
  kt_long Save(Kt_Buffer& bytes) const;
  bool Load(std::span<const std::uint8_t> bytes);

 private:
  static constexpr auto kNew = static_cast<std::size_t>(-1);
  using Values = std::vector<Kt_Variant>;
  struct Hash {
    std::size_t operator()(const Values& values) const;
  };
  struct Group {
    Values key;
    std::vector<Kt_PartFold> folds;
  };

  std::vector<Kt_PartFold> NewFolds() const;
  kt_long AddPart(Kt_ExprDataset& rows);
  template <class Groups>
  void TakeAll(Groups&& later);
  template <class AnyGroup>
  std::size_t PlaceFor(AnyGroup&& later);
  bool LoadGroups(const Kt_Dataset& state);
  void Clear();

  std::vector<Key> keys_;
  std::vector<Total> totals_;
  Kt_WString filter_;
  std::vector<Group> groups_;
  std::unordered_map<Values, std::size_t, Hash> places_;  // of keys in groups_
};
