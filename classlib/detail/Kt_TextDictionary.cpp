// SPDX-License-Identifier: MIT
#include "classlib/detail/Kt_TextDictionary.h"

#include <algorithm>
#include <cstring>
#include <numeric>

namespace kt::detail {

namespace {

// A search longer than this means texts made to collide; the hash is given up then, so that no
// input makes loading quadratic.
constexpr std::size_t kMaxProbes = 256;

std::uint64_t Mixed(std::uint64_t hash, std::uint64_t word) {
  hash = (hash ^ word) * 0x9E3779B97F4A7C15u;
  return hash ^ (hash >> 29);
}

std::size_t HashOf(std::u16string_view text) {
  std::uint64_t hash = text.size();
  std::size_t at = 0;
  for (; at + 4 <= text.size(); at += 4) {
    std::uint64_t word;
    std::memcpy(&word, text.data() + at, sizeof word);
    hash = Mixed(hash, word);
  }
  std::uint64_t rest = 0;
  for (; at < text.size(); ++at) rest = rest << 16 | text[at];
  return static_cast<std::size_t>(Mixed(hash, rest));
}

}  // namespace

std::optional<std::uint32_t> TextDictionary::Find(std::u16string_view text) const {
  if (text.empty()) return 0;
  if (table_.empty()) return std::nullopt;
  const std::size_t mask = table_.size() - 1;
  for (std::size_t at = HashOf(text) & mask; table_[at] != 0; at = (at + 1) & mask) {
    if (texts_[table_[at]].View() == text) return table_[at];
  }
  return std::nullopt;
}

void TextDictionary::DropHash() {
  unique_ = false;
  CountedVector<std::uint32_t>().swap(table_);
}

// At least half of the places stay free, so that every search ends.
CountedVector<std::uint32_t> TextDictionary::TableOf(const CountedVector<Kt_WString>& texts) {
  std::size_t size = 64;
  while (size < texts.size() * 2) size *= 2;
  CountedVector<std::uint32_t> table(size);
  const std::size_t mask = size - 1;
  for (std::uint32_t code = 1; code < texts.size(); ++code) {
    std::size_t at = HashOf(texts[code].View()) & mask;
    while (table[at] != 0) at = (at + 1) & mask;
    table[at] = code;
  }
  return table;
}

template <class Source>
std::uint32_t TextDictionary::AddText(const Source& text, std::u16string_view view,
                                      std::size_t row_count) {
  if (view.empty()) return 0;
  const auto next = static_cast<std::uint32_t>(texts_.size());
  if (unique_) {
    if (texts_.size() > kMinTexts && texts_.size() > row_count / 2) DropHash();
  }
  if (!unique_) {
    texts_.emplace_back(text);
    return next;
  }
  if (texts_.size() * 2 > table_.size()) table_ = TableOf(texts_);
  const std::size_t mask = table_.size() - 1;
  std::size_t at = HashOf(view) & mask;
  std::size_t probes = 0;
  for (; table_[at] != 0; at = (at + 1) & mask) {
    if (texts_[table_[at]].View() == view) return table_[at];
    ++probes;
  }
  texts_.emplace_back(text);
  table_[at] = next;
  if (probes > kMaxProbes) DropHash();
  return next;
}

std::uint32_t TextDictionary::Add(std::u16string_view text, std::size_t row_count) {
  return AddText(text, text, row_count);
}

std::uint32_t TextDictionary::Add(const Kt_WString& text, std::size_t row_count) {
  return AddText(text, text.View(), row_count);
}

// Everything that may run out of memory comes before the first change.
void TextDictionary::Compact(CountedVector<std::uint32_t>& codes) {
  CountedVector<std::uint32_t> renumbered(texts_.size(), 0);
  CountedVector<Kt_WString> kept(1);
  for (const std::uint32_t code : codes) {
    if (code == 0 || renumbered[code] != 0) continue;
    renumbered[code] = static_cast<std::uint32_t>(kept.size());
    kept.push_back(texts_[code]);
  }
  if (unique_) table_ = TableOf(kept);
  texts_.swap(kept);
  for (std::uint32_t& code : codes) code = renumbered[code];
}

CountedVector<std::uint32_t> TextDictionary::Ranks() const {
  CountedVector<std::uint32_t> order(texts_.size());
  std::iota(order.begin(), order.end(), 0u);
  std::sort(order.begin(), order.end(), [this](std::uint32_t a, std::uint32_t b) {
    return texts_[a].View() < texts_[b].View();
  });
  CountedVector<std::uint32_t> ranks(texts_.size());
  std::uint32_t rank = 0;
  for (std::size_t at = 0; at < order.size(); ++at) {
    if (at > 0 && texts_[order[at]].View() != texts_[order[at - 1]].View()) ++rank;
    ranks[order[at]] = rank;
  }
  return ranks;
}

}  // namespace kt::detail
