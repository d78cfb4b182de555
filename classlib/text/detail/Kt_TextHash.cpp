// SPDX-License-Identifier: MIT
//
// Four units are one word; a word is mixed in by a multiplication of 64 by 64 bits whose upper and
// lower half are folded together (the step of wyhash, which is in the public domain). Whoever does
// not know the two keys cannot choose words that meet.
#include "classlib/text/detail/Kt_TextHash.h"

#include <cstdint>
#include <random>

#include "classlib/base/Kt_Charge.h"
#include "classlib/base/detail/Kt_Wide.h"
#include "classlib/text/Kt_WString.h"

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
  static const Keys kKeys = DrawKeys();
  return kKeys;
}

std::uint64_t Mixed(std::uint64_t a, std::uint64_t b) {
  const WideProduct product = MultiplyWide(a, b);
  return product.low ^ product.high;
}

// Of a text that comes piece by piece; every piece but the last is whole words.
class Hash {
 public:
  explicit Hash(std::size_t length) : hash_(keys_.start ^ length) {}

  template <class Fold>
  void Add(std::u16string_view piece, Fold fold) {
    for (std::size_t at = 0; at < piece.size(); ++at) {
      word_ = word_ << 16 | fold(piece[at]);
      if (at % 4 != 3) continue;
      hash_ = Mixed(hash_ ^ word_, keys_.factor);
      word_ = 0;
    }
  }
  std::size_t Get() const { return static_cast<std::size_t>(Mixed(hash_ ^ word_, keys_.factor)); }

 private:
  const Keys keys_ = ProcessKeys();
  std::uint64_t hash_;
  std::uint64_t word_ = 0;
};

}  // namespace

std::size_t TextHash(std::u16string_view text) {
  Hash hash(text.size());
  hash.Add(text, [](char16_t unit) { return std::uint64_t{unit}; });
  return hash.Get();
}

std::size_t FoldedTextHash(std::u16string_view text) {
  static_assert(kPieceUnits % 4 == 0);
  Hash hash(text.size());
  InPieces(text.size(), 2, [&](std::size_t first, std::size_t count) {
    const auto fold = [](char16_t unit) { return std::uint64_t{kt_foldcaseW(unit)}; };
    hash.Add(text.substr(first, count), fold);
    return true;
  });
  return hash.Get();
}

}  // namespace kt::detail
