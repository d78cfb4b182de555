// SPDX-License-Identifier: MIT
//
// One walk serves both orders. The language's comparison (Var_Cmp) reads texts as numbers where
// the other side is one; the sort order (Var_Order) never converts between kinds.
//
// Why the language's order is what it is: 9 == "9", "10" < "9" by code unit and 9 < "10" by value
// cannot all hold in one total order. We keep all three, because each is what a script author
// expects of that pair, and everything else is arranged so that the order is total over values
// without numeric text, and over texts alone. docs/values.md has the exact sets,
// variant_order_test.cpp holds them.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>

#include "classlib/base/Kt_Charge.h"
#include "classlib/text/Kt_Number.h"
#include "classlib/value/Kt_Object.h"
#include "classlib/value/Kt_VarInline.h"
#include "classlib/value/detail/Kt_VarOps.h"
#include "classlib/value/detail/Kt_VariantText.h"

namespace {

constexpr int kUnordered = 2;  // beside -1, 0 and 1: one side is NaN

template <class T>
int Sign(T a, T b) {
  return (a > b) - (a < b);
}

int Turned(int order) { return order == kUnordered ? kUnordered : -order; }

// Amounts up to this size (2^38) compare as their nearest double, so that 0.1 as an amount equals
// the literal 0.1. The step between doubles is less than a ten-thousandth down here, so different
// amounts stay different and the order stays total; above, amounts compare exactly.
constexpr std::int64_t kMaxRoundedUnits = (std::int64_t{1} << 38) * Kt_Currency::kScale;

// REQUIRES: the amount is greater than kMaxRoundedUnits, or less than its negative.
int CompareExactly(std::int64_t units, double real) {
  constexpr double kPastEveryAmount = 1e15;
  if (real >= kPastEveryAmount) return -1;
  if (real <= -kPastEveryAmount) return 1;
  const double floor = std::floor(real);
  std::int64_t whole = units / Kt_Currency::kScale;
  std::int64_t part = units % Kt_Currency::kScale;
  if (part < 0) {
    --whole;
    part += Kt_Currency::kScale;
  }
  if (const int order = Sign(whole, static_cast<std::int64_t>(floor))) return order;
  // Exact: doubles of this size have at most 15 bits after the point.
  const double scaled = (real - floor) * static_cast<double>(Kt_Currency::kScale);
  return Sign(static_cast<double>(part), scaled);
}

int CompareAmount(std::int64_t units, double real) {
  if (units > kMaxRoundedUnits || units < -kMaxRoundedUnits) return CompareExactly(units, real);
  return Sign(Kt_Currency::FromUnits(units).ToDouble(), real);
}

bool IsNumberKind(const Kt_Variant& value) {
  switch (value.GetTag()) {
    case kTagLong:
    case kTagDouble:
    case kTagCurrency:
    case kTagDateTime:
    case kTagBool: return true;
    default: return false;
  }
}

bool IsCurrency(const Kt_Variant& value) { return value.GetTag() == kTagCurrency; }

// REQUIRES: number kinds, neither NaN.
int CompareNumbers(const Kt_Variant& left, const Kt_Variant& right) {
  if (IsCurrency(left) && IsCurrency(right)) return Sign(left.AsInt64(), right.AsInt64());
  if (IsCurrency(left)) return CompareAmount(left.AsInt64(), right.ToDouble());
  if (IsCurrency(right)) return -CompareAmount(right.AsInt64(), left.ToDouble());
  return Sign(left.ToDouble(), right.ToDouble());
}

bool IsNaN(const Kt_Variant& number) { return std::isnan(number.ToDouble()); }

// Of texts as of bytes; equal when the run was stopped on the way.
template <class Units, class Compare>
int CompareUnits(const Units& left, const Units& right, Compare compare) {
  int order = 0;
  const std::size_t common = std::min(left.size(), right.size());
  const bool is_same = kt::detail::InPieces(common, 1, [&](std::size_t first, std::size_t count) {
    order = compare(left.data() + first, right.data() + first, count);
    return order == 0;
  });
  return is_same ? Sign(left.size(), right.size()) : Sign(order, 0);
}

int CompareTexts(std::u16string_view left, std::u16string_view right) {
  return CompareUnits(left, right, std::char_traits<char16_t>::compare);
}

int CompareBytes(std::span<const std::uint8_t> left, std::span<const std::uint8_t> right) {
  return CompareUnits(left, right,
                      [](const std::uint8_t* a, const std::uint8_t* b, std::size_t count) {
                        return count == 0 ? 0 : std::memcmp(a, b, count);
                      });
}

int CompareObjects(const Kt_ObjectHolder& left, const Kt_ObjectHolder& right) {
  const std::less<const Kt_Object*> before;
  const Kt_Object* const first = left.GetObject();
  const Kt_Object* const second = right.GetObject();
  return before(second, first) - before(first, second);
}

class Comparison {
 public:
  enum class Rule : std::uint8_t { kLanguage, kSort };
  explicit Comparison(Rule rule) : rule_(rule) {}

  int Compare(const Kt_Variant& left_value, const Kt_Variant& right_value, int depth) {
    const Kt_Variant& left = left_value.Target();
    const Kt_Variant& right = right_value.Target();
    if (rule_ == Rule::kLanguage) {
      if (left.IsString() && IsNumberKind(right))
        return Turned(CompareWithText(right, left, depth));
      if (right.IsString() && IsNumberKind(left)) return CompareWithText(left, right, depth);
    }
    const Rank rank = RankOf(left, depth);
    if (const int order = Sign(rank, RankOf(right, depth))) {
      // NaN has no place in the language's order, whatever the other side is.
      return IsUnordered(left, depth) || IsUnordered(right, depth) ? kUnordered : order;
    }
    switch (rank) {
      case kNumbers: return CompareWithNaN(left, right, depth);
      case kTexts: return CompareTexts(left.AsStringView(), right.AsStringView());
      case kLists: return CompareLists(left.GetList(), right.GetList(), depth);
      case kBinaries: return CompareBytes(left.AsBinary(), right.AsBinary());
      case kObjects: return CompareObjects(left.GetHolder(), right.GetHolder());
      default: return 0;
    }
  }

 private:
  enum Rank : std::uint8_t { kNothing, kNumbers, kTexts, kLists, kBinaries, kObjects };

  Rank RankOf(const Kt_Variant& value, int depth) const {
    switch (value.GetTag()) {
      case kTagEmpty: return kNothing;
      case kTagString:
        // The language takes the empty text for the empty value, so it stands before numbers.
        return rule_ == Rule::kLanguage && value.AsStringView().empty() ? kNothing : kTexts;
      case kTagList: return depth < kt::detail::kMaxListDepth ? kLists : kNothing;
      case kTagBinary: return kBinaries;
      case kTagObject: return kObjects;
      default: return kNumbers;
    }
  }

  // Inside a list NaN takes its place of the sort order, so that a list equals its copy.
  bool IsUnordered(const Kt_Variant& value, int depth) const {
    return rule_ == Rule::kLanguage && depth == 0 && IsNumberKind(value) && IsNaN(value);
  }

  int CompareWithNaN(const Kt_Variant& left, const Kt_Variant& right, int depth) const {
    const bool left_is_nan = IsNaN(left);
    const bool right_is_nan = IsNaN(right);
    if (!left_is_nan && !right_is_nan) return CompareNumbers(left, right);
    if (rule_ == Rule::kLanguage && depth == 0) return kUnordered;
    return left_is_nan - right_is_nan;
  }

  // A text that reads as the number's kind compares as that, any other text is greater than every
  // number; only the empty text is less, as the empty value is.
  int CompareWithText(const Kt_Variant& number, const Kt_Variant& text_value, int depth) const {
    const std::u16string_view text = text_value.AsStringView();
    Kt_DateTime moment;
    double value = 0.0;
    if (number.GetTag() == kTagDateTime && Kt_DateTime::FromText(text, moment)) {
      return CompareWithNaN(number, Kt_Variant(moment), depth);
    }
    if (kt_readnumberW(text, value)) return CompareWithNaN(number, Kt_Variant(value), depth);
    if (IsUnordered(number, depth)) return kUnordered;
    return text.empty() ? 1 : -1;
  }

  int CompareLists(const Kt_VariantList& left, const Kt_VariantList& right, int depth) {
    if (left.begin() == right.begin()) return 0;  // one buffer, or both empty
    const kt_long common = std::min(left.GetCount(), right.GetCount());
    for (kt_long item = 0; item < common; ++item) {
      if (depth > 0 && ++inner_visits_ > kt::detail::kMaxInnerVisits) return 0;
      if (!charge_.Add(Kt_WorkMeter::kUnitsPerItem)) return 0;
      const int order = Compare(left.begin()[item], right.begin()[item], depth + 1);
      if (order != 0) return order;
    }
    return Sign(left.GetCount(), right.GetCount());
  }

  Rule rule_;
  std::int64_t inner_visits_ = 0;
  kt::detail::RoundCharge charge_;
};

int RelateValues(const Kt_Variant& left, const Kt_Variant& right, std::int16_t relation) {
  const int order = Comparison(Comparison::Rule::kLanguage).Compare(left, right, 0);
  return order == kUnordered ? 0 : kt::detail::Relate(order, 0, relation);
}

}  // namespace

int Var_Cmp(const Kt_Variant& left, const Kt_Variant& right, std::int16_t relation) {
  // The commonest test of a text needs no order: different lengths are different texts.
  if (relation == kCmpEqual && left.IsString() && right.IsString()) {
    return kt::detail::IsSameText(left.AsStringView(), right.AsStringView()) ? 1 : 0;
  }
  if (KT_UNLIKELY(kt::detail::IsAnyObject(left, right))) {
    return kt::detail::WithValues(left, right,
                                  [&](const Kt_Variant& first, const Kt_Variant& second) {
                                    return RelateValues(first, second, relation);
                                  });
  }
  return RelateValues(left, right, relation);
}

int Var_Order(const Kt_Variant& left, const Kt_Variant& right) {
  return Comparison(Comparison::Rule::kSort).Compare(left, right, 0);
}
