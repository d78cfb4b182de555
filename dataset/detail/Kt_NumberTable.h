// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>

#include "classlib/base/Kt_Charge.h"
#include "classlib/base/Kt_Memory.h"

namespace kt::detail {

// Numbers of keys of 64 bits: open addressing, at most half full. Fails: throws std::bad_alloc, and
// WorkStopped in searches that keys made to collide have made long.
class NumberTable {
 public:
  static constexpr std::uint32_t kNone = std::numeric_limits<std::uint32_t>::max();

  // The number of a key; that of a new one is kNone, and waits for who asked to set it before the
  // next call.
  std::uint32_t& NumberOf(std::uint64_t key) {
    if (KT_UNLIKELY(2 * count_ >= places_.size())) Grow();
    Place& place = Find(key);
    if (place.number == kNone) {
      place.key = key;
      ++count_;
    }
    return place.number;
  }

 private:
  struct Place {
    std::uint64_t key = 0;
    std::uint32_t number = kNone;
  };

  // All digits of a key, those of a double among them, come down to the lowest.
  static std::size_t HashOf(std::uint64_t key) {
    key = (key ^ key >> 32) * 0x9E3779B97F4A7C15u;
    return static_cast<std::size_t>(key ^ key >> 29);
  }
  Place& Find(std::uint64_t key) {
    constexpr std::size_t kManyProbes = 64;
    const std::size_t mask = places_.size() - 1;
    std::size_t at = HashOf(key) & mask;
    for (std::size_t probes = 0; places_[at].number != kNone && places_[at].key != key; ++probes) {
      at = (at + 1) & mask;
      if (probes % kManyProbes == kManyProbes - 1) ChargeOrLeave(kManyProbes);
    }
    return places_[at];
  }
  void Grow() {
    CountedVector<Place> before(places_.empty() ? 64 : 2 * places_.size());
    before.swap(places_);
    for (const Place& place : before) {
      if (place.number != kNone) Find(place.key) = place;
    }
  }

  CountedVector<Place> places_;
  std::size_t count_ = 0;
};

}  // namespace kt::detail
