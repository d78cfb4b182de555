// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>

#include "classlib/base/Kt_Memory.h"
#include "object/Kt_ExprStackObj.h"

namespace kt::detail {

// A block of evaluation-stack entries, as the pool hands it out.
struct EvalBlock {
  static constexpr kt_long kEntries = 32;
  static void* operator new(std::size_t bytes) { return Allocate(bytes); }
  static void operator delete(void* memory, std::size_t bytes) { Free(memory, bytes); }
  Kt_ExprStackObj entries[kEntries];
  EvalBlock* next = nullptr;   // in the pool: the next free block; in a stack: the block above
  EvalBlock* below = nullptr;  // in a stack: the block below
};

// The evaluation stack of one evaluation: one block for most expressions, more when they nest
// deeper. Blocks come from a process-wide pool.
//
// Threads: taking a block locks the pool's mutex; giving one back does not. The free list stays
// whole all the same: giving back is one atomic exchange of the head, and because only holders of
// the mutex take, a block cannot leave the list and come back between the two halves of a take.
class EvalStack {
 public:
  EvalStack() : block_(Take()) {
    Top().Clear();
    Top().SetObjStat(0);  // Clear keeps it, and the block has been used before
  }
  EvalStack(const EvalStack&) = delete;
  EvalStack& operator=(const EvalStack&) = delete;
  ~EvalStack();

  kt_long Depth() const { return depth_; }  // entries below the top
  Kt_ExprStackObj& Top() { return block_->entries[slot_]; }
  // REQUIRES: Depth() > 0.
  Kt_ExprStackObj& Below() {
    return slot_ > 0 ? block_->entries[slot_ - 1] : block_->below->entries[EvalBlock::kEntries - 1];
  }
  Kt_ExprStackObj& Bottom() { return bottom_->entries[0]; }
  // Pushes a cleared entry whose operand begins at record `start`.
  void Push(kt_long start) {
    if (KT_UNLIKELY(slot_ + 1 == EvalBlock::kEntries)) {
      GrowBlock();
    } else {
      ++slot_;
    }
    ++depth_;
    Top().Clear();
    Top().SetObjStat(0);
    Top().SetOpStartIdx(start);
  }
  // Clears the top entry and goes back to the one below.
  void Pop() {
    Top().Clear();
    --depth_;
    if (KT_UNLIKELY(--slot_ < 0)) ShrinkBlock();
  }

 private:
  static EvalBlock* Take();
  static void GiveBack(EvalBlock* block);
  void GrowBlock();
  void ShrinkBlock();

  EvalBlock* block_;
  EvalBlock* bottom_ = block_;
  kt_long slot_ = 0;
  kt_long depth_ = 0;
};

}  // namespace kt::detail
