// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "common/test_host.h"
#include "object/Kt_ExprColumnSource.h"
#include "object/Kt_ExprStackObj.h"

namespace {

using kt::test::Show;
using kt::test::TestHost;
using kt::test::TestThing;

// Four rows over the columns "a" and "b"; rows 2 and 3 are subtotals. A cell is row * 10 + column.
class FakeData : public Kt_ExprObject, public Kt_ExprColumnSource {
 public:
  explicit FakeData(Kt_ExprObject* parent) : Kt_ExprObject(parent) {}
  Kt_WString GetID() const override { return u"data"; }

  bool HasData() const override { return has_data; }
  kt_long GetCurrentRow() const override { return 1; }
  kt_long GetWriteRow() const override { return 0; }
  kt_long FindColumn(const Kt_WString& name) const override {
    return name.EqualsNoCase(u"a") ? 0 : name.EqualsNoCase(u"b") ? 1 : -1;
  }
  bool IsOriginalRowMode() const override { return is_original; }
  void ReadColumn(kt_long row, kt_long col, Kt_Variant& result) const override {
    result = kt_long{row * 10 + col};
  }
  void ReadOriginal(kt_long row, kt_long col, Kt_Variant& result) const override {
    result = kt_long{-(row * 10 + col)};
  }
  kt_long WriteColumn(kt_long row, kt_long col, const Kt_Variant& value) override {
    log += std::to_string(row) + "," + std::to_string(col) + "=" + Show(value) + ";";
    return kFailed;
  }
  kt_long GetRowLevel(kt_long row) const override { return row < 2 ? 0 : 1; }
  kt_long GetRowIndex(kt_long row) const override { return reverse == 1 ? row + 4 : row - 2; }
  kt_long GetReverseSubSumStat() const override { return reverse; }
  void ReadAggregate(Aggregate what, kt_long col, kt_long start, kt_long end,
                     Kt_Variant& result) const override {
    result = Kt_WString(kt_aggregatenameW(what)) + u" " + Kt_Variant(col).ToString() + u":" +
             Kt_Variant(start).ToString() + u"-" + Kt_Variant(end).ToString();
  }

  bool has_data = true;
  bool is_original = false;
  kt_long reverse = 0;
  std::string log;
};

std::string ShowParts(const Kt_ExprStackObj& entry) {
  return std::to_string(entry.GetOpCode()) + " " + std::to_string(entry.GetKind()) + " " +
         std::to_string(entry.GetItemIndex()) + " '" + entry.GetItemKey().ToUtf8() + "' " +
         std::to_string(entry.GetArgs().GetCount()) + " " + std::to_string(entry.GetObjStat()) +
         " " + std::to_string(entry.GetOpStartIdx());
}

class StackObj : public testing::Test {
 protected:
  StackObj() : data(&host) {
    host.variables.AddVariable(u"v", kt_long{1});
    Fill(full, 11, 4, u"key", 2, 3, 7);
    Fill(other, 22, 8, u"k2", 1, 5, 9);
  }
  // A variable record with every part set: head, index, key, arguments, state, start.
  void Fill(Kt_ExprStackObj& entry, std::int16_t head, kt_long index, const char16_t* key,
            int arg_count, std::int16_t stat, kt_long start) {
    entry.SetVarType(&host, u"v", host.variables.FindVariable(u"v"));
    EXPECT_EQ(entry.ApplyIndex(&host, index, key), 0);
    while (arg_count-- > 0) entry.GetArgs().Add(kt_long{1});
    entry.SetOpCode(head);
    entry.SetObjStat(stat);
    entry.SetOpStartIdx(start);
  }
  // "value" or "!code", with what was reported after it.
  std::string Read(Kt_ExprStackObj& entry, int by_ref = 0) {
    Kt_Variant value = u"old";
    const kt_long code = entry.GetObjValue(&host, value, by_ref);
    return Outcome(code, Show(value));
  }
  std::string Write(Kt_ExprStackObj& entry, Kt_Variant value) {
    return Outcome(entry.SetObjValue(&host, value), "ok");
  }
  std::string Outcome(kt_long code, const std::string& text) {
    char hex[16];
    std::snprintf(hex, sizeof hex, "!%08X", static_cast<unsigned>(code));
    const std::string reports = host.TakeReports();
    const std::string shown = code == 0 ? text : code > -100 ? "!" + std::to_string(code) : hex;
    return shown + (reports.empty() ? "" : " " + reports);
  }
  // An element of the variable `v`, set to `value`.
  Kt_ExprStackObj ElementOf(const Kt_Variant& value, kt_long index, const char16_t* key = u"") {
    Kt_ExprStackObj entry;
    entry.SetVarType(&host, u"v", host.variables.AddVariable(u"v", value));
    EXPECT_EQ(entry.ApplyIndex(&host, index, key), 0);
    return entry;
  }
  std::string V() { return Show(host.variables.FindVariable(u"v")->GetValue()); }

  TestHost host;
  FakeData data;
  Kt_ExprStackObj full;
  Kt_ExprStackObj other;
};

TEST_F(StackObj, CopyingIsUneven) {
  ASSERT_EQ(ShowParts(full), "11 18 4 'key' 2 3 7");
  ASSERT_EQ(ShowParts(other), "22 18 8 'k2' 1 5 9");
  EXPECT_EQ(ShowParts(Kt_ExprStackObj(full)), "11 18 4 'key' 2 3 -1");
  Kt_ExprStackObj entry;
  const auto reset = [&] {
    entry.Set(other);
    entry.SetOpStartIdx(9);
  };
  reset();
  entry.Set(full);
  EXPECT_EQ(ShowParts(entry), "11 18 4 'key' 2 3 9");
  reset();
  entry = full;
  EXPECT_EQ(ShowParts(entry), "11 18 4 'key' 2 5 9");
  reset();
  entry.SetObject(&full);
  EXPECT_EQ(ShowParts(entry), "22 18 4 'key' 2 5 9");
  reset();
  Kt_ExprObjInfo info;
  info.SetAutoVar(&host, u"x");
  entry.Set(info);
  EXPECT_EQ(ShowParts(entry), "22 25 8 'k2' 1 5 9");
  reset();
  entry.Clear();
  EXPECT_EQ(ShowParts(entry), "0 0 -1 '' 0 5 9");
  reset();
  entry.ClearValue();
  EXPECT_EQ(ShowParts(entry), "22 0 -1 '' 0 0 9");
  reset();
  entry.Set(entry);
  entry.SetObject(&entry);
  entry = static_cast<const Kt_ExprStackObj&>(entry);
  EXPECT_EQ(ShowParts(entry), "22 18 8 'k2' 1 5 9");
  entry.SetValueType(nullptr, entry.GetArgs().GetItemNN(0));  // a part of itself
  EXPECT_EQ(ShowParts(entry), "22 1 -1 '' 0 0 9");
  EXPECT_EQ(Read(entry), "1");
}

TEST_F(StackObj, PlainValuesAndNames) {
  Kt_ExprStackObj entry;
  EXPECT_EQ(Read(entry), "-");
  EXPECT_EQ(Write(entry, kt_long{1}), "!-1");
  entry.SetValueType(nullptr, kt_long{5});
  EXPECT_EQ(Read(entry, 1), "5");
  EXPECT_EQ(Write(entry, kt_long{1}), "!-1");
  entry.SetIntFunc(&host, u"nosuch", nullptr);
  EXPECT_EQ(Read(entry), "!83B03120 83B03120(nosuch)");
  entry.SetIntFunc(nullptr, u"TOUPPER", nullptr);  // found by name when it is read
  entry.GetArgs().Add(u"ab");
  EXPECT_EQ(Read(entry), "'AB'");
  entry.Clear();
  entry.SetAutoVar(&host, u"fresh");
  EXPECT_EQ(Read(entry), "!83B03110 83B03110(fresh)");
  EXPECT_EQ(Write(entry, kt_long{3}), "ok");
  EXPECT_EQ(Show(host.variables.FindVariable(u"fresh")->GetValue()), "3");
  entry.SetVarType(&host, u"fresh", nullptr);  // asked of the context by name
  EXPECT_EQ(Read(entry), "3");
  EXPECT_EQ(Read(entry, 1), "&3");
  EXPECT_EQ(Write(entry, kt_long{4}), "ok");
  EXPECT_EQ(Read(entry), "4");
  entry.SetVarType(&host, u"nobody", nullptr);
  EXPECT_EQ(Read(entry), "!1000 83B03110(nobody)");
  EXPECT_EQ(Read(entry, 1), "!83B03110 83B03110(nobody)");
  EXPECT_EQ(Write(entry, kt_long{4}), "!1000");
  entry.SetScriptFunc(&host, u"f", nullptr);
  EXPECT_EQ(Read(entry), "!-1");
  entry.SetVarType(nullptr, u"v", nullptr);
  Kt_Variant value;
  EXPECT_EQ(entry.GetObjValue(nullptr, value, 0), -1);
}

TEST_F(StackObj, ElementsRead) {
  const Kt_VariantList list{Kt_Variant(kt_long{1}), u"two"};
  const Kt_Variant object(Kt_ObjectHolder(nullptr, host.thing.get()));
  const struct {
    Kt_Variant base;
    kt_long index;
    const char16_t* key;
    const char* by_value;
    const char* by_ref;
  } rows[] = {
      {list, 1, u"", "'two'", "&'two'"},
      {list, 3, u"", "-", "&-"},
      {list, -1, u"k", "- 83B01525(v, k)", "- 83B01525(v, k)"},
      {u"abc", 1, u"", "'b'", "'b' 83B03210(v, ref())"},
      {u"abc", 3, u"", "''", "'' 83B03210(v, ref())"},
      {u"abc", -1, u"k", "- 83B01525(v, k)", "- 83B03210(v, ref()) 83B01525(v, k)"},
      {object, 1, u"", "20", "20 83B03210(v, ref())"},
      {object, -1, u"k", "'k!'", "'k!' 83B03210(v, ref())"},
      {object, -1, u"", "- 83B01525(v, )", "- 83B03210(v, ref()) 83B01525(v, )"},
      {kt_long{5}, 0, u"", "!83B03210 83B03210(v, [])", "!83B03210 83B03210(v, [])"},
      {Kt_Variant(), 0, u"", "!83B03210 83B03210(v, [])", "!83B03210 83B03210(v, [])"},
  };
  for (const auto& row : rows) {
    Kt_ExprStackObj entry = ElementOf(row.base, row.index, row.key);
    EXPECT_EQ(Read(entry), row.by_value) << Show(row.base);
    EXPECT_EQ(Read(entry, 1), row.by_ref) << Show(row.base);
  }
  Kt_ExprStackObj past = ElementOf(list, 4);
  Kt_Variant reference;
  EXPECT_EQ(past.GetObjValue(&host, reference, 1), 0);
  EXPECT_EQ(V(), "[1, 'two', -, -, -]");
  EXPECT_TRUE(reference.AssignThroughRef(kt_long{9}));
  EXPECT_EQ(V(), "[1, 'two', -, -, 9]");
}

TEST_F(StackObj, ElementsWritten) {
  const Kt_VariantList list{Kt_Variant(kt_long{1})};
  TestThing inner(&host, u"inner");
  inner.properties.AddVariable(u"main", kt_long{0});
  host.thing->items = {Kt_Variant(kt_long{10}), Kt_Variant(Kt_ObjectHolder(nullptr, &inner))};
  const Kt_Variant object(Kt_ObjectHolder(nullptr, host.thing.get()));
  const struct {
    Kt_Variant base;
    kt_long index;
    const char16_t* key;
    Kt_Variant value;
    const char* wanted;
    const char* after;
  } rows[] = {
      {list, 0, u"", kt_long{5}, "ok", "[5]"},
      {list, 2, u"", kt_long{5}, "ok", "[1, -, 5]"},
      {list, -1, u"k", kt_long{5}, "!83B01525 83B01525(v, k)", "[1]"},
      {u"abc", 1, u"", kt_long{65}, "ok", "'aAc'"},
      {u"abc", 1, u"", u"XY", "ok", "'aXc'"},
      {u"abc", 1, u"", u"", "ok", "'abc'"},
      {u"abc", 9, u"", u"X", "ok", "'abc'"},
      {u"abc", -1, u"k", u"X", "!83B01525 83B01525(v, k)", "'abc'"},
      {object, 0, u"", kt_long{5}, "!83B01030 83B01030(v[0], (Default))", "<thing>"},
      {object, -1, u"k", kt_long{5}, "!83B01030 83B01030(v['k]'], (Default))", "<thing>"},
      {object, -1, u"", kt_long{5}, "!83B01525 83B01525(v, )", "<thing>"},
      {object, 1, u"", kt_long{5}, "!83B01004 83B01004(v[1], (Default))", "<thing>"},
      {kt_long{5}, 0, u"", kt_long{5}, "!83B03210 83B03210(v, [])", "5"},
  };
  for (const auto& row : rows) {
    Kt_ExprStackObj entry = ElementOf(row.base, row.index, row.key);
    EXPECT_EQ(Write(entry, row.value), row.wanted) << Show(row.base);
    EXPECT_EQ(V(), row.after) << Show(row.base);
  }
  inner.default_prop = u"main";
  Kt_ExprStackObj entry = ElementOf(object, 1);
  EXPECT_EQ(Write(entry, kt_long{7}), "ok");
  EXPECT_EQ(inner.log, "set main=7;");
  Kt_ExprStackObj nobody;
  nobody.SetVarType(&host, u"nobody", nullptr);
  ASSERT_EQ(nobody.ApplyIndex(&host, -1, u""), 0);
  EXPECT_EQ(Write(nobody, kt_long{7}), "!83B03110 83B03110(nobody['(null)'])");
  // A list that the context gives by value is written back.
  host.plain.AddVariable(u"plain", list);
  Kt_ExprStackObj plain;
  plain.SetVarType(&host, u"plain", nullptr);
  ASSERT_EQ(plain.ApplyIndex(&host, 1, u""), 0);
  EXPECT_EQ(Write(plain, kt_long{7}), "ok");
  EXPECT_EQ(Show(host.plain), "plain=[1, 7] ");
}

TEST_F(StackObj, ObjectsThatHaveGone) {
  const Kt_Variant object(Kt_ObjectHolder(nullptr, host.thing.get()));
  Kt_ExprStackObj item = ElementOf(object, 0);
  Kt_ExprStackObj variable;
  variable.SetVarType(&host, u"v", host.variables.FindVariable(u"v"));
  Kt_ExprStackObj component;
  component.SetComponent(host.thing.get());
  Kt_ExprStackObj property(component);
  property.SetObjProp(nullptr, u"size", 0, nullptr, nullptr);
  Kt_ExprStackObj method(component);
  method.SetObjMethod(nullptr, u"echo", nullptr);
  const Kt_ObjectHolder hold(object.GetHolder());
  host.thing.reset();
  EXPECT_EQ(Read(variable), "- 83B03140(InvalidObject)");
  EXPECT_EQ(V(), "<gone>");
  EXPECT_EQ(Read(item), "- 83B03140(InvalidObject)");
  EXPECT_EQ(V(), "-") << "cleared when an element of it is read";
  EXPECT_EQ(Read(property), "-");
  EXPECT_EQ(Read(method), "-");
  EXPECT_EQ(Write(property, kt_long{1}), "ok");
  EXPECT_EQ(Write(component, kt_long{1}), "!-1");
  EXPECT_EQ(component.GetComponent(), nullptr);
  Kt_ExprStackObj entry;
  EXPECT_EQ(Outcome(entry.FromObject(&host, &hold), ""), "!83B03140 83B03140(Invalid Object)");
  for (const bool by_ref : {false, true}) {
    host.variables.FindVariable(u"v")->SetValue(object);
    Kt_Variant value;
    EXPECT_EQ(item.GetObjValue(&host, value, by_ref), 0);
    EXPECT_EQ(host.TakeReports(), "83B03140(InvalidObject)") << by_ref;
    EXPECT_EQ(V(), "-") << by_ref;
  }
  host.variables.FindVariable(u"v")->SetValue(object);
  EXPECT_EQ(Write(item, kt_long{1}), "!83B03140 83B03140(v is inavlid object.)");
  EXPECT_EQ(V(), "-");
}

TEST_F(StackObj, DefaultProperties) {
  Kt_ExprStackObj entry;
  entry.SetComponent(host.thing.get());
  Kt_Variant value;
  EXPECT_EQ(entry.GetStaticValue(&host, value), 0);
  EXPECT_EQ(Show(value), "-");
  EXPECT_EQ(Write(entry, kt_long{3}), "!-1");
  host.thing->default_prop = u"size";
  EXPECT_EQ(entry.GetStaticValue(&host, value), 0);
  EXPECT_EQ(Show(value), "4");
  EXPECT_EQ(Write(entry, kt_long{3}), "ok");
  TestThing source(&host, u"source");
  source.properties.AddVariable(u"main", kt_long{8});
  const Kt_Variant object(Kt_ObjectHolder(nullptr, &source));
  EXPECT_EQ(Write(entry, object), "!-2");
  source.default_prop = u"main";
  EXPECT_EQ(Write(entry, object), "ok");
  EXPECT_EQ(Show(host.thing->properties), "size=8 name='it' ");
  entry.SetComponent(nullptr);
  EXPECT_EQ(entry.GetKind(), EXPR_OBJ_NONE);
  const Kt_ObjectHolder hold(&source, &source);
  EXPECT_EQ(entry.FromObject(&host, &hold), 0);
  EXPECT_EQ(entry.GetKind(), EXPR_OBJ_COMPOSIT);
  EXPECT_EQ(entry.FromObject(&host, nullptr), 0);
  EXPECT_EQ(entry.GetKind(), EXPR_OBJ_NONE);
}

TEST_F(StackObj, Columns) {
  Kt_ExprStackObj entry;
  entry.SetColumn(&data, u"B", -1);
  EXPECT_EQ(Read(entry), "11");
  EXPECT_EQ(Write(entry, kt_long{5}), "ok");
  EXPECT_EQ(entry.ApplyIndex(&host, 3, u""), 0);
  EXPECT_EQ(Read(entry), "31");
  EXPECT_EQ(Write(entry, u"x"), "ok");
  // A key does not change the name of a column that has one.
  EXPECT_EQ(entry.ApplyIndex(&host, -1, u"a"), 0);
  EXPECT_EQ(Read(entry), "31");
  EXPECT_EQ(data.log, "0,1=5;3,1='x';");
  data.is_original = true;
  EXPECT_EQ(Read(entry), "-31");
  data.has_data = false;
  EXPECT_EQ(Read(entry), "-");
  EXPECT_EQ(Write(entry, kt_long{1}), "!-1");
  data.has_data = true;
  Kt_ExprStackObj keyed;
  keyed.SetColumn(&data, u"", -1);
  EXPECT_EQ(keyed.ApplyIndex(&host, -1, u"none"), 0);
  EXPECT_EQ(Read(keyed), "!83B03160 83B03160(data, none)");
  EXPECT_EQ(Write(keyed, kt_long{1}), "!83B03150 83B03150(data)");
  Kt_ExprStackObj none;
  none.SetColumn(host.thing.get(), u"a", 0);
  EXPECT_EQ(Read(none), "-");
}

TEST_F(StackObj, ColumnProperties) {
  const struct {
    kt_long row;
    const char16_t* property;
    const char* behind;  // subtotals after their rows, then in front
    const char* in_front;
  } rows[] = {
      {0, u"count", "1", "1"},
      {0, u"sum", "0", "0"},
      {1, u"AVG", "10", "10"},
      {2, u"Count", "2", "4"},
      {3, u"sum", "'sum 0:1-3'", "'sum 0:4-8'"},
      {2, u"max", "'max 0:0-2'", "'max 0:3-7'"},
      {2, u"min", "'min 0:0-2'", "'min 0:3-7'"},
      {2, u"avg", "'avg 0:0-2'", "'avg 0:3-7'"},
      {2, u"other", "20", "20"},
  };
  for (const auto& row : rows) {
    Kt_ExprStackObj entry;
    entry.SetColumn(&data, u"a", 0);
    ASSERT_EQ(entry.ApplyIndex(&host, row.row, u""), 0);
    entry.SetColumnProp(row.property);
    data.reverse = 0;
    EXPECT_EQ(Read(entry), row.behind) << Kt_WString(row.property).ToUtf8();
    data.reverse = 1;
    EXPECT_EQ(Read(entry), row.in_front) << Kt_WString(row.property).ToUtf8();
  }
}

TEST_F(StackObj, IdentifiersAndOwners) {
  Kt_ExprStackObj entry;
  entry.SetComponent(host.thing.get());
  EXPECT_EQ(entry.GetObjID(), u"thing");
  EXPECT_EQ(entry.GetComponent(), host.thing.get());
  EXPECT_EQ(entry.GetContext(), nullptr);
  host.thing->SetContainer(&host);
  entry.SetComponent(host.thing.get());
  EXPECT_EQ(entry.GetContext(), &host);
  EXPECT_EQ(entry.ApplyIndex(&host, 0, u""), 0);
  EXPECT_EQ(entry.GetKind(), EXPR_OBJ_ITEM);
  EXPECT_EQ(entry.GetContext(), nullptr);
  EXPECT_EQ(entry.GetComponent(), nullptr);
  entry.SetAutoVar(&host, u"name");
  EXPECT_EQ(entry.GetObjID(), u"name");
  EXPECT_EQ(entry.GetContext(), &host);
  entry.SetValueType(nullptr, u"x");
  EXPECT_EQ(entry.GetObjID(), u"");
  EXPECT_EQ(entry.GetContext(), nullptr);
}

}  // namespace
