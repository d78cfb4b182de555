// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <limits>
#include <optional>
#include <random>

#include "classlib/base/detail/Kt_Wide.h"
#include "classlib/value/Kt_Currency.h"
#include "common/text.h"

namespace {

constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kLeast = std::numeric_limits<std::int64_t>::min();

std::string Shown(std::optional<Kt_Currency> value) {
  return value ? value->ToText().ToUtf8() : "none";
}

// The text of an operation's result, "overflow" when there is none.
template <class Operation>
std::string Result(Operation operation) {
  Kt_Currency result = Kt_Currency::FromUnits(424242);
  if (operation(result)) return result.ToText().ToUtf8();
  EXPECT_EQ(result.units, 424242) << "a failed operation changes nothing";
  return "overflow";
}

TEST(Currency, FromText) {
  const struct {
    std::u16string_view text;
    const char* wanted;
  } rows[] = {
      {u"12.5", "12.5"},
      {u"  +3\t", "3"},
      {u"-0.0001", "-0.0001"},
      {u".5", "0.5"},
      {u"5.", "5"},
      {u"-0", "0"},
      {u"0.1", "0.1"},
      {u"1.00005", "1.0001"},
      {u"-1.00005", "-1.0001"},
      {u"1.00004999999999999999999999", "1"},
      {u"0.99995", "1"},
      {u"100", "100"},
      {u"922337203685477.5807", "922337203685477.5807"},
      {u"-922337203685477.5808", "-922337203685477.5808"},
      {u"922337203685477.5808", "none"},
      {u"922337203685477.58075", "none"},
      {u"99999999999999999999999999999999999999999999999999999999999", "none"},
      {u"0000000000000000000000000000000000000000000000000000000001.5", "1.5"},
      {u"", "none"},
      {u"-", "none"},
      {u".", "none"},
      {u"1e3", "none"},
      {u"1.2.3", "none"},
      {u"- 1", "none"},
      {u"1 2", "none"},
      {u"12abc", "none"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(Shown(Kt_Currency::FromText(row.text)), row.wanted) << Utf8(row.text);
  }
}

TEST(Currency, FromDouble) {
  const struct {
    double value;
    const char* wanted;
  } rows[] = {
      {0.1, "0.1"},
      {1.00005, "1.0001"},
      {-1.00005, "-1.0001"},
      {1.00015, "1.0002"},
      {-0.00005, "-0.0001"},
      {0.00004, "0"},
      {922337203685477.0, "922337203685477"},
      {922337203685478.0, "none"},
      {1e15, "none"},
      {5e-324, "0"},
      {0.1 + 0.2, "0.3"},
      {-0.12345678901234567, "-0.1235"},
      {-922337203685477.5, "-922337203685477.5"},
      {1e300, "none"},
      {-std::numeric_limits<double>::infinity(), "none"},
      {std::numeric_limits<double>::quiet_NaN(), "none"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(Shown(Kt_Currency::FromDouble(row.value)), row.wanted) << row.value;
  }
  EXPECT_EQ(Shown(Kt_Currency::FromLong(std::numeric_limits<kt_long>::min())), "-2147483648");
  EXPECT_EQ(Kt_Currency::FromUnits(125000).ToDouble(), 12.5);
}

TEST(Currency, SumsStopAtTheEndOfTheRange) {
  const struct {
    std::int64_t a, b;
    const char *sum, *difference;
  } rows[] = {
      {1000, 2000, "0.3", "-0.1"},
      {kMost, 1, "overflow", "922337203685477.5806"},
      {kLeast, 1, "-922337203685477.5807", "overflow"},
      {-1, kLeast, "overflow", "922337203685477.5807"},
      {0, kLeast, "-922337203685477.5808", "overflow"},
  };
  for (const auto& row : rows) {
    const Kt_Currency a{row.a};
    const Kt_Currency b{row.b};
    EXPECT_EQ(Result([&](Kt_Currency& out) { return a.Add(b, out); }), row.sum);
    EXPECT_EQ(Result([&](Kt_Currency& out) { return a.Sub(b, out); }), row.difference);
  }
}

TEST(Currency, ProductsAndQuotientsRoundHalvesAwayFromZero) {
  const struct {
    std::u16string_view a, b;
    const char* wanted;
  } products[] = {
      {u"1.5", u"1.5", "2.25"},
      {u"0.0001", u"0.5", "0.0001"},
      {u"-0.0001", u"0.5", "-0.0001"},
      {u"0.0001", u"0.4999", "0"},
      {u"-0.0003", u"-0.5", "0.0002"},
      {u"30000000", u"30000000", "900000000000000"},
      {u"31000000", u"31000000", "overflow"},
      {u"922337203685477.5807", u"-1", "-922337203685477.5807"},
      {u"-922337203685477.5808", u"-1", "overflow"},
  };
  for (const auto& row : products) {
    const Kt_Currency a = *Kt_Currency::FromText(row.a);
    const Kt_Currency b = *Kt_Currency::FromText(row.b);
    EXPECT_EQ(Result([&](Kt_Currency& out) { return a.Mul(b, out); }), row.wanted) << Utf8(row.a);
    EXPECT_EQ(Result([&](Kt_Currency& out) { return b.Mul(a, out); }), row.wanted) << Utf8(row.a);
  }
  const struct {
    std::u16string_view a;
    kt_long b;
    const char *product, *quotient;
  } by_long[] = {
      {u"10", 3, "30", "3.3333"},
      {u"0.0001", 2, "0.0002", "0.0001"},
      {u"-0.0001", 2, "-0.0002", "-0.0001"},
      {u"0.0003", -2, "-0.0006", "-0.0002"},
      {u"0.0002", 3, "0.0006", "0.0001"},
      {u"0.0001", 3, "0.0003", "0"},
      {u"1", 0, "0", "overflow"},
      {u"-922337203685477.5808", -1, "overflow", "overflow"},
      {u"922337203685477.5807", 2, "overflow", "461168601842738.7904"},
  };
  for (const auto& row : by_long) {
    const Kt_Currency a = *Kt_Currency::FromText(row.a);
    EXPECT_EQ(Result([&](Kt_Currency& out) { return a.Mul(row.b, out); }), row.product);
    EXPECT_EQ(Result([&](Kt_Currency& out) { return a.Div(row.b, out); }), row.quotient);
  }
}

#ifdef __SIZEOF_INT128__
__extension__ using Wide = __int128;
__extension__ using Magnitude = unsigned __int128;

std::optional<Kt_Currency> Fitting(Wide units) {
  if (units > kMost || units < kLeast) return std::nullopt;
  return Kt_Currency::FromUnits(static_cast<std::int64_t>(units));
}

Wide Rounded(Wide value, Wide divisor) {
  const auto magnitude = static_cast<Magnitude>(value < 0 ? -value : value);
  const auto by = static_cast<Magnitude>(divisor < 0 ? -divisor : divisor);
  const auto quotient = static_cast<Wide>((magnitude * 2 + by) / (by * 2));
  return (value < 0) == (divisor < 0) ? quotient : -quotient;
}

// Against integers of 128 bits, over amounts of all sizes and at the ends.
TEST(Currency, ArithmeticIsThatOfWideIntegers) {
  std::mt19937_64 random(20261123);
  const auto amount = [&]() -> std::int64_t {
    const auto bits = static_cast<int>(random() % 63) + 1;  // so it is not negative
    const auto value = static_cast<std::int64_t>(random() >> bits);
    switch (random() % 8) {
      case 0: return kMost - value % 4;
      case 1: return kLeast + value % 4;
      default: return random() % 2 == 0 ? value : -value;
    }
  };
  const auto done = [](auto operation) -> std::optional<Kt_Currency> {
    Kt_Currency result;
    return operation(result) ? std::optional(result) : std::nullopt;
  };
  using Out = Kt_Currency&;
  for (int turn = 0; turn < 200000; ++turn) {
    const Kt_Currency a = Kt_Currency::FromUnits(amount());
    const Kt_Currency b = Kt_Currency::FromUnits(amount());
    const auto number = static_cast<kt_long>(amount());
    const Wide wide = a.units;
    ASSERT_EQ(done([&](Out out) { return a.Add(b, out); }), Fitting(wide + b.units));
    ASSERT_EQ(done([&](Out out) { return a.Sub(b, out); }), Fitting(wide - b.units));
    ASSERT_EQ(done([&](Out out) { return a.Mul(number, out); }), Fitting(wide * number));
    ASSERT_EQ(done([&](Out out) { return a.Mul(b, out); }),
              Fitting(Rounded(wide * b.units, Kt_Currency::kScale)))
        << a.units << " " << b.units;
    if (number == 0) continue;
    ASSERT_EQ(done([&](Out out) { return a.Div(number, out); }), Fitting(Rounded(wide, number)))
        << a.units << " " << number;
    const auto x = static_cast<std::uint64_t>(a.units);
    const auto y = static_cast<std::uint64_t>(b.units);
    const auto wanted = kt::detail::MultiplyWide(x, y);
    const auto halves = kt::detail::MultiplyHalves(x, y);
    ASSERT_TRUE(wanted.high == halves.high && wanted.low == halves.low) << x << " " << y;
  }
}
#endif

}  // namespace
