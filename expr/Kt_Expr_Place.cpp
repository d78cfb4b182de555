// SPDX-License-Identifier: MIT
//
// Operations do not keep the offset of their token: it is needed after a fault only. It is found
// again by counting: the n-th operation with a text and the n-th token with that text are the same,
// because operations stand in the order of the source.
#include <algorithm>
#include <new>

#include "classlib/base/Kt_Memory.h"
#include "classlib/base/Kt_WorkMeter.h"
#include "expr/Kt_Expr.h"
#include "expr/Kt_ExprUtil.h"
#include "object/Kt_RunError.h"

namespace {

// The text of the operation's token; empty when it has none of its own.
Kt_WString TokenText(const Kt_ExprOp& op) {
  if (op.code == kOpString || op.code == kOpMarker || op.code == kOpEnd) return {};
  if (!op.text.IsEmpty()) return op.text;
  Kt_WString text;
  if (GetOpClass(op.code) == 3) text.Set(GetOpText(op.code));
  return text;
}

// Reports name functions with their brackets.
Kt_WString WithoutBrackets(const Kt_WString& subject) {
  const std::u16string_view view = subject;
  return view.ends_with(u"()") ? Kt_WString(view.substr(0, view.size() - 2)) : subject;
}

// The operation that `subject` names, from `start` on; -1 for none.
kt_long FindOp(const Kt_ExprOpList& ops, kt_long start, const Kt_WString& subject) {
  for (kt_long at = start; at < ops.GetCount(); ++at) {
    if (TokenText(*ops.GetItem(at)).EqualsNoCase(subject)) return at;
  }
  return start > 0 ? FindOp(ops, 0, subject) : -1;
}

// The offset of the n-th token with that text, from 0; -1 for none.
kt_long FindToken(const Kt_WString& text, const Kt_WString& wanted, kt_long nth) {
  const kt_long length = text.GetLength();
  for (kt_long at = 0; at < length;) {
    int start = 0;
    int token_length = 0;
    const int next = Kt_ExprUtil::FindToken(text.GetText() + at, length - at, start, token_length);
    if (next < 1 || token_length < 1) return -1;
    const std::u16string_view token =
        text.View().substr(static_cast<std::size_t>(at) + static_cast<std::size_t>(start),
                           static_cast<std::size_t>(token_length));
    if (wanted.EqualsNoCase(token) && nth-- == 0) return at + start;
    at += next;
  }
  return -1;
}

// What was compiled from operations that are not kept is parsed for this.
kt_long OffsetOf(const Kt_Expr& expr, const Kt_WString& name, kt_long start) {
  if (expr.GetState() == kStateUnparsed) {
    const Kt_WorkPause pause;
    const Kt_MemoryPause memory_pause;
    Kt_Expr parsed;
    Kt_WString error;
    (void)parsed.Parse(expr.GetText(), error);
    return parsed.GetState() == kStateUnparsed ? -1 : OffsetOf(parsed, name, start);
  }
  const Kt_ExprOpList& ops = expr.GetOps();
  const kt_long found = FindOp(ops, start, name);
  if (found < 0) return -1;
  kt_long nth = 0;
  for (kt_long at = 0; at < found; ++at) {
    if (TokenText(*ops.GetItem(at)).EqualsNoCase(name)) ++nth;
  }
  return FindToken(expr.GetText(), name, nth);
}

}  // namespace

void Kt_Expr::PlaceFailure() const {
  const Kt_RunError* const error = kt::detail::FailureWithoutPlace();
  if (error == nullptr) return;
  try {
    const Kt_WString name = WithoutBrackets(error->subject);
    const kt_long start = std::max(kt::detail::GetFailureStart(), kt_long{0});
    const kt_long offset = name.IsEmpty() ? -1 : OffsetOf(*this, name, start);
    kt::detail::PlaceFailure(text_, offset, name.GetLength());
  } catch (const std::bad_alloc&) {
    kt::detail::PlaceFailure({}, -1, 0);
  }
}

kt_long Kt_Expr::FindName(const Kt_WString& text) const {
  const Kt_WString name = WithoutBrackets(text);
  return name.IsEmpty() ? -1 : OffsetOf(*this, name, 0);
}
