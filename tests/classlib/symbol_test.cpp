// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "classlib/text/Kt_Symbol.h"
#include "classlib/value/Kt_Variable.h"

namespace {

Kt_WString Name(int number) {
  return Kt_WString::FromUtf8("symbol_test_" + std::to_string(number));
}

TEST(Symbol, NamesInAnyCaseShareOne) {
  const Kt_WString first(u"Symbol_Shared");
  const Kt_WString second(u"sYMBOL_sHARED");
  EXPECT_EQ(kt_findsymbolW(first), 0u);
  const Kt_Symbol symbol = kt_makesymbolW(first);
  EXPECT_NE(symbol, 0u);
  EXPECT_EQ(kt_makesymbolW(second), symbol);
  EXPECT_EQ(kt_symbolW(Kt_WString(u"symbol_shared")), symbol);
  EXPECT_EQ(kt_symbolnameW(symbol), u"Symbol_Shared");
  EXPECT_EQ(kt_makesymbolW({}), 0u);
}

// The last text that was asked takes the symbol with it: by going, or by becoming another.
TEST(Symbol, GoWithTheLastText) {
  const std::size_t before = kt_symbolcountW();
  {
    Kt_WString text(u"Symbol_Going");
    const Kt_Symbol symbol = kt_makesymbolW(text);
    const Kt_WString copy(text);
    text += u"_";
    EXPECT_EQ(kt_findsymbolW(Kt_WString(u"symbol_going")), symbol);
    EXPECT_NE(kt_makesymbolW(text), symbol);
    EXPECT_EQ(kt_symbolcountW(), before + 2);
    text.SetAt(0, u'Z');
    EXPECT_EQ(kt_symbolcountW(), before + 1);
  }
  EXPECT_EQ(kt_symbolcountW(), before);
  EXPECT_EQ(kt_findsymbolW(Kt_WString(u"symbol_going")), 0u);
}

// Lists find their variables however long ago the text went that they were added by.
TEST(Symbol, StayWhileVariablesHaveThem) {
  const std::size_t before = kt_symbolcountW();
  {
    Kt_VariableList owner;
    Kt_VariableList list;
    for (int number = 0; number < 100; ++number) list.AddVariable(Name(number), kt_long{number});
    Kt_Variant reference;
    reference.SetRef(*owner.AddVariable(u"symbol_target", u"shared"));
    list.AddRefVariable(Name(100), reference);
    list.AddRefVariable(Name(0), reference);
    for (int other = 200; other < 400; ++other) (void)kt_makesymbolW(Name(other));
    for (int number = 1; number < 100; ++number) {
      ASSERT_NE(list.FindVariable(Name(number)), nullptr);
      EXPECT_EQ(list.FindVariable(Name(number))->GetValue().ToInteger(), number);
      EXPECT_EQ(list.GetItemName(number), Name(number));
    }
    EXPECT_EQ(list.FindVariable(Name(100)), list.FindVariable(Name(0)));
    EXPECT_EQ(list.GetItemName(100), Name(100));
    list.RemoveVariable(Name(7));
    EXPECT_EQ(kt_findsymbolW(Name(7)), 0u);
  }
  // Names of references are kept.
  EXPECT_EQ(kt_symbolcountW(), before + 2);
}

TEST(Symbol, ThreadsMakeAndDropTheSameNames) {
  constexpr int kNames = 50;
  const std::size_t before = kt_symbolcountW();
  const auto work = [](int shift, bool* is_right) {
    for (int round = 0; round < 400; ++round) {
      const Kt_WString one = Name(1000 + (round * 7 + shift) % kNames);
      const Kt_WString other = Name(1000 + (round * 3 + 11) % kNames);
      const Kt_Symbol symbol = kt_makesymbolW(one);
      const bool same_text = one == other;
      *is_right = *is_right && symbol != 0 && kt_symbolnameW(symbol) == one &&
                  (kt_makesymbolW(other) == symbol) == same_text;
    }
  };
  std::vector<std::thread> threads;
  bool right[4] = {true, true, true, true};
  for (int thread = 0; thread < 4; ++thread) threads.emplace_back(work, thread, &right[thread]);
  for (std::thread& thread : threads) thread.join();
  for (const bool is_right : right) EXPECT_TRUE(is_right);
  EXPECT_EQ(kt_symbolcountW(), before);
}

}  // namespace
