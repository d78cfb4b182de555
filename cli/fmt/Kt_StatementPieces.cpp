// SPDX-License-Identifier: MIT
#include "cli/fmt/Kt_StatementPieces.h"

#include <algorithm>

#include "classlib/text/Kt_WStrList.h"
#include "cli/fmt/Kt_ExprPieces.h"
#include "expr/Kt_ExprUtil.h"
#include "script/Kt_ScriptUtil.h"

namespace kt::cli {
namespace {

using Pieces = std::vector<LinePart>;

// What new lines cost: between the parts of a `for`, the items of a list, inside of expressions.
constexpr int kCostOfPart = 0;
constexpr int kCostOfItem = 1;
constexpr int kCostOfValue = 2;

void Append(std::u16string_view text, Pieces& pieces) {
  pieces.push_back({std::u16string(text), false, kNoBreak});
}

// Puts a blank in front of what `append` adds.
template <class AppendTo>
void AppendBehindBlank(int cost, Pieces& pieces, AppendTo append) {
  const std::size_t first = pieces.size();
  append(pieces);
  if (first == pieces.size()) return;
  pieces[first].has_blank = true;
  pieces[first].break_cost = cost;
}

void AppendValue(std::u16string_view value, Pieces& pieces) {
  AppendBehindBlank(kNoBreak, pieces,
                    [&](Pieces& out) { AppendExpr(Trimmed(value), kCostOfValue, out); });
}

// "target = value" with any operator of that kind; false when there is no '='.
bool AppendAssignment(std::u16string_view text, Pieces& pieces) {
  const kt_long found = Kt_ScriptUtil::FindSetOP(text.data(), static_cast<kt_long>(text.size()));
  if (found <= 0) return false;
  const auto set_at = static_cast<std::size_t>(found);
  const bool is_compound = std::u16string_view(u"+-*/%").find(text[set_at - 1]) != text.npos;
  const std::size_t target_end = is_compound ? set_at - 1 : set_at;
  AppendExpr(Trimmed(text.substr(0, target_end)), kCostOfValue, pieces);
  pieces.push_back(
      {std::u16string(text.substr(target_end, set_at + 1 - target_end)), true, kNoBreak});
  AppendValue(text.substr(set_at + 1), pieces);
  return true;
}

void AppendSimple(const Kt_WString& statement, Pieces& pieces) {
  if (AppendAssignment(statement.View(), pieces)) return;
  AppendExpr(statement, kCostOfValue, pieces);
}

// The items of a list with commas between them.
template <class AppendItem>
void AppendList(std::u16string_view text, Pieces& pieces, AppendItem append) {
  Kt_WStrList items;
  Kt_ScriptUtil::SplitLine(text.data(), static_cast<kt_long>(text.size()), items);
  for (kt_long at = 0; at < items.GetCount(); ++at) {
    if (at > 0) Append(u",", pieces);
    AppendBehindBlank(kCostOfItem, pieces, [&](Pieces& out) { append(items[at], out); });
  }
}

void AppendFor(std::u16string_view part, Pieces& pieces) {
  const Kt_WString text = Trimmed(part);
  std::u16string_view list = text.View();
  const bool declares = list.size() > 3 && IsWord(list.substr(0, 3), u"var") &&
                        std::u16string_view(u" \t\r\n").find(list[3]) != list.npos;
  if (declares) {
    Append(list.substr(0, 3), pieces);
    list.remove_prefix(4);
  }
  AppendList(list, pieces, AppendSimple);
}

}  // namespace

Kt_WString Trimmed(std::u16string_view view) {
  Kt_WString text(view);
  text.Trim();
  return text;
}

bool IsWord(std::u16string_view text, std::u16string_view word) {
  return std::equal(text.begin(), text.end(), word.begin(), word.end(),
                    [](char16_t a, char16_t b) { return (a | 0x20) == b; });
}

bool HasComment(std::u16string_view text) {
  if (text.find(u'/') == text.npos) return false;
  Kt_WString without(text);
  Kt_ScriptUtil::RemoveComment(without);
  return without.View() != text;
}

Pieces StatementPieces(std::u16string_view statement) {
  Pieces pieces;
  const auto word_size = static_cast<std::size_t>(
      Kt_ExprUtil::FindWordEnd(statement.data(), static_cast<kt_long>(statement.size())));
  const std::u16string_view word = statement.substr(0, word_size);
  const std::u16string_view rest = statement.substr(word_size);
  if (IsWord(word, u"var")) {
    Append(word, pieces);
    AppendList(rest, pieces, AppendSimple);
    if (pieces.size() > 1) pieces[1].break_cost = kNoBreak;
  } else if (IsWord(word, u"return")) {
    Append(word, pieces);
    AppendValue(rest, pieces);
  } else {
    AppendSimple(Trimmed(statement), pieces);
  }
  Append(u";", pieces);
  return pieces;
}

Pieces ForPieces(std::u16string_view head) {
  const auto next_part = [&](std::u16string_view text) {
    kt_long ignored = 0;
    const kt_long end =
        Kt_ScriptUtil::FindLineEnd(text.data(), static_cast<kt_long>(text.size()), ignored);
    return end < 0 ? text.size() : static_cast<std::size_t>(end - 1);
  };
  Pieces pieces;
  for (int part = 0; part < 3; ++part) {
    const std::size_t end = part < 2 ? next_part(head) : head.size();
    const std::u16string_view text = head.substr(0, end);
    AppendBehindBlank(kCostOfPart, pieces, [&](Pieces& out) {
      if (part == 1) return AppendExpr(Trimmed(text), kCostOfValue, out);
      AppendFor(text, out);
    });
    if (part < 2) Append(u";", pieces);
    head.remove_prefix(std::min(end + 1, head.size()));
  }
  return pieces;
}

Pieces ConditionPieces(std::u16string_view condition) {
  Pieces pieces;
  AppendExpr(Trimmed(condition), kCostOfValue, pieces);
  return pieces;
}

Pieces ArgumentPieces(std::u16string_view arguments) {
  Pieces pieces;
  AppendList(arguments, pieces,
             [](const Kt_WString& name, Pieces& out) { Append(name.View(), out); });
  return pieces;
}

}  // namespace kt::cli
