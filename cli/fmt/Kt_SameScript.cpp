// SPDX-License-Identifier: MIT
#include <string>
#include <string_view>
#include <vector>

#include "classlib/base/Kt_NativeStack.h"
#include "cli/fmt/Kt_ExprPieces.h"
#include "cli/fmt/Kt_Format.h"
#include "cli/fmt/Kt_StatementPieces.h"
#include "expr/Kt_ExprUtil.h"
#include "script/Kt_Script.h"
#include "script/Kt_ScriptOpItem.h"
#include "script/Kt_ScriptOpPayloads.h"
#include "script/Kt_ScriptUtil.h"

namespace kt::cli {
namespace {

bool SameOps(const Kt_ScriptOpList& a, const Kt_ScriptOpList& b);

bool SameItems(const Kt_ScriptOpItemList& a, const Kt_ScriptOpItemList& b) {
  if (a.GetCount() != b.GetCount()) return false;
  for (kt_long at = 0; at < a.GetCount(); ++at) {
    if (a[at].flag != b[at].flag || !SameExpr(a[at].expression, b[at].expression) ||
        !SameOps(a[at].body, b[at].body)) {
      return false;
    }
  }
  return true;
}

bool SameFor(const Kt_ScriptOpFor& a, const Kt_ScriptOpFor& b) {
  return SameOps(a.init, b.init) && SameExpr(a.condition, b.condition) && SameOps(a.step, b.step) &&
         SameOps(a.body, b.body);
}

bool SameOp(const Kt_ScriptOp& a, const Kt_ScriptOp& b) {
  if (a.opcode != b.opcode || a.HasPayload() != b.HasPayload()) return false;
  if (a.HasName()) {
    return a.GetVar()->name == b.GetVar()->name &&
           SameExpr(a.GetVar()->expression, b.GetVar()->expression);
  }
  if (!a.HasPayload()) return true;
  switch (a.opcode) {
    case kScriptBlock: return SameOps(*a.GetBlock(), *b.GetBlock());
    case kScriptFor: return SameFor(*a.GetFor(), *b.GetFor());
    case kScriptWhile:
      return SameExpr(a.GetWhile()->condition, b.GetWhile()->condition) &&
             SameOps(a.GetWhile()->body, b.GetWhile()->body);
    case kScriptIf: return SameItems(a.GetIf()->items, b.GetIf()->items);
    case kScriptSwitch:
      return SameExpr(a.GetSwitch()->expression, b.GetSwitch()->expression) &&
             SameItems(a.GetSwitch()->items, b.GetSwitch()->items);
    default:
      return SameExpr(a.GetSet()->target, b.GetSet()->target) &&
             SameExpr(a.GetSet()->value, b.GetSet()->value);
  }
}

bool SameOps(const Kt_ScriptOpList& a, const Kt_ScriptOpList& b) {
  if (a.GetCount() != b.GetCount() || !kt_hasstack()) return false;
  for (kt_long at = 0; at < a.GetCount(); ++at) {
    if (!SameOp(a[at], b[at])) return false;
  }
  return true;
}

bool SameFuncs(const Kt_Script& a, const Kt_Script& b) {
  const Kt_ScriptFuncList& left = a.GetFuncs();
  const Kt_ScriptFuncList& right = b.GetFuncs();
  if (left.GetCount() != right.GetCount()) return false;
  for (kt_long at = 0; at < left.GetCount(); ++at) {
    const Kt_ScriptFunc& x = *left.GetItem(at);
    const Kt_ScriptFunc& y = *right.GetItem(at);
    if (x.GetName() != y.GetName() || !SameOps(x.GetArgs(), y.GetArgs()) ||
        !SameOps(x.GetBody(), y.GetBody())) {
      return false;
    }
  }
  return true;
}

// The tokens of a declaration, or all of it from where the tokens end.
std::u16string TokensOf(Kt_WString declaration) {
  Kt_ScriptUtil::RemoveComment(declaration);
  declaration.Trim();
  const std::u16string_view text = declaration.View();
  std::u16string tokens;
  for (std::size_t at = 0; at < text.size();) {
    int start = 0;
    int size = 0;
    const int next = Kt_ExprUtil::FindToken(text.data() + at,
                                            static_cast<kt_long>(text.size() - at), start, size);
    if (next < 1) return tokens.append(text.substr(at));
    tokens.append(
        text.substr(at + static_cast<std::size_t>(start), static_cast<std::size_t>(size)));
    tokens += u'\n';
    at += static_cast<std::size_t>(next);
  }
  return tokens;
}

// What a script has outside of functions. It has been parsed without a fault.
std::u16string GlobalsOf(const Kt_WString& text) {
  std::u16string globals;
  const kt_long size = text.GetLength();
  for (kt_long at = 0; at < size;) {
    kt_long ignored = 0;
    at += Kt_ScriptUtil::FindNextToken(text.GetText() + at, size - at, ignored);
    if (at >= size) break;
    const char16_t* const item = text.GetText() + at;
    const auto word = static_cast<std::size_t>(Kt_ExprUtil::FindWordEnd(item, size - at));
    kt_long end = 1;
    if (IsWord({item, word}, u"var")) {
      end = std::min<kt_long>(4, size - at);
      end += Kt_ScriptUtil::FindLineEnd(item + end, size - at - end, ignored);
      globals += TokensOf(text.Mid(at + 4, end - 5)) + u'\n';
    } else if (*item == u'#') {
      end = Kt_ScriptUtil::FindCRLF(item, size - at);
    } else if (*item == u'(') {
      end = Kt_ScriptUtil::FindBraceEnd(item, size - at, u')', ignored);
    } else if (*item == u'{') {
      end = Kt_ScriptUtil::FindBraceEnd(item, size - at, u'}', ignored);
    } else if (word > 0) {
      end = static_cast<kt_long>(word);
    }
    if (end <= 0) break;
    at += end;
  }
  return globals;
}

}  // namespace

bool SameScript(const Kt_WString& a, const Kt_WString& b) {
  // What globals are set to is not computed.
  Kt_RunBudget budget;
  budget.limit_steps = 1;
  Kt_Script left;
  Kt_Script right;
  left.SetBudget(&budget);
  right.SetBudget(&budget);
  Kt_WStrList left_includes;
  Kt_WStrList right_includes;
  left.ParseScript({}, left_includes, a.GetText(), nullptr);
  right.ParseScript({}, right_includes, b.GetText(), nullptr);
  if (left_includes.GetCount() != right_includes.GetCount()) return false;
  for (kt_long at = 0; at < left_includes.GetCount(); ++at) {
    if (left_includes[at] != right_includes[at]) return false;
  }
  return SameFuncs(left, right) && GlobalsOf(a) == GlobalsOf(b);
}

}  // namespace kt::cli
