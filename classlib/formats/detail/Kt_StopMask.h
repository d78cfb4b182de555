// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace kt::detail {

// Finds the few units that matter in a text, 64 units at a time: a bit for each of a block, 1 where
// the unit is one of four. Whoever goes through the text from one to the next asks the text itself
// once for a block instead of once for every unit.
//
// Where the processor has no SSE2 the bits are made one by one, with the same result.
template <class Unit>
class StopMask {
 public:
  static constexpr std::size_t kUnits = 64;

  // The same unit may be given several times.
  explicit StopMask(const std::array<Unit, 4>& stops) : stops_(stops) {}

  bool Has(Unit unit) const {
    return unit == stops_[0] || unit == stops_[1] || unit == stops_[2] || unit == stops_[3];
  }

#if defined(__SSE2__)
  // REQUIRES: `block` has kUnits units.
  std::uint64_t Of(const Unit* block) const {
    std::uint64_t bits = 0;
    for (std::size_t at = 0; at < kUnits; at += 16) {
      const auto found = static_cast<unsigned>(_mm_movemask_epi8(Found(block + at)));
      bits |= std::uint64_t{found} << at;
    }
    return bits;
  }

 private:
  // All bits of a byte set for each of 16 units that is a stop.
  __m128i Found(const Unit* units) const {
    const auto* const from = reinterpret_cast<const __m128i*>(units);
    if constexpr (sizeof(Unit) == 1) {
      return FoundIn(_mm_loadu_si128(from));
    } else {
      return _mm_packs_epi16(FoundIn(_mm_loadu_si128(from)), FoundIn(_mm_loadu_si128(from + 1)));
    }
  }

  __m128i FoundIn(__m128i units) const {
    __m128i found = Equal(units, stops_[0]);
    for (std::size_t stop = 1; stop < stops_.size(); ++stop) {
      found = _mm_or_si128(found, Equal(units, stops_[stop]));
    }
    return found;
  }

  static __m128i Equal(__m128i units, Unit stop) {
    if constexpr (sizeof(Unit) == 1) {
      return _mm_cmpeq_epi8(units, _mm_set1_epi8(stop));
    } else {
      return _mm_cmpeq_epi16(units, _mm_set1_epi16(static_cast<short>(stop)));
    }
  }
#else
  // REQUIRES: `block` has kUnits units.
  std::uint64_t Of(const Unit* block) const {
    std::uint64_t bits = 0;
    for (std::size_t at = 0; at < kUnits; ++at) bits |= std::uint64_t{Has(block[at])} << at;
    return bits;
  }

 private:
#endif
  std::array<Unit, 4> stops_;
};

}  // namespace kt::detail
