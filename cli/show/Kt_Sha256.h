// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace kt::cli {

// A base64 text of a SHA-256 hash, as content security policies name what they allow.
using HashText = std::array<char, 44>;

// The hash (FIPS 180-4) of a text. It can be taken while compiling.
constexpr HashText Sha256Base64(std::string_view text);

namespace detail {

// clang-format off
inline constexpr std::array<std::uint32_t, 64> kSha256Rounds = {
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};
// clang-format on

using Sha256State = std::array<std::uint32_t, 8>;

constexpr std::uint32_t Rotate(std::uint32_t word, int bits) {
  return (word >> bits) | (word << (32 - bits));
}

// The text with its padding: a 1 bit, zeros, and the length in bits, up to a whole block.
constexpr std::uint8_t PaddedByte(std::string_view text, std::size_t size, std::size_t at) {
  if (at < text.size()) return static_cast<std::uint8_t>(text[at]);
  if (at == text.size()) return 0x80;
  const std::size_t from_end = size - 1 - at;
  if (from_end >= 8) return 0;
  return static_cast<std::uint8_t>((std::uint64_t{text.size()} * 8) >> (8 * from_end));
}

constexpr void MixBlock(const std::array<std::uint32_t, 64>& words, Sha256State& state) {
  auto [a, b, c, d, e, f, g, h] = state;
  for (std::size_t round = 0; round < 64; ++round) {
    const std::uint32_t sum1 = Rotate(e, 6) ^ Rotate(e, 11) ^ Rotate(e, 25);
    const std::uint32_t first =
        h + sum1 + ((e & f) ^ (~e & g)) + kSha256Rounds[round] + words[round];
    const std::uint32_t sum0 = Rotate(a, 2) ^ Rotate(a, 13) ^ Rotate(a, 22);
    const std::uint32_t second = sum0 + ((a & b) ^ (a & c) ^ (b & c));
    h = g, g = f, f = e, e = d + first, d = c, c = b, b = a, a = first + second;
  }
  const Sha256State mixed = {a, b, c, d, e, f, g, h};
  for (std::size_t at = 0; at < state.size(); ++at) state[at] += mixed[at];
}

constexpr Sha256State Sha256(std::string_view text) {
  Sha256State state = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                       0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};
  const std::size_t size = (text.size() + 9 + 63) / 64 * 64;
  for (std::size_t block = 0; block < size; block += 64) {
    std::array<std::uint32_t, 64> words = {};
    for (std::size_t byte = 0; byte < 64; ++byte) {
      words[byte / 4] = words[byte / 4] << 8 | PaddedByte(text, size, block + byte);
    }
    for (std::size_t at = 16; at < 64; ++at) {
      const std::uint32_t near = words[at - 2];
      const std::uint32_t far = words[at - 15];
      words[at] = words[at - 16] + words[at - 7] + (Rotate(far, 7) ^ Rotate(far, 18) ^ (far >> 3)) +
                  (Rotate(near, 17) ^ Rotate(near, 19) ^ (near >> 10));
    }
    MixBlock(words, state);
  }
  return state;
}

}  // namespace detail

constexpr HashText Sha256Base64(std::string_view text) {
  constexpr std::string_view kDigits =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  const detail::Sha256State state = detail::Sha256(text);
  HashText out = {};
  for (std::size_t digit = 0; digit < 43; ++digit) {
    unsigned value = 0;
    for (std::size_t bit = digit * 6; bit < digit * 6 + 6; ++bit) {
      const bool is_set = bit < 256 && (state[bit / 32] >> (31 - bit % 32) & 1) != 0;
      value = value * 2 + (is_set ? 1 : 0);
    }
    out[digit] = kDigits[value];
  }
  out[43] = '=';
  return out;
}

}  // namespace kt::cli
