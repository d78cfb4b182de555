// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <functional>
#include <sstream>

#include "classlib/base/Kt_Codes.h"
#include "classlib/value/Kt_VarInline.h"
#include "variant_samples.h"

namespace {

using Operator = kt_long (*)(const Kt_Variant&, const Kt_Variant&, Kt_Variant&);

struct NamedValue {
  const char* name;
  Kt_Variant value;
};

// One value of every kind, and two more texts: one that is a number, one that is not.
std::vector<NamedValue> OneOfEachKind(const SampleObject& object) {
  return {{"empty", Kt_Variant()},
          {"7", 7},
          {"2.5", 2.5},
          {"$1.25", Amount(12500)},
          {"day10", Date(10)},
          {"'4'", u" 4 "},
          {"'x'", u"x"},
          {"true", Kt_Variant(true)},
          {"bytes", Binary("ab")},
          {"[1,2]", List({1, 2})},
          {"object", Object(object)}};
}

// One line for each left value, one column for each right one.
std::string Grid(const std::function<std::string(const Kt_Variant&, const Kt_Variant&)>& cell) {
  const SampleObject object;
  const std::vector<NamedValue> values = OneOfEachKind(object);
  std::ostringstream grid;
  for (const NamedValue& left : values) {
    grid << '\n' << left.name << ':';
    for (const NamedValue& right : values) grid << ' ' << cell(left.value, right.value);
  }
  return grid.str();
}

std::string GridOf(Operator op) {
  return Grid([op](const Kt_Variant& left, const Kt_Variant& right) {
    Kt_Variant result(u"rest of before");
    EXPECT_EQ(op(left, right, result), 0);
    // The result may be either operand.
    Kt_Variant over_left(left);
    Kt_Variant over_right(right);
    EXPECT_EQ(op(over_left, right, over_left), 0);
    EXPECT_EQ(op(left, over_right, over_right), 0);
    EXPECT_EQ(Describe(over_left), Describe(result));
    EXPECT_EQ(Describe(over_right), Describe(result));
    // A reference counts as its target.
    Kt_Variable* const variable = Kt_Variable::New(u"v");
    variable->SetValue(left);
    Kt_Variant reference;
    reference.SetRef(*variable);
    variable->Unref();
    EXPECT_EQ(op(reference, right, reference), 0);  // the result drops the last hold on `left`
    EXPECT_EQ(Describe(reference), Describe(result));
    std::string text = Describe(result);
    for (char& unit : text) {
      if (unit == ' ') unit = '_';
    }
    return text;
  });
}

// clang-format off
// Columns: empty  7  2.5  $1.25  day10  ' 4 '  'x'  true  bytes  [1,2]  object
TEST(VarOps, AddGrid) {
  EXPECT_EQ(GridOf(Var_Add), R"(
empty: L0 L7 D2.5 C1.25 T10 S_4_ Sx L1 L0 L0 L0
7: L7 L14 D9.5 C8.25 T17 S7_4_ S7x L8 L7 L7 L7
2.5: D2.5 D9.5 D5 D3.75 T12.5 S2.5_4_ S2.5x D3.5 D2.5 D2.5 D2.5
$1.25: C1.25 C8.25 D3.75 C2.5 T11.25 S1.25_4_ S1.25x C2.25 C1.25 C1.25 C1.25
day10: T10 T17 T12.5 T11.25 D20 S1900-01-09_4_ S1900-01-09x T11 T10 T10 T10
'4': S_4_ S_4_7 S_4_2.5 S_4_1.25 S_4_1900-01-09 S_4__4_ S_4_x S_4_1 S_4_ S_4_1,2 S_4_obj
'x': Sx Sx7 Sx2.5 Sx1.25 Sx1900-01-09 Sx_4_ Sxx Sx1 Sx Sx1,2 Sxobj
true: L1 L8 D3.5 C2.25 T11 S1_4_ S1x L2 L1 L1 L1
bytes: L0 L7 D2.5 C1.25 T10 S_4_ Sx L1 L0 L0 L0
[1,2]: L0 L7 D2.5 C1.25 T10 S1,2_4_ S1,2x L1 L0 L0 L0
object: L0 L7 D2.5 C1.25 T10 Sobj_4_ Sobjx L1 L0 L0 L0)");
}

TEST(VarOps, SubGrid) {
  EXPECT_EQ(GridOf(Var_Sub), R"(
empty: L0 L-7 D-2.5 C-1.25 D-10 L-4 L0 L-1 L0 L0 L0
7: L7 L0 D4.5 C5.75 D-3 L3 L7 L6 L7 L7 L7
2.5: D2.5 D-4.5 D0 D1.25 D-7.5 D-1.5 D2.5 D1.5 D2.5 D2.5 D2.5
$1.25: C1.25 C-5.75 D-1.25 C0 D-8.75 C-2.75 C1.25 C0.25 C1.25 C1.25 C1.25
day10: T10 T3 T7.5 T8.75 D0 T6 T10 T9 T10 T10 T10
'4': L4 L-3 D1.5 C2.75 D-6 L0 L4 L3 L4 L4 L4
'x': L0 L-7 D-2.5 C-1.25 D-10 L-4 L0 L-1 L0 L0 L0
true: L1 L-6 D-1.5 C-0.25 D-9 L-3 L1 L0 L1 L1 L1
bytes: L0 L-7 D-2.5 C-1.25 D-10 L-4 L0 L-1 L0 L0 L0
[1,2]: L0 L-7 D-2.5 C-1.25 D-10 L-4 L0 L-1 L0 L0 L0
object: L0 L-7 D-2.5 C-1.25 D-10 L-4 L0 L-1 L0 L0 L0)");
}

TEST(VarOps, MulGrid) {
  EXPECT_EQ(GridOf(Var_Mul), R"(
empty: L0 L0 D0 C0 D0 L0 L0 L0 L0 L0 L0
7: L0 L49 D17.5 C8.75 D70 L28 L0 L7 L0 L0 L0
2.5: D0 D17.5 D6.25 D3.125 D25 D10 D0 D2.5 D0 D0 D0
$1.25: C0 C8.75 D3.125 C1.5625 D12.5 C5 C0 C1.25 C0 C0 C0
day10: D0 D70 D25 D12.5 D100 D40 D0 D10 D0 D0 D0
'4': L0 L28 D10 C5 D40 L16 L0 L4 L0 L0 L0
'x': L0 L0 D0 C0 D0 L0 L0 L0 L0 L0 L0
true: L0 L7 D2.5 C1.25 D10 L4 L0 L1 L0 L0 L0
bytes: L0 L0 D0 C0 D0 L0 L0 L0 L0 L0 L0
[1,2]: L0 L0 D0 C0 D0 L0 L0 L0 L0 L0 L0
object: L0 L0 D0 C0 D0 L0 L0 L0 L0 L0 L0)");
}

TEST(VarOps, DivGrid) {
  EXPECT_EQ(GridOf(Var_Div), R"(
empty: Dnan D0 D0 D0 D0 D0 Dnan D0 Dnan Dnan Dnan
7: Dinf D1 D2.8 D5.6 D0.7 D1.75 Dinf D7 Dinf Dinf Dinf
2.5: Dinf D0.357142857142857 D1 D2 D0.25 D0.625 Dinf D2.5 Dinf Dinf Dinf
$1.25: Dinf C0.1786 D0.5 D1 D0.125 C0.3125 Dinf C1.25 Dinf Dinf Dinf
day10: Dinf D1.42857142857143 D4 D8 D1 D2.5 Dinf D10 Dinf Dinf Dinf
'4': Dinf D0.571428571428571 D1.6 D3.2 D0.4 D1 Dinf D4 Dinf Dinf Dinf
'x': Dnan D0 D0 D0 D0 D0 Dnan D0 Dnan Dnan Dnan
true: Dinf D0.142857142857143 D0.4 D0.8 D0.1 D0.25 Dinf D1 Dinf Dinf Dinf
bytes: Dnan D0 D0 D0 D0 D0 Dnan D0 Dnan Dnan Dnan
[1,2]: Dnan D0 D0 D0 D0 D0 Dnan D0 Dnan Dnan Dnan
object: Dnan D0 D0 D0 D0 D0 Dnan D0 Dnan Dnan Dnan)");
}

TEST(VarOps, ModGrid) {
  EXPECT_EQ(GridOf(Var_Mod), R"(
empty: Dnan L0 D0 C0 D0 L0 Dnan L0 Dnan Dnan Dnan
7: Dnan L0 D2 C0.75 D7 L3 Dnan L0 Dnan Dnan Dnan
2.5: Dnan D2.5 D0 D0 D2.5 D2.5 Dnan D0.5 Dnan Dnan Dnan
$1.25: Dnan C1.25 D1.25 C0 D1.25 C1.25 Dnan C0.25 Dnan Dnan Dnan
day10: Dnan D3 D0 D0 D0 D2 Dnan D0 Dnan Dnan Dnan
'4': Dnan L4 D1.5 C0.25 D4 L0 Dnan L0 Dnan Dnan Dnan
'x': Dnan L0 D0 C0 D0 L0 Dnan L0 Dnan Dnan Dnan
true: Dnan L1 D1 C1 D1 L1 Dnan L0 Dnan Dnan Dnan
bytes: Dnan L0 D0 C0 D0 L0 Dnan L0 Dnan Dnan Dnan
[1,2]: Dnan L0 D0 C0 D0 L0 Dnan L0 Dnan Dnan Dnan
object: Dnan L0 D0 C0 D0 L0 Dnan L0 Dnan Dnan Dnan)");
}

std::string RelationOf(const Kt_Variant& left, const Kt_Variant& right) {
  const auto holds = [&](std::int16_t relation) {
    EXPECT_EQ(kt::VarCmp(left, right, relation), Var_Cmp(left, right, relation));
    return Var_Cmp(left, right, relation) != 0;
  };
  const bool less = holds(kCmpLess), equal = holds(kCmpEqual), greater = holds(kCmpGreater);
  EXPECT_LE(less + equal + greater, 1);
  EXPECT_EQ(holds(kCmpLessEqual), less || equal);
  EXPECT_EQ(holds(kCmpGreaterEqual), greater || equal);
  return less ? "<" : equal ? "=" : greater ? ">" : "?";
}

TEST(VarOps, CompareGrid) {
  EXPECT_EQ(Grid(RelationOf), R"(
empty: = < < < < < < < < < <
7: > = > > < > < > < < <
2.5: > < = > < < < > < < <
$1.25: > < < = < < < > < < <
day10: > > > > = > < > < < <
'4': > < > > < = < > < < <
'x': > > > > > > = > < < <
true: > < < < < < < = < < <
bytes: > > > > > > > > = > <
[1,2]: > > > > > > > > < = <
object: > > > > > > > > > > =)");
}
// clang-format on

TEST(VarOps, CompareRows) {
  const SampleObject object;
  struct Row {
    Kt_Variant left;
    const char* relation;
    Kt_Variant right;
  };
  const Row rows[] = {
      {Kt_Variant(), "=", u""},
      {u"", "<", -5},
      {Kt_Variant(), "<", 0},
      {u"", "<", u" "},
      // Texts with numbers, by value; with texts, by code unit.
      {9, "<", u" 10 "},
      {u"10", "<", u"9"},
      {u"9", "=", 9.0},
      {1000, "=", u"1e3"},
      {5, "<", u"-"},
      {5, "<", u"5 apples"},
      {kInfinite, "<", u"a"},
      {u"\xFFFF", ">", u"\xD83D\xDE00"},
      // Dates with texts.
      {Date(45292.5), ">", u"2024-01-01"},
      {Date(45292), "=", u"20240101"},
      {Date(45292), "=", u"45292"},
      {Date(45292), "<", u"tomorrow"},
      {u"2024-01-02", ">", Date(45292)},
      // Amounts: everyday ones as their nearest double, great ones exactly.
      {Amount(1000), "=", 0.1},
      {Amount(1000), "=", u"0.1"},
      {Amount(3000), "<", 0.1 + 0.2},
      {Amount(9007199254740993), ">", 900719925474.0992},
      {Amount(std::numeric_limits<std::int64_t>::max()), "<", 922337203685477.6250},
      {Amount(std::numeric_limits<std::int64_t>::max()), ">", 922337203685477.5},
      {Amount(std::numeric_limits<std::int64_t>::min()), ">", -922337203685477.6250},
      {Amount(std::numeric_limits<std::int64_t>::min()), "<", 1e300},
      {Amount(std::numeric_limits<std::int64_t>::min()), ">", -kInfinite},
      {Amount(-3000000000000500), ">", -300000000000.0625},
      {Amount(-3000000000000500), "<", -300000000000.03125},
      {Amount(-3000000000000500), "<", 0.5},
      {Amount(std::int64_t{kMaxLong} * 10000), "=", kMaxLong},
      // NaN.
      {kNaN, "?", kNaN},
      {kNaN, "?", 1},
      {kNaN, "?", Amount(1)},
      {u"x", "?", kNaN},
      {Kt_Variant(), "?", kNaN},
      {List({1}), "?", Date(kNaN)},
      {u"", "?", kNaN},
      // Lists.
      {List({1, 2}), "<", List({1, 2, Kt_Variant()})},
      {List({1, 3}), ">", List({1, 2, 9})},
      {List({1, u"2"}), "=", List({1.0, 2})},
      {List({kNaN, 1}), "=", List({kNaN, 1})},
      {List({kNaN}), ">", List({5})},
      {Nested(63, 1), "<", Nested(63, 2)},
      {Nested(64, List({1})), "=", Nested(64, List({2}))},
      {Nested(64, List({1})), "=", Nested(64, Kt_Variant())},
      // Bytes and objects.
      {Binary("ab"), "<", Binary("b")},
      {Binary("ab"), ">", Binary("a")},
      {Binary("\xFF"), ">", Binary("a")},
      {Object(object), "=", Object(object)},
      {Kt_Variant(Kt_ObjectHolder()), "<", Object(object)},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(RelationOf(row.left, row.right), row.relation)
        << Describe(row.left) << " against " << Describe(row.right);
  }
  EXPECT_EQ(Var_Cmp(1, 1, 30), 0);
  EXPECT_EQ(Var_Cmp(u"a", u"b", kLogicOr), 0);
}

TEST(VarOps, ArithmeticRows) {
  constexpr std::int64_t kMaxUnits = std::numeric_limits<std::int64_t>::max();
  constexpr std::int64_t kMinUnits = std::numeric_limits<std::int64_t>::min();
  struct Row {
    Kt_Variant left;
    char op;
    Kt_Variant right;
    const char* wanted;
  };
  const Row rows[] = {
      {kMaxLong, '+', 1, "D2147483648"},
      {kMinLong, '-', 1, "D-2147483649"},
      {kMinLong, '*', -1, "D2147483648"},
      {kMinLong, '*', kMinLong, "D4.61168601842739e+18"},
      {kMinLong, '/', -1, "D2147483648"},
      {kMinLong, '%', -1, "L0"},
      {kMinLong, '%', kMaxLong, "L-1"},
      {-7, '%', 3, "L-1"},
      {7, '%', -3, "L1"},
      {-7.5, '%', 2, "D-1.5"},
      {0.0, '/', 0, "Dnan"},
      {-1, '/', 0, "D-inf"},
      {5, '%', 0.0, "Dnan"},
      {kInfinite, '-', kInfinite, "Dnan"},
      {0.1, '+', 0.2, "D0.3"},
      // Texts: read whole or not at all; whole values are long, so exact kinds stay exact.
      {u"12abc", '*', 2, "L0"},
      {u"0x10", '*', 1, "L0"},
      {u"inf", '*', 1, "L0"},
      {u"", '-', u"", "L0"},
      {u"\t-1.5\x3000", '*', 2, "D-3"},
      {u"2147483648", '-', 0, "D2147483648"},
      {u"1e999", '*', 1, "Dinf"},
      {u"5.", '-', u".5", "D4.5"},
      {u"5.e2", '-', u"+0", "L500"},
      {u"5e", '-', 0, "L0"},
      {u".", '-', 0, "L0"},
      {u"+-5", '-', 0, "L0"},
      {Amount(10000), '/', u"4", "C0.25"},
      // Amounts past their range go on as doubles.
      {Amount(kMaxUnits), '+', 1, "D922337203685479"},
      {Amount(kMinUnits), '-', 1, "D-922337203685479"},
      {Amount(kMaxUnits), '*', Amount(20000), "D1.84467440737096e+15"},
      {Amount(kMinUnits), '/', -1, "D922337203685478"},
      {Amount(kMinUnits), '%', -1, "C-0.5808"},
      {Amount(kMinUnits), '%', Amount(-1), "C0"},
      {Amount(-25), '%', Amount(10), "C-0.0005"},
      {1, '%', Amount(3000), "C0.1"},
      {Amount(5), '*', Amount(1000), "C0.0001"},
      {Amount(-5), '*', Amount(1000), "C-0.0001"},
      {Amount(10000), '/', 3, "C0.3333"},
      {Amount(20000), '/', 3, "C0.6667"},
  };
  for (const Row& row : rows) {
    Kt_Variant result;
    const Operator op = row.op == '+'   ? Var_Add
                        : row.op == '-' ? Var_Sub
                        : row.op == '*' ? Var_Mul
                        : row.op == '/' ? Var_Div
                                        : Var_Mod;
    op(row.left, row.right, result);
    EXPECT_EQ(Describe(result), row.wanted)
        << Describe(row.left) << ' ' << row.op << ' ' << Describe(row.right);
  }
}

// The inline forms give what the general ones give, for every pair of awkward numbers.
TEST(VarOps, InlineMatchesGeneral) {
  const Kt_Variant values[] = {0,        1,     -1,           2,    7,           kMaxLong,
                               kMinLong, 0.0,   -0.0,         0.5,  -2.5,        kInfinite,
                               kNaN,     1e300, 2147483648.0, u"4", Kt_Variant()};
  const auto inline_form = [](std::size_t op, const Kt_Variant& a, const Kt_Variant& b,
                              Kt_Variant& out) {
    switch (op) {
      case 0: return kt::VarAdd(a, b, out);
      case 1: return kt::VarSub(a, b, out);
      case 2: return kt::VarMul(a, b, out);
      case 3: return kt::VarDiv(a, b, out);
      default: return kt::VarMod(a, b, out);
    }
  };
  constexpr Operator kOperators[] = {Var_Add, Var_Sub, Var_Mul, Var_Div, Var_Mod};
  for (const Kt_Variant& left : values) {
    for (const Kt_Variant& right : values) {
      for (std::size_t op = 0; op < std::size(kOperators); ++op) {
        Kt_Variant general;
        Kt_Variant in_place(left);
        kOperators[op](left, right, general);
        inline_form(op, in_place, right, in_place);
        EXPECT_EQ(Describe(in_place), Describe(general))
            << Describe(left) << " op " << op << ' ' << Describe(right);
      }
      RelationOf(left, right);
    }
  }
}

TEST(VarOps, Truth) {
  const SampleObject object;
  Kt_Variant gone_hold;
  {
    const SampleObject gone;
    gone_hold = Object(gone);
  }
  const Kt_Variant truths[] = {
      1,         -1,    0.5,    kNaN,     Amount(1), Date(1),           Kt_Variant(true), u"true",
      u" TRUE ", u"-1", u"0.1", u"1e999", List({0}), Binary({"\0", 1}), Object(object)};
  const Kt_Variant falsehoods[] = {
      0,         0.0,          -0.0,      Amount(0),  Date(0),   Kt_Variant(false),
      u"",       u"0",         u" 0.00 ", u"false",   u"yes",    u"truely",
      u"1e-999", Kt_Variant(), List({}),  Binary(""), gone_hold, Kt_Variant(Kt_ObjectHolder())};
  for (const Kt_Variant& value : truths) {
    EXPECT_TRUE(Var_IsTrue(value)) << Describe(value);
    EXPECT_EQ(Var_AndOr(value, 0, kLogicOr), 1);
    EXPECT_EQ(Var_AndOr(value, 0, kLogicAnd), 0);
    EXPECT_EQ(Var_AndOr(1, value, kLogicAnd), 1);
    EXPECT_EQ(Var_AndOr(1, value, kCmpEqual), 0);
  }
  for (const Kt_Variant& value : falsehoods) {
    EXPECT_FALSE(Var_IsTrue(value)) << Describe(value);
    EXPECT_EQ(Var_AndOr(value, 0, kLogicOr), 0);
  }
}

TEST(VarOps, JoiningInALoopMovesTheTextRarely) {
  Kt_Variant text(u"");
  int moves = 0;
  for (kt_long turn = 0; turn < 100000; ++turn) {
    const char16_t* const before = text.AsStringView().data();
    ASSERT_EQ(kt::VarAdd(text, turn % 10, text), 0);
    moves += before != text.AsStringView().data();
  }
  EXPECT_EQ(text.AsStringView().size(), 100000u);
  EXPECT_EQ(text.AsStringView().substr(99995), u"56789");
  EXPECT_LT(moves, 60);
}

TEST(VarOps, JoiningInPlaceLeavesCopiesAlone) {
  Kt_Variant text(u"ab");
  const Kt_Variant copy(text);
  Var_Add(text, copy, text);
  EXPECT_EQ(Describe(text), "Sabab");
  EXPECT_EQ(Describe(copy), "Sab");
  Var_Add(text, text, text);
  EXPECT_EQ(Describe(text), "Sabababab");
}

TEST(VarOps, JoiningPastTheLimit) {
  Kt_WString half;
  char16_t* const units = half.GetBuffer(kMaxStringLength / 2 + 1);
  ASSERT_NE(units, nullptr);
  std::fill_n(units, kMaxStringLength / 2 + 1, u'x');
  const Kt_Variant part(half);
  Kt_Variant result(5);
  EXPECT_EQ(Var_Add(part, part, result), kErrStringTooLong);
  EXPECT_TRUE(result.IsEmpty());
  Kt_Variant in_place(half);
  EXPECT_EQ(Var_Add(in_place, in_place, in_place), kErrStringTooLong);
  EXPECT_TRUE(in_place.IsEmpty());
  EXPECT_EQ(Var_Add(List({part, part}), u"!", result), kErrStringTooLong);
  EXPECT_TRUE(result.IsEmpty());
}

}  // namespace
