// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstddef>
#include <exception>
#include <string_view>

#include "classlib/base/Kt_WorkMeter.h"

// The ways in which loops charge their work: see Kt_WorkMeter.
namespace kt::detail {

// Leaves an operation of a dataset that has to stop. RefuseOnFailure makes a refusal of it, as of
// memory that runs out: the operation leaves everything as it was.
struct WorkStopped : std::exception {};

inline void ChargeOrLeave(std::int64_t units) {
  if (KT_UNLIKELY(!kt::Charge(units))) throw WorkStopped();
}

// For loops of small rounds: charges when enough has come together, and the rest at its end.
class RoundCharge {
 public:
  RoundCharge() = default;
  RoundCharge(const RoundCharge&) = delete;
  RoundCharge& operator=(const RoundCharge&) = delete;
  // Less than a step in all is not worth charging.
  ~RoundCharge() {
    if (pending_ >= Kt_WorkMeter::kUnitsPerStep) (void)kt::Charge(pending_);
  }

  // False when the loop has to end.
  bool Add(std::int64_t units) {
    pending_ += units;
    return KT_LIKELY(pending_ < kEnough) || Pass();
  }
  void AddOrLeave(std::int64_t units) {
    if (KT_UNLIKELY(!Add(units))) throw WorkStopped();
  }

 private:
  static constexpr std::int64_t kEnough = 16 * 1024;

  KT_NOINLINE bool Pass() {
    const std::int64_t units = pending_;
    pending_ = 0;
    return kt::Charge(units);
  }

  std::int64_t pending_ = 0;
};

// For loops that go through a text by index: charges at every few thousandth round. False when the
// loop has to end.
inline bool GoesOnAt(std::size_t at, std::int64_t units_each = 1) {
  constexpr std::size_t kRounds = 4096;
  return KT_LIKELY(at % kRounds != kRounds - 1) ||
         kt::Charge(static_cast<std::int64_t>(kRounds) * units_each);
}

// The same for loops whose work is no step: reading expressions.
inline bool GoesOnInTime(std::size_t at, std::int64_t units_each) {
  constexpr std::size_t kRounds = 64;
  return KT_LIKELY(at % kRounds != kRounds - 1) ||
         kt::ChargeTime(static_cast<std::int64_t>(kRounds) * units_each);
}

inline constexpr std::size_t kPieceUnits = 32 * 1024;
// Texts up to this length are not worth charging.
inline constexpr std::size_t kShortUnits = 256;

// Calls work(first, count) for one piece of `length` units after the other, and charges
// `units_each` for every unit, unless the text is short. False, and the rest not done, when the
// work has to stop or `work` answers false.
template <class Work>
bool InPieces(std::size_t length, std::int64_t units_each, Work work) {
  if (KT_LIKELY(length <= kShortUnits)) return work(std::size_t{0}, length);
  for (std::size_t first = 0; first < length; first += kPieceUnits) {
    const std::size_t count = std::min(kPieceUnits, length - first);
    if (!kt::Charge(static_cast<std::int64_t>(count) * units_each)) return false;
    if (!work(first, count)) return false;
  }
  return true;
}

// The same for operations of a dataset.
template <class Work>
void InPiecesOrLeave(std::size_t length, std::int64_t units_each, Work work) {
  const bool is_whole = InPieces(length, units_each, [&](std::size_t first, std::size_t count) {
    work(first, count);
    return true;
  });
  if (!is_whole) throw WorkStopped();
}

// A copy of an array whose items cost something to copy.
template <class List>
List CopyOrLeave(const List& items) {
  constexpr std::int64_t kUnitsPerCopy = 8;
  List copy;
  copy.reserve(items.size());
  InPiecesOrLeave(items.size(), kUnitsPerCopy, [&](std::size_t first, std::size_t count) {
    const auto from = items.begin() + static_cast<std::ptrdiff_t>(first);
    copy.insert(copy.end(), from, from + static_cast<std::ptrdiff_t>(count));
  });
  return copy;
}

inline bool IsSameText(std::u16string_view a, std::u16string_view b) {
  return a.size() == b.size() && InPieces(a.size(), 1, [&](std::size_t first, std::size_t count) {
           return a.substr(first, count) == b.substr(first, count);
         });
}

// The position of `unit` at or after `start`; npos if there is none.
inline std::size_t FindUnit(std::u16string_view text, char16_t unit, std::size_t start = 0) {
  std::size_t found = std::u16string_view::npos;
  if (start >= text.size()) return found;
  InPieces(text.size() - start, 1, [&](std::size_t first, std::size_t count) {
    found = text.substr(start + first, count).find(unit);
    if (found != std::u16string_view::npos) found += start + first;
    return found == std::u16string_view::npos;
  });
  return found;
}

}  // namespace kt::detail
