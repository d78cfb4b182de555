// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <bit>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <string_view>
#include <type_traits>

#include "classlib/text/Kt_Number.h"
#include "classlib/value/Kt_Variant.h"
#include "variant_samples.h"

namespace {

struct RefTo {
  explicit RefTo(Kt_Variable& variable, kt_long item = -1) { value.SetRef(variable, item); }
  Kt_Variant value;
};

// Held by the test, so that releases count.
class Variable {
 public:
  explicit Variable(const Kt_Variant& value) { variable_->SetValue(value); }
  ~Variable() { variable_->Unref(); }
  Kt_Variable& operator*() const { return *variable_; }
  Kt_Variable* operator->() const { return variable_; }

 private:
  Kt_Variable* variable_ = Kt_Variable::New(u"v");
};

// What a value is made of: nothing becomes a boolean or a number that is none.
template <class... Types>
constexpr bool kAllRefused = (!(std::is_constructible_v<Kt_Variant, Types> ||
                                std::is_assignable_v<Kt_Variant&, Types>)&&...);
static_assert(kAllRefused<void*, const int*, Kt_Variant*, const wchar_t*, const char8_t*,
                          std::wstring, std::u8string, std::nullptr_t, std::size_t, std::int64_t>);
static_assert(kAllRefused<char, wchar_t, char8_t, char16_t, char32_t>);
static_assert(std::is_constructible_v<Kt_Variant, bool>);
static_assert(!std::is_assignable_v<Kt_Variant&, bool>);
static_assert(!std::is_constructible_v<Kt_WString, const char*>);
static_assert(!std::is_constructible_v<Kt_WString, bool>);
static_assert(!std::is_constructible_v<Kt_WString, char16_t>);

TEST(Variant, MadeOfTexts) {
  const std::string narrow =
      "B\xC3\xB6"
      "b";
  const std::u16string wide = u"B\u00F6b";
  const char* const no_narrow = nullptr;
  const struct {
    Kt_Variant made, assigned;
    const char16_t* text;
  } rows[] = {
      {Kt_Variant("B\xC3\xB6"
                  "b"),
       Kt_Variant() = "B\xC3\xB6"
                      "b",
       u"B\u00F6b"},
      {Kt_Variant(narrow), Kt_Variant() = narrow, u"B\u00F6b"},
      {Kt_Variant(std::string_view(narrow)), Kt_Variant() = std::string_view(narrow), u"B\u00F6b"},
      {Kt_Variant(wide), Kt_Variant() = wide, u"B\u00F6b"},
      {Kt_Variant(std::u16string_view(wide)), Kt_Variant() = std::u16string_view(wide),
       u"B\u00F6b"},
      {Kt_Variant(u"B\u00F6b"), Kt_Variant() = u"B\u00F6b", u"B\u00F6b"},
      {Kt_Variant(Kt_WString(wide)), Kt_Variant() = Kt_WString(wide), u"B\u00F6b"},
      {"a\xFFz", Kt_Variant() = "a\xFFz", u"a\uFFFDz"},
      {"", Kt_Variant() = "", u""},
      {no_narrow, Kt_Variant() = no_narrow, u""},
  };
  for (const auto& row : rows) {
    for (const Kt_Variant& value : {row.made, row.assigned}) {
      EXPECT_TRUE(value.IsString());
      EXPECT_EQ(value.ToString(), row.text);
    }
  }
  const Kt_VariantList list{"x", u"y", Kt_Variant(narrow)};
  EXPECT_EQ(list.GetItemNN(0).ToString(), u"x");
  EXPECT_EQ(list.GetItemNN(2).ToString(), wide);
  EXPECT_EQ(Kt_Variant(true).GetTag(), kTagBool);
}

TEST(Variant, Conversions) {
  const SampleObject object;
  const Variable variable(u"6.25");
  struct Row {
    Kt_Variant value;
    kt_long integer;
    double real;
    const char16_t* text;
    std::int64_t units;
    double days;
  };
  constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
  const Row rows[] = {
      {Kt_Variant(), 0, 0, u"", 0, 0},
      {kMinLong, kMinLong, -2147483648.0, u"-2147483648", -21474836480000, -2147483648.0},
      {12.75, 12, 12.75, u"12.75", 127500, 12.75},
      {-12.75, -12, -12.75, u"-12.75", -127500, -12.75},
      {3e9, kMaxLong, 3e9, u"3000000000", 30000000000000, 3e9},
      {-kInfinite, kMinLong, -kInfinite, u"-inf", -kMost - 1, -kInfinite},
      {1e300, kMaxLong, 1e300, u"1e+300", kMost, 1e300},
      {Amount(-12345), -1, -1.2345, u"-1.2345", -12345, -1.2345},
      {Date(45292.75), 45292, 45292.75, u"2024-01-01 18:00:00", 452927500, 45292.75},
      {Date(1e12), kMaxLong, 1e12, u"", 10000000000000000, 1e12},
      {Kt_Variant(true), 1, 1, u"1", 10000, 1},
      {Kt_Variant(false), 0, 0, u"0", 0, 0},
      {u" 12.7 apples", 12, 12.7, u" 12.7 apples", 127000, 12.7},
      {u"1e3", 1000, 1000, u"1e3", 10000000, 1000},
      {u"-9999999999", kMinLong, -9999999999.0, u"-9999999999", -99999999990000, -9999999999.0},
      {u"0.1", 0, 0.1, u"0.1", 1000, 0.1},
      {u"900000000000000.0001", kMaxLong, 9e14, u"900000000000000.0001", 9000000000000000001, 9e14},
      {u"2024-01-01 06:00", 2024, 2024, u"2024-01-01 06:00", 20240000, 45292.25},
      {u"x", 0, 0, u"x", 0, 0},
      {Binary("abc"), 0, 0, u"", 0, 0},
      {List({5}), 0, 0, u"5", 0, 0},
      {List({1, 2.5, u"x", Kt_Variant(), List({3, 4}), Object(object)}), 0, 0, u"1,2.5,x,,3,4,obj",
       0, 0},
      {Object(object), 0, 0, u"obj", 0, 0},
      {RefTo(*variable).value, 6, 6.25, u"6.25", 62500, 6.25},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(Describe(row.value));
    EXPECT_EQ(row.value.ToInteger(), row.integer);
    EXPECT_EQ(row.value.ToDouble(), row.real);
    EXPECT_EQ(Utf8(row.value.ToString()), Utf8(row.text));
    EXPECT_EQ(row.value.ToCurrency().units, row.units);
    EXPECT_EQ(row.value.ToDateTime().days, row.days);
  }
  EXPECT_EQ(Kt_Variant(kNaN).ToInteger(), 0);
  EXPECT_EQ(Kt_Variant(kNaN).ToCurrency().units, 0);
}

TEST(Variant, TextOfDoubles) {
  struct Row {
    double value;
    const char16_t* text;
    const char16_t* shortest;
  };
  const Row rows[] = {
      {0.1 + 0.2, u"0.3", u"0.30000000000000004"},
      {-0.0, u"0", u"0"},
      {-1.5, u"-1.5", u"-1.5"},
      {1e-5, u"0.00001", u"0.00001"},
      {0.9999e-5, u"9.999e-06", u"9.999e-06"},
      {123456789012345678.0, u"1.23456789012346e+17", u"1.2345678901234568e+17"},
      {999999999999999.0, u"999999999999999", u"999999999999999"},
      {999999999999999.5, u"1e+15", u"999999999999999.5"},
      {1e15, u"1e+15", u"1e+15"},
      {-1e20, u"-1e+20", u"-1e+20"},
      {1200000, u"1200000", u"1200000"},
      {2.5e12, u"2500000000000", u"2500000000000"},
      {-2147483648.0, u"-2147483648", u"-2147483648"},
      {1.7976931348623157e308, u"1.79769313486232e+308", u"1.7976931348623157e+308"},
      {5e-324, u"5e-324", u"5e-324"},
      {kInfinite, u"inf", u"inf"},
      {-kInfinite, u"-inf", u"-inf"},
      {-kNaN, u"nan", u"nan"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(Utf8(Kt_Variant(row.value).ToString()), Utf8(row.text));
    EXPECT_EQ(Utf8(kt_shortestdoubleW(row.value)), Utf8(row.shortest));
  }
}

// The digits of a number, without zeros before and after them.
std::string DigitsOf(std::string_view text) {
  std::string digits;
  for (const char unit : text.substr(0, text.find('e'))) {
    if (unit >= '0' && unit <= '9' && (unit != '0' || !digits.empty())) digits += unit;
  }
  return digits.substr(0, digits.find_last_not_of('0') + 1);
}

TEST(Variant, TextOfDoublesAgainstTheCLibrary) {
  std::mt19937_64 random(20240229);
  for (int turn = 0; turn < 20000; ++turn) {
    // Any bits, or a decimal number of a size that people write.
    const std::uint64_t bits = random();
    const double value = turn % 2 ? std::bit_cast<double>(bits)
                                  : static_cast<double>(static_cast<std::int64_t>(bits) >> 24) /
                                        std::pow(10.0, static_cast<double>(bits % 9));
    if (!std::isfinite(value)) continue;
    const std::string text = Utf8(kt_doubletextW(value));
    char wanted[40];
    std::snprintf(wanted, sizeof wanted, "%.15g", value);
    ASSERT_EQ(std::strtod(text.c_str(), nullptr), std::strtod(wanted, nullptr)) << text;
    double back = 0.0;
    ASSERT_TRUE(kt_readnumberW(kt_shortestdoubleW(value), back));
    ASSERT_EQ(back, value);
    const char* const end =
        std::to_chars(wanted, wanted + sizeof wanted, value, std::chars_format::scientific).ptr;
    ASSERT_EQ(DigitsOf(Utf8(kt_shortestdoubleW(value))),
              DigitsOf(std::string_view(wanted, static_cast<std::size_t>(end - wanted))));
  }
}

TEST(Variant, CopiesShareUntilChanged) {
  Kt_Variant list = List({1, u"two", List({3})});
  const Kt_Variant copy(list);
  EXPECT_EQ(list.GetList().begin(), copy.GetList().begin());
  EXPECT_TRUE(list.ListSet(0, 10));
  EXPECT_TRUE(list.ListItemW(2)->ListSet(0, 30));
  EXPECT_TRUE(list.ListAdd(4));
  Kt_VariantList taken = list.TakeList();
  EXPECT_TRUE(list.IsEmpty());
  taken.RemoveAt(1);
  list = std::move(taken);
  EXPECT_EQ(Describe(list), "[L10,[L30],L4]");
  EXPECT_EQ(Describe(copy), "[L1,Stwo,[L3]]");

  Kt_Variant text(u"abc");
  const Kt_Variant same_text(text);
  Kt_WString content = text.TakeString();
  content.SetAt(1, u'X');
  text = std::move(content);
  EXPECT_EQ(Describe(text), "SaXc");
  EXPECT_EQ(Describe(same_text), "Sabc");
  EXPECT_EQ(text.GetRefVariable(), nullptr);
}

TEST(Variant, AssigningWhatTheValueItselfHolds) {
  Kt_Variant list = List({List({1, 2}), u"x"});
  list = *list.ListItem(0);
  EXPECT_EQ(Describe(list), "[L1,L2]");
  const Kt_Variant& self = list;
  list = self;
  EXPECT_TRUE(list.ListSet(0, list));  // no ring: the value is what it was
  EXPECT_EQ(Describe(list), "[[L1,L2],L2]");
  EXPECT_TRUE(list.ListAdd(list));
  EXPECT_TRUE(list.ListAdd(*list.ListItem(0)));
  EXPECT_EQ(Describe(list), "[[L1,L2],L2,[[L1,L2],L2],[L1,L2]]");
}

TEST(Variant, ListMembersOnOtherKinds) {
  for (Kt_Variant value : {Kt_Variant(), Kt_Variant(1), Kt_Variant(u"text"), Binary("x")}) {
    const std::string before = Describe(value);
    EXPECT_EQ(value.ListCount(), 0);
    EXPECT_EQ(value.ListItem(0), nullptr);
    EXPECT_EQ(value.ListItemW(0), nullptr);
    EXPECT_FALSE(value.ListSet(0, 1) || value.ListAdd(1));
    EXPECT_TRUE(value.TakeList().IsEmpty() && value.GetList().IsEmpty());
    EXPECT_EQ(Describe(value), before);
  }
  Kt_Variant empty_list = List({});
  EXPECT_TRUE(empty_list.IsList() && empty_list.GetList().IsEmpty());
  EXPECT_EQ(empty_list.ListItemW(-1), nullptr);
  EXPECT_TRUE(empty_list.ListSet(2, 5));
  EXPECT_EQ(Describe(empty_list), "[E,E,L5]");
}

// Against std::vector, with copies taken now and then so that both the shared and the private
// paths run.
TEST(VariantList, AgainstAVector) {
  std::mt19937 random(7);
  const auto below = [&](kt_long limit) { return static_cast<kt_long>(random() % limit); };
  Kt_VariantList list, kept;
  std::vector<kt_long> model, kept_model;
  const auto same = [](const Kt_VariantList& values, const std::vector<kt_long>& wanted) {
    return std::equal(values.begin(), values.end(), wanted.begin(), wanted.end(),
                      [](const Kt_Variant& value, kt_long number) {
                        return value.IsEmpty() ? number == 0 : value.ToInteger() == number;
                      });
  };
  for (kt_long turn = 1; turn < 4000; ++turn) {
    const kt_long count = list.GetCount();
    const kt_long at = below(count + 3);
    const auto inside = static_cast<std::size_t>(std::min(at, count));
    // Every other value is on the heap, so that a lost or doubled one shows.
    const Kt_Variant value = turn % 2 ? Kt_Variant(turn) : Kt_Variant(kt_longtextW(turn));
    switch (below(8)) {
      case 0:
      case 1:
        EXPECT_EQ(list.Add(value), count);
        model.push_back(turn);
        break;
      case 2:
        EXPECT_EQ(list.InsertAt(at, value), at <= count);
        if (at <= count) model.insert(model.begin() + at, turn);
        break;
      case 3:
        list.RemoveAt(at);
        if (at < count) model.erase(model.begin() + at);
        break;
      case 4:
        EXPECT_TRUE(list.SetItem(at, value));
        model.resize(std::max<std::size_t>(model.size(), static_cast<std::size_t>(at) + 1));
        model[static_cast<std::size_t>(at)] = turn;
        break;
      case 5:
        EXPECT_TRUE(list.Resize(at));
        model.resize(static_cast<std::size_t>(at));
        break;
      case 6:
        if (Kt_Variant* const item = list.GetItemW(at)) *item = value, model[inside] = turn;
        break;
      default: kept = list; kept_model = model;
    }
    if (turn % 500 == 0) list.ClearItems(), model.clear();
    ASSERT_TRUE(same(list, model) && same(kept, kept_model)) << "turn " << turn;
  }
}

TEST(VariantList, ItemsOfTheListItself) {
  Kt_VariantList list{u"a", u"b"};
  for (int turn = 0; turn < 50; ++turn) list.Add(list.GetItemNN(turn));
  list.InsertAt(0, list.GetItemNN(51));
  list.SetItem(200, list.GetItemNN(1));
  EXPECT_EQ(Describe(list.GetItemNN(0)), "Sb");
  EXPECT_EQ(Describe(list.GetItemNN(200)), "Sa");
  EXPECT_TRUE(list.GetItemNN(199).IsEmpty() && list.GetItemNN(201).IsEmpty());
}

TEST(VariantList, Limits) {
  Kt_VariantList list{1};
  for (const kt_long index : {-1, kMaxListItems, kMaxLong, kMinLong}) {
    EXPECT_FALSE(list.SetItem(index, 2));
    EXPECT_EQ(list.GetItemW(index), nullptr);
  }
  EXPECT_FALSE(list.Resize(kMaxListItems + 1) || list.Resize(-1) || list.Reserve(kMaxLong));
  EXPECT_EQ(list.GetCount(), 1);
  ASSERT_TRUE(list.Resize(kMaxListItems));  // touches none of the gigabyte it stands for
  EXPECT_EQ(list.Add(2), -1);
  EXPECT_FALSE(list.InsertAt(0, 2));
  EXPECT_EQ(list.GetItemNN(0).ToInteger(), 1);
}

TEST(Variant, References) {
  const Variable variable(List({u"a", u"b"}));
  const RefTo whole(*variable), item(*variable, 1), outside(*variable, 7);
  EXPECT_EQ(whole.value.GetRefItem(), -1);
  EXPECT_EQ(Describe(item.value), "&Sb");
  EXPECT_EQ(Describe(outside.value), "&E");
  EXPECT_TRUE(item.value.AssignThroughRef(u"B"));
  EXPECT_TRUE(outside.value.AssignThroughRef(whole.value));  // the list, inside its own new item
  EXPECT_EQ(Describe(variable->GetValue()), "[Sa,SB,E,E,E,E,E,[Sa,SB]]");
  EXPECT_TRUE(whole.value.AssignThroughRef(item.value));
  EXPECT_EQ(Describe(variable->GetValue()), "SB");
  EXPECT_FALSE(item.value.AssignThroughRef(1));  // no list any more
  EXPECT_FALSE(Kt_Variant(5).AssignThroughRef(1));
  EXPECT_TRUE(item.value.Dereference().IsEmpty());
}

TEST(Variant, ReferencesKeepTheirVariable) {
  Kt_Variant reference;
  {
    const Variable variable(u"kept");
    reference.SetRef(*variable);
  }
  reference.SetRef(*reference.GetRefVariable());  // what drops it is what holds it
  EXPECT_EQ(Describe(reference), "&Skept");
  reference = reference.Dereference();
  EXPECT_EQ(Describe(reference), "Skept");
}

TEST(Variant, ARingOfReferencesIsEmpty) {
  const Variable first(1), second(1);
  Kt_VariantList list;
  list.AddRefVar(RefTo(*second, 0).value);
  first->GetValueW() = list;
  list.Clear();
  list.AddRefVar(RefTo(*first, 0).value);
  second->GetValueW() = list;
  EXPECT_TRUE(RefTo(*first, 0).value.Dereference().IsEmpty());
  EXPECT_EQ(Utf8(first->GetValue().ToString()), "");
  second->GetValueW().Clear();
}

TEST(Variant, Bytes) {
  Kt_Variant value = Binary("some bytes");
  const Kt_Variant copy(value);
  value.SetBinary(copy.AsBinary().data() + 5, 5);
  EXPECT_EQ(std::string(value.AsBinary().begin(), value.AsBinary().end()), "bytes");
  EXPECT_EQ(copy.AsBinary().size(), 10u);
  value.SetBinary(nullptr, 0);
  EXPECT_TRUE(value.GetTag() == kTagBinary && value.AsBinary().empty());
}

TEST(Variant, ObjectsKnowWhenTheyHaveGone) {
  Kt_Variant hold;
  {
    const SampleObject object;
    hold = Object(object);
    EXPECT_EQ(hold.GetHolder().GetObject(), &object);
  }
  EXPECT_TRUE(hold.IsObject() && !hold.GetHolder().IsValid());
  EXPECT_EQ(Utf8(hold.ToString()), "");
  EXPECT_TRUE(Kt_Variant(1).GetHolder().IsEmpty());
}

TEST(Variant, DeepNestingCostsNoStack) {
  Kt_Variant left = Nested(200000, 1);
  const Kt_Variant right = Nested(200000, 2);
  EXPECT_EQ(Var_Order(left, right), 0);
  EXPECT_EQ(Utf8(left.ToString()), "");
  EXPECT_EQ(Utf8(Nested(63, 1).ToString()), "1");
  EXPECT_EQ(Utf8(Nested(64, List({1, 2})).ToString()), "");
  left.Clear();
  // The same through variables that hold lists that refer to variables.
  Kt_Variant chain;
  for (int level = 0; level < 100000; ++level) {
    const Variable variable(List({chain}));
    chain.SetRef(*variable);
  }
  chain.Clear();
}

TEST(Variant, SharedPartsCannotExplode) {
  const auto doubled = [](Kt_Variant core) {
    for (int level = 0; level < 50; ++level) core = List({core, core});
    return core;
  };
  EXPECT_EQ(Var_Order(doubled(1), doubled(1)), 0);
  Kt_Variant result;
  EXPECT_NE(Var_Add(u"", doubled(1), result), 0);
  EXPECT_TRUE(result.IsEmpty());
}

}  // namespace
