// SPDX-License-Identifier: MIT

#include <limits>

#include "builtin_test_util.h"

namespace {

using kt::test::CallBuiltin;
using kt::test::TestContext;

TEST(BuiltinTable, RowsAreFoundInAnyCase) {
  const _EXPR_INTFUNC_INFO* const rows = Kt_ExprObject::GetIntFuncMap();
  ASSERT_EQ(Kt_ExprObject::GetIntFuncCount(), 96);
  for (int row = 0; row < 96; ++row) {
    std::u16string name = rows[row].name;
    EXPECT_TRUE(Kt_ExprObject::GetIntFunc(name.c_str()) == rows[row].handler);
    for (char16_t& unit : name) unit = unit >= u'a' && unit <= u'z' ? unit - 32 : unit;
    EXPECT_TRUE(Kt_ExprObject::GetIntFunc(name.c_str()) == rows[row].handler);
    if (row > 0) {
      EXPECT_LT(kt_stricmpW(rows[row - 1].name, rows[row].name), 0) << row;
    }
    // The host shows the call forms, each of which begins with the name; one row shows another.
    const Kt_WString help(rows[row].help);
    const bool starts = help.Findi(Kt_WString(rows[row].name) + u"(") == 0;
    EXPECT_TRUE(starts || help.Find(u"ParseDate(") == 0) << help.ToUtf8();
  }
}

TEST(BuiltinTable, AliasesShareAHandler) {
  constexpr const char16_t* kPairs[][2] = {
      {u"bound", u"length"},        {u"indexOf", u"pos"},         {u"substr", u"mid"},
      {u"toFloat", u"toNumber"},    {u"parseFloat", u"toNumber"}, {u"parseInt", u"toInteger"},
      {u"toLowerCase", u"toLower"}, {u"toUpperCase", u"toUpper"}, {u"isValidObject", u"isValid"},
  };
  for (const auto& pair : kPairs) {
    EXPECT_TRUE(Kt_ExprObject::GetIntFunc(pair[0]) == Kt_ExprObject::GetIntFunc(pair[1]));
  }
  EXPECT_FALSE(Kt_ExprObject::GetIntFunc(u"toUpper") == Kt_ExprObject::GetIntFunc(u"toLower"));
  EXPECT_TRUE(Kt_ExprObject::GetIntFunc(u"nothing") == nullptr);
  EXPECT_TRUE(Kt_ExprObject::GetIntFunc(u"") == nullptr);
}

// Values of every kind and from the edges of each.
std::vector<Kt_Variant> Samples(TestContext& context) {
  Kt_Variant reference;
  reference.SetRef(*context.variables.AddVariable(u"v", Kt_Variant(u"by reference")));
  Kt_Variant binary;
  binary.SetBinary("\xED\x95", 2);
  Kt_Variant gone;
  {
    TestContext passing;
    gone = Kt_Variant(Kt_ObjectHolder(&passing, &passing));
  }
  Kt_WString long_text;
  for (int part = 0; part < 500; ++part) long_text += u"a,\u00E9\U0001F600'\"%2";
  return {
      Kt_Variant(),
      Kt_Variant(kt_long{0}),
      Kt_Variant(kt_long{-1}),
      Kt_Variant(kt_long{20240229}),
      Kt_Variant(std::numeric_limits<kt_long>::min()),
      Kt_Variant(std::numeric_limits<kt_long>::max()),
      Kt_Variant(2.5),
      Kt_Variant(-1e300),
      Kt_Variant(std::numeric_limits<double>::quiet_NaN()),
      Kt_Variant(std::numeric_limits<double>::infinity()),
      Kt_Variant(true),
      Kt_Variant(Kt_Currency::FromUnits(std::numeric_limits<std::int64_t>::min())),
      Kt_Variant(Kt_DateTime{45351.5}),
      Kt_Variant(Kt_DateTime{1e18}),
      Kt_Variant(u""),
      Kt_Variant(u"2024-02-29 10:00"),
      Kt_Variant(u"\xD800 lone"),
      Kt_Variant(long_text),
      Kt_Variant(Kt_VariantList{Kt_Variant(kt_long{1}), Kt_Variant(u"x")}),
      binary,
      Kt_Variant(Kt_ObjectHolder(&context, &context)),
      gone,
      reference,
  };
}

// Sizes in the limits are real memory: the counts of these functions come from small samples only.
bool TakesACount(const Kt_WString& name) {
  for (const char16_t* other : {u"array", u"lpad", u"rpad", u"space", u"NumFormat"}) {
    if (name == other) return true;
  }
  return false;
}

bool IsBigCount(const Kt_Variant& value) {
  const kt_long count = value.ToInteger();
  return count > 100000 && count < std::numeric_limits<kt_long>::max();
}

int MostArguments(const _EXPR_INTFUNC_INFO& row) {
  int commas = 0;
  for (const char16_t* unit = row.help; *unit != u'\0'; ++unit) commas += *unit == u',' ? 1 : 0;
  return commas + 1;
}

void CheckCall(TestContext& context, const _EXPR_INTFUNC_INFO& row, const Kt_VariantList& args) {
  context.errors.clear();
  Kt_Variant result;
  const kt_long code = (static_cast<Kt_Object&>(context).*row.handler)(&args, result);
  if (code == kOk || Kt_WString(row.name) == u"eval") return;
  // Only sizes fail, and then once.
  EXPECT_TRUE(code == kErrStringTooLong || code == kErrListTooLong)
      << Kt_WString(row.name).ToUtf8() << " with " << args.GetCount() << " arguments";
  EXPECT_EQ(context.errors.size(), 1u);
}

// Every function with every count of arguments, all of one sample, and with each sample among
// ordinary arguments.
TEST(BuiltinTable, AnyArgumentsGiveAResult) {
  TestContext context;
  const std::vector<Kt_Variant> samples = Samples(context);
  for (int index = 0; index < Kt_ExprObject::GetIntFuncCount(); ++index) {
    const _EXPR_INTFUNC_INFO& row = Kt_ExprObject::GetIntFuncMap()[index];
    Kt_Variant result;
    EXPECT_EQ((static_cast<Kt_Object&>(context).*row.handler)(nullptr, result), kOk);
    for (const Kt_Variant& sample : samples) {
      if (TakesACount(row.name) && IsBigCount(sample)) continue;
      Kt_VariantList same;
      for (int count = 0; count <= MostArguments(row) + 2; ++count) {
        CheckCall(context, row, same);
        same.Add(sample);
        Kt_VariantList mixed;
        for (int arg = 0; arg < count; ++arg) mixed.Add(Kt_Variant(kt_long{3}));
        mixed.Add(sample);
        mixed.Add(Kt_Variant(u"a"));
        mixed.Add(Kt_Variant(kt_long{2}));
        CheckCall(context, row, mixed);
      }
    }
  }
}

TEST(BuiltinTable, TooFewArgumentsLeaveTheResult) {
  TestContext context;
  for (const char16_t* name : {u"abs", u"mid", u"NToken", u"decode", u"iif", u"split", u"trim"}) {
    Kt_Variant result(kt_long{77});
    EXPECT_EQ(CallBuiltin(context, name, {}, result), kOk);
    EXPECT_EQ(result.ToInteger(), 77) << Kt_WString(name).ToUtf8();
  }
}

}  // namespace
