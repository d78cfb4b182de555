// SPDX-License-Identifier: MIT
#include "expr/detail/Kt_ExprItems.h"

#include "classlib/base/Kt_Charge.h"
#include "expr/Kt_ExprProgram.h"
#include "expr/Kt_ExprUtil.h"

namespace kt::detail {

bool ExprItems::Split(const Kt_WString& text) {
  const char16_t* const units = text.GetText();
  const kt_long length = text.GetLength();
  if (kt_findskipW(units, length) >= length) return true;
  const auto add = [&](kt_long start, kt_long end) {
    Kt_WString piece = text.Mid(start, end - start);
    piece.Trim();
    items.emplace_back().SetExpr(piece);
  };
  kt_long start = 0;
  kt_long depth = 0;
  for (kt_long at = 0; at < length; ++at) {
    if (!GoesOnInTime(static_cast<std::size_t>(at), 4)) return false;
    switch (const char16_t unit = units[at]) {
      case u'"':
      case u'\'': {
        const kt_long quoted = Kt_ExprUtil::FindQuotEnd(units + at, length - at, unit);
        at = quoted > 0 ? at + quoted - 1 : length;
        break;
      }
      case u'(':
      case u'[':
        if (++depth > kMaxNesting) return false;
        break;
      case u')':
      case u']': --depth; break;
      case u',':
        if (depth == 0) {
          add(start, at);
          start = at + 1;
        }
        break;
      default: break;
    }
  }
  add(start, length);
  return true;
}

}  // namespace kt::detail

bool kt::SplitListExpr(const Kt_Expr& list, std::vector<Kt_Expr>& pieces) {
  detail::ExprItems items;
  const bool is_split = items.Split(list.GetText());
  pieces = std::move(items.items);
  return is_split;
}
