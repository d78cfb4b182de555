// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>

#include "classlib/text/Kt_Symbol.h"
#include "classlib/text/Kt_WString.h"
#include "common/text.h"

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

TEST(WString, ChangingACopyLeavesTheOriginal) {
  const Kt_WString original(u"Original");
  const auto check = [&](auto change, std::u16string_view wanted) {
    Kt_WString copy(original);
    change(copy);
    EXPECT_EQ(Utf8(copy), Utf8(wanted));
    EXPECT_EQ(Utf8(original), "Original");
  };
  check([](Kt_WString& s) { s += u"!"; }, u"Original!");
  check([](Kt_WString& s) { s.SetAt(0, u'o'); }, u"original");
  check([](Kt_WString& s) { s.Replace(u"i", u""); }, u"Orgnal");
  check([](Kt_WString& s) { std::fill_n(s.GetBuffer(3), 3, u'x'); }, u"xxx");
  check([](Kt_WString& s) { s.FreeExtra(); }, u"Original");
  check([](Kt_WString& s) { s.SetAt(8, u'x'); }, u"Original");
}

TEST(WString, AppendTakesPartsOfItself) {
  Kt_WString text(u"ab");
  for (int turn = 0; turn < 10; ++turn) text += text;
  EXPECT_EQ(text.GetLength(), 2048);
  text.Append(text.View().substr(1, 3));
  EXPECT_EQ(Utf8(text.View().substr(2046)), "abbab");
  text.Set(text.GetText() + 2047, 2);
  EXPECT_EQ(Utf8(text), "bb");
  EXPECT_EQ(text.GetText()[2], u'\0');
}

TEST(WString, ChangesDropTheCachedSymbol) {
  Kt_WString text(u"name");
  const auto drops = [&](auto change) {
    EXPECT_NE(kt_makesymbolW(text), 0u);
    change();
    return text.GetRep()->symbol == 0;
  };
  EXPECT_TRUE(drops([&] { text += u"x"; }));
  EXPECT_TRUE(drops([&] { text.SetAt(0, u'N'); }));
  EXPECT_TRUE(drops([&] { text.GetBuffer(2); }));
  const Kt_WString shared(text);
  EXPECT_TRUE(drops([&] { text += u"x"; }));
}

TEST(WString, LengthLimit) {
  EXPECT_EQ(Kt_WString::NewRep(kMaxStringLength + 1, 0), nullptr);
  EXPECT_EQ(Kt_WString::NewRep(-1, 0), nullptr);
  EXPECT_TRUE(Kt_WString(u"a", kMaxStringLength + 1).IsEmpty());
  Kt_WString text;
  EXPECT_EQ(text.GetBuffer(kMaxStringLength + 1), nullptr);
  ASSERT_NE(text.GetBuffer(kMaxStringLength), nullptr);
  EXPECT_FALSE(text.Append(u"x"));
  EXPECT_EQ(text.GetLength(), kMaxStringLength);

  Kt_WString half(std::u16string(1 << 14, u'x'));
  EXPECT_EQ(half.Replace(u"x", std::u16string((1 << 13) + 1, u'y')), -1);
  EXPECT_EQ(half.GetLength(), 1 << 14);
  EXPECT_EQ(Utf8(kt_lpadW(u"x", u' ', kMaxStringLength + 1)), "x");
}

TEST(WString, Find) {
  const struct {
    std::u16string_view text, pattern;
    kt_long start, found, found_no_case;
  } rows[] = {
      {u"abcabc", u"bc", 0, 1, 1},    {u"abcabc", u"bc", 2, 4, 4},  {u"abcabc", u"bc", 5, -1, -1},
      {u"abc", u"", 0, -1, -1},       {u"abc", u"a", -5, 0, 0},     {u"abc", u"c", 99, -1, -1},
      {u"", u"a", 0, -1, -1},         {u"abc", u"abcd", 0, -1, -1}, {u"aBc", u"Bc", 0, 1, 1},
      {u"aBc", u"bC", 0, -1, 1},      {u"ÄÖÜ", u"öü", 0, -1, 1},    {u"ΣΑΣ", u"ς", 0, -1, 0},
      {u"한글Ab", u"글aB", 0, -1, 1},
  };
  for (const auto& row : rows) {
    const Kt_WString text(row.text);
    EXPECT_EQ(text.Find(row.pattern, row.start), row.found) << Utf8(row.text);
    EXPECT_EQ(text.Findi(row.pattern, row.start), row.found_no_case) << Utf8(row.text);
  }
  EXPECT_EQ(Kt_WString(u"a\0bc", 4).Find(u"bc"), 2);
}

// Random texts of few letters, made of pieces of the pattern so that nearly every place fits for a
// while. Each letter stands for a block of forty, which drives the search into its second stage.
class NearMisses {
 public:
  explicit NearMisses(unsigned letters) : letters_(letters) {}

  std::u16string Letters(std::size_t length) {
    std::u16string text(length, u'a');
    for (char16_t& unit : text) unit = static_cast<char16_t>(u'a' + Below(letters_));
    return text;
  }
  std::u16string Pattern() {
    std::u16string pattern = Letters(1 + Below(9));
    const std::u16string once = pattern;
    for (std::size_t times = Below(4); times > 0; --times) pattern += once;
    pattern.resize(1 + Below(pattern.size()));
    if (Below(3) == 0) pattern[Below(pattern.size())] = u'b';
    return pattern;
  }
  std::u16string Text(std::u16string_view pattern) {
    std::u16string text;
    while (text.size() < 60) {
      const std::size_t start = Below(pattern.size());
      text += Below(2) ? std::u16string(pattern.substr(start, Below(pattern.size())))
                       : Letters(1 + Below(4));
    }
    return text;
  }
  std::size_t Below(std::size_t limit) { return random_() % limit; }

  static std::u16string InBlocks(std::u16string_view letters) {
    std::u16string text;
    for (const char16_t letter : letters) (text += std::u16string(39, u'a')) += letter;
    return text;
  }

 private:
  std::mt19937 random_{20240229};
  unsigned letters_;
};

TEST(WString, FindAgreesWithAPlainSearch) {
  for (const unsigned letters : {1, 2, 3}) {
    NearMisses make(letters);
    for (int turn = 0; turn < 2000; ++turn) {
      const std::u16string short_pattern = make.Pattern();
      const std::u16string short_text = make.Text(short_pattern);
      const bool blocks = turn % 4 != 0;
      const std::u16string pattern = blocks ? make.InBlocks(short_pattern) : short_pattern;
      const std::u16string text = blocks ? make.InBlocks(short_text) : short_text;
      const auto start = make.Below(5);
      const auto wanted = static_cast<std::int64_t>(text.find(pattern, start));
      ASSERT_EQ(Kt_WString(text).Find(pattern, static_cast<kt_long>(start)), wanted)
          << Utf8(text) << "\n"
          << Utf8(pattern);
      ASSERT_EQ(Kt_WString(text).Findi(pattern, static_cast<kt_long>(start)), wanted);
    }
  }
}

// In quadratic time this runs into the time limit of the test.
TEST(WString, FindAndReplaceAreLinearOnHostileText) {
  const std::u16string run(500'000, u'a');
  Kt_WString text(run + run + run);
  EXPECT_EQ(text.Find(run + u"b" + run), -1);
  EXPECT_EQ(text.Findi(run + u"B" + run), -1);
  EXPECT_EQ(text.Find(u"b" + run), -1);
  EXPECT_EQ(text.Replace(u"a", u"bc"), 1'500'000);
  EXPECT_EQ(text.GetLength(), 3'000'000);
}

TEST(WString, Replace) {
  const struct {
    std::u16string_view text, old_text, new_text, wanted;
    kt_long count;
  } rows[] = {
      {u"aaaa", u"aa", u"b", u"bb", 2}, {u"aaa", u"aa", u"b", u"ba", 1},
      {u"abc", u"b", u"", u"ac", 1},    {u"abc", u"", u"x", u"abc", 0},
      {u"abc", u"abc", u"", u"", 1},    {u"a.b.c", u".", u"..", u"a..b..c", 2},
      {u"abc", u"x", u"y", u"abc", 0},  {u"", u"x", u"y", u"", 0},
  };
  for (const auto& row : rows) {
    Kt_WString text(row.text);
    EXPECT_EQ(text.Replace(row.old_text, row.new_text), row.count) << Utf8(row.text);
    EXPECT_EQ(Utf8(text), Utf8(row.wanted)) << Utf8(row.text);
  }
  Kt_WString own(u"a-b");
  EXPECT_EQ(own.Replace(own.View().substr(1, 1), own.View()), 1);
  EXPECT_EQ(Utf8(own), "aa-bb");
}

TEST(WString, Mid) {
  const Kt_WString text(u"abcdef");
  constexpr kt_long kMost = std::numeric_limits<kt_long>::max();
  const struct {
    kt_long start, count;
    const char* wanted;
  } rows[] = {{0, 6, "abcdef"}, {2, 2, "cd"},       {4, 9, "ef"},       {6, 1, ""},  {9, 1, ""},
              {-2, 3, "abc"},   {2, kMost, "cdef"}, {kMost, kMost, ""}, {1, -1, ""}, {3, 0, ""}};
  for (const auto& row : rows) EXPECT_EQ(text.Mid(row.start, row.count).ToUtf8(), row.wanted);
  EXPECT_EQ(text.Mid(0, 99).GetText(), text.GetText()) << "the whole text shares its buffer";
}

TEST(WString, Numbers) {
  const struct {
    std::u16string_view text;
    double number;
    kt_long integer;
  } rows[] = {
      {u"12", 12, 12},
      {u" \t12abc", 12, 12},
      {u"\x3000-7", -7, -7},
      {u"1e5", 1e5, 1},
      {u"1E-2x", 0.01, 1},
      {u"1e", 1, 1},
      {u"1e+", 1, 1},
      {u"-.5", -0.5, 0},
      {u"+5.", 5, 5},
      {u"1.2.3", 1.2, 1},
      {u".", 0, 0},
      {u"-", 0, 0},
      {u".e5", 0, 0},
      {u"inf", 0, 0},
      {u"nan", 0, 0},
      {u"0x10", 0, 0},
      {u"- 5", 0, 0},
      {u"--5", 0, 0},
      {u"2147483647", 2147483647.0, 2147483647},
      {u"2147483648", 2147483648.0, 2147483647},
      {u"-2147483648", -2147483648.0, std::numeric_limits<kt_long>::min()},
      {u"-99999999999999999999", -1e20, std::numeric_limits<kt_long>::min()},
      {u"1e999", kInfinity, 1},
      {u"-1e99999999999999999999", -kInfinity, -1},
      {u"1e-99999999999999999999", 0, 1},
      {u"0e99999999999999999999", 0, 0},
      {u"1.7976931348623157e308", 1.7976931348623157e308, 1},
      {u"1.7976931348623159e308", kInfinity, 1},
      {u"4.9406564584124654e-324", 4.9406564584124654e-324, 4},
      {u"1e-400", 0, 1},
      {u"9007199254740993", 9007199254740992.0, 2147483647},
      {u"0.1", 0.1, 0},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(Kt_WString(row.text).ToDouble(), row.number) << Utf8(row.text);
    EXPECT_EQ(Kt_WString(row.text).ToInteger(), row.integer) << Utf8(row.text);
  }
  EXPECT_TRUE(std::signbit(Kt_WString(u"-0").ToDouble()));
}

// Digits with a point and a sign anywhere, also too many of them: as strtod reads them.
TEST(WString, ShortNumbersRoundOnce) {
  std::mt19937 random(7);
  const auto below = [&](std::size_t count) { return random() % count; };
  for (int round = 0; round < 20000; ++round) {
    std::string text(below(3) == 0 ? "-" : "");
    const std::size_t length = 1 + below(18);
    const std::size_t point = below(24);
    for (std::size_t at = 0; at < length; ++at) {
      text += at == point ? '.' : static_cast<char>('0' + below(10));
    }
    const double wanted = std::strtod(text.c_str(), nullptr);
    const double read = Kt_WString::FromUtf8(text).ToDouble();
    ASSERT_EQ(read, wanted) << text;
    ASSERT_EQ(std::signbit(read), std::signbit(wanted)) << text;
  }
}

TEST(WString, NumbersWithMoreDigitsThanADoubleKeeps) {
  const std::u16string zeros(5000, u'0');
  EXPECT_EQ(Kt_WString(u"1" + zeros + u"e-5000").ToDouble(), 1.0);
  EXPECT_EQ(Kt_WString(u"0." + zeros + u"1e5001").ToDouble(), 1.0);
  EXPECT_EQ(Kt_WString(zeros + u"12").ToDouble(), 12.0);
  // Half way between two doubles; the last of thousands of digits decides.
  const std::u16string tie = u"9007199254740993.";
  EXPECT_EQ(Kt_WString(tie + zeros).ToDouble(), 9007199254740992.0);
  EXPECT_EQ(Kt_WString(tie + zeros + u"1").ToDouble(), 9007199254740994.0);
}

TEST(WString, Utf8) {
  const struct {
    std::string_view bytes;
    std::int64_t bad_offset;
    std::u16string_view text;
  } rows[] = {
      {"", -1, u""},
      {"plain ASCII, longer than a block", -1, u"plain ASCII, longer than a block"},
      {"\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF", -1, u"\x80\x7FF\x800\xFFFF"},
      {"\xF0\x90\x80\x80\xF4\x8F\xBF\xBF", -1, u"\U00010000\U0010FFFF"},
      {"ab\xFFz", 2, u"ab\xFFFDz"},
      {"12345678\x80", 8, u"12345678\xFFFD"},
      {"\xC0\xAF", 0, u"\xFFFD\xFFFD"},
      {"\xE0\x9F\xBF", 0, u"\xFFFD\xFFFD\xFFFD"},
      {"a\xED\xA0\x80", 1, u"a\xFFFD\xFFFD\xFFFD"},
      {"\xF4\x90\x80\x80", 0, u"\xFFFD\xFFFD\xFFFD\xFFFD"},
      {"\xF5", 0, u"\xFFFD"},
      {"\xED\x95\x9C\xE2\x82", 3, u"한\xFFFD"},
      {"\xF0\x9F\x98x", 0, u"\xFFFDx"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(Utf8(Kt_WString::FromUtf8(row.bytes)), Utf8(row.text)) << row.bytes;
    Kt_WString out(u"before");
    EXPECT_EQ(ConvertUtf8(row.bytes, out), row.bad_offset) << row.bytes;
    if (row.bad_offset < 0) {
      EXPECT_EQ(out, row.text);
      EXPECT_EQ(out.ToUtf8(), row.bytes);
    } else {
      EXPECT_EQ(out.ToUtf8(), row.bytes.substr(0, static_cast<std::size_t>(row.bad_offset)));
    }
  }
  const char16_t lone[] = {u'a', 0xDC00, 0xD83D, u'b', 0xD83D};
  EXPECT_EQ(Kt_WString(lone, 5).ToUtf8(),
            "a\xEF\xBF\xBD\xEF\xBF\xBD"
            "b\xEF\xBF\xBD");
  EXPECT_EQ(Kt_WString::FromUtf8(std::string_view("a\0b", 3)).GetLength(), 3);
}

TEST(WString, CaseFolding) {
  const struct {
    const char16_t* a;
    const char16_t* b;
    int wanted;
  } rows[] = {
      {u"", u"", 0},        {nullptr, u"", 0},  {u"abc", u"ABC", 0},
      {u"abc", u"abd", -1}, {u"abc", u"ab", 1}, {u"Z", u"_", 1},
      {u"ÀÉ", u"àé", 0},    {u"Я", u"я", 0},    {u"ｆｕｌｌ", u"ＦＵＬＬ", 0},
      {u"Ꙁ", u"ꙁ", 0},      {u"ß", u"ss", 1},   {u"한", u"글", 1},
      {u"[", u"{", -1},     {u"@", u"`", -1},
  };
  const auto sign = [](int value) { return (value > 0) - (value < 0); };
  for (const auto& row : rows) {
    const Kt_WString a(row.a);
    const Kt_WString b(row.b);
    EXPECT_EQ(sign(kt_stricmpW(row.a, row.b)), row.wanted) << a.ToUtf8();
    EXPECT_EQ(sign(kt_stricmpW(row.b, row.a)), -row.wanted) << a.ToUtf8();
    EXPECT_EQ(sign(kt_stricmpW(a.View(), b.View())), row.wanted) << a.ToUtf8();
    EXPECT_EQ(a.EqualsNoCase(b), row.wanted == 0);
  }
  EXPECT_EQ(kt_strnicmpW(u"abX", u"ABy", 2), 0);
  EXPECT_NE(kt_strnicmpW(u"abX", u"ABy", 3), 0);
  EXPECT_EQ(kt_strnicmpW(u"ab", u"AB", 99), 0) << "a zero unit ends both";
  EXPECT_EQ(kt_strnicmpW(u"ab", u"xy", -1), 0);
  EXPECT_EQ(kt_strnicmpWA(u"TRUE story", "true", 4), 0);
  EXPECT_LT(kt_strcmpW(u"B", u"a"), 0);
  EXPECT_EQ(kt_strcmpW(nullptr, u""), 0);
  EXPECT_EQ(kt_strnicmpWA(u"\xC4", "\xE4", 1), 0) << "bytes from 128 are Latin-1";
}

TEST(WString, BlanksAndEnclosures) {
  const struct {
    std::u16string_view text, trimmed, quotes_off, braces_off;
  } rows[] = {
      {u" \t\r\n\x00A0\x3000"
       u"a b\x2003 ",
       u"a b", u"", u""},
      {u"   ", u"", u"", u""},
      {u"'a'", u"'a'", u"a", u"a"},
      {u"\"\"", u"\"\"", u"", u""},
      {u"\"a'", u"\"a'", u"\"a'", u"\"a'"},
      {u"<a>", u"<a>", u"<a>", u"a"},
      {u"[a)", u"[a)", u"[a)", u"[a)"},
      {u"((a))", u"((a))", u"((a))", u"(a)"},
      {u"'", u"'", u"'", u"'"},
  };
  for (const auto& row : rows) {
    Kt_WString text(row.text);
    text.Trim();
    EXPECT_EQ(Utf8(text), Utf8(row.trimmed));
    if (row.trimmed != row.text) continue;
    Kt_WString quotes(row.text);
    quotes.TrimBrace(1);
    EXPECT_EQ(Utf8(quotes), Utf8(row.quotes_off)) << Utf8(row.text);
    Kt_WString braces(row.text);
    braces.TrimBrace();
    EXPECT_EQ(Utf8(braces), Utf8(row.braces_off)) << Utf8(row.text);
  }
  Kt_WString left(u" a ");
  left.LTrim();
  Kt_WString right(u" a ");
  right.RTrim();
  EXPECT_EQ(Utf8(left) + "|" + Utf8(right), "a | a");
  EXPECT_EQ(kt_findskipW(u" \t\r\n\x00A0x", 6), 4);
  EXPECT_EQ(kt_findskipW(u"   ", 3), 3);
  EXPECT_EQ(kt_findrskipW(u"x \n", 3), 1);
}

TEST(WString, QuotingReadsBack) {
  for (const char16_t* plain : {u"", u"plain", u"say \"hi\"", u"back\\slash", u"\\", u"\"", u"'"}) {
    EXPECT_EQ(Kt_WString(plain).QuoteStr().UnQuoteStr(), plain) << Utf8(plain);
  }
  EXPECT_EQ(Utf8(Kt_WString(u"a\"\\").QuoteStr()), R"("a\"\\")");
  const struct {
    std::u16string_view quoted, plain;
  } rows[] = {{u"'it\\'s'", u"it's"}, {u"plain\\n", u"plain\\n"},
              {u"\"open", u"\"open"}, {u"\"a\\\"", u"\"a\\\""},
              {u"\"", u"\""},         {u"'\\\\'", u"\\"}};
  for (const auto& row : rows)
    EXPECT_EQ(Utf8(Kt_WString(row.quoted).UnQuoteStr()), Utf8(row.plain));
}

TEST(WString, NamesAndPadding) {
  for (const char16_t* name : {u"a", u"_", u"a1", u"한글", u"é9"}) {
    EXPECT_TRUE(Kt_WString(name).IsName()) << Utf8(name);
  }
  for (const char16_t* other : {u"", u"1a", u"a b", u"a.b", u"a-", u"$a"}) {
    EXPECT_FALSE(Kt_WString(other).IsName()) << Utf8(other);
  }
  EXPECT_EQ(Utf8(kt_lpadW(u"7", u'0', 3)), "007");
  EXPECT_EQ(Utf8(kt_rpadW(u"", u'.', 2)), "..");
  EXPECT_EQ(Utf8(kt_rpadW(u"long", u'.', -1)), "long");
}

}  // namespace
