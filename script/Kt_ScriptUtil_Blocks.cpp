// SPDX-License-Identifier: MIT
//
// Where statements end that control other statements. Braces are passed in one run whatever they
// hold; only statements without braces recurse, one level for each statement around them.
#include "classlib/base/Kt_NativeStack.h"
#include "expr/Kt_ExprUtil.h"
#include "script/Kt_ScriptUtil.h"
#include "script/detail/Kt_ScriptScan.h"

namespace {

using kt::detail::IsBlank;
using kt::detail::IsKeyword;

// Places in `text` are passed up relative to the caller's text: `base` is where `text` starts
// there.
kt_long FailAt(kt_long code, kt_long base, kt_long& error_pos) {
  error_pos += base;
  return code;
}

kt_long FindGroup(const char16_t* text, kt_long len, char16_t close, kt_long wrong_token,
                  kt_long& start, kt_long& length, kt_long& error_pos) {
  const kt_long open = Kt_ScriptUtil::FindNextToken(text, len, error_pos);
  if (open < 0) return open;
  const char16_t wanted = close == u')' ? u'(' : u'{';
  if (open >= len || text[open] != wanted) {
    error_pos = open;
    return open < len ? wrong_token : kSynBlockEnd;
  }
  const kt_long group = Kt_ScriptUtil::FindBraceEnd(text + open, len - open, close, error_pos);
  if (group < 0) return FailAt(group, open, error_pos);
  const kt_long inner = group - 2;
  const kt_long skipped = kt_findskipW(text + open + 1, inner);
  start = open + 1 + skipped;
  length = kt_findrskipW(text + start, inner - skipped);
  return open + group;
}

// A loop or a switch: a group in parentheses after the keyword, then one statement or block.
kt_long FindHeadAndBlock(const char16_t* text, kt_long len, kt_long keyword, kt_long& error_pos,
                         int depth) {
  kt_long start = 0;
  kt_long length = 0;
  const kt_long head =
      Kt_ScriptUtil::FindLineBlock(text + keyword, len - keyword, start, length, error_pos);
  if (head < 0) return FailAt(head, keyword, error_pos);
  const kt_long body = keyword + head;
  const kt_long end =
      kt::detail::FindBlock(text + body, len - body, start, length, error_pos, depth + 1);
  return end < 0 ? FailAt(end, body, error_pos) : body + end;
}

kt_long FindIf(const char16_t* text, kt_long len, kt_long& error_pos, int depth) {
  const kt_long then_end = FindHeadAndBlock(text, len, 2, error_pos, depth);
  if (then_end < 0 || then_end >= len) return then_end;
  const kt_long token = Kt_ScriptUtil::FindNextToken(text + then_end, len - then_end, error_pos);
  if (token < 0) return FailAt(token, then_end, error_pos);
  const kt_long word = then_end + token;
  const kt_long word_length = Kt_ExprUtil::FindWordEnd(text + word, len - word);
  if (!IsKeyword(text + word, word_length, u"else")) return then_end;
  kt_long start = 0;
  kt_long length = 0;
  const kt_long behind = word + word_length;
  const kt_long end =
      kt::detail::FindBlock(text + behind, len - behind, start, length, error_pos, depth + 1);
  return end < 0 ? FailAt(end, behind, error_pos) : behind + end;
}

// Statements that control others, and where one that starts with `text` ends.
struct Compound {
  std::u16string_view word;
  kt_long (*find)(const char16_t* text, kt_long len, kt_long& error_pos, int depth);
};

template <kt_long kKeyword>
kt_long FindLoop(const char16_t* text, kt_long len, kt_long& error_pos, int depth) {
  return FindHeadAndBlock(text, len, kKeyword, error_pos, depth);
}

constexpr Compound kCompounds[] = {
    {u"if", FindIf},
    {u"for", FindLoop<3>},
    {u"while", FindLoop<5>},
    {u"switch", FindLoop<6>},
};

kt_long FindStatement(const char16_t* text, kt_long len, kt_long& error_pos, int depth) {
  const kt_long word_length = Kt_ExprUtil::FindWordEnd(text, len);
  for (const Compound& compound : kCompounds) {
    if (IsKeyword(text, word_length, compound.word)) {
      return compound.find(text, len, error_pos, depth);
    }
  }
  return Kt_ScriptUtil::FindLineEnd(text, len, error_pos);
}

// True when `word` stands at the start of the text and a blank or `also` after it. In this case
// only: labels are found without regard to what the rest of a switch looks like.
bool StartsWith(const char16_t* text, kt_long len, std::u16string_view word, char16_t also) {
  const auto size = static_cast<kt_long>(word.size());
  if (len <= size || std::u16string_view(text, word.size()) != word) return false;
  return IsBlank(text[size]) || (also != 0 && text[size] == also);
}

bool IsLabel(const char16_t* text, kt_long len) {
  return StartsWith(text, len, u"case", 0) || StartsWith(text, len, u"default", u':');
}

// Past what stands between two labels: a literal, a block, or a statement.
kt_long SkipInSwitch(const char16_t* text, kt_long len, kt_long& error_pos, int depth) {
  const char16_t first = text[0];
  if (first == u'"' || first == u'\'') {
    const kt_long length = Kt_ExprUtil::FindQuotEnd(text, len, first);
    if (length < 0) error_pos = 0;
    return length;
  }
  if (first == u'{') return Kt_ScriptUtil::FindBraceEnd(text, len, u'}', error_pos);
  for (const Compound& compound : kCompounds) {
    if (StartsWith(text, len, compound.word, u'(')) {
      return compound.find(text, len, error_pos, depth);
    }
  }
  return Kt_ScriptUtil::FindLineEnd(text, len, error_pos);
}

}  // namespace

namespace kt::detail {

kt_long FindBlock(const char16_t* text, kt_long len, kt_long& start, kt_long& length,
                  kt_long& error_pos, int depth) {
  if (depth > kMaxBlockDepth || !kt_hasstack()) {
    error_pos = 0;
    return kSynTooDeep;
  }
  const kt_long token = Kt_ScriptUtil::FindNextToken(text, len, error_pos);
  if (token < 0) return token;
  if (token >= len) {
    error_pos = token;
    return kSynBlockEnd;
  }
  const char16_t* const statement = text + token;
  kt_long end;
  if (*statement == u'{') {
    end = Kt_ScriptUtil::FindBraceBlock(statement, len - token, start, length, error_pos);
    if (end >= 0) start += token;
  } else {
    end = FindStatement(statement, len - token, error_pos, depth);
    start = token;
    length = end;
  }
  return end < 0 ? FailAt(end, token, error_pos) : token + end;
}

kt_long FindCaseToken(const char16_t* text, kt_long len, kt_long& error_pos, int depth) {
  for (kt_long at = 0;;) {
    const kt_long token = Kt_ScriptUtil::FindNextToken(text + at, len - at, error_pos);
    if (token < 0) return FailAt(token, at, error_pos);
    at += token;
    if (at >= len) return len;
    if (IsLabel(text + at, len - at)) return at;
    const kt_long skipped = SkipInSwitch(text + at, len - at, error_pos, depth);
    if (skipped < 0) return FailAt(skipped, at, error_pos);
    at += skipped;
  }
}

}  // namespace kt::detail

namespace Kt_ScriptUtil {

kt_long FindLineBlock(const char16_t* text, kt_long len, kt_long& start, kt_long& length,
                      kt_long& error_pos) {
  return FindGroup(text, len, u')', kSynParenStart, start, length, error_pos);
}

kt_long FindBraceBlock(const char16_t* text, kt_long len, kt_long& start, kt_long& length,
                       kt_long& error_pos) {
  return FindGroup(text, len, u'}', kSynBlockStart, start, length, error_pos);
}

kt_long FindBlock(const char16_t* text, kt_long len, kt_long& start, kt_long& length,
                  kt_long& error_pos) {
  return kt::detail::FindBlock(text, len, start, length, error_pos, 0);
}

kt_long FindIfBlock(const char16_t* text, kt_long len, kt_long& error_pos) {
  return FindIf(text, len, error_pos, 0);
}

kt_long FindForBlock(const char16_t* text, kt_long len, kt_long& error_pos) {
  return FindLoop<3>(text, len, error_pos, 0);
}

kt_long FindWhileBlock(const char16_t* text, kt_long len, kt_long& error_pos) {
  return FindLoop<5>(text, len, error_pos, 0);
}

kt_long FindSwitchBlock(const char16_t* text, kt_long len, kt_long& error_pos) {
  return FindLoop<6>(text, len, error_pos, 0);
}

kt_long FindCaseToken(const char16_t* text, kt_long len, kt_long& error_pos) {
  return kt::detail::FindCaseToken(text, len, error_pos, 0);
}

}  // namespace Kt_ScriptUtil
