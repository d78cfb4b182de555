// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "expr/Kt_ExprOp.h"

namespace {

Kt_ExprOp MakeOp(std::int16_t code, const char16_t* text, kt_long number) {
  Kt_ExprOp op;
  op.code = code;
  op.text = text;
  op.number.integer = number;
  return op;
}

TEST(OpList, CutsBlockSize) {
  const struct {
    kt_long request, size;
  } rows[] = {{0, 256}, {-5, 256}, {5000, 256}, {4096, 4096}, {100, 64}, {32, 32}, {1, 1}};
  for (const auto& row : rows) EXPECT_EQ(Kt_ExprOpList(row.request).GetBlockSize(), row.size);
}

TEST(OpList, GrowsByBlocksThatStay) {
  Kt_ExprOpList list(2);
  EXPECT_EQ(list.GetItem(0), nullptr);
  EXPECT_EQ(list.GetItem(-1), nullptr);
  EXPECT_EQ(list.GetBlockCount(), 0);
  const Kt_ExprOp* const first = list.Append();
  for (kt_long n = 1; n < 7; ++n) EXPECT_EQ(list.Add(MakeOp(kOpInteger, u"", n)), n);
  EXPECT_EQ(list.GetItem(0), first);
  EXPECT_EQ(list.GetItem(-1)->GetInteger(), 6);
  EXPECT_NE(list.GetItem(7), nullptr) << "its block is there, whatever the count";
  EXPECT_EQ(list.GetItem(8), nullptr);
  const Kt_ExprOp* const far = list.GetSafeItem(21);
  EXPECT_EQ(list.GetItem(21), far);
  EXPECT_EQ(list.GetBlockCount(), 11);
  EXPECT_EQ(list.GetCount(), 7);
}

TEST(OpList, ReusesSlots) {
  Kt_ExprOpList list(4);
  list.Add(MakeOp(kOpInteger, u"old", 5));
  list.Start();
  EXPECT_EQ(list.GetCount(), 0);
  EXPECT_EQ(list.Add(nullptr), 0);
  EXPECT_EQ(list[0].text, u"old");
  EXPECT_EQ(list[0].GetInteger(), 5);
  list.Clear();
  EXPECT_EQ(list.GetBlockCount(), 0);
  EXPECT_EQ(list.GetBlockSize(), 4);
}

// Memory that is not needed is given back, and taken again when records are appended.
TEST(OpList, Shrinks) {
  for (kt_long count = 0; count <= 9; ++count) {
    Kt_ExprOpList list(4);
    for (kt_long n = 0; n < count; ++n) list.Add(MakeOp(kOpInteger, u"n", n));
    if (count > 0) list[count - 1].SetBuiltinRow(7);  // no part of a copy
    (void)list.GetSafeItem(17);
    list.Shrink();
    EXPECT_EQ(list.GetCount(), count);
    EXPECT_EQ(list.GetBlockCount(), (count + 3) / 4);
    EXPECT_EQ(list.GetItem(count), nullptr);
    if (count > 0) {
      EXPECT_EQ(list.GetItem(-1)->GetBuiltinRow(), 7);
    }
    const Kt_ExprOpList copy(list);
    EXPECT_EQ(copy.GetCount(), count);
    for (kt_long n = count; n < 12; ++n) EXPECT_EQ(list.Add(MakeOp(kOpInteger, u"n", n)), n);
    list.Shrink();
    EXPECT_EQ(list.GetBlockCount(), 3);
    for (kt_long n = 0; n < 12; ++n) {
      EXPECT_EQ(list.GetItem(n)->GetInteger(), n == count - 1 ? 8 : n) << count;
      EXPECT_EQ(list.GetItem(n)->text, u"n");
    }
  }
}

TEST(OpList, CopiesRecords) {
  Kt_ExprOpList source(2);
  for (kt_long n = 0; n < 5; ++n) source.Add(MakeOp(kOpInteger, u"n", n));
  Kt_ExprOpList copy(8);
  copy.Add(MakeOp(kOpName, u"gone", 0));
  copy = source;
  EXPECT_EQ(copy.GetBlockSize(), 2);
  EXPECT_EQ(copy.GetCount(), 5);
  EXPECT_EQ(copy.GetBlockCount(), 3);
  for (kt_long n = 0; n < 5; ++n) EXPECT_EQ(copy.GetItem(n)->GetInteger(), n);
  EXPECT_NE(copy.GetItem(0), source.GetItem(0));
  copy.Append(copy);
  EXPECT_EQ(copy.GetCount(), 10);
  EXPECT_EQ(copy.GetItem(9)->GetInteger(), 4);
  const Kt_ExprOpList* const self = &copy;
  copy = *self;
  EXPECT_EQ(copy.GetCount(), 10);

  // Blocks left from a longer expression do not come along.
  source.Start();
  source.Append();
  copy = source;
  EXPECT_NE(copy.GetItem(1), nullptr);
  EXPECT_EQ(copy.GetItem(2), nullptr);
}

TEST(OpList, CopiesTheNumberOfNumbersOnly) {
  Kt_ExprOp target = MakeOp(kOpName, u"x", 7);
  target = MakeOp(kOpString, u"y", 8);
  EXPECT_EQ(target.text, u"y");
  EXPECT_EQ(target.GetInteger(), 7);
  target = MakeOp(kOpInteger, u"", 9);
  EXPECT_EQ(target.GetInteger(), 9);
  Kt_ExprOp decimal;
  decimal.code = kOpDecimal;
  decimal.number.decimal = 1.25;
  target = decimal;
  EXPECT_EQ(target.GetDecimal(), 1.25);
}

}  // namespace
