// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "classlib/text/Kt_WStrList.h"
#include "common/text.h"

namespace {

struct Split {
  std::u16string_view delimiters = u",";
  char16_t escape = u'\0';
  bool multi_dim = true;
  bool check_quotes = true;
  bool delete_quotes = false;
  bool trim = true;
  bool brackets = false;
};

// The pieces with '|' after each, so that no piece and one empty piece differ.
std::string Pieces(std::u16string_view text, const Split& how) {
  Kt_WStrList list;
  const kt_long count = list.Parse(text, how.delimiters, how.escape, how.multi_dim,
                                   how.check_quotes, how.delete_quotes, how.trim, how.brackets);
  EXPECT_EQ(count, list.GetCount());
  std::string out;
  for (kt_long index = 0; index < count; ++index) out += list[index].ToUtf8() + "|";
  return out;
}

TEST(WStrList, Parse) {
  const struct {
    std::u16string_view text;
    Split how;
    const char* wanted;
  } rows[] = {
      {u"a, b ,c", {}, "a|b|c|"},
      {u"", {}, ""},
      {u" ", {}, "|"},
      {u",a,,b,", {}, "|a||b||"},
      {u",a,,b,", {.multi_dim = false}, "a|b|"},
      {u",,,", {.multi_dim = false}, ""},
      {u"a,b", {.delimiters = u""}, "a,b|"},
      {u"a,b;c d", {.delimiters = u",; "}, "a|b|c|d|"},
      {u" a , b ", {.trim = false}, " a | b |"},

      {u"'a,b',\"c,d\"", {}, "'a,b'|\"c,d\"|"},
      {u"'a,b',\"c,d\"", {.delete_quotes = true}, "a,b|c,d|"},
      {u"'a,b'", {.check_quotes = false}, "'a|b'|"},
      {u"it's, isn't", {}, "it's, isn't|"},
      {u"it's, fine", {}, "it's|fine|"},
      {u"\"a, 'b, c'", {}, "\"a|'b, c'|"},
      {u"'a' + 'b', ' c '", {.delete_quotes = true}, "'a' + 'b'| c |"},
      {u"\"'\", '\"', ''", {.delete_quotes = true}, "'|\"||"},
      {u"'", {.delete_quotes = true}, "'|"},

      {u"a\\,b,c", {.escape = u'\\'}, "a,b|c|"},
      {u"a\\\\,b", {.escape = u'\\'}, "a\\|b|"},
      {u"a,b\\ ", {.escape = u'\\'}, "a|b |"},
      {u"a, b\\", {.escape = u'\\'}, "a|b\\|"},
      {u"\\'a,b\\'", {.escape = u'\\'}, "'a|b'|"},
      {u"'a\\',b',c", {.escape = u'\\', .delete_quotes = true}, "a',b|c|"},
      {u"'a\\'", {.escape = u'\\', .delete_quotes = true}, "'a'|"},
      {u"'a\\' , b", {.escape = u'\\'}, "'a'|b|"},

      {u"f(a, b), [c, {d, e}], g", {.brackets = true}, "f(a, b)|[c, {d, e}]|g|"},
      {u"f(a, b)", {}, "f(a|b)|"},
      {u"a), b", {.brackets = true}, "a)|b|"},
      {u"(a, b", {.brackets = true}, "(a, b|"},
      {u"(')', a), b", {.brackets = true}, "(')', a)|b|"},
  };
  for (const auto& row : rows) EXPECT_EQ(Pieces(row.text, row.how), row.wanted) << Utf8(row.text);
}

TEST(WStrList, ParseIsLinearOnHostileText) {
  Kt_WStrList list;
  std::u16string quotes;
  for (int turn = 0; turn < 300'000; ++turn) quotes += turn % 2 ? u"\"'," : u"\\',";
  EXPECT_GT(list.Parse(quotes, u",", u'\\'), 0);
  std::u16string many_delimiters(50'000, u'\0');
  for (std::size_t at = 0; at < many_delimiters.size(); ++at) {
    many_delimiters[at] = static_cast<char16_t>(at + 1);
  }
  list.Clear();
  EXPECT_EQ(list.Parse(std::u16string(200'000, u'\xFFFE'), many_delimiters), 1);
}

TEST(WStrList, ParseOfAnItemOfTheListItself) {
  Kt_WStrList list;
  list.Add(u"a,b,c,d,e,f,g,h");
  EXPECT_EQ(list.Parse(list[0], u","), 9);
  EXPECT_EQ(Utf8(list[8]), "h");
}

TEST(WStrList, Items) {
  Kt_WStrList list;
  EXPECT_EQ(list.Add(u"one"), 0);
  EXPECT_EQ(list.Add(u"Two"), 1);
  EXPECT_EQ(list.Add(u"two"), 2);
  EXPECT_EQ(list.Find(u"two"), 2);
  EXPECT_EQ(list.FindNoCase(u"TWO"), 1);
  EXPECT_EQ(list.Find(u"three"), -1);
  EXPECT_EQ(Utf8(list.Join(u", ")), "one, Two, two");
  list.RemoveAt(-1);
  list.RemoveAt(3);
  list.RemoveAt(0);
  EXPECT_EQ(Utf8(list.Join(u"")), "Twotwo");
  EXPECT_TRUE(list[-1].IsEmpty());
  EXPECT_TRUE(list[2].IsEmpty());
}

}  // namespace
