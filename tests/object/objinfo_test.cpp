// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "common/test_host.h"
#include "object/Kt_ExprObjInfo.h"

namespace {

using kt::test::Show;
using kt::test::TestHost;
using kt::test::TestThing;

kt_long NoApi(Kt_ExprObject*, const Kt_VariantList*, Kt_Variant&) { return 0; }

// One record of every kind that a context can fill.
struct Kinds {
  Kinds() : composite(&host, u"composite") {
    composite.SetContainer(&composite);
    host.variables.AddVariable(u"v", kt_long{1});
    Kt_Variable* const variable = host.variables.FindVariable(u"v");
    TestThing* const thing = host.thing.get();
    const Kt_Getter get = Kt_ExprObject::GetIntFunc(u"abs");
    const Kt_Setter set = nullptr;
    const auto add = [this](const std::function<void(Kt_ExprObjInfo&)>& fill) {
      fill(infos.emplace_back());
    };
    add([](Kt_ExprObjInfo&) {});
    add([&](Kt_ExprObjInfo& info) { info.SetScriptFunc(&host, u"f", nullptr); });
    add([&](Kt_ExprObjInfo& info) { info.SetIntFunc(&host, u"abs", get); });
    add([&](Kt_ExprObjInfo& info) { info.SetVarType(&host, u"v", variable); });
    add([&](Kt_ExprObjInfo& info) { info.SetAutoVar(&host, u"a"); });
    add([&](Kt_ExprObjInfo& info) { info.SetDataset(thing); });
    add([&](Kt_ExprObjInfo& info) { info.SetColumn(thing, u"col", 3); });
    add([&](Kt_ExprObjInfo& info) { info.SetColumnProp(thing, u"col", 3, u"sum"); });
    add([&](Kt_ExprObjInfo& info) { info.SetComponent(thing); });
    add([&](Kt_ExprObjInfo& info) { info.SetComponent(&composite); });
    add([&](Kt_ExprObjInfo& info) { info.SetObjProp(thing, u"p", 5, get, set); });
    add([&](Kt_ExprObjInfo& info) { info.SetObjMethod(thing, u"m", get); });
    add([&](Kt_ExprObjInfo& info) { info.SetExtAPI(&host, u"api", NoApi); });
  }

  TestHost host;
  TestThing composite;
  std::vector<Kt_ExprObjInfo> infos;
};

std::string Show(Kt_ExprObjInfo& info) {
  const std::string kind = std::to_string(info.GetKind()) + " ";
  switch (info.GetKind()) {
    case EXPR_OBJ_SCRIPTFUNC: return kind + info.GetScriptFunc().name.ToUtf8();
    case EXPR_OBJ_INTFUNC:
      return kind + info.GetIntFunc().name.ToUtf8() + (info.GetIntFunc().handle ? "()" : "");
    case EXPR_OBJ_VAR:
    case EXPR_OBJ_AUTOVAR:
      return kind + info.GetObjVar().name.ToUtf8() + (info.GetObjVar().handle.Get() ? "!" : "");
    case EXPR_OBJ_DATASET:
    case EXPR_OBJ_COMPONENT:
    case EXPR_OBJ_COMPOSIT: return kind + info.GetObjectW().GetID().ToUtf8();
    case EXPR_OBJ_COLUMN:
    case EXPR_OBJ_COLUMNPROP: {
      const Kt_ExprObjColumn& column = info.GetObjColumn();
      return kind + column.dataset.GetID().ToUtf8() + "." + column.name.ToUtf8() + "[" +
             std::to_string(column.index) + "]" + column.property.ToUtf8();
    }
    case EXPR_OBJ_PROPERTY: {
      const Kt_ExprObjProperty& property = info.GetObjProperty();
      return kind + property.object.GetID().ToUtf8() + "." + property.name.ToUtf8() + " " +
             std::to_string(property.flags) + (property.get ? "get" : "") +
             (property.set ? "set" : "");
    }
    case EXPR_OBJ_METHOD:
      return kind + info.GetObjMethod().object.GetID().ToUtf8() + "." +
             info.GetObjMethod().name.ToUtf8() + (info.GetObjMethod().method ? "()" : "");
    case EXPR_OBJ_EXTAPI:
      return kind + info.GetExtAPI().name.ToUtf8() + (info.GetExtAPI().handle ? "()" : "");
    default: return kind;
  }
}

TEST(ObjInfo, EveryKindIsFilled) {
  Kinds kinds;
  std::string out;
  for (Kt_ExprObjInfo& info : kinds.infos) out += Show(info) + "\n";
  EXPECT_EQ(out,
            "0 \n3 f\n5 abs()\n16 v!\n25 a\n32 thing\n33 thing.col[3]\n34 thing.col[3]sum\n"
            "48 thing\n49 composite\n65 thing.p 5get\n67 thing.m()\n80 api()\n");
}

// Any record over any other: the old one goes whole, the new one comes whole.
TEST(ObjInfo, SetOverEveryKind) {
  Kinds kinds;
  for (Kt_ExprObjInfo& source : kinds.infos) {
    for (const Kt_ExprObjInfo& target : kinds.infos) {
      Kt_ExprObjInfo info(target);
      info = source;
      EXPECT_EQ(Show(info), Show(source));
      info.Set(info);
      EXPECT_EQ(Show(info), Show(source));
      info.Clear();
      EXPECT_EQ(info.GetKind(), EXPR_OBJ_NONE);
    }
  }
}

// With a null object a member refines a record of an object, and changes nothing else.
TEST(ObjInfo, RefinedInPlace) {
  Kinds kinds;
  for (const Kt_ExprObjInfo& start : kinds.infos) {
    Kt_ExprObjInfo before(start);
    const std::int16_t kind = start.GetKind();
    const bool is_object =
        kind == EXPR_OBJ_DATASET || kind == EXPR_OBJ_COMPONENT || kind == EXPR_OBJ_COMPOSIT;
    const std::string id = is_object ? Show(before).substr(3) : "";
    const struct {
      std::function<void(Kt_ExprObjInfo&)> refine;
      std::string wanted;
    } rows[] = {
        {[](Kt_ExprObjInfo& info) { info.SetColumn(nullptr, u"c", 1); }, "33 " + id + ".c[1]"},
        {[](Kt_ExprObjInfo& info) { info.SetColumnProp(nullptr, u"c", 1, u"x"); },
         "34 " + id + ".c[1]x"},
        {[](Kt_ExprObjInfo& info) { info.SetObjProp(nullptr, u"q", 2, nullptr, nullptr); },
         "65 " + id + ".q 2"},
        {[](Kt_ExprObjInfo& info) { info.SetObjMethod(nullptr, u"n", nullptr); },
         "67 " + id + ".n"},
    };
    for (const auto& row : rows) {
      Kt_ExprObjInfo info(start);
      row.refine(info);
      EXPECT_EQ(Show(info), is_object ? row.wanted : Show(before));
    }
  }
}

TEST(ObjInfo, NullObjectsClear) {
  Kinds kinds;
  for (const Kt_ExprObjInfo& start : kinds.infos) {
    Kt_ExprObjInfo info(start);
    info.SetDataset(nullptr);
    EXPECT_EQ(info.GetKind(), EXPR_OBJ_NONE);
    info = start;
    info.SetComponent(nullptr);
    EXPECT_EQ(info.GetKind(), EXPR_OBJ_NONE);
    info = start;
    info.SetComposit(nullptr);
    EXPECT_EQ(info.GetKind(), EXPR_OBJ_NONE);
  }
}

// A record keeps its variable alive, and knows when its object was destroyed.
TEST(ObjInfo, Holds) {
  Kinds kinds;
  Kt_ExprObjInfo variable;
  variable.SetVarType(&kinds.host, u"v", kinds.host.variables.FindVariable(u"v"));
  kinds.host.variables.Clear();
  EXPECT_EQ(Show(variable.GetObjVar().handle.Get()->GetValue()), "1");
  Kt_ExprObjInfo object;
  object.SetComponent(kinds.host.thing.get());
  kinds.host.thing.reset();
  EXPECT_FALSE(object.GetObjectW().IsValid());
  Kt_ExprObjInfo copy(object);
  EXPECT_FALSE(copy.GetObjectW().IsValid());
}

}  // namespace
