// SPDX-License-Identifier: MIT
#include "cli/repl/Kt_InputScan.h"

#include <algorithm>
#include <initializer_list>

#include "classlib/text/Kt_WString.h"

namespace {

bool IsNameUnit(char16_t unit) {
  return (unit >= u'0' && unit <= u'9') || (unit >= u'a' && unit <= u'z') ||
         (unit >= u'A' && unit <= u'Z') || unit == u'_' || unit >= 0x80;
}

bool IsOneOf(std::u16string_view word, std::initializer_list<const char16_t*> words) {
  return std::any_of(words.begin(), words.end(),
                     [word](const char16_t* other) { return kt_stricmpW(word, other) == 0; });
}

}  // namespace

void Kt_CliInputScan::Feed(std::u16string_view line) {
  while (!line.empty()) {
    std::size_t passed;
    if (quote_ != 0) {
      passed = PassText(line);
    } else if (in_comment_) {
      passed = PassComment(line);
    } else if (line.starts_with(u"//")) {
      return;
    } else {
      passed = PassUnit(line);
    }
    line.remove_prefix(std::min(passed, line.size()));
  }
}

// A backslash protects the unit after it; one at the end of a line protects the line end.
std::size_t Kt_CliInputScan::PassText(std::u16string_view rest) {
  if (rest[0] == u'\\') return 2;
  if (rest[0] == quote_) quote_ = 0;
  return 1;
}

std::size_t Kt_CliInputScan::PassComment(std::u16string_view rest) {
  const std::size_t end = rest.find(u"*/");
  if (end == std::u16string_view::npos) return rest.size();
  in_comment_ = false;
  return end + 2;
}

std::size_t Kt_CliInputScan::PassUnit(std::u16string_view rest) {
  if (rest.starts_with(u"/*")) {
    in_comment_ = true;
    return 2;
  }
  if (IsNameUnit(rest[0])) return PassWord(rest);
  if (rest[0] == u' ' || rest[0] == u'\t') return 1;
  if (rest[0] == u'"' || rest[0] == u'\'') quote_ = rest[0];
  OnBracket(rest[0]);
  return 1;
}

std::size_t Kt_CliInputScan::PassWord(std::u16string_view rest) {
  const auto end = std::find_if_not(rest.begin(), rest.end(), IsNameUnit);
  const std::u16string_view word(rest.data(), static_cast<std::size_t>(end - rest.begin()));
  if (depth_ > 0) return word.size();
  if (wanted_ == Wanted::kName || IsOneOf(word, {u"if", u"for", u"while", u"switch"})) {
    wanted_ = Wanted::kHead;
  } else if (IsOneOf(word, {u"function"})) {
    wanted_ = Wanted::kName;
  } else {
    wanted_ = IsOneOf(word, {u"else"}) ? Wanted::kBody : Wanted::kNone;
  }
  return word.size();
}

void Kt_CliInputScan::OnBracket(char16_t unit) {
  const bool opens = unit == u'(' || unit == u'[' || unit == u'{';
  const bool closes = unit == u')' || unit == u']' || unit == u'}';
  if (closes && depth_ > 0) --depth_;
  if (depth_ == 0) {
    const bool has_head = wanted_ == Wanted::kHead && (unit == u'(' || unit == u')');
    if (!has_head) wanted_ = Wanted::kNone;
    if (has_head && closes) wanted_ = Wanted::kBody;
  }
  if (opens) ++depth_;
}
