// SPDX-License-Identifier: MIT
#include "cli/lsp/Kt_SourceText.h"

#include <algorithm>
#include <string>
#include <utility>

#include "classlib/base/Kt_Types.h"

namespace kt::cli::lsp {

SourceText::SourceText(Kt_WString text) : text_(std::move(text)) { FindLines(); }

void SourceText::FindLines() {
  const std::u16string_view text = View();
  line_starts_.assign(1, 0);
  for (std::size_t at = text.find_first_of(u"\r\n"); at != text.npos;
       at = text.find_first_of(u"\r\n", at)) {
    at += text.substr(at, 2) == u"\r\n" ? 2 : 1;
    line_starts_.push_back(static_cast<kt_long>(at));
  }
}

kt_long SourceText::LineOf(kt_long offset) const {
  const auto behind = std::upper_bound(line_starts_.begin(), line_starts_.end(), offset);
  return static_cast<kt_long>(behind - line_starts_.begin()) - 1;
}

Range SourceText::LineRange(kt_long line) const {
  const kt_long start = line_starts_[static_cast<std::size_t>(line)];
  const std::size_t end =
      std::min(View().find_first_of(u"\r\n", static_cast<std::size_t>(start)), View().size());
  return {start, static_cast<kt_long>(end)};
}

Position SourceText::PositionOf(kt_long offset) const {
  const kt_long at = std::clamp(offset, kt_long{0}, Size());
  const kt_long line = LineOf(at);
  return {line, at - line_starts_[static_cast<std::size_t>(line)]};
}

kt_long SourceText::OffsetOf(Position position) const {
  if (position.line < 0) return 0;
  if (position.line >= LineCount()) return Size();
  const Range line = LineRange(position.line);
  return line.start + std::clamp(position.character, kt_long{0}, line.end - line.start);
}

bool SourceText::Replace(Range range, std::u16string_view by) {
  const std::u16string_view before = View().substr(0, static_cast<std::size_t>(range.start));
  const std::u16string_view behind = View().substr(static_cast<std::size_t>(range.end));
  if (before.size() + by.size() + behind.size() > std::size_t{kMaxStringLength}) return false;
  std::u16string text;
  text.reserve(before.size() + by.size() + behind.size());
  text.append(before).append(by).append(behind);
  text_ = Kt_WString(text);
  FindLines();
  return true;
}

}  // namespace kt::cli::lsp
