// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace kt::detail {

// Copies ASCII bytes to as many units, by eights. False, and anything copied, when there are
// others.
inline bool WidenAscii(std::string_view text, char16_t* out) {
  constexpr std::size_t kBytes = 8;
  std::uint64_t all = 0;
  std::size_t at = 0;
  const auto widen = [&](std::size_t first) {
    for (std::size_t byte = first; byte < first + kBytes; ++byte) {
      out[byte] = static_cast<unsigned char>(text[byte]);
    }
    std::uint64_t word;
    std::memcpy(&word, text.data() + first, kBytes);
    all |= word;
  };
  for (; at + kBytes <= text.size(); at += kBytes) widen(at);
  if (at > 0 && at < text.size()) {
    widen(text.size() - kBytes);
  } else {
    for (; at < text.size(); ++at) {
      out[at] = static_cast<unsigned char>(text[at]);
      all |= out[at];
    }
  }
  return (all & 0x8080808080808080u) == 0;
}

}  // namespace kt::detail
