// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <atomic>
#include <type_traits>
#include <utility>
#include <vector>

#include "classlib/base/Kt_WorkThreads.h"
#include "dataset/rows/Kt_RowCursor.h"
#include "dataset/rows/Kt_RowExpr.h"
#include "dataset/rows/Kt_RowTeam.h"

namespace kt::detail {

// From the first row up, or from the last one down.
enum class RowOrder : bool { kUp, kDown };

// How a walk ended: with its last row, because its taker had enough, or because it had to.
enum class WalkEnd : std::uint8_t { kDone, kByTaker, kStopped };

// ForEachValue on one thread.
template <RowOrder kOrder, class Taker>
WalkEnd WalkAlone(RowCursor& cursor, RowExpr& expr, kt_long start, kt_long end, Taker& taker) {
  constexpr bool kUp = kOrder == RowOrder::kUp;
  const auto is_wanted = [&](kt_long row) {
    if constexpr (requires { taker.Wants(row); }) return taker.Wants(row);
    return true;
  };
  Kt_Variant value;
  while (true) {
    const kt_long last = std::min(end, cursor.RowCount());
    if (start >= last) return WalkEnd::kDone;
    const kt_long row = kUp ? start : last - 1;
    const RowNumbers numbers =
        kUp ? expr.NumbersFrom(cursor, row, last) : expr.NumbersTo(cursor, row, start);
    kt_long taken = 1;
    if (numbers.count > 0) {
      taken = taker.TakeMany(kUp ? row : row + 1 - numbers.count, numbers);
      if (taken < 0) return WalkEnd::kByTaker;
      expr.LeaveRows(cursor, numbers.count - taken);
    } else {
      if (!cursor.Enter(row)) return WalkEnd::kStopped;
      if (is_wanted(row)) {
        const bool goes_on = expr.Evaluate(cursor, value);
        if (!taker.TakeOne(row, value, goes_on)) {
          return goes_on ? WalkEnd::kByTaker : WalkEnd::kStopped;
        }
        if (!goes_on) return WalkEnd::kStopped;
      }
    }
    if (kUp) {
      start = row + taken;
    } else {
      end = row + 1 - taken;
    }
  }
}

// ForEachValue on two threads (Kt_RowTeam.h). What is left of the walk is [start_, end_).
template <RowOrder kOrder, class Taker>
class SharedWalk {
 public:
  SharedWalk(RowTeam& team, RowCursor& cursor, RowExpr& expr, kt_long start, kt_long end,
             Taker& taker)
      : team_(team), cursor_(cursor), expr_(expr), taker_(taker), start_(start), end_(end) {}

  WalkEnd Run() {
    WalkEnd how = WalkEnd::kDone;
    while (how == WalkEnd::kDone) {
      end_ = kUp ? end_ : std::min(end_, cursor_.RowCount());
      const kt_long last = std::min(end_, cursor_.RowCount());
      if (start_ >= last) break;
      const kt_long blocks = team_.Begin(WholeBlocks(last));
      if (team_.IsOff()) return WalkAlone<kOrder>(cursor_, expr_, start_, end_, taker_);
      how = blocks > 0 ? RunRound(blocks) : RunBlock(last);
    }
    return how;
  }

 private:
  static constexpr bool kUp = kOrder == RowOrder::kUp;
  enum State : std::uint8_t { kOpen, kMade, kMissed };
  struct alignas(kApart) Slot {
    std::atomic<State> state{kOpen};
    typename Taker::Part part;
  };

  // How many whole blocks come next; 0 when the next one is not.
  kt_long WholeBlocks(kt_long last) const {
    const kt_long border = kUp ? start_ : last;
    return border % kRowsPerBlock == 0 ? (last - start_) / kRowsPerBlock : 0;
  }

  // The next block, or what the walk has of it.
  WalkEnd RunBlock(kt_long last) {
    constexpr kt_long kMask = ~(kRowsPerBlock - 1);
    if (kUp) {
      const kt_long border = std::min((start_ & kMask) + kRowsPerBlock, last);
      return WalkAlone<kOrder>(cursor_, expr_, std::exchange(start_, border), border, taker_);
    }
    const kt_long border = std::max((last - 1) & kMask, start_);
    end_ = border;
    return WalkAlone<kOrder>(cursor_, expr_, border, last, taker_);
  }

  WalkEnd RunRound(kt_long blocks) {
    taken_ = 0;
    blocks_ = blocks;
    round_start_ = kUp ? start_ : end_ - blocks * kRowsPerBlock;
    team_.FindRecords(round_start_, blocks);
    if (slots_.empty()) slots_ = std::vector<Slot>(RowTeam::kMostParts);
    for (Slot& slot : slots_) slot.state.store(kOpen);
    const bool goes_on = team_.Run(
        blocks, [this](kt_long number) { return FirstOf(number); },
        [this](PartRows& rows, kt_long number) {
          Slot& slot = SlotOf(number);
          const bool is_made = taker_.MakePart(rows, slot.part);
          slot.state.store(is_made ? kMade : kMissed, std::memory_order_release);
        },
        [this] { return TakeMade() && !IsNext(kMissed) && !has_enough_; });
    if (!goes_on || !TakeMade()) {
      (void)cursor_.PayFor(0);
      return WalkEnd::kStopped;
    }
    return has_enough_ ? WalkEnd::kByTaker : TakeRest();
  }

  // Takes in the parts that come next and are there. False when the work has to stop.
  bool TakeMade() {
    while (taken_ < blocks_ && !has_enough_) {
      Slot& slot = SlotOf(taken_);
      if (slot.state.load(std::memory_order_acquire) != kMade) return true;
      if (!RowCursor::PayQuietlyFor(StepsOf(slot.part))) return false;
      has_enough_ = !Take(slot.part);
      slot.state.store(kOpen, std::memory_order_relaxed);
      team_.MakeRoom(++taken_);
    }
    return true;
  }
  // Takers that always want all rows have no answer to these.
  template <class Part>
  static kt_long RowsOf(const Part& part) {
    if constexpr (requires { part.rows; }) return part.rows;
    return kRowsPerBlock;
  }
  template <class Part>
  bool Take(const Part& part) {
    if constexpr (std::is_void_v<decltype(taker_.TakePart(part))>) {
      taker_.TakePart(part);
      return true;
    } else {
      return taker_.TakePart(part);
    }
  }
  bool IsNext(State state) {
    return taken_ < blocks_ && SlotOf(taken_).state.load(std::memory_order_acquire) == state;
  }

  // After the round: walks the blocks of which there are no parts. Those that nobody has begun are
  // left for the next one.
  WalkEnd TakeRest() {
    kt_long missed = 0;
    const std::int64_t ran_before = cursor_.GetOthersRun();
    while (IsNext(kMissed) && ran_before == cursor_.GetOthersRun()) {
      SlotOf(taken_).state.store(kOpen, std::memory_order_relaxed);
      const kt_long first = FirstOf(taken_++);
      ++missed;
      const WalkEnd how = WalkAlone<kOrder>(cursor_, expr_, first, first + kRowsPerBlock, taker_);
      if (how != WalkEnd::kDone) return how;
      if (ran_before == cursor_.GetOthersRun() && !TakeMade()) {
        (void)cursor_.PayFor(0);
        return WalkEnd::kStopped;
      }
      if (has_enough_) return WalkEnd::kByTaker;
    }
    if (kUp) {
      start_ = FirstOf(taken_);
    } else {
      end_ = FirstOf(taken_ - 1);
    }
    team_.Note(taken_, missed);
    return WalkEnd::kDone;
  }

  std::int64_t StepsOf(const typename Taker::Part& part) const {
    std::int64_t steps = RowsOf(part) * (1 + expr_.GetMapSteps());
    if constexpr (requires { taker_.GetSecondSteps(part); }) steps += taker_.GetSecondSteps(part);
    return steps;
  }
  Slot& SlotOf(kt_long number) {
    return slots_[static_cast<std::size_t>(number % RowTeam::kMostParts)];
  }
  kt_long FirstOf(kt_long number) const {
    return round_start_ + (kUp ? number : blocks_ - 1 - number) * kRowsPerBlock;
  }

  RowTeam& team_;
  RowCursor& cursor_;
  RowExpr& expr_;
  Taker& taker_;
  kt_long start_;
  kt_long end_;
  std::vector<Slot> slots_;
  kt_long round_start_ = 0;
  kt_long blocks_ = 0;  // of the round
  kt_long taken_ = 0;   // of them
  bool has_enough_ = false;
};

// Gives the values of an expression in the rows [start, end) to `taker`, in order, as long as there
// are such rows and the walk goes on:
//
//   bool Wants(kt_long row)
//       optional: whether the row, which was entered, is evaluated at all. Rows in which an
//       expression gives a plain number ahead are not asked about: they are no subtotals.
//   bool TakeOne(kt_long row, const Kt_Variant& value, bool goes_on)
//       the value of a row that was evaluated by itself; the walk ends with it unless `goes_on`.
//   kt_long TakeMany(kt_long first, const RowNumbers& numbers)
//       the values of the rows from `first` on that were computed ahead: how many of them were
//       taken (downwards: all). The rest is evaluated again.
//
// TakeOne ends the loop with false, TakeMany with -1. A taker whose work two threads may share also
// has a type Part and
//
//   bool MakePart(PartRows& rows, Part& part) const
//       on any thread: makes a part of a block of rows. False when that needs a row that is to be
//       evaluated by itself.
//   void TakePart(const Part& part)
//       in order: as if each row had been taken. May be a bool: false ends the loop; then part.rows
//       is how many rows of the block one thread would have looked at.
//   const RowExpr* GetSecond() const
//       the second expression of PartRows; may be null.
//   std::int64_t GetSecondSteps(const Part& part) const
//       optional: the steps that the values of the second expression take in a part (GetMapSteps).
//   int GetOwnCost() const
//       what of the cost of a row (RowBlock::GetCost) TakePart takes.
//
// Evaluating may change the number of rows: those that went are left out, those that came before
// `end` are taken. False when the walk has to end.
template <RowOrder kOrder, class Taker>
bool ForEachValue(RowCursor& cursor, RowExpr& expr, kt_long start, kt_long end, Taker& taker) {
  if constexpr (requires { typename Taker::Part; }) {
    const auto rows = static_cast<std::size_t>(std::max(end - start, 0));
    if (Kt_WorkThreads::MayShare(rows)) {
      RowTeam team(cursor, expr, taker.GetSecond(), taker.GetOwnCost());
      SharedWalk<kOrder, Taker> walk(team, cursor, expr, start, end, taker);
      return walk.Run() != WalkEnd::kStopped;
    }
  }
  return WalkAlone<kOrder>(cursor, expr, start, end, taker) != WalkEnd::kStopped;
}

}  // namespace kt::detail
