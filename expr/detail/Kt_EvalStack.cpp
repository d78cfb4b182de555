// SPDX-License-Identifier: MIT
#include "expr/detail/Kt_EvalStack.h"

#include <mutex>

#include "classlib/base/Kt_ThreadMutex.h"

namespace kt::detail {

namespace {

struct Pool {
  std::atomic<EvalBlock*> head{nullptr};
  Kt_ThreadMutex mutex;
};

// Never destroyed: expressions may still run while static objects go.
Pool& ThePool() {
  static Pool* const kPool = new Pool;
  return *kPool;
}

}  // namespace

EvalBlock* EvalStack::Take() {
  Pool& pool = ThePool();
  pool.mutex.Lock();
  EvalBlock* block = pool.head.load(std::memory_order_acquire);
  while (block != nullptr &&
         !pool.head.compare_exchange_weak(block, block->next, std::memory_order_acquire)) {
  }
  pool.mutex.Unlock();
  if (block == nullptr) block = new EvalBlock;
  block->next = nullptr;
  block->below = nullptr;
  return block;
}

void EvalStack::GiveBack(EvalBlock* block) {
  Pool& pool = ThePool();
  block->next = pool.head.load(std::memory_order_relaxed);
  while (!pool.head.compare_exchange_weak(block->next, block, std::memory_order_release,
                                          std::memory_order_relaxed)) {
  }
}

EvalStack::~EvalStack() {
  // Only entries up to the top can hold anything: Pop clears what it leaves.
  while (depth_ > 0) Pop();
  Top().Clear();
  for (EvalBlock* block = bottom_; block != nullptr;) {
    EvalBlock* const above = block->next;
    GiveBack(block);
    block = above;
  }
}

void EvalStack::GrowBlock() {
  if (block_->next == nullptr) {
    block_->next = Take();
    block_->next->below = block_;
  }
  block_ = block_->next;
  slot_ = 0;
}

void EvalStack::ShrinkBlock() {
  block_ = block_->below;
  slot_ = EvalBlock::kEntries - 1;
}

}  // namespace kt::detail
