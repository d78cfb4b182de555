// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstring>

#include "common/test_host.h"

namespace {

using kt::test::Show;
using kt::test::TestHost;

class Plain : public Kt_ExprObject {
 public:
  explicit Plain(Kt_ExprObject* parent = nullptr) : Kt_ExprObject(parent) {}
};

TEST(ObjectChain, WhatAnObjectWithoutParentAnswers) {
  Plain object;
  Plain other;
  Kt_Variant value;
  Kt_ExprObjInfo info;
  Kt_WString text;
  Kt_Buffer bytes;
  Kt_Getter get = nullptr;
  Kt_Setter set = nullptr;
  int flags = 0;
  EXPECT_EQ(object.GetParentCtx(), nullptr);
  EXPECT_EQ(object.GetID(), u"");
  EXPECT_EQ(object.GetProperty(u"p", nullptr, value), -2);
  EXPECT_EQ(object.SetProperty(u"p", nullptr, value), -2);
  EXPECT_EQ(object.CallMethod(u"m", nullptr, value), -2);
  EXPECT_EQ(object.GetPropertyInfo(u"p", flags, get, set), 0);
  EXPECT_EQ(object.GetMethodInfo(u"m", get), 0);
  EXPECT_EQ(object.AddCtxVar(u"v", value), 0);
  EXPECT_EQ(object.GetCtxVar(u"v", nullptr, &value), 1000);
  EXPECT_EQ(object.SetCtxVar(u"v", value, 1), 1000);
  EXPECT_EQ(object.IsValidComponent(&object), 1);
  EXPECT_EQ(object.IsValidComponent(&other), 0);
  EXPECT_EQ(object.IsValidComponent(nullptr), 0);
  EXPECT_EQ(object.GetComponent(u"c"), nullptr);
  EXPECT_EQ(object.GetDefaultProp(), nullptr);
  EXPECT_EQ(object.GetItemCount(), 0);
  EXPECT_EQ(object.GetItem(0, value), -1);
  EXPECT_EQ(object.GetItem(u"k", value), -1);
  EXPECT_EQ(object.ConvToString(text), 0);
  EXPECT_EQ(object.ConvToStream(bytes), 0);
  EXPECT_EQ(object.GetVarType(u"v", info), 1000);
  EXPECT_EQ(object.GetMethodType(u"m", info), 1000);
  EXPECT_EQ(object.GetDefaultDataset(), nullptr);
  EXPECT_EQ(object.GetChildDataset(u"d"), nullptr);
  EXPECT_EQ(object.GetScriptFuncValue(u"f", nullptr, value), -1);
  EXPECT_EQ(object.IsSystemLogMode(), 0);
  EXPECT_EQ(object.IsDebugTraceMode(), 0);
  EXPECT_EQ(object.GetChildContext(u"c"), nullptr);
  EXPECT_EQ(object.GetScript(), nullptr);
  Kt_VariableListChain chain;
  object.AddVariableListChain(chain);
  EXPECT_EQ(chain.GetCount(), 0);
  object.OnRunTimeError(Kt_Result());
  object.OnSystemError(Kt_Result());
  object.OnDebugTrace(u"t");
}

// The outermost context has the last word, two steps away.
TEST(ObjectChain, ForwardedToTheTop) {
  TestHost host;
  host.variables.AddVariable(u"v", kt_long{1});
  host.trace_mode = 1;
  Plain middle(&host);
  Plain inner(&middle);
  Kt_ExprObjInfo info;
  EXPECT_EQ(inner.GetVarType(u"v", info), EXPR_OBJ_VAR);
  EXPECT_EQ(info.GetConstObjVar().context, &host);
  EXPECT_EQ(inner.GetMethodType(u"log", info), EXPR_OBJ_EXTAPI);
  EXPECT_EQ(inner.IsSystemLogMode(), 1);
  EXPECT_EQ(inner.IsDebugTraceMode(), 1);
  inner.OnDebugTrace(u"t");
  EXPECT_EQ(host.traces, "t|");
  EXPECT_EQ(kt::Report(&inner, u"test", kErrNoVariable, u"v"), kErrNoVariable);
  EXPECT_EQ(host.TakeReports(), "83B03110(v)");
  host.log_mode = 0;
  EXPECT_EQ(kt::Report(&inner, u"test", kErrNoVariable, u"v"), kErrNoVariable);
  EXPECT_EQ(kt::Report(nullptr, u"test", kErrNoVariable), kErrNoVariable);
  EXPECT_EQ(host.TakeReports(), "");
  // Variables and components are each object's own.
  Kt_Variant value;
  EXPECT_EQ(inner.GetCtxVar(u"v", nullptr, &value), 1000);
  EXPECT_EQ(inner.GetComponent(u"thing"), nullptr);
}

TEST(ObjectChain, InnerNamesHideOuterOnes) {
  TestHost outer;
  TestHost inner;
  Plain between(&inner);
  outer.variables.AddVariable(u"v", kt_long{1});
  inner.variables.AddVariable(u"V", kt_long{2});
  Kt_ExprObjInfo info;
  EXPECT_EQ(between.GetVarType(u"v", info), EXPR_OBJ_VAR);
  EXPECT_EQ(info.GetConstObjVar().context, &inner);
}

#if defined(__GXX_ABI_VERSION)
// The order of the virtual operations is what hosts are compiled against. A pointer to a virtual
// member holds its place in the table, counted in bytes and plus one.
template <class Member>
std::size_t PlaceOf(Member member) {
  std::size_t words[2];
  static_assert(sizeof member == sizeof words);
  std::memcpy(words, &member, sizeof words);
  return (words[0] - 1) / sizeof(void*);
}

TEST(ObjectChain, OrderOfTheOperations) {
  using Object = Kt_ExprObject;
  using ByIndex = kt_long (Object::*)(int, Kt_Variant&);
  using ByName = kt_long (Object::*)(const Kt_WString&, Kt_Variant&);
  const std::size_t places[] = {PlaceOf(&Object::GetObjType),
                                PlaceOf(&Object::GetInnerObject),
                                PlaceOf(&Object::DestroyObject),
                                PlaceOf(&Object::GetID),
                                PlaceOf(&Object::GetProperty),
                                PlaceOf(&Object::SetProperty),
                                PlaceOf(&Object::CallMethod),
                                PlaceOf(&Object::GetPropertyInfo),
                                PlaceOf(&Object::GetMethodInfo),
                                PlaceOf(&Object::AddCtxVar),
                                PlaceOf(&Object::GetCtxVar),
                                PlaceOf(&Object::SetCtxVar),
                                PlaceOf(&Object::IsValidComponent),
                                PlaceOf(&Object::GetComponent),
                                PlaceOf(&Object::GetDefaultProp),
                                PlaceOf(&Object::GetItemCount),
                                PlaceOf(ByIndex{&Object::GetItem}),
                                PlaceOf(ByName{&Object::GetItem}),
                                PlaceOf(&Object::ConvToString),
                                PlaceOf(&Object::ConvToStream),
                                PlaceOf(&Object::GetVarType),
                                PlaceOf(&Object::GetMethodType),
                                PlaceOf(&Object::GetDefaultDataset),
                                PlaceOf(&Object::GetChildDataset),
                                PlaceOf(&Object::AddVariableListChain),
                                PlaceOf(&Object::GetScriptFuncValue),
                                PlaceOf(&Object::IsSystemLogMode),
                                PlaceOf(&Object::IsDebugTraceMode),
                                PlaceOf(&Object::OnSystemError),
                                PlaceOf(&Object::OnRunTimeError),
                                PlaceOf(&Object::OnDebugTrace),
                                PlaceOf(&Object::GetChildContext),
                                PlaceOf(&Object::GetScript)};
  for (std::size_t number = 0; number < std::size(places); ++number) {
    EXPECT_EQ(places[number], number);
  }
}
#endif

}  // namespace
