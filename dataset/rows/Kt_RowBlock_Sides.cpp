// SPDX-License-Identifier: MIT
//
// The right sides of && and || in blocks of rows.
//
// The idea: a single row jumps over the right side when the left one settles the result. A block
// jumps when all its rows are settled. Else the right side is computed for the open rows alone, as
// a smaller block whose records are listed, or for all rows; what that gives for settled rows is
// put right where the operation ends (Kt_RowSelection.h). The compiler lets right sides lie within
// one another, as in `a && (b || c)`, but never overlap, so they are a stack. It gives every value
// a temp of its own, so that a right side reads nothing that was computed before it but the value
// of its left side, and nothing of it is read after it but its result. Names are read anew where
// the rows change.
//
// What it costs: noting who is settled takes 0.1 ns for a row, which a right side of one comparison
// is not worth; a list takes 0.1 to 0.3 ns more for a row of the block and 5 to 10 for an open one,
// whose cells are gathered. So how few rows have to be open depends on what the right side costs:
// one in thirty for a comparison, one in seven for five operations, most for a sine. Where the
// first rows of a block say that there are far more, the rest is not looked at.
//
// All of this depends on the cells of the block and on what a block without it would have computed,
// never on how far another thread is: two threads charge for the same texts as one.
#include <algorithm>

#include "dataset/rows/Kt_RowBlock.h"

namespace kt::detail {

// Plan --------------------------------------------------------------------------------------------

// When all steps are there and bound.
void RowBlock::WeighTests() {
  for (std::size_t number = 0; number < steps_.size(); ++number) {
    Step& test = steps_[number];
    if (test.test == nullptr) continue;
    test.right_cost = 0;
    for (std::size_t at = number + 1; at < test.landing; ++at) {
      test.right_cost += RightCostOf(steps_[at]);
      test.is_put_back = test.is_put_back || MayMark(steps_[at]);
      test.has_texts = test.has_texts || steps_[at].memo >= 0;
    }
  }
}

// Whether it may mark rows, or those of a name that is read for it may be. What is made of texts
// does so for some texts only, see HasOddTexts.
bool RowBlock::MayMark(const Step& step) const {
  const auto marks_nulls = [this](int name) {
    return name >= 0 && names_[static_cast<std::size_t>(name)].marks_nulls;
  };
  if (marks_nulls(step.left_name) || marks_nulls(step.right_name)) return true;
  switch (step.op) {
    case CodeOp::kAdd:
    case CodeOp::kSub:
    case CodeOp::kMul: return step.gives_long;
    case CodeOp::kMod: return step.gives_long || step.tracks_longs;
    case CodeOp::kCall: return step.tracks_longs;
    default: return false;
  }
}

// In plain operations on a row. Looking up what is known of a text costs less than that; how many
// texts are still to be computed is not asked, only how many there are for a row.
int RowBlock::RightCostOf(const Step& step) const {
  constexpr int kCall = 40;
  constexpr double kText = 150;
  if (step.memo >= 0) return static_cast<int>(kText * MemoOf(step).TextsPerRow());
  if (step.function == nullptr) return CostOf(step);
  const bool is_one_by_one =
      step.function->kind == DirectFunc::Kind::kNumbers && !step.function->is_quick;
  return is_one_by_one ? kCall : 1;
}

// How many of so many rows may be open for a list to be worth it.
std::size_t RowBlock::MostOpen(int right_cost, std::size_t count) {
  constexpr int kOpenCost = 20;
  const int gain = std::max(right_cost - kListCost, 0);
  return count * static_cast<std::size_t>(gain) / static_cast<std::size_t>(right_cost + kOpenCost);
}

// Rows --------------------------------------------------------------------------------------------

// The step to go on with after a test.
std::size_t RowBlock::RunTest(std::size_t number) {
  const Step& test = steps_[number];
  if (test.test->is_settled(*this, test)) return Skip(test);
  const bool is_put_back = test.is_put_back || (test.has_texts && HasOddTexts(number));
  if (!is_put_back && test.right_cost <= kListCost) {
    test.kernel(*this, test);
    return number + 1;
  }
  if (static_cast<std::size_t>(depth_) == open_sides_.size()) open_sides_.emplace_back();
  RowSelection& selection = open_sides_[static_cast<std::size_t>(depth_)].selection;
  const std::size_t most_at_first = is_put_back ? kSample : 2 * MostOpen(test.right_cost, kSample);
  const std::size_t open = test.test->settle(*this, test, most_at_first, selection);
  if (open == 0) return Skip(test);  // together with what was settled before
  const bool is_narrow = open <= MostOpen(test.right_cost, count_);
  if (!is_narrow) test.kernel(*this, test);
  if (is_narrow || is_put_back) BeginSide(test, is_narrow);
  return number + 1;
}

// Whether a text on the right side has been met whose rows are to be evaluated by themselves.
bool RowBlock::HasOddTexts(std::size_t number) const {
  const Step* const test = &steps_[number];
  return std::any_of(test + 1, steps_.data() + test->landing,
                     [this](const Step& step) { return step.memo >= 0 && MemoOf(step).HasOdd(); });
}

// All rows are settled.
std::size_t RowBlock::Skip(const Step& test) {
  std::fill_n(test.out->own_longs.data(), count_, kt_long{test.op == CodeOp::kTestOr});
  are_zeros_ = IsZeroWhereSettled(test);
  for (int depth = depth_; depth > 0; --depth) {
    are_zeros_ = are_zeros_ && IsZeroWhereSettled(*SideAt(depth).test);
  }
  return test.landing;
}

// Whether the result of a row is 0 when the test settles it.
bool RowBlock::IsZeroWhereSettled(const Step& test) const {
  return test.op == CodeOp::kTestAnd && test.landing == steps_.size() && test.out == result_;
}

// The rows that are settled already among those that steps work on; null: none.
const RowSelection* RowBlock::SettledAround() const {
  return depth_ > narrowed_at_ ? &SideAt(depth_).selection : nullptr;
}

void RowBlock::BeginSide(const Step& test, bool is_narrow) {
  OpenSide& side = open_sides_[static_cast<std::size_t>(depth_++)];
  side.test = &test;
  side.count = count_;
  side.records = records_;
  side.rows = rows_;
  side.narrowed_at = narrowed_at_;
  if (!is_narrow) return side.selection.KeepAll(marks_, count_);
  side.selection.Narrow(marks_, count_, records_, rows_);
  test.test->pick(test, side.selection);
  count_ = side.selection.OpenCount();
  records_ = side.selection.Records();
  rows_ = side.selection.Rows();
  narrowed_at_ = depth_;
}

// Those that end at a step.
void RowBlock::EndSides(std::size_t number) {
  while (depth_ > 0 && SideAt(depth_).test->landing <= number) EndSide();
}

// What was settled takes part again. Names that were read for a list of rows are to be read anew,
// and so are those whose nulls were marked: settled rows have lost these marks.
void RowBlock::EndSide() {
  const OpenSide& side = SideAt(depth_);
  side.selection.PutBack(side.test->out->own_longs.data(), marks_,
                         kt_long{side.test->op == CodeOp::kTestOr});
  for (NameLane& lane : names_) {
    if (lane.loaded_in != depth_) continue;
    const bool is_good = depth_ > narrowed_at_ && !lane.marks_nulls;
    lane.loaded_in = is_good ? depth_ - 1 : kNotLoaded;
  }
  count_ = side.count;
  records_ = side.records;
  rows_ = side.rows;
  narrowed_at_ = side.narrowed_at;
  --depth_;
}

}  // namespace kt::detail
