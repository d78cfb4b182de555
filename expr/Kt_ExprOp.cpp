// SPDX-License-Identifier: MIT
#include "expr/Kt_ExprOp.h"

#include <algorithm>
#include <bit>
#include <memory>
#include <utility>

#include "classlib/base/Kt_Memory.h"

const char* GetOpText(std::int16_t code) {
  switch (code) {
#define KT_EXPR_OP_TEXT(name, value, text, ...) \
  case name: return text;
    KT_EXPR_OPS(KT_EXPR_OP_TEXT)
    KT_OPERATORS(KT_EXPR_OP_TEXT)
#undef KT_EXPR_OP_TEXT
    default: return "?";
  }
}

void Kt_ExprOp::Set(const Kt_ExprOp& other) {
  if (this == &other) return;
  code = other.code;
  arg = other.arg;
  text = other.text;
  if (code == kOpInteger) {
    number.integer = other.number.integer;
  } else if (code == kOpDecimal) {
    number.decimal = other.number.decimal;
  }
}

namespace {

kt_long FloorToPowerOfTwo(kt_long request) {
  if (request < 1 || request > 4096) return 256;
  return static_cast<kt_long>(std::bit_floor(static_cast<std::uint32_t>(request)));
}

// Releases a block of so many records.
struct FreeBlock {
  void operator()(Kt_ExprOp* block) const {
    std::destroy_n(block, size);
    kt::Free(block, static_cast<std::size_t>(size) * sizeof(Kt_ExprOp));
  }
  kt_long size;
};
using Block = std::unique_ptr<Kt_ExprOp, FreeBlock>;

Block NewBlock(kt_long size) {
  const auto count = static_cast<std::size_t>(size);
  auto* const block = static_cast<Kt_ExprOp*>(kt::Allocate(count * sizeof(Kt_ExprOp)));
  std::uninitialized_default_construct_n(block, count);
  return Block(block, {size});
}

}  // namespace

Kt_ExprOpList::Kt_ExprOpList(kt_long block_size)
    : block_size_(FloorToPowerOfTwo(block_size)),
      shift_(std::countr_zero(static_cast<std::uint32_t>(block_size_))) {}

Kt_ExprOpList::Kt_ExprOpList(const Kt_ExprOpList& other) : Kt_ExprOpList(other.block_size_) {
  CopyFrom(other);
}

Kt_ExprOpList& Kt_ExprOpList::operator=(const Kt_ExprOpList& other) {
  if (this == &other) return *this;
  Clear();
  block_size_ = other.block_size_;
  shift_ = other.shift_;
  CopyFrom(other);
  return *this;
}

Kt_ExprOpList::~Kt_ExprOpList() { Clear(); }

// A block for every block of the source, but never more than it has records: an index that the
// source answers only because of an earlier, longer expression may be null here.
void Kt_ExprOpList::CopyFrom(const Kt_ExprOpList& other) {
  const kt_long block_count = std::min(other.GetBlockCount(), other.count_);
  if (block_count > 0 && !GetSafeItem((block_count << shift_) - 1)) return;
  for (kt_long index = 0; index < other.count_; ++index) {
    *GetSafeItem(index) = *other.GetItem(index);
  }
  count_ = other.count_;
}

bool Kt_ExprOpList::Grow(kt_long index) {
  if ((capacity_ & (block_size_ - 1)) != 0) ResizeLastBlock(block_size_);
  while (capacity_ <= index) {
    Block block = NewBlock(block_size_);
    if (blocks_.Add(block.get()) < 0) return false;
    (void)block.release();
    capacity_ += block_size_;
  }
  return true;
}

// Moves the records of the last block into one of another size.
void Kt_ExprOpList::ResizeLastBlock(kt_long size) {
  const kt_long last = blocks_.GetCount() - 1;
  Block block = NewBlock(size);
  const Block old_block(BlockAt(last), {SizeOf(last)});
  for (kt_long at = 0; at < std::min(size, SizeOf(last)); ++at) {
    Kt_ExprOp& from = old_block.get()[at];
    Kt_ExprOp& to = block.get()[at];
    to.code = from.code;
    to.arg = from.arg;
    to.text = std::move(from.text);
    to.number = from.number;
  }
  capacity_ = (last << shift_) + size;
  blocks_.SetItem(last, block.release());
}

void Kt_ExprOpList::Shrink() {
  if (count_ == 0) return Clear();
  const kt_long last = (count_ - 1) >> shift_;
  for (kt_long at = blocks_.GetCount() - 1; at > last; --at) {
    FreeBlock{SizeOf(at)}(BlockAt(at));
    blocks_.RemoveAt(at);
    capacity_ = at << shift_;
  }
  if (capacity_ > count_) ResizeLastBlock(count_ - (last << shift_));
}

kt_long Kt_ExprOpList::Add(const Kt_ExprOp& op) { return Add(&op); }

kt_long Kt_ExprOpList::Add(const Kt_ExprOp* op) {
  Kt_ExprOp* const slot = Append();
  if (!slot) return -1;
  if (op) slot->Set(*op);  // shares its text, so it cannot fail
  return count_ - 1;
}

void Kt_ExprOpList::Append(const Kt_ExprOpList& other) {
  const kt_long other_count = other.count_;  // `other` may be this list
  for (kt_long index = 0; index < other_count; ++index) Add(other.GetItem(index));
}

void Kt_ExprOpList::Swap(Kt_ExprOpList& other) noexcept {
  std::swap(block_size_, other.block_size_);
  std::swap(shift_, other.shift_);
  std::swap(count_, other.count_);
  std::swap(capacity_, other.capacity_);
  std::swap(blocks_, other.blocks_);
}

void Kt_ExprOpList::Clear() {
  for (kt_long at = 0; at < blocks_.GetCount(); ++at) FreeBlock{SizeOf(at)}(BlockAt(at));
  blocks_.Clear();
  count_ = 0;
  capacity_ = 0;
}
