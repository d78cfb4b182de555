// SPDX-License-Identifier: MIT
#include "cli/Kt_Json.h"
#include "cli/Kt_Text.h"
#include "cli_test_util.h"

namespace {

using namespace kt::cli;

TEST(CliText, DisplayWidth) {
  const struct {
    std::u16string_view text;
    int width;
  } kRows[] = {
      {u"", 0},       {u"abc", 3}, {u"é", 1},  {u"e\u0301", 1}, {u"漢字", 4},
      {u"ｱ", 1},      {u"Ａ", 2},  {u"한", 2}, {u"😀", 2},       {u"a\u200Bb", 2},
      {u"\xD83D", 1}, {u"█", 1},   {u"Ω≠", 2},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(DisplayWidth(row.text), row.width) << Kt_WString(row.text).ToUtf8();
  }
}

TEST(CliText, PlacesCountCharactersAndEveryKindOfLineEnd) {
  const std::u16string_view text = u"a\r\nb\rc\n😀x";
  const struct {
    std::size_t offset;
    kt_long line;
    kt_long column;
  } kRows[] = {{0, 1, 1}, {1, 1, 2}, {3, 2, 1}, {5, 3, 1}, {7, 4, 1}, {9, 4, 2}, {10, 4, 3}};
  for (const auto& row : kRows) {
    const Place place = PlaceAt(text, row.offset);
    EXPECT_EQ(place.line, row.line) << row.offset;
    EXPECT_EQ(place.column, row.column) << row.offset;
  }
  EXPECT_EQ(LineStart(text, 1), 0u);
  EXPECT_EQ(LineStart(text, 2), 3u);
  EXPECT_EQ(LineStart(text, 3), 5u);
  EXPECT_EQ(LineStart(text, 4), 7u);
  EXPECT_EQ(LineStart(text, 5), text.size());
}

TEST(CliText, CaretStandsUnderThePlace) {
  const struct {
    std::u16string_view text;
    std::size_t offset;
    std::size_t length;
    std::string shown;
  } kRows[] = {
      {u"abc", 1, 1, "abc\n ^\n"},
      {u"abc", 3, 1, "abc\n   ^\n"},
      {u"one\ntwo three\nfour", 8, 5, "two three\n    ^~~~~\n"},
      {u"\tx", 1, 1, "        x\n        ^\n"},
      {u"a\tx", 2, 1, "a       x\n        ^\n"},
      {u"漢字x", 2, 1, "漢字x\n    ^\n"},
      {u"x漢字", 1, 2, "x漢字\n ^~~~\n"},
      {u"e\u0301x", 2, 1, "e\u0301x\n ^\n"},
      {u"a\u202Eb\u2066\u0085c", 5, 9,
       "a\\u{202E}b\\u{2066}\\u{85}c\n" + std::string(24, ' ') + "^\n"},
      {u"a\x1b[1mb", 5, 9, "a␛[1mb\n     ^\n"},
      {u"", 0, 1, "\n^\n"},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(LineWithCaret(row.text, row.offset, row.length), row.shown);
  }
}

TEST(CliText, LongLinesAreCutAroundThePlace) {
  const std::u16string text = std::u16string(5000, u'a') + u'B' + std::u16string(5000, u'c');
  const std::string shown = LineWithCaret(text, 5000);
  const std::size_t line_end = shown.find('\n');
  EXPECT_LT(line_end, 200u);
  EXPECT_EQ(shown.find('B'), shown.find('^') - line_end - 1);
  EXPECT_TRUE(shown.starts_with("...a"));
  EXPECT_EQ(shown.substr(line_end - 4, 4), "c...");
}

Kt_Variant Nested(int depth) {
  Kt_Variant value(kt_long{1});
  for (int level = 0; level < depth; ++level) value = Kt_VariantList{value};
  return value;
}

TEST(CliText, Values) {
  const Kt_VariantList list{Kt_Variant(kt_long{1}), u"a", Kt_Variant(), Kt_VariantList{2.5}};
  EXPECT_EQ(ValueText(list), "[1, 'a', null, [2.5]]");
  EXPECT_EQ(ValueText(Kt_VariantList()), "[]");
  EXPECT_EQ(ValueText(Kt_Variant()), "");
  Kt_Variant bytes;
  bytes.SetBinary("\x01\xFE", 2);
  EXPECT_EQ(ValueText(bytes), "01fe");
  EXPECT_NE(ValueText(Nested(1000)).find("[...]"), std::string::npos);
}

// Quick to build, and endless to print.
TEST(CliText, ListsThatShareTheirPartsAreNotPrinted) {
  Kt_Variant shared(kt_long{1});
  for (int level = 0; level < 40; ++level) shared = Kt_VariantList{shared, shared};
  kt::CountedBytes text;
  EXPECT_FALSE(AppendValueText(shared, text));
  EXPECT_LT(text.size(), kMaxPrintedBytes / 2);
  std::string reason;
  EXPECT_FALSE(ToJson(shared, text, reason));
  EXPECT_EQ(reason, kTooLongToPrint);
}

TEST(CliText, Json) {
  const struct {
    Kt_Variant value;
    const char* json;
  } kRows[] = {
      {Kt_Variant(), "null"},
      {Kt_Variant(kt_long{-5}), "-5"},
      {Kt_Variant(0.1), "0.1"},
      {Kt_Variant(1.0 / 0.0), "null"},
      {Kt_Variant(true), "true"},
      {Kt_Variant(u"\"é\n"), "\"\\\"é\\n\""},
      {Kt_Variant(u"\xD800"), "\"\uFFFD\""},
      {Kt_Variant(Kt_VariantList{u"a", Kt_VariantList()}), "[\"a\",[]]"},
  };
  for (const auto& row : kRows) {
    kt::CountedBytes json;
    EXPECT_TRUE(ToJson(row.value, json));
    EXPECT_EQ(json, row.json);
  }
  kt::CountedBytes json;
  EXPECT_TRUE(ToJson(Nested(400), json));
  EXPECT_FALSE(ToJson(Nested(5000), json));
}

}  // namespace
