// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "classlib/text/Kt_WString.h"
#include "object/Kt_NameTables.h"

namespace {

template <class Row>
Row MakeRow(std::u16string_view name) {
  Row row{};
  name.copy(row.name, kTableNameSize - 1);
  return row;
}

template <class Row>
struct Ops;
template <>
struct Ops<_EXPR_OBJPROP_INFO> {
  static constexpr auto kFind = FindObjPropFuncIdx;
  static constexpr auto kSort = SortObjPropMap;
};
template <>
struct Ops<_EXPR_OBJMETHOD_INFO> {
  static constexpr auto kFind = FindObjMethodFuncIdx;
  static constexpr auto kSort = SortObjMethodMap;
};
template <>
struct Ops<_EXPR_OBJEVENT_INFO> {
  static constexpr auto kFind = FindObjEventFuncIdx;
  static constexpr auto kSort = SortObjEventMap;
};
template <>
struct Ops<_EXPR_EXTAPI_INFO> {
  static constexpr auto kFind = FindExtApiFuncIdx;
  static constexpr auto kSort = SortExtApiMap;
};

template <class Row>
class NameTables : public testing::Test {};
using Rows = testing::Types<_EXPR_OBJPROP_INFO, _EXPR_OBJMETHOD_INFO, _EXPR_OBJEVENT_INFO,
                            _EXPR_EXTAPI_INFO>;
TYPED_TEST_SUITE(NameTables, Rows);

std::u16string RandomName(std::mt19937& random) {
  std::u16string name;
  const int length = 1 + static_cast<int>(random() % 4);
  for (int unit = 0; unit < length; ++unit) name += u"abcABCzZ_9\u00e4\u00c4"[random() % 12];
  return name;
}

template <class Row>
int FindByWalking(const std::vector<Row>& table, const std::u16string& name) {
  for (std::size_t row = 0; row < table.size(); ++row) {
    if (kt_stricmpW(table[row].name, name.c_str()) == 0) return static_cast<int>(row);
  }
  return -1;
}

// Every number of rows, so that ranges of each parity end in one record and in two.
TYPED_TEST(NameTables, SortedAndFoundAsByWalking) {
  std::mt19937 random(7);
  for (int count = 1; count <= 70; ++count) {
    std::vector<TypeParam> table;
    while (table.size() < static_cast<std::size_t>(count)) {
      const std::u16string name = RandomName(random);
      if (FindByWalking(table, name) < 0) table.push_back(MakeRow<TypeParam>(name));
    }
    EXPECT_EQ(Ops<TypeParam>::kSort(table.data(), count), 0);
    for (int row = 1; row < count; ++row) {
      ASSERT_LT(kt_stricmpW(table[row - 1].name, table[row].name), 0) << count << " rows";
    }
    for (int row = 0; row < count; ++row) {
      EXPECT_EQ(Ops<TypeParam>::kFind(table.data(), count, table[row].name), row) << count;
    }
    for (int probe = 0; probe < 100; ++probe) {
      const std::u16string name = RandomName(random);
      const int found = Ops<TypeParam>::kFind(table.data(), count, name.c_str());
      EXPECT_EQ(std::max(found, -1), FindByWalking(table, name))
          << Kt_WString(name).ToUtf8() << " among " << count;
    }
  }
}

TYPED_TEST(NameTables, SmallTables) {
  TypeParam pair[] = {MakeRow<TypeParam>(u"Beta"), MakeRow<TypeParam>(u"delta")};
  const auto find = Ops<TypeParam>::kFind;
  EXPECT_EQ(find(pair, 2, u"BETA"), 0);
  EXPECT_EQ(find(pair, 2, u"Delta"), 1);
  EXPECT_EQ(find(pair, 2, u"alpha"), -2);
  EXPECT_EQ(find(pair, 2, u"gamma"), -1);
  EXPECT_EQ(find(pair, 2, u"zeta"), -1);
  EXPECT_EQ(find(pair, 1, u"beta"), 0);
  EXPECT_EQ(find(pair, 1, u"delta"), -1);
  EXPECT_EQ(find(pair, 0, u"beta"), 0);  // the first record is compared in any case
  EXPECT_EQ(find(nullptr, 5, u"beta"), -1);
  EXPECT_EQ(Ops<TypeParam>::kSort(nullptr, 0), 0);
  EXPECT_EQ(Ops<TypeParam>::kSort(pair, 0), 0);
  std::swap(pair[0], pair[1]);
  EXPECT_EQ(Ops<TypeParam>::kSort(pair, 2), 0);
  EXPECT_EQ(find(pair, 2, u"beta"), 0);
}

// Sorted already, and the other way round: the recursion must not grow with the table.
TYPED_TEST(NameTables, LargeOrderedTables) {
  constexpr int kCount = 3000;
  std::vector<TypeParam> table;
  for (int row = 0; row < kCount; ++row) {
    const std::string digits = std::to_string(10000 + row);
    table.push_back(MakeRow<TypeParam>(std::u16string(digits.begin(), digits.end())));
  }
  Ops<TypeParam>::kSort(table.data(), kCount);
  EXPECT_EQ(Ops<TypeParam>::kFind(table.data(), kCount, u"12999"), kCount - 1);
  std::reverse(table.begin(), table.end());
  Ops<TypeParam>::kSort(table.data(), kCount);
  EXPECT_EQ(Ops<TypeParam>::kFind(table.data(), kCount, u"10000"), 0);
}

// Records move whole.
TEST(NameTableRows, FieldsMoveWithTheName) {
  int first = 0;
  int second = 0;
  _EXPR_OBJEVENT_INFO events[] = {{1, u"zoom", &first}, {2, u"Click", &second}};
  SortObjEventMap(events, 2);
  EXPECT_EQ(events[0].type, 2);
  EXPECT_EQ(events[0].host_data, &second);
  EXPECT_EQ(events[1].host_data, &first);
}

TEST(NameTableRows, SimplePropertiesAndFunctions) {
  const _EXPR_SIMPLEPROP_INFO props[] = {{u"count", nullptr, nullptr, 1, u""},
                                         {u"row", nullptr, nullptr, 2, u""},
                                         {u"rowidx", nullptr, nullptr, 3, u""}};
  EXPECT_EQ(FindSimplePropFuncIdx(props, 3, u"ROW"), 1);
  EXPECT_EQ(FindSimplePropFuncIdx(props, 3, u"rowid"), -1);
  EXPECT_EQ(FindSimplePropFuncIdx(props, 2, u"a"), -2);
  const _EXPR_INTFUNC_INFO functions[] = {{u"one", nullptr, 0, 1, u""},
                                          {u"two", nullptr, 0, 1, u""}};
  EXPECT_EQ(GetIntFunc(functions, 2, u"a"), nullptr);
  EXPECT_EQ(GetIntFunc(functions, 2, u"z"), nullptr);
}

}  // namespace
