// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "classlib/text/Kt_AString.h"
#include "classlib/text/Kt_EncodingDetector.h"
#include "common/text.h"

namespace {

TEST(CodePage, TextToBytesAndBack) {
  const struct {
    kt_long code_page;
    std::u16string_view text;
    std::string_view bytes;
    std::u16string_view back;  // what the bytes mean
  } rows[] = {
      {0, u"a한", "a\xED\x95\x9C", u"a한"},
      {65001, u"\U0001F600", "\xF0\x9F\x98\x80", u"\U0001F600"},
      {1200, u"a한", std::string_view("a\0\x5C\xD5", 4), u"a한"},
      {1201, u"a한", std::string_view("\0a\xD5\x5C", 4), u"a한"},
      {949, u"a한글", "a\xC7\xD1\xB1\xDB", u"a한글"},
      {949, u"\uB620", "\x8C\x63", u"\uB620"},  // outside plain EUC-KR
      {932, u"日本\\", "\x93\xFA\x96\x7B\\", u"日本\\"},
      {936, u"中€", "\xD6\xD0\x80", u"中€"},
      {950, u"中", "\xA4\xA4", u"中"},
      {1252, u"é€", "\xE9\x80", u"é€"},
      {28591, u"é€", "\xE9?", u"é?"},
      {28605, u"é€", "\xE9\xA4", u"é€"},
      {20127, u"é한\U0001F600", "???", u"???"},
      {54936, u"\U0001F600", "\x94\x39\xFC\x36", u"\U0001F600"},
      {949, u"", "", u""},
  };
  for (const auto& row : rows) {
    Kt_AString bytes;
    EXPECT_TRUE(bytes.Assign(row.text, row.code_page)) << row.code_page;
    EXPECT_EQ(bytes.View(), row.bytes) << row.code_page;
    Kt_WString back(u"before");
    EXPECT_TRUE(bytes.ToWString(back, row.code_page)) << row.code_page;
    EXPECT_EQ(Utf8(back), Utf8(row.back)) << row.code_page;
  }
}

TEST(CodePage, LongTextCrossesTheConversionBuffer) {
  std::u16string text(4095, u'a');
  text += std::u16string(5000, u'한');
  const Kt_AString bytes(Kt_WString(text), 949);
  EXPECT_EQ(bytes.GetLength(), 4095 + 2 * 5000);
  EXPECT_TRUE(bytes.ToWString(949) == std::u16string_view(text));
}

// A cut through a character must not show as a broken one.
TEST(CodePage, CutCharacters) {
  const struct {
    kt_long code_page;
    std::string_view bytes;
    std::u16string_view text;
  } rows[] = {
      {65001, "a\xED\x95", u"a"},
      {65001,
       "\x95\x9C"
       "a",
       u"a"},
      {65001, "\xF0\x9F\x98", u""},
      {65001, "\x9F\x98\x80", u""},
      {65001, "a\xFFz", u"a\xFFFDz"},
      {65001, "a\x80\x80\x80\x80", u"a\xFFFD\xFFFD\xFFFD\xFFFD"},
      {1200, std::string_view("a\0b", 3), u"a"},
      {1200,
       std::string_view("\x00\xDE"
                        "a\0",
                        4),
       u"a"},
      {1200, std::string_view("a\0\x3D\xD8", 4), u"a"},
      {949, "a\xC7", u"a"},
      {932, "\x93\xFA\x96", u"日"},
      {949, "a\xC7 z", u"a\xFFFD z"},
  };
  for (const auto& row : rows) {
    const Kt_AString bytes{std::string(row.bytes)};
    EXPECT_EQ(Utf8(bytes.ToWString(row.code_page)), Utf8(row.text)) << row.code_page;
  }
}

TEST(CodePage, UnknownNumbersFail) {
  for (const kt_long code_page : {-1, 1, 7, 28602, 65000, 2147483647}) {
    Kt_AString bytes("before");
    Kt_WString text(u"before");
    EXPECT_FALSE(kt_iscodepageW(code_page));
    EXPECT_FALSE(bytes.ToWString(text, code_page));
    EXPECT_TRUE(text.IsEmpty());
    EXPECT_FALSE(bytes.Assign(u"x", code_page));
    EXPECT_TRUE(bytes.IsEmpty());
  }
}

TEST(CodePage, Names) {
  const struct {
    std::u16string_view name;
    kt_long code_page;
  } rows[] = {
      {u"utf-8", 65001},
      {u"UTF8", 65001},
      {u"utf-16le", 1200},
      {u"euc-kr", 949},
      {u"KS_C_5601-1987", 949},
      {u"shift_jis", 932},
      {u"GBK", 936},
      {u"gb2312", 936},
      {u"Big5", 950},
      {u"windows-1252", 1252},
      {u"CP1251", 1251},
      {u"iso-8859-1", 28591},
      {u"ISO 8859-15", 28605},
      {u"latin1", 28591},
      {u"949", 949},
      {u"iso-8859-12", 0},
      {u"iso-8859-99", 0},
      {u"windows-", 0},
      {u"cp0", 0},
      {u"cp99999999999", 0},
      {u"klingon", 0},
      {u"", 0},
      {u"-", 0},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(kt_findcodepageW(row.name), row.code_page) << Utf8(row.name);
  }
}

TEST(CodePage, Mid) {
  const Kt_AString bytes("abcdef");
  EXPECT_EQ(bytes.Mid(1, 2).View(), "bc");
  EXPECT_EQ(bytes.Mid(-3, 2).View(), "ab");
  EXPECT_EQ(bytes.Mid(9, 2).View(), "");
  EXPECT_EQ(bytes.Mid(4, -1).View(), "");
}

// What each encoding cannot have been made of is found at its first byte.
TEST(CodePage, StrictDecodingNamesTheByte) {
  using namespace std::string_view_literals;
  const struct {
    kt_long code_page;
    std::string_view bytes;
    std::int64_t bad;
    std::u16string_view text;  // before it
  } kRows[] = {
      {1252, "a\xFC\n", -1, u"aü\n"},
      {20127, "ab\xFC", 2, u"ab"},
      {949, "\xC7\xD1x", -1, u"한x"},
      {949, "x\xC7", 1, u"x"},
      {932, "a\x81\x20", 1, u"a"},
      {54936, "xy\xFFz", 2, u"xy"},
      {54936, "\x81\x30\x81", 0, u""},
      {kCodePageUtf8, "a\xC3\xBC\xC3", 3, u"aü"},
      {kCodePageUtf16, "a\0\x3D\xD8"sv, -1, u"a\xD83D"},
      {kCodePageUtf16Big, "\0a\0"sv, 2, u"a"},
      {1252, "", -1, u""},
      {4711, "a", 0, u""},
  };
  for (const auto& row : kRows) {
    Kt_WString text;
    EXPECT_EQ(kt_decodeW(row.bytes, row.code_page, text), row.bad) << row.code_page;
    EXPECT_EQ(text.View(), row.text) << row.code_page;
  }
}

TEST(CodePage, BadUtf8IsFoundWhereverPiecesEnd) {
  const std::size_t piece = std::size_t{1} << 20;
  for (std::size_t before = piece - 5; before < piece + 2; ++before) {
    const std::string text = std::string(before, 'x') + "\xF0\x9F\x98\x80";
    EXPECT_EQ(kt_findbadutf8W(text), -1) << before;
    EXPECT_EQ(kt_findbadutf8W(text + "ab"), -1) << before;
    for (std::size_t cut = 1; cut < 4; ++cut) {
      const std::string broken = text.substr(0, before + cut);
      EXPECT_EQ(kt_findbadutf8W(broken), static_cast<std::int64_t>(before)) << cut;
      EXPECT_EQ(kt_findbadutf8W(broken + "yyyyyy"), static_cast<std::int64_t>(before)) << cut;
    }
  }
}

// Only encodings that all of the bytes fit are named, however late the telling bytes come.
TEST(CodePage, Guesses) {
  const struct {
    kt_long code_page;
    const char16_t* text;
    const char* first;
  } kRows[] = {
      {1252, u"Müller aß für zwölf Euro Grünkohl – „schön“, sagte er über die Straße\n",
       "windows-1252"},
      {1251, u"Съешь же ещё этих мягких французских булок, да выпей чаю\n", "windows-1251"},
      {949, u"모든 인간은 태어날 때부터 자유로우며 그 존엄과 권리에 있어 동등하다\n", "EUC-KR"},
      {932, u"すべての人間は、生まれながらにして自由であり、かつ、尊厳と権利とについて平等である\n",
       "Shift_JIS"},
  };
  for (const auto& row : kRows) {
    const Kt_AString bytes(row.text, row.code_page);
    const std::string late = std::string(20'000, 'x') + "\n" + std::string(bytes.View());
    for (const std::string& text : {std::string(bytes.View()), late}) {
      const std::vector<Kt_WString> names = kt_guessencodingsW(text);
      ASSERT_FALSE(names.empty()) << row.code_page;
      EXPECT_EQ(names[0].ToUtf8(), row.first);
      for (const Kt_WString& name : names) {
        Kt_WString decoded;
        EXPECT_EQ(kt_decodeW(text, kt_findcodepageW(name), decoded), -1) << name.ToUtf8();
      }
    }
  }
}

}  // namespace
