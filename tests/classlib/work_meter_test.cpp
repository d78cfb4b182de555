// SPDX-License-Identifier: MIT
//
// Long texts are worked on in pieces, so that a run can be stopped between two: what comes out must
// not depend on where the pieces meet. What a meter counts, and how meters nest.
#include <gtest/gtest.h>

#include "classlib/base/Kt_Charge.h"
#include "classlib/base/Kt_Codes.h"
#include "classlib/base/Kt_WorkMeter.h"
#include "classlib/text/Kt_AString.h"
#include "classlib/text/Kt_Unicode.h"
#include "classlib/value/Kt_Variant.h"

namespace {

using kt::detail::kPieceUnits;

// `core` after so many fill characters that the border of two pieces passes through it.
template <class Map>
void ExpectSameAnywhere(std::u16string_view fill, std::u16string_view core, Map map) {
  const std::u16string_view rest = u" and so on";
  const auto mapped_fill = map(std::u16string(fill));
  for (std::size_t shift = 0; shift <= core.size() + 1; ++shift) {
    const std::size_t count = (kPieceUnits - shift) / fill.size();
    std::u16string text;
    for (std::size_t at = 0; at < count; ++at) text += fill;
    const auto whole = map(text + std::u16string(core) + std::u16string(rest));
    const auto small = map(std::u16string(fill) + std::u16string(core) + std::u16string(rest));
    ASSERT_GE(whole.size(), small.size());
    EXPECT_EQ(whole.substr(whole.size() - small.size()), small) << shift;
    EXPECT_EQ(whole.size(), small.size() + (count - 1) * mapped_fill.size()) << shift;
  }
}

std::u16string Lower(const std::u16string& text) {
  Kt_WString out;
  EXPECT_TRUE(kt_tolowerW(Kt_WString(text), out));
  return std::u16string(out.View());
}
std::u16string Upper(const std::u16string& text) {
  Kt_WString out;
  EXPECT_TRUE(kt_toupperW(Kt_WString(text), out));
  return std::u16string(out.View());
}
std::string Utf8(const std::u16string& text) { return Kt_WString(text).ToUtf8(); }
std::u16string ThereAndBack(const std::u16string& text) {
  return std::u16string(Kt_WString::FromUtf8(Utf8(text)).View());
}
std::u16string Korean(const std::u16string& text) {
  return std::u16string(Kt_AString(Kt_WString(text), 949).ToWString(949).View());
}

TEST(Pieces, MeetWithoutATrace) {
  const std::u16string_view cores[] = {
      u"\u039F\u0394\u039F\u03A3 ",                          // a final sigma
      u"\u039F\u03A3\u0301\u0301.\u0301\u0397",              // one with marks behind it, in a word
      u"\u03A3\u03A3\u03A3\u03A3 \u03A3",                    // a run of them, and one alone
      u"\U0001D400\U00010400\u00DFstra\u00DFe\uFB03\u0130",  // pairs, and what gets longer
  };
  for (const std::u16string_view core : cores) {
    SCOPED_TRACE(Utf8(std::u16string(core)));
    ExpectSameAnywhere(u"\u00C9", core, Lower);
    ExpectSameAnywhere(u"\u00E9", core, Upper);
    ExpectSameAnywhere(u"\u00E9", core, Utf8);
    ExpectSameAnywhere(u"a", core, Utf8);
    ExpectSameAnywhere(u"a", core, ThereAndBack);
    ExpectSameAnywhere(u"\uAC00", u"\uAC01a\uAC02", Korean);
  }
  // No place to cut at all.
  const std::u16string sigmas(3 * kPieceUnits, u'\u03A3');
  EXPECT_EQ(Lower(sigmas), std::u16string(sigmas.size() - 1, u'\u03C3') + u"\u03C2");
}

TEST(Meter, Counts) {
  constexpr std::int64_t kStep = Kt_WorkMeter::kUnitsPerStep;
  struct Row {
    std::int64_t limit;
    std::int64_t units;
    bool goes_on;
  };
  for (const Row& row : {Row{10, 10 * kStep, true}, Row{10, 10 * kStep + 1, false},
                         Row{0, std::int64_t{1} << 60, true}, Row{1, 1, true},
                         Row{std::int64_t{1} << 62, std::int64_t{1} << 50, true}}) {
    Kt_RunBudget budget;
    budget.limit_steps = row.limit;
    const Kt_BoundedWork work(budget);
    EXPECT_EQ(kt::Charge(row.units), row.goes_on) << row.limit;
    EXPECT_EQ(kt::Charge(0), row.goes_on) << row.limit;
    EXPECT_EQ(work.GetStopCode(), row.goes_on ? kOk : kErrStepBudget) << row.limit;
    EXPECT_EQ(Kt_WorkMeter::Current() != nullptr, row.limit > 0);
  }
  Kt_RunBudget budget;
  budget.limit_steps = 1;
  const Kt_BoundedWork work(budget);
  EXPECT_TRUE(kt::ChargeTime(1000 * kStep));
  EXPECT_TRUE(kt::Charge(kStep));
  EXPECT_FALSE(kt::Charge(1));
}

TEST(Meter, Nests) {
  Kt_RunBudget wide;
  Kt_RunBudget narrow;
  wide.limit_steps = 100;
  narrow.limit_steps = 10;
  const Kt_BoundedWork outer(wide);
  for (int round = 0; round < 9; ++round) {
    const Kt_BoundedWork inner(narrow);
    EXPECT_TRUE(kt::Charge(10 * Kt_WorkMeter::kUnitsPerStep));
    EXPECT_FALSE(kt::Charge(1));
    EXPECT_EQ(inner.GetStopCode(), kErrStepBudget);
    EXPECT_EQ(outer.GetStopCode(), kOk);
  }
  const Kt_BoundedWork inner(narrow);
  EXPECT_FALSE(kt::Charge(10 * Kt_WorkMeter::kUnitsPerStep));  // what is over counts outside too
  EXPECT_EQ(outer.GetStopCode(), kErrStepBudget);
}

// Great lists that a stopped run lets go of are freed when it ends, and no sooner.
TEST(Meter, ListsAreFreedAfterTheStop) {
  Kt_RunBudget budget;
  budget.limit_steps = 1;
  Kt_Variant object(u"a text of some length");
  const Kt_WString text = object.AsString();
  {
    const Kt_BoundedWork work(budget);
    Kt_VariantList list;
    for (int item = 0; item < 100000; ++item) list.Add(object);
    EXPECT_FALSE(kt::Charge(1 << 20));
    list.Clear();
    EXPECT_GT(text.GetRep()->refs.load(), 1000);
  }
  EXPECT_EQ(text.GetRep()->refs.load(), 2);
}

}  // namespace
