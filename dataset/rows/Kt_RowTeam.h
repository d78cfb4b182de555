// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <array>
#include <atomic>
#include <memory>
#include <vector>

#include "classlib/base/Kt_Charge.h"
#include "classlib/base/detail/Kt_Helper.h"
#include "dataset/rows/Kt_RowBlock.h"
#include "dataset/rows/Kt_RowCursor.h"
#include "dataset/rows/Kt_RowExpr.h"

// How two threads share a walk over rows.
//
// The walk goes on in rounds of some whole blocks of rows. In a round both threads take the next
// block that nobody has, and make a part of it: what can be done without knowing the rows before.
// The first thread takes the parts in, in the order of the walk, as soon as they are there; so what
// hangs on the order, such as a sum of doubles, is as it is on one thread. A block with a row that
// has to be evaluated by itself makes no part: when the round is over the first thread walks it as
// ever, and if that ran other code, what was made of the blocks after it is thrown away. No other
// code runs in a round, and texts that were not met before are such rows too.
//
// What it costs: two sets of blocks, a part for each block of a round (8 KiB for a sum), and 5 to 20
// microseconds for each round. Rounds grow while they go well and stop for a while where they do
// not.
namespace kt::detail {

// The rows of one block on one thread, and the expressions there.
class PartRows {
 public:
  PartRows(std::array<std::unique_ptr<RowBlock>, 2>& blocks, const RowRecords& records,
           kt_long first)
      : blocks_(blocks), records_(records), first_(first) {}

  kt_long First() const { return first_; }
  kt_long End() const { return first_ + kRowsPerBlock; }
  // The values of the first expression or the second one. Null when there are none for all rows.
  const RowBlock* Of(std::size_t expr) {
    RowBlock* const block = blocks_[expr].get();
    if (block == nullptr) return nullptr;
    if (!has_[expr]) block->FillFrom(records_, first_, End());
    has_[expr] = true;
    return block;
  }

 private:
  std::array<std::unique_ptr<RowBlock>, 2>& blocks_;
  const RowRecords records_;
  const kt_long first_;
  std::array<bool, 2> has_{};
};

// Two threads, their blocks, and how rounds have gone.
class RowTeam {
 public:
  static constexpr kt_long kMostBlocks = 32;

  // `second` may be null. Borrows all of them.
  RowTeam(RowCursor& cursor, const RowExpr& first, const RowExpr* second, std::size_t rows)
      : cursor_(cursor), exprs_{&first, second}, helper_(rows) {}

  bool IsThere() const { return helper_.IsThere(); }
  // How many blocks the next round may have, of so many; 0: one block is to be walked alone.
  kt_long Begin(kt_long blocks);
  // Finds the records of the rows of those blocks.
  void FindRecords(kt_long first_row, kt_long blocks);
  // How a round went.
  void Note(kt_long blocks, kt_long missed);

  // work(rows, number) for each block from `number` 0 on, on either thread; `first_of(number)` is
  // its first row. between() is called on this thread now and then; false ends the round. False
  // when the work has to stop.
  template <class FirstOf, class Work, class Between>
  bool Run(kt_long blocks, FirstOf first_of, Work work, Between between);

  // For tests: blocks that the second thread has taken, of all walks.
  KT_SCRIPT_API static std::atomic<std::int64_t> blocks_there;

 private:
  using Blocks = std::array<std::unique_ptr<RowBlock>, 2>;
  static constexpr kt_long kFirstBlocks = 8;
  static constexpr kt_long kFirstRest = 16;
  static constexpr kt_long kMostRest = 4096;

  bool Bind();
  RowRecords RecordsOf(kt_long row) const;

  RowCursor& cursor_;
  std::array<const RowExpr*, 2> exprs_;
  std::array<std::int64_t, 2> bound_at_{RowExpr::kUnbound, RowExpr::kUnbound};
  alignas(kApart) Blocks here_;
  alignas(kApart) Blocks there_;
  alignas(kApart) std::atomic<kt_long> next_{0};  // block that nobody has
  std::atomic<kt_long> end_{0};                   // of the blocks; 0 when the round is to end
  alignas(kApart) Helper helper_;
  kt_long round_blocks_ = kFirstBlocks;
  kt_long rest_ = 1;  // blocks to be walked alone: the first one binds
  kt_long next_rest_ = kFirstRest;
  kt_long first_row_ = 0;  // of the round
  std::uint32_t first_record_ = 0;
  std::vector<std::uint32_t> listed_;  // records of the round; none: they follow one another
};

template <class FirstOf, class Work, class Between>
bool RowTeam::Run(kt_long blocks, FirstOf first_of, Work work, Between between) {
  next_ = 0;
  end_ = blocks;
  const bool deals_out = !Helper::MayTakeBack();
  const auto work_on = [&](Blocks& own, kt_long first_number, auto after_each) {
    kt_long done = 0;
    kt_long at = deals_out ? first_number : next_++;
    for (; at < end_; at = deals_out ? at + 2 : next_++, ++done) {
      const kt_long first = first_of(at);
      PartRows rows(own, RecordsOf(first), first);
      work(rows, at);
      if (!after_each()) end_ = 0;
    }
    return done;
  };
  try {
    helper_.Both([&] { work_on(here_, 0, between); },
                 [&] { blocks_there += work_on(there_, 1, [] { return true; }); });
  } catch (const WorkStopped&) {
    return false;
  }
  return true;
}

}  // namespace kt::detail
