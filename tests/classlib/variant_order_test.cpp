// SPDX-License-Identifier: MIT
//
// The two orders hold as orders: every pair is decided both ways round alike, and no three values
// go in a circle. The language's comparison promises that over the two sets that docs/values.md
// names, the sort order over everything.
#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <unordered_set>

#include "classlib/text/Kt_Number.h"
#include "classlib/value/Kt_VariantCompare.h"
#include "variant_samples.h"

namespace {

using Values = std::vector<Kt_Variant>;
using Order = std::function<int(const Kt_Variant&, const Kt_Variant&)>;

// -1, 0 or 1; 9 when not exactly one of the three relations holds.
int LanguageOrder(const Kt_Variant& left, const Kt_Variant& right) {
  const int less = Var_Cmp(left, right, kCmpLess);
  const int equal = Var_Cmp(left, right, kCmpEqual);
  const int greater = Var_Cmp(left, right, kCmpGreater);
  if (less + equal + greater != 1) return 9;
  return greater - less;
}

void ExpectTotalOrder(const Values& values, const Order& order) {
  const std::size_t count = values.size();
  std::vector<std::vector<int>> table(count, std::vector<int>(count));
  for (std::size_t a = 0; a < count; ++a) {
    for (std::size_t b = 0; b < count; ++b) {
      const int found = order(values[a], values[b]);
      ASSERT_LE(std::abs(found), 1) << Describe(values[a]) << " and " << Describe(values[b]);
      table[a][b] = found;
    }
  }
  for (std::size_t a = 0; a < count; ++a) {
    ASSERT_EQ(table[a][a], 0) << Describe(values[a]);
    for (std::size_t b = 0; b < count; ++b) {
      ASSERT_EQ(table[a][b], -table[b][a]) << Describe(values[a]) << " and " << Describe(values[b]);
      for (std::size_t c = 0; c < count; ++c) {
        if (table[a][b] > 0 || table[b][c] > 0) continue;
        // a <= b <= c, so a <= c, and strictly if one of the steps is.
        ASSERT_EQ(table[a][c], std::min(table[a][b], table[b][c]))
            << Describe(values[a]) << ", " << Describe(values[b]) << ", " << Describe(values[c]);
      }
    }
  }
}

// Numbers of every kind that lie close together, at every scale where their steps differ.
Values Numbers(std::mt19937_64& random) {
  Values values{0,
                -0.0,
                1,
                -1,
                kMaxLong,
                kMinLong,
                0.1,
                0.3,
                0.1 + 0.2,
                kInfinite,
                -kInfinite,
                5e-324,
                -5e-324,
                1e300,
                Kt_Variant(true),
                Kt_Variant(false),
                Date(1),
                Date(0.1),
                Amount(1000),
                Amount(3000),
                Amount(0),
                Amount(10000),
                Amount(std::numeric_limits<std::int64_t>::max()),
                Amount(std::numeric_limits<std::int64_t>::min())};
  constexpr std::int64_t kRounded = (std::int64_t{1} << 38) * 10000;
  for (const std::int64_t centre :
       {kRounded, std::int64_t{9007199254740992}, std::int64_t{9223372036854770000}}) {
    for (int turn = 0; turn < 8; ++turn) {
      const std::int64_t units = centre + static_cast<std::int64_t>(random() % 16) - 8;
      for (const std::int64_t signed_units : {units, -units}) {
        const double real = static_cast<double>(signed_units) / 10000;
        values.push_back(Amount(signed_units));
        values.push_back(real);
        values.push_back(std::nextafter(real, random() % 2 ? kInfinite : -kInfinite));
      }
    }
  }
  return values;
}

Values Texts() {
  Values values;
  for (const char16_t* text : {u"",
                               u" ",
                               u"0",
                               u"00",
                               u"1",
                               u"9",
                               u"10",
                               u"1e1",
                               u" 9",
                               u"-1",
                               u"0.1",
                               u"inf",
                               u"nan",
                               u"true",
                               u"a",
                               u"A",
                               u"ab",
                               u"1z",
                               u"10z",
                               u"-",
                               u"2024-01-01",
                               u"\x00E9",
                               u"\xD83D\xDE00",
                               u"\xFFFD"}) {
    values.push_back(text);
  }
  values.push_back(Kt_WString(u"a\0b", 3));
  return values;
}

bool ReadsAsNumberOrDate(const Kt_Variant& text) {
  double number = 0.0;
  Kt_DateTime moment;
  return kt_readnumberW(text.AsStringView(), number) ||
         Kt_DateTime::FromText(text.AsStringView(), moment);
}

// Lists of items of `values`, of differing lengths and depths.
void AddLists(Values& values, std::mt19937_64& random) {
  const std::size_t plain_count = values.size();
  for (int turn = 0; turn < 40; ++turn) {
    Kt_VariantList list;
    for (std::size_t left = random() % 4; left > 0; --left) {
      list.Add(values[random() % (turn < 20 ? plain_count : values.size())]);
    }
    values.push_back(Kt_Variant(std::move(list)));
  }
}

class VariantOrder : public testing::Test {
 protected:
  // Everything but numbers and texts.
  Values Others() const {
    return {Kt_Variant(),
            Binary(""),
            Binary("a"),
            Binary("ab"),
            Binary("\xFF"),
            List({}),
            Nested(70, 1),
            Nested(70, 2),
            Object(objects_[0]),
            Object(objects_[1]),
            Kt_Variant(Kt_ObjectHolder())};
  }

  std::mt19937_64 random_{4711};

 private:
  SampleObject objects_[2];
};

void Append(Values& values, const Values& more) {
  values.insert(values.end(), more.begin(), more.end());
}

TEST_F(VariantOrder, LanguageWithoutNumericTexts) {
  Values values = Numbers(random_);
  Append(values, Others());
  for (const Kt_Variant& text : Texts()) {
    if (!ReadsAsNumberOrDate(text)) values.push_back(text);
  }
  AddLists(values, random_);
  ExpectTotalOrder(values, LanguageOrder);
}

TEST_F(VariantOrder, LanguageOverTexts) {
  Values values = Texts();
  values.push_back(Kt_Variant());
  AddLists(values, random_);
  ExpectTotalOrder(values, LanguageOrder);
}

TEST_F(VariantOrder, NumericTextsOrderAsTheirNumbers) {
  const Values numbers = Numbers(random_);
  for (const Kt_Variant& text :
       {Kt_Variant(u"0.1"), Kt_Variant(u" 1e3 "), Kt_Variant(u"-27487790.5")}) {
    const Kt_Variant value(text.ToDouble());
    for (const Kt_Variant& number : numbers) {
      EXPECT_EQ(LanguageOrder(text, number), LanguageOrder(value, number));
      EXPECT_EQ(LanguageOrder(number, text), LanguageOrder(number, value));
    }
  }
}

TEST_F(VariantOrder, SortingOverEverything) {
  Values values = Numbers(random_);
  Append(values, {kNaN, -kNaN, Date(kNaN)});
  Append(values, Texts());
  Append(values, Others());
  AddLists(values, random_);
  ExpectTotalOrder(values, Var_Order);
  EXPECT_GT(Var_Order(kNaN, kInfinite), 0);
  EXPECT_LT(Var_Order(kNaN, u""), 0);
  EXPECT_LT(Var_Order(5, u"4"), 0);
  EXPECT_LT(Var_Order(Kt_Variant(), u""), 0);
}

TEST_F(VariantOrder, ValuesInContainersOfTheHost) {
  Values values = Numbers(random_);
  Append(values, {kNaN, -kNaN, Date(kNaN), 0.0, -0.0, Amount(15000), 1.5, Date(1.5)});
  Append(values, Texts());
  Append(values, Others());
  AddLists(values, random_);
  for (const Kt_Variant& a : values) {
    for (const Kt_Variant& b : values) {
      ASSERT_EQ(a == b, Var_Order(a, b) == 0) << Describe(a) << " and " << Describe(b);
      ASSERT_EQ(a < b, Var_Order(a, b) < 0);
      if (a == b) {
        ASSERT_EQ(kt::HashOf(a), kt::HashOf(b)) << Describe(a) << " and " << Describe(b);
      }
    }
  }
  EXPECT_TRUE(Kt_Variant(u"a") == u"a" && "a" == Kt_Variant(u"a") && Kt_Variant(5) == 5);
  EXPECT_TRUE(Kt_Variant(u"5") != 5 && Kt_Variant(5) < u"4" && Kt_Variant(kt_long{2}) >= 1.5);
  const std::unordered_set<Kt_Variant> seen{5, 5.0, u"5", List({1, u"a"}), List({1.0, u"a"})};
  EXPECT_EQ(seen.size(), 3u);
}

}  // namespace
