// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <string>

#include "expr/Kt_ExprLint.h"

namespace {

// The warnings as "name@offset", joined with blanks.
std::string Warnings(const Kt_WString& text) {
  std::vector<Kt_ExprWarning> found;
  FindExprWarnings(text, found);
  std::string out;
  for (const Kt_ExprWarning& warning : found) {
    if (!out.empty()) out += ' ';
    out += Kt_WString(warning.name).ToUtf8() + "@" + std::to_string(warning.offset);
    EXPECT_FALSE(warning.text.IsEmpty());
  }
  return out;
}

TEST(ExprLint, FindsPlaces) {
  const struct {
    const char16_t* text;
    const char* warnings;
  } rows[] = {
      {u"", ""},
      {u"a && b && c", ""},
      {u"a && b || c", "mixed-and-or@7"},
      {u"  a or b and c or d", "mixed-and-or@9"},
      {u"(a && b) || (c && d)", ""},
      {u"f(a && b, c || d)", ""},
      {u"f(a, b || c && d) && x[e && g || h]", "mixed-and-or@12 mixed-and-or@30"},
      // Well grouped.
      {u"1 + 2 * 3 - 4 / 5 = 6", ""},
      {u"a * b + c * d + e", ""},
      {u"!a = b", ""},
      {u"-a * b + c", ""},
      {u"a - (b * c * d) - e", ""},
      {u"a * b[c] + d", ""},
      {u"a.b(c * d * e) - f", ""},
      // Not grouped by precedence.
      {u"a - b * c * d - e", "marker-grouping@2"},
      {u"a = b + c * d * e + f", "marker-grouping@6"},
      {u"x * a[b[1]] + c", "marker-grouping@2"},
      {u"f(1, a - b * c / d - e, g - h * i * j - k)", "marker-grouping@7 marker-grouping@26"},
      {u"(a - b * c * d - e) * 2", "marker-grouping@3"},
      // Lists item by item.
      {u"[ a, b && c || d, [x - y * z * u - v], 'p && q || r' ]",
       "mixed-and-or@12 marker-grouping@21"},
      {u"[]", ""},
      {u"[", ""},
      // The point and the 9.
      {u"x .9", "dot-nine@2"},
      {u"1 + .9", "dot-nine@4"},
      {u"'.9' + .8 + 1.9", ""},
      // Loads, but does not parse.
      {u"2 * -3", "fails-at-run-time@4"},
      {u"a[!b]", "fails-at-run-time@2"},
      // Faulty text is not judged further.
      {u"a && b || ", ""},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(Warnings(Kt_WString(row.text)), row.warnings) << Kt_WString(row.text).ToUtf8();
  }
}

TEST(ExprLint, ShowsTheGrouping) {
  std::vector<Kt_ExprWarning> found;
  FindExprWarnings(Kt_WString(u"  1 - 2 * 3 * four.x - 5 "), found);
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(found[0].text.ToUtf8(),
            "not grouped by precedence: this is (1) - (2 * 3 * four.x - 5); use parentheses");
}

TEST(ExprLint, StandsDeepAndLongText) {
  std::u16string deep(200000, u'[');
  deep += std::u16string(200000, u']');
  EXPECT_EQ(Warnings(Kt_WString(std::u16string_view(deep))), "");
  std::u16string chain(u"a");
  for (int n = 0; n < 100000; ++n) chain += u" - b * c * d";
  // Each of these leaves an operator pending, until there are too many.
  EXPECT_EQ(Warnings(Kt_WString(std::u16string_view(chain))), "fails-at-run-time@119994");
}

}  // namespace
