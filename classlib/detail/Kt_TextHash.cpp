// SPDX-License-Identifier: MIT
//
// Four units are one word; a word is mixed in by a multiplication of 64 by 64 bits whose upper and
// lower half are folded together (the step of wyhash, which is in the public domain). Whoever does
// not know the two keys cannot choose words that meet.
#include "classlib/detail/Kt_TextHash.h"

#include <cstdint>
#include <random>

#include "classlib/Kt_WString.h"
#include "classlib/detail/Kt_Charge.h"

namespace kt::detail {

namespace {

struct Keys {
  std::uint64_t start;
  std::uint64_t factor;
};

Keys DrawKeys() {
  std::random_device source;
  const auto draw = [&] { return std::uint64_t{source()} << 32 | source(); };
  return {draw(), draw() | 1};
}

const Keys& ProcessKeys() {
  static const Keys keys = DrawKeys();
  return keys;
}

std::uint64_t Mixed(std::uint64_t a, std::uint64_t b) {
  __extension__ using Wide = unsigned __int128;
  const Wide product = static_cast<Wide>(a) * b;
  return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
}

template <class Fold>
std::size_t Hash(std::u16string_view text, Fold fold) {
  const Keys& keys = ProcessKeys();
  std::uint64_t hash = keys.start ^ text.size();
  std::uint64_t word = 0;
  InPieces(text.size(), 2, [&](std::size_t first, std::size_t count) {
    for (std::size_t at = first; at < first + count; ++at) {
      word = word << 16 | fold(text[at]);
      if (at % 4 != 3) continue;
      hash = Mixed(hash ^ word, keys.factor);
      word = 0;
    }
    return true;
  });
  return static_cast<std::size_t>(Mixed(hash ^ word, keys.factor));
}

}  // namespace

std::size_t TextHash(std::u16string_view text) {
  return Hash(text, [](char16_t unit) { return std::uint64_t{unit}; });
}

std::size_t FoldedTextHash(std::u16string_view text) {
  return Hash(text, [](char16_t unit) { return std::uint64_t{kt_foldcaseW(unit)}; });
}

}  // namespace kt::detail
