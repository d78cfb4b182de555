// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <exception>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include "classlib/base/Kt_Charge.h"
#include "classlib/base/Kt_Helper.h"
#include "dataset/rows/Kt_RowBlock.h"
#include "dataset/rows/Kt_RowCursor.h"
#include "dataset/rows/Kt_RowExpr.h"

// How two threads share a walk over rows.
//
// The walk goes on in rounds of whole blocks of rows. In a round both threads take the next block
// that nobody has, and make a part of it: what can be done without knowing the rows before. The
// first thread takes the parts in, in the order of the walk, as soon as they are there; so what
// hangs on the order, such as a sum of doubles, is as it is on one thread. Neither goes further
// ahead than there is room for parts. A block with a row that has to be evaluated by itself makes
// no part and ends the round: the first thread walks it as ever, and if that ran other code, what
// was made of the blocks after it is thrown away. No other code runs in a round, and texts that
// were not met before are such rows too.
//
// What it costs: two sets of blocks, some parts (8 KiB each for a sum), and 5 to 20 microseconds
// for each round. Rounds grow while they go well and stop for a while where they do not.
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
  static constexpr kt_long kMostParts = 16;

  // `second` may be null; `own_cost` of a row is for one thread alone. Borrows all of them.
  RowTeam(RowCursor& cursor, const RowExpr& first, const RowExpr* second, int own_cost)
      : cursor_(cursor), exprs_{&first, second}, own_cost_(own_cost) {}

  // All that is left is to be walked alone.
  bool IsOff() const { return is_off_; }
  // How many blocks the next round may have, of so many; 0: one block is to be walked alone.
  kt_long Begin(kt_long blocks);
  // Finds the records of the rows of those blocks.
  void FindRecords(kt_long first_row, kt_long blocks);
  // How a round went: so many of its blocks are done.
  void Note(kt_long done, kt_long missed);
  // For `between` below: `blocks` are done with, so their parts make room for others.
  void MakeRoom(kt_long blocks) { done_.store(blocks, std::memory_order_release); }

  // work(rows, number) for each block from `number` 0 on, on either thread, but for none that is
  // kMostParts or more from those that are done with; `first_of(number)` is its first row.
  // between() is called on this thread now and then; false ends the round. False when the work has
  // to stop.
  template <class FirstOf, class Work, class Between>
  bool Run(kt_long blocks, FirstOf first_of, Work work, Between between);

  // For tests: blocks that the second thread has taken, of all walks.
  KT_SCRIPT_API static std::atomic<std::int64_t> blocks_there;

 private:
  using Blocks = std::array<std::unique_ptr<RowBlock>, 2>;
  static constexpr kt_long kFirstBlocks = 8;
  static constexpr kt_long kGrowth = 4;
  static constexpr kt_long kMostBlocks = 2048;
  static constexpr kt_long kMostListed = 64;  // where the records of the rows have to be listed
  static constexpr kt_long kFirstRest = 16;
  static constexpr kt_long kMostRest = 4096;
  static constexpr std::chrono::microseconds kPatience{200};

  // Ends the round for the other thread when this one leaves it by an exception.
  class EndOfRound {
   public:
    explicit EndOfRound(RowTeam& team) : team_(team), thrown_(std::uncaught_exceptions()) {}
    EndOfRound(const EndOfRound&) = delete;
    EndOfRound& operator=(const EndOfRound&) = delete;
    ~EndOfRound() {
      if (std::uncaught_exceptions() > thrown_) team_.end_ = 0;
    }

   private:
    RowTeam& team_;
    int thrown_;
  };

  bool Bind();
  void Start(kt_long blocks);
  RowRecords RecordsOf(kt_long row) const;

  RowCursor& cursor_;
  std::array<const RowExpr*, 2> exprs_;
  std::array<std::int64_t, 2> bound_at_{RowExpr::kUnbound, RowExpr::kUnbound};
  alignas(kApart) Blocks here_;
  alignas(kApart) Blocks there_;
  alignas(kApart) std::atomic<kt_long> next_{0};  // block that nobody has
  std::atomic<kt_long> end_{0};                   // of the blocks; 0 when the round is to end
  std::atomic<kt_long> done_{0};
  std::atomic<bool> is_at_work_{false};  // the second thread
  alignas(kApart) std::optional<Helper> helper_;
  const int own_cost_;
  bool is_off_ = false;
  kt_long round_blocks_ = kFirstBlocks;
  kt_long rest_ = 1;  // blocks to be walked alone: the first one binds
  kt_long next_rest_ = kFirstRest;
  kt_long first_row_ = 0;  // of the round
  bool is_listed_ = false;
  std::vector<std::uint32_t> listed_;  // records of the round where they have gaps
};

// Whoever has the block that is to be taken next never waits: there is room for its part. The
// second thread waits for the first one to take, so that one goes on taking while the other is at
// work. It ends the round when nothing comes for long, as where the second thread has no processor.
// Blocks are dealt out in turns in tests that want both to have some.
template <class FirstOf, class Work, class Between>
bool RowTeam::Run(kt_long blocks, FirstOf first_of, Work work, Between between) {
  const bool deals_out = !Helper::MayTakeBack();
  next_ = done_ = 0;
  end_ = blocks;
  is_at_work_ = deals_out;
  const auto work_on = [&](Blocks& own, kt_long first_number, auto meanwhile, auto wait) {
    kt_long count = 0;
    kt_long at = deals_out ? first_number : next_++;
    for (; at < end_; at = deals_out ? at + 2 : next_++, ++count) {
      wait([&] { return at < done_.load(std::memory_order_acquire) + kMostParts; });
      if (at >= end_) break;
      const kt_long first = first_of(at);
      PartRows rows(own, RecordsOf(first), first);
      work(rows, at);
      meanwhile();
    }
    return count;
  };
  const auto take = [&] {
    if (!between()) end_ = 0;
  };
  const auto take_until = [&](auto is_so) {
    const auto end = std::chrono::steady_clock::now() + kPatience;
    for (; !is_so() && end_ > 0; std::this_thread::yield()) {
      take();
      if (!deals_out && std::chrono::steady_clock::now() > end) end_ = 0;
    }
  };
  const auto wait_until = [&](auto is_so) {
    while (!is_so() && end_ > 0) std::this_thread::yield();
  };
  const auto here = [&] {
    const EndOfRound end(*this);
    work_on(here_, 0, take, take_until);
    take_until([&] { return !is_at_work_; });
  };
  const auto there = [&] {
    const EndOfRound end(*this);
    is_at_work_ = true;
    blocks_there += work_on(
        there_, 1, [] {}, wait_until);
    is_at_work_ = false;
  };
  try {
    helper_->Both(here, there);
  } catch (const WorkStopped&) {
    return false;
  }
  return true;
}

}  // namespace kt::detail
