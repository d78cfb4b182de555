// SPDX-License-Identifier: MIT
//
// The generator is xoshiro256** 1.0 of David Blackman and Sebastiano Vigna ("Scrambled linear
// pseudorandom number generators", ACM TOMS 47, 2021), its state filled by splitmix64 as its
// authors advise. A range is cut out without bias by the multiplication of Daniel Lemire ("Fast
// random integer generation in an interval", ACM TOMACS 29, 2019).

#include "classlib/base/Kt_Random.h"

#include <algorithm>
#include <bit>
#include <random>

namespace {

class Generator {
 public:
  explicit Generator(std::uint64_t seed) { Seed(seed); }

  void Seed(std::uint64_t seed) {
    for (std::uint64_t& word : state_) {
      seed += 0x9E3779B97F4A7C15u;
      std::uint64_t mixed = (seed ^ (seed >> 30)) * 0xBF58476D1CE4E5B9u;
      mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EBu;
      word = mixed ^ (mixed >> 31);
    }
  }

  std::uint64_t Next() {
    const std::uint64_t result = std::rotl(state_[1] * 5, 7) * 9;
    const std::uint64_t shifted = state_[1] << 17;
    state_[2] ^= state_[0];
    state_[3] ^= state_[1];
    state_[1] ^= state_[2];
    state_[0] ^= state_[3];
    state_[2] ^= shifted;
    state_[3] = std::rotl(state_[3], 45);
    return result;
  }

  // The upper bits are the better ones.
  std::uint32_t Next32() { return static_cast<std::uint32_t>(Next() >> 32); }

  // A number below `bound`, which is at least 1.
  std::uint32_t Below(std::uint32_t bound) {
    std::uint64_t product = std::uint64_t{Next32()} * bound;
    if (static_cast<std::uint32_t>(product) < bound) {
      const std::uint32_t surplus = (0u - bound) % bound;  // 2^32 modulo bound
      while (static_cast<std::uint32_t>(product) < surplus) {
        product = std::uint64_t{Next32()} * bound;
      }
    }
    return static_cast<std::uint32_t>(product >> 32);
  }

 private:
  std::uint64_t state_[4];
};

Generator& ThreadGenerator() {
  thread_local Generator generator([] {
    std::random_device device;
    return std::uint64_t{device()} << 32 | device();
  }());
  return generator;
}

}  // namespace

void kt_srandom(std::uint64_t seed) { ThreadGenerator().Seed(seed); }

kt_long kt_random(kt_long low, kt_long high) {
  if (low > high) std::swap(low, high);
  // Unsigned arithmetic wraps as two's complement does, so the sum below is right for every range.
  const std::uint32_t span = static_cast<std::uint32_t>(high) - static_cast<std::uint32_t>(low);
  Generator& generator = ThreadGenerator();
  const std::uint32_t offset = span == UINT32_MAX ? generator.Next32() : generator.Below(span + 1);
  return static_cast<kt_long>(static_cast<std::uint32_t>(low) + offset);
}

double kt_randomdouble() { return static_cast<double>(ThreadGenerator().Next() >> 11) * 0x1.0p-53; }
