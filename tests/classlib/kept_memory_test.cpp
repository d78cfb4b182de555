// SPDX-License-Identifier: MIT
//
// Memory that a thread frees and requests again: what is counted, who gets it, what is in it.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <random>
#include <thread>
#include <utility>
#include <vector>

#include "classlib/base/Kt_Memory.h"

namespace {

// Pieces of all small sizes and some larger ones, each filled with a byte of its own.
class Pieces {
 public:
  explicit Pieces(unsigned seed) : random_(seed) {}
  Pieces(const Pieces&) = delete;
  Pieces& operator=(const Pieces&) = delete;
  ~Pieces() { FreeAll(); }

  void Add() {
    const std::size_t bytes = random_() % 1200;
    Own({kt::Allocate(bytes), bytes, '\0'});
  }
  void Resize() {
    if (pieces_.empty()) return;
    Piece piece = TakeOne();
    const std::size_t bytes = 1 + random_() % 1200;
    piece.memory = kt::Reallocate(piece.memory, piece.bytes, bytes);
    const std::vector<char> kept(std::min(bytes, piece.bytes), piece.mark);
    EXPECT_TRUE(kept.empty() || std::memcmp(piece.memory, kept.data(), kept.size()) == 0);
    piece.bytes = bytes;
    Own(piece);
  }
  void FreeOne() {
    if (pieces_.empty()) return;
    const Piece piece = TakeOne();
    kt::Free(piece.memory, piece.bytes);
  }
  void FreeAll() {
    while (!pieces_.empty()) FreeOne();
  }

 private:
  struct Piece {
    void* memory;
    std::size_t bytes;
    char mark;
  };
  void Own(Piece piece) {
    piece.mark = static_cast<char>(random_());
    std::memset(piece.memory, piece.mark, piece.bytes);
    pieces_.push_back(piece);
  }
  // Nobody else has written into it.
  Piece TakeOne() {
    std::swap(pieces_[random_() % pieces_.size()], pieces_.back());
    const Piece piece = pieces_.back();
    pieces_.pop_back();
    const std::vector<char> wanted(piece.bytes, piece.mark);
    EXPECT_TRUE(piece.bytes == 0 || std::memcmp(piece.memory, wanted.data(), piece.bytes) == 0);
    return piece;
  }

  std::mt19937 random_;
  std::vector<Piece> pieces_;
};

void Work(Pieces& pieces, unsigned seed) {
  std::mt19937 random(seed);
  for (int round = 0; round < 20000; ++round) {
    switch (random() % 5) {
      case 0:
      case 1: pieces.Add(); break;
      case 2: pieces.Resize(); break;
      default: pieces.FreeOne();
    }
  }
}

TEST(KeptMemory, EveryPieceHasOneOwnerAndIsCountedOnce) {
  const Kt_CountedMemory account(0);
  Pieces pieces(1);
  for (unsigned round = 0; round < 5; ++round) {
    Work(pieces, round);
    pieces.FreeAll();
    EXPECT_EQ(account.GetUsedBytes(), 0);
  }
}

TEST(KeptMemory, GoesFromThreadToThread) {
  auto first = std::make_unique<Pieces>(1);
  auto second = std::make_unique<Pieces>(2);
  for (unsigned round = 0; round < 4; ++round) {
    std::thread one([&] { Work(*first, round); });
    std::thread other([&] { Work(*second, round + 10); });
    one.join();
    other.join();
    std::swap(first, second);  // what one has requested, the other frees
  }
}

// What is kept is refused as what is not.
TEST(KeptMemory, ABoundHoldsForIt) {
  constexpr std::size_t kBytes = 100;
  kt::Free(kt::Allocate(kBytes), kBytes);
  const Kt_CountedMemory bound(kBytes);
  EXPECT_THROW((void)kt::Allocate(kBytes), std::bad_alloc);
  EXPECT_EQ(bound.GetUsedBytes(), 0);
}

}  // namespace
