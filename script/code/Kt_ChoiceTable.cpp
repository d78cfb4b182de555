// SPDX-License-Identifier: MIT
#include "script/code/Kt_ChoiceTable.h"

#include <bit>
#include <cstring>
#include <utility>

#include "classlib/base/Kt_Charge.h"

namespace kt::detail {

namespace {

bool IsSame(const Kt_Variant& left, const Kt_Variant& right) {
  if (left.IsLong()) return left.AsLong() == right.AsLong();
  const std::u16string_view a = left.AsStringView();
  const std::u16string_view b = right.AsStringView();
  return a.data() == b.data() || IsSameText(a, b);
}

}  // namespace

// Texts by their length, first and last four units, which tells most labels apart.
std::uint32_t ChoiceTable::HashOf(const Kt_Variant& value) {
  constexpr std::uint64_t kSpread = 0x9E3779B97F4A7C15;
  constexpr std::size_t kUnits = 4;
  std::uint64_t first = 0;
  std::uint64_t last = 0;
  if (value.IsLong()) {
    first = static_cast<std::uint32_t>(value.AsLong());
  } else {
    const std::u16string_view text = value.AsStringView();
    if (text.size() >= kUnits) {
      std::memcpy(&first, text.data(), sizeof first);
      std::memcpy(&last, text.data() + text.size() - kUnits, sizeof last);
    } else {
      for (const char16_t unit : text) first = first << 16 | unit;
    }
    last += text.size();
  }
  return static_cast<std::uint32_t>(((first * kSpread ^ last) * kSpread) >> 32);
}

ChoiceTable::ChoiceTable(std::vector<Label> labels, std::int32_t none)
    : tag_(labels.front().value.GetTag()), labels_(std::move(labels)), none_(none) {
  slots_.resize(std::bit_ceil(labels_.size() * 2));
  const std::size_t mask = slots_.size() - 1;
  for (std::size_t at = 0; at < labels_.size(); ++at) {
    std::size_t slot = HashOf(labels_[at].value) & mask;
    while (slots_[slot] != 0 && !IsSame(labels_[slots_[slot] - 1].value, labels_[at].value)) {
      slot = (slot + 1) & mask;
    }
    if (slots_[slot] == 0) slots_[slot] = static_cast<std::uint16_t>(at + 1);
  }
  const bool has_texts = tag_ == kTagString;
  places_.resize(has_texts ? slots_.size() * 2 : 1);
  for (std::size_t at = 0; has_texts && at < labels_.size(); ++at) {
    const Label& label = labels_[at];
    const char16_t* const text = label.value.AsStringView().data();
    Place& place = places_[PlaceOf(text) & (places_.size() - 1)];
    if (place.text == kNoText) place = {text, at, label.target};
  }
}

std::int32_t ChoiceTable::FindEqual(const Kt_Variant& value) const {
  if (value.GetTag() != tag_) return kAsk;
  if (!Takes(value)) return none_;  // a text that is longer than all labels
  const std::size_t mask = slots_.size() - 1;
  for (std::size_t slot = HashOf(value) & mask; slots_[slot] != 0; slot = (slot + 1) & mask) {
    const Label& label = labels_[slots_[slot] - 1];
    if (IsSame(label.value, value)) return label.target;
  }
  return none_;
}

}  // namespace kt::detail
