// SPDX-License-Identifier: MIT
#include "expr/Kt_ExprUtil.h"
#include "script/Kt_ScriptUtil.h"
#include "script/detail/Kt_ScriptScan.h"

namespace kt::detail {

void CommentRemover::Write(char16_t unit, kt_long source, char16_t* out) {
  out[written_++] = unit;
  if (sources != nullptr) sources->push_back(source);
}

void CommentRemover::NoteDropped(const char16_t* text, kt_long len, kt_long at) {
  if (dropped == nullptr || at >= len || text[at] == 0) return;
  if (kt_findskipW(text + at, 1) == 0) dropped->push_back(at);
}

// One unit past the end of the comment: scripts rely on a comment taking what follows it along.
kt_long CommentRemover::SkipBlockComment(const char16_t* text, kt_long len, kt_long at,
                                         char16_t* out) {
  const kt_long length =
      no_comment_end_ ? kSynCommentEnd : Kt_ScriptUtil::FindCommentEnd(text + at, len - at);
  if (length < 0) {
    no_comment_end_ = true;
    return at + 1;
  }
  Write(u' ', at, out);
  NoteDropped(text, len, at + length);
  return at + length + 1;
}

kt_long CommentRemover::CopyLiteral(const char16_t* text, kt_long len, kt_long at, char16_t* out) {
  const char16_t quote = text[at];
  bool& no_end = quote == u'"' ? no_double_quote_end_ : no_single_quote_end_;
  kt_long length = no_end ? -1 : Kt_ExprUtil::FindQuotEnd(text + at, len - at, quote);
  if (length < 0) {
    no_end = true;
    length = 1;
  }
  for (const kt_long end = at + length; at < end; ++at) Write(text[at], at, out);
  return at;
}

kt_long CommentRemover::Step(const char16_t* text, kt_long len, kt_long at, char16_t* out) {
  const char16_t unit = text[at];
  if (unit == u'"' || unit == u'\'') return CopyLiteral(text, len, at, out);
  if (unit == u'/' && at + 1 < len) {
    if (text[at + 1] == u'*') return SkipBlockComment(text, len, at, out);
    if (text[at + 1] == u'/') {
      while (at < len && text[at] != 0 && text[at] != u'\r' && text[at] != u'\n') ++at;
      if (at + 1 < len && text[at] == u'\r' && text[at + 1] == u'\n') ++at;
      NoteDropped(text, len, at + 1);
      return at + 2;
    }
  }
  Write(unit, at, out);
  return at + 1;
}

kt_long CommentRemover::Copy(const char16_t* text, kt_long len, char16_t* out) {
  for (kt_long at = 0; at < len && text[at] != 0;) at = Step(text, len, at, out);
  return written_;
}

}  // namespace kt::detail

void Kt_ScriptUtil::RemoveComment(Kt_WString& text) {
  const kt_long length = text.GetLength();
  if (length == 0) return;
  // Taking the buffer for writing keeps its content only when the text is copied first.
  Kt_WString out;
  char16_t* const units = out.GetBuffer(length);
  if (units == nullptr) return;
  kt::detail::CommentRemover remover;
  const kt_long written = remover.Copy(text.GetText(), length, units);
  text = written == length ? out : out.Mid(0, written);
  text.FreeExtra();
}
