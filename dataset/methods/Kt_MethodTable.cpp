// SPDX-License-Identifier: MIT
//
// The table of the dataset methods, made from the rows in Kt_MethodTable.inc.

#include <iterator>
#include <string_view>
#include <utility>

#include "dataset/methods/Kt_MethodArgs.h"

namespace kt::detail::methods {

#define KT_METHOD(name, function, rule, least, count, flag, forms) MethodBody function;
#include "dataset/methods/Kt_MethodTable.inc"
#undef KT_METHOD

}  // namespace kt::detail::methods

namespace {

using kt::detail::Method;
using enum kt::detail::MethodRule;

// A row as it stands in the file.
struct Row {
  std::u16string_view function;
  Method method;
  int count;
  int flag;
  const char16_t* forms;
};

#define KT_METHOD(name, function, rule, least, count, flag, forms) \
  {u"" #function, {u"" #name, kt::detail::methods::function, rule, least}, count, flag, forms},
constexpr Row kRows[] = {
#include "dataset/methods/Kt_MethodTable.inc"
};
#undef KT_METHOD

// Rows that share a function share the entry of the first one, with its name. Functions are
// compared by name: under a sanitizer their addresses are no constants.
consteval int FirstRowLike(int row) {
  const Method& method = kRows[row].method;
  int first = 0;
  while (kRows[first].function != kRows[row].function) ++first;
  const Method& like = kRows[first].method;
  if (like.rule != method.rule || like.least != method.least) throw "aliases differ";
  return first;
}

}  // namespace

template <int kRow>
kt_long Kt_ExprDataset::CallRow(const Kt_VariantList* args, Kt_Variant& result) {
  return kt::detail::MethodCall::Run(*this, kRows[kRow].method, args, result);
}

namespace {

constexpr int kRowCount = static_cast<int>(std::size(kRows));

struct Table {
  _EXPR_OBJMETHOD_INFO rows[kRowCount];
};

template <int kRow>
consteval _EXPR_OBJMETHOD_INFO InfoOfRow() {
  const Row& row = kRows[kRow];
  _EXPR_OBJMETHOD_INFO info{};
  std::u16string_view(row.method.name).copy(info.name, kTableNameSize);
  info.method = kHandler<&Kt_ExprDataset::CallRow<FirstRowLike(kRow)>>;
  info.count = row.count;
  info.flag = row.flag;
  info.help = row.forms;
  return info;
}

template <int... kRow>
consteval Table MakeTable(std::integer_sequence<int, kRow...>) {
  return {{InfoOfRow<kRow>()...}};
}

constexpr Table kTable = MakeTable(std::make_integer_sequence<int, kRowCount>());
static_assert(IsSortedByName(kTable.rows));

}  // namespace

const _EXPR_OBJMETHOD_INFO* Kt_ExprDataset::GetDSetMethodMap() { return kTable.rows; }

int Kt_ExprDataset::GetDSetMethodCount() { return kRowCount; }

Kt_Getter Kt_ExprDataset::GetDSetMethodFunc(const char16_t* name) {
  if (name == nullptr) return nullptr;
  const int row = FindObjMethodFuncIdx(kTable.rows, kRowCount, name);
  return row < 0 ? nullptr : kTable.rows[row].method;
}
