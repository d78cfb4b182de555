// SPDX-License-Identifier: MIT
#include "script/Kt_ScriptUtil.h"

#include "expr/Kt_ExprUtil.h"
#include "script/detail/Kt_ScriptScan.h"

namespace {

// Just past the line break at `at`; REQUIRES: there is one.
kt_long PassBreak(const char16_t* text, kt_long len, kt_long at) {
  const bool pair = text[at] == u'\r' && at + 1 < len && text[at + 1] == u'\n';
  return at + (pair ? 2 : 1);
}

// FindCRLF that stays inside the text: a piece of a script need not end with a zero unit.
kt_long SkipLineComment(const char16_t* text, kt_long len, kt_long at) {
  for (; at < len && text[at] != 0; ++at) {
    if (text[at] == u'\r' || text[at] == u'\n') return PassBreak(text, len, at);
  }
  return len;
}

// Past the literal or comment that starts at `at`, or past the one unit; a negative code when it
// has no end.
kt_long PassUnit(const char16_t* text, kt_long len, kt_long at) {
  const char16_t unit = text[at];
  if (unit == u'"' || unit == u'\'') {
    const kt_long length = Kt_ExprUtil::FindQuotEnd(text + at, len - at, unit);
    return length < 0 ? length : at + length;
  }
  if (unit != u'/' || at + 1 >= len) return at + 1;
  if (text[at + 1] == u'/') return SkipLineComment(text, len, at);
  if (text[at + 1] != u'*') return at + 1;
  const kt_long length = Kt_ScriptUtil::FindCommentEnd(text + at, len - at);
  return length < 0 ? length : at + length;
}

// Quotes, the slash, the zero unit and most operators stand at or below the slash, so one
// comparison passes the letters of a script.
bool NeedsNoLook(char16_t unit) { return unit > u'/'; }

// Position of the first `wanted` outside literals and comments; -1 if none.
kt_long FindTopLevel(const char16_t* text, kt_long len, char16_t wanted, kt_long& error_pos) {
  kt_long at = 0;
  while (at < len && text[at] != 0) {
    if (text[at] == wanted) return at;
    if (NeedsNoLook(text[at])) {
      ++at;
      continue;
    }
    const kt_long next = PassUnit(text, len, at);
    if (next < 0) {
      error_pos = at;
      return next;
    }
    at = next;
  }
  error_pos = len;
  return -1;
}

kt_long NoBraceEnd(char16_t close) {
  if (close == u')') return kSynParenEnd;
  return close == u']' ? kSynBracketEnd : kSynBraceEnd;
}

// Walks text outside literals and keeps the depth of ( and [ together. Calls at_top(position) for
// every unit at depth 0 that is no bracket; stops when it gives false.
// Returns where it stopped; -1 with `fault_at` at a closing bracket too many; the code of a literal
// without end.
template <class AtTop>
kt_long WalkTop(const char16_t* text, kt_long len, kt_long& depth, kt_long& fault_at,
                AtTop at_top) {
  kt_long at = 0;
  while (at < len && text[at] != 0) {
    const char16_t unit = text[at];
    if (unit == u'"' || unit == u'\'') {
      const kt_long length = Kt_ExprUtil::FindQuotEnd(text + at, len - at, unit);
      if (length < 0) return length;
      at += length;
      continue;
    }
    if (unit == u'(' || unit == u'[') {
      ++depth;
    } else if (unit == u')' || unit == u']') {
      if (depth == 0) {
        fault_at = at;
        return -1;
      }
      --depth;
    } else if (depth == 0 && !at_top(at)) {
      return at;
    }
    ++at;
  }
  return at;
}

}  // namespace

namespace kt::detail {

Span TrimSpan(const char16_t* text, Span part) {
  const kt_long skipped = kt_findskipW(text + part.start, part.length);
  part.start += skipped;
  part.length = kt_findrskipW(text + part.start, part.length - skipped);
  if (part.length == 0) return part;
  const char16_t* const first = text + part.start;
  if (first[0] < 0x80 && first[part.length - 1] < 0x80 && first[0] > u' ' &&
      first[part.length - 1] > u' ') {
    return part;
  }
  // Rare blanks at an end: only the string class knows them all.
  Kt_WString trimmed(first, part.length);
  trimmed.LTrim();
  part.start += part.length - trimmed.GetLength();
  trimmed.RTrim();
  part.length = trimmed.GetLength();
  return part;
}

kt_long SplitSpans(const char16_t* text, kt_long len, std::vector<Span>& pieces) {
  kt_long depth = 0;
  kt_long start = 0;
  kt_long fault_at = 0;
  const kt_long end = WalkTop(text, len, depth, fault_at, [&](kt_long at) {
    if (text[at] == u',') {
      pieces.push_back(TrimSpan(text, {start, at - start}));
      start = at + 1;
    }
    return true;
  });
  if (end < 0) return end;
  if (start < end) pieces.push_back(TrimSpan(text, {start, end - start}));
  return 0;
}

}  // namespace kt::detail

namespace Kt_ScriptUtil {

kt_long CountCRLF(const char16_t* text, kt_long len) {
  kt_long count = 0;
  for (kt_long at = 0; at < len && text[at] != 0;) {
    if (text[at] != u'\r' && text[at] != u'\n') {
      ++at;
      continue;
    }
    at = PassBreak(text, len, at);
    ++count;
  }
  return count;
}

kt_long FindCRLF(const char16_t* text, kt_long len) {
  for (kt_long at = 0; text[at] != 0; ++at) {
    if (text[at] == u'\r') return at + (text[at + 1] == u'\n' ? 2 : 1);
    if (text[at] == u'\n') return at + 1;
  }
  return len;
}

kt_long FindCommentEnd(const char16_t* text, kt_long len) {
  if (len < 3) return kSynCommentEnd;
  for (kt_long at = 2; at + 1 < len && text[at] != 0; ++at) {
    if (text[at] == u'*' && text[at + 1] == u'/') return at + 2;
  }
  return kSynCommentEnd;
}

kt_long FindBraceEnd(const char16_t* text, kt_long len, char16_t close, kt_long& error_pos) {
  const char16_t open = len > 0 ? text[0] : u'\0';
  kt_long depth = 0;
  kt_long at = 1;
  while (at < len && text[at] != 0) {
    const char16_t unit = text[at];
    if (unit == close) {
      if (depth-- == 0) return at + 1;
      ++at;
    } else if (unit == open) {
      // A body that no parser would go down into need not be read to its end.
      if (++depth > kMaxBlockDepth && open == u'{') {
        error_pos = at;
        return kSynTooDeep;
      }
      ++at;
    } else if (NeedsNoLook(unit)) {
      ++at;
    } else {
      const kt_long next = PassUnit(text, len, at);
      if (next < 0) {
        error_pos = next == kSynCommentEnd ? error_pos + at : at;
        return next;
      }
      at = next;
    }
  }
  error_pos = len;
  return NoBraceEnd(close);
}

kt_long FindNextToken(const char16_t* text, kt_long len, kt_long& error_pos) {
  kt_long at = 0;
  while (at < len) {
    at += kt_findskipW(text + at, len - at);
    if (at >= len || text[at] == 0) return len;
    const bool comment =
        text[at] == u'/' && at + 1 < len && (text[at + 1] == u'*' || text[at + 1] == u'/');
    if (!comment) return at;
    const kt_long next = PassUnit(text, len, at);
    if (next < 0) {
      error_pos = at;
      return next;
    }
    at = next;
  }
  return len;
}

kt_long FindSetOP(const char16_t* text, kt_long len) {
  kt_long depth = 0;
  kt_long fault_at = 0;
  const kt_long at =
      WalkTop(text, len, depth, fault_at, [text](kt_long unit) { return text[unit] != u'='; });
  if (at == -1) return text[fault_at] == u']' ? kSynBracketStart : kSynParenStart;
  if (at < 0) return at;
  if (at < len && text[at] == u'=') return at;
  // The text ends here, so that the unit after it is never a bracket.
  return depth == 0 ? 0 : kSynParenStart;
}

kt_long SplitLine(const char16_t* text, kt_long len, Kt_WStrList& out) {
  std::vector<kt::detail::Span> pieces;
  const kt_long code = kt::detail::SplitSpans(text, len, pieces);
  for (const kt::detail::Span& piece : pieces) {
    out.Add(Kt_WString(text + piece.start, piece.length));
  }
  return code < 0 ? code : out.GetCount();
}

kt_long FindLineEnd(const char16_t* text, kt_long len, kt_long& error_pos) {
  const kt_long at = FindTopLevel(text, len, u';', error_pos);
  return at < 0 ? at : at + 1;
}

kt_long FindColonEnd(const char16_t* text, kt_long len, kt_long& error_pos) {
  return FindTopLevel(text, len, u':', error_pos);
}

}  // namespace Kt_ScriptUtil
