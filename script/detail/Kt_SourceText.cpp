// SPDX-License-Identifier: MIT
#include "script/detail/Kt_SourceText.h"

#include <algorithm>

#include "script/detail/Kt_ScriptScan.h"

namespace kt::detail {

LineTable::LineTable(std::u16string_view text, kt_long base) : text_(text), base_(base) {
  starts_.push_back(0);
  const std::size_t size = text.size();
  for (std::size_t at = 0; at < size; ++at) {
    const char16_t unit = text[at];
    if (KT_LIKELY(unit > u'\r' || (unit != u'\r' && unit != u'\n'))) continue;
    if (unit == u'\r' && at + 1 < size && text[at + 1] == u'\n') ++at;
    starts_.push_back(static_cast<kt_long>(at + 1));
  }
}

std::size_t LineTable::IndexOf(kt_long offset) const {
  // Parsing goes through the text from front to back, a few lines at a time.
  constexpr int kNear = 8;
  std::size_t line = last_;
  if (starts_[line] <= offset) {
    for (int steps = 0; steps < kNear; ++steps, ++line) {
      if (line + 1 == starts_.size() || starts_[line + 1] > offset) return last_ = line;
    }
  }
  const auto behind = std::upper_bound(starts_.begin() + 1, starts_.end(), offset);
  return last_ = static_cast<std::size_t>(behind - starts_.begin() - 1);
}

kt_long LineTable::LineOf(kt_long offset) const {
  return base_ + static_cast<kt_long>(IndexOf(offset));
}

kt_long LineTable::LineEnd(kt_long offset) const {
  const std::size_t line = IndexOf(offset);
  if (line + 1 == starts_.size()) return static_cast<kt_long>(text_.size());
  const kt_long next = starts_[line + 1];
  const auto last = static_cast<std::size_t>(next - 1);
  const bool has_two = next - starts_[line] > 1 && text_[last] == u'\n' && text_[last - 1] == u'\r';
  return next - (has_two ? 2 : 1);
}

Slice Slice::Trimmed() const {
  const Span span = TrimSpan(text, {0, length});
  return Part(span.start, span.length);
}

kt_long Slice::SourceOf(kt_long at) const {
  if (sources == nullptr) return offset + at;
  if (at < length) return sources[at];
  return length > 0 ? sources[length - 1] + 1 : offset;
}

}  // namespace kt::detail
