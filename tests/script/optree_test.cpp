// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "classlib/base/Kt_ObjBufPool.h"
#include "common/text.h"
#include "script/Kt_ScriptOpItem.h"
#include "script/Kt_ScriptUtil.h"

namespace {

TEST(OpTree, PayloadOfEachCode) {
  enum Kind { kVar, kSet, kOther };
  const struct {
    int code;
    Kind kind;
  } rows[] = {
      {0x1010, kVar},   {0x1020, kSet},   {0x3000, kVar}, {0x3001, kVar}, {0x3020, kVar},
      {0x4000, kSet},   {0x4010, kSet},   {0x7000, kSet}, {0x6030, kSet}, {0x6040, kSet},
      {0x6010, kOther}, {0x5000, kOther}, {0, kSet},      {-1, kSet},
  };
  for (const auto& row : rows) {
    Kt_ScriptOp op;
    op.SetOpCode(static_cast<std::int16_t>(row.code));
    EXPECT_EQ(op.opcode, row.code);
    ASSERT_TRUE(op.HasPayload()) << row.code;
    EXPECT_EQ(op.HasName(), row.kind == kVar) << row.code;
    if (row.kind == kSet) {
      EXPECT_TRUE(op.GetSet()->value.GetText().IsEmpty());
    }
  }
}

TEST(OpTree, LineSaturates) {
  Kt_ScriptOp op;
  EXPECT_EQ(op.line, -1);
  op.SetLine(32767);
  EXPECT_EQ(op.line, 32767);
  op.SetLine(70000);
  EXPECT_EQ(op.line, 32767);
  EXPECT_EQ(op.line32, 70000);
}

TEST(OpTree, OutsideOfLists) {
  const Kt_ScriptOpList list;
  EXPECT_EQ(list.GetItem(0), nullptr);
  EXPECT_EQ(&list[0], &list[-1]);
  EXPECT_EQ(list[5].opcode, 0);
  EXPECT_EQ(list[5].line, -1);
  EXPECT_FALSE(list[5].HasPayload());
  const Kt_ScriptOpItemList items;
  EXPECT_EQ(&items[0], &items[7]);
  EXPECT_EQ(items[0].line, -1);
}

TEST(OpTree, FindVarOpSeesDeclarationsOnly) {
  Kt_ScriptOpList list;
  list.AddOp(kScriptNameGroup, 0)->GetVar()->name = u"total";
  list.GetSafeItem(0)->SetVariant(kScriptSet);
  EXPECT_EQ(list.FindVarOp(u"total"), -1);
  list.AddOp(kScriptVarArray, 1);  // gets a payload without a name
  list.AddOp(kScriptVar, 2)->GetVar()->name = u"total";
  EXPECT_EQ(list.FindVarOp(u"Total"), 2);
  EXPECT_EQ(list.FindVarOp(nullptr), -1);
}

// One op of each kind, with something in every field.
void Fill(Kt_ScriptOp& op, std::int16_t code) {
  op.SetOpCode(code);
  op.SetLine(7);
  const auto add_to = [](Kt_ScriptOpList& list, const char16_t* name) {
    list.AddOp(kScriptVar, 8)->GetVar()->name = name;
  };
  switch (code) {
    case kScriptFor:
      add_to(op.GetFor()->init, u"init");
      add_to(op.GetFor()->step, u"step");
      add_to(op.GetFor()->body, u"body");
      op.GetFor()->condition.SetExpr(u"c");
      break;
    case kScriptWhile:
      add_to(op.GetWhile()->body, u"body");
      op.GetWhile()->condition.SetExpr(u"c");
      break;
    case kScriptIf: op.GetIf()->items.AddItem(1, 9); break;
    case kScriptSwitch:
      op.GetSwitch()->items.AddItem(1, 9);
      op.GetSwitch()->expression.SetExpr(u"c");
      break;
    case kScriptBlock: add_to(*op.GetBlock(), u"body"); break;
    default: op.GetSet()->target.SetExpr(u"c");
  }
}

TEST(OpTree, CopiesAreUneven) {
  Kt_ScriptOpList list;
  for (const std::int16_t code :
       {kScriptFor, kScriptWhile, kScriptIf, kScriptSwitch, kScriptBlock, kScriptExpr}) {
    Fill(*list.GetSafeItem(list.Append()), code);
  }
  Kt_ScriptOpList copy;
  EXPECT_EQ(copy.Assign(nullptr), 0);
  EXPECT_EQ(copy.Assign(&list), 6);
  list.GetSafeItem(0)->GetFor()->body.Clear();
  list.Clear();
  for (kt_long index = 0; index < 6; ++index) {
    EXPECT_EQ(copy[index].line, 7);
    EXPECT_TRUE(copy[index].HasPayload());
  }
  const Kt_ScriptOpFor& loop = *copy[0].GetFor();
  EXPECT_EQ(loop.init[0].GetVar()->name, u"init");
  EXPECT_EQ(loop.step[0].GetVar()->name, u"step");
  EXPECT_EQ(loop.body[0].GetVar()->name, u"body");
  EXPECT_EQ(loop.condition.GetText(), u"c");
  EXPECT_EQ(copy[1].GetWhile()->body.GetCount(), 1);
  EXPECT_EQ(copy[2].GetIf()->GetCount(), 0);
  EXPECT_EQ(copy[3].GetSwitch()->GetCount(), 0);
  EXPECT_EQ(copy[3].GetSwitch()->expression.GetText(), u"c");
  EXPECT_EQ(copy[4].GetBlock()->GetCount(), 0);
  EXPECT_EQ(copy[5].GetSet()->target.GetText(), u"c");
}

TEST(OpTree, AssigningAcrossKinds) {
  Kt_ScriptOp block;
  Fill(block, kScriptBlock);
  Kt_ScriptOp op;
  Fill(op, kScriptFor);
  op = block;
  EXPECT_EQ(op.opcode, kScriptBlock);
  EXPECT_EQ(op.GetBlock()->GetCount(), 0);
  block = *&block;
  EXPECT_EQ(block.GetBlock()->GetCount(), 1);
  op = Kt_ScriptOp();
  EXPECT_FALSE(op.HasPayload());
}

TEST(OpTree, ItemsKeepFlagAndLine) {
  Kt_ScriptOpItem source;
  source.flag = 1;
  source.line = 5;
  source.expression.SetExpr(u"c");
  Fill(*source.body.GetSafeItem(source.body.Append()), kScriptExpr);
  Kt_ScriptOpItem target;
  target = source;
  EXPECT_EQ(target.flag, 0);
  EXPECT_EQ(target.line, -1);
  EXPECT_EQ(target.expression.GetText(), u"c");
  EXPECT_EQ(target.body.GetCount(), 1);
}

TEST(OpTree, PoolsGetTheirObjectsBack) {
  const struct {
    std::int16_t code;
    Kt_ObjBufPool& pool;
    const char* name;
  } rows[] = {
      {kScriptVar, Kt_ScriptOpVar::GetPool(), "Kt_ScriptOpVar"},
      {kScriptReturn, Kt_ScriptOpSet::GetPool(), "Kt_ScriptOpSet"},
      {kScriptFor, Kt_ScriptOpFor::GetPool(), "Kt_ScriptOpFor"},
      {kScriptWhile, Kt_ScriptOpWhile::GetPool(), "Kt_ScriptOpWhile"},
      {kScriptIf, Kt_ScriptOpIf::GetPool(), "Kt_ScriptOpIf"},
      {kScriptSwitch, Kt_ScriptOpSwitch::GetPool(), "Kt_ScriptOpSwitch"},
  };
  for (const auto& row : rows) {
    EXPECT_STREQ(row.pool.GetName(), row.name);
    const kt_long before = row.pool.GetUsedCount();
    Kt_ScriptOp op;
    op.SetOpCode(row.code);
    EXPECT_EQ(row.pool.GetUsedCount(), before + 1) << row.name;
    op.SetOpCode(kScriptBlock);
    EXPECT_EQ(row.pool.GetUsedCount(), before) << row.name;
  }
}

}  // namespace
