// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>
#include <vector>

#include "classlib/base/Kt_Codes.h"

// The forms of the scanners of Kt_ScriptUtil that the parser works with: they know how deep the
// text is nested already, and tell places in the text where the public ones give copies.
namespace kt::detail {

// A part of a text.
struct Span {
  kt_long start = 0;
  kt_long length = 0;
};

// `text[part]` without the blanks at both ends that Kt_WString::Trim removes.
Span TrimSpan(const char16_t* text, Span part);

// The pieces of SplitLine as places. Returns 0; -1 for a closing bracket too many; the code of a
// literal without end.
kt_long SplitSpans(const char16_t* text, kt_long len, std::vector<Span>& pieces);

// True when `word` is `text[0, len)` without regard to case. `word` is made of small letters:
// setting bit 5 of any other character never gives one of them.
inline bool IsKeyword(const char16_t* text, kt_long len, std::u16string_view word) {
  if (len != static_cast<kt_long>(word.size())) return false;
  for (std::size_t at = 0; at < word.size(); ++at) {
    if ((text[at] | 0x20) != word[at]) return false;
  }
  return true;
}

inline bool IsBlank(char16_t unit) {
  return unit == u' ' || unit == u'\t' || unit == u'\r' || unit == u'\n';
}

// As in Kt_ScriptUtil. `depth` is how many statements stand around the text.
kt_long FindBlock(const char16_t* text, kt_long len, kt_long& start, kt_long& length,
                  kt_long& error_pos, int depth);
kt_long FindCaseToken(const char16_t* text, kt_long len, kt_long& error_pos, int depth);

// Copies text without its comments; what goes is described at Kt_ScriptUtil::RemoveComment.
class CommentRemover {
 public:
  // For each unit written, where it came from; null: not asked for.
  std::vector<kt_long>* sources = nullptr;
  // Where the units stood that went with a comment before them and were no blanks; null: not
  // asked for.
  std::vector<kt_long>* dropped = nullptr;

  // `out` has room for `len` units and may be `text` itself. Returns the number written.
  kt_long Copy(const char16_t* text, kt_long len, char16_t* out);

 private:
  kt_long Step(const char16_t* text, kt_long len, kt_long at, char16_t* out);
  kt_long SkipBlockComment(const char16_t* text, kt_long len, kt_long at, char16_t* out);
  kt_long CopyLiteral(const char16_t* text, kt_long len, kt_long at, char16_t* out);
  void NoteDropped(const char16_t* text, kt_long len, kt_long at);
  void Write(char16_t unit, kt_long source, char16_t* out);

  kt_long written_ = 0;
  // Set once a search ran to the end of the text: every later one of its kind would, too, and a
  // text full of openings would take quadratic time.
  bool no_comment_end_ = false;
  bool no_single_quote_end_ = false;
  bool no_double_quote_end_ = false;
};

}  // namespace kt::detail
