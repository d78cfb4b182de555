// SPDX-License-Identifier: MIT
//
// XML as a tree: what is read, where errors are, and that whatever is written comes back.
#include <gtest/gtest.h>

#include <functional>
#include <random>

#include "classlib/xml/Kt_XmlDOM.h"
#include "classlib/xml/Kt_XmlWriter.h"
#include "common/text.h"

namespace {

// a(x=1){'text' b()}; `layout` false leaves blank texts out.
std::string Dump(const Kt_XmlElement& element, bool layout = true) {
  std::string out = Utf8(element.GetName()) + "(";
  for (kt_long at = 0; at < element.GetAttributeCount(); ++at) {
    out += (at > 0 ? " " : "") + Utf8(element.GetAttributeName(at)) + "=" +
           Utf8(element.GetAttributeValue(at));
  }
  out += ")";
  std::string content;
  for (kt_long at = 0; at < element.GetNodeCount(); ++at) {
    const Kt_XmlElement* const child = element.GetNodeElement(at);
    Kt_WString blank = element.GetNodeText(at);
    blank.Trim();
    if (child == nullptr && !layout && blank.IsEmpty()) continue;
    content += child != nullptr ? Dump(*child, layout) : "'" + Utf8(element.GetNodeText(at)) + "'";
  }
  return content.empty() ? out : out + "{" + content + "}";
}

std::string Dump(const Kt_XmlDOM& dom) {
  return dom.GetRoot() != nullptr ? Dump(*dom.GetRoot()) : "";
}

std::string Show(const Kt_XmlError& error) {
  return "!" + std::to_string(error.line) + ":" + std::to_string(error.column) + " " +
         Utf8(error.text);
}

// The tree of a text, or where and why there is none.
std::string Read(std::string_view bytes, const Kt_XmlLimits& limits = {}) {
  Kt_XmlDOM dom;
  Kt_XmlError error;
  const bool loaded = dom.LoadUtf8(bytes, error, limits);
  EXPECT_EQ(loaded, error.text.IsEmpty());
  return loaded ? Dump(dom) : Show(error);
}

struct Row {
  std::string_view xml;
  const char* result;
};

TEST(Xml, Reading) {
  using namespace std::string_view_literals;
  const Row rows[] = {
      {"<a/>", "a()"},
      {"\xEF\xBB\xBF<?xml version='1.0'?>\n<!-- a --><!DOCTYPE a>\n<a/>\n<!-- b --><?c d?>\n",
       "a()"},
      {"<a x='1' y=\"2\" >t<b/>u<c>v</c></a >", "a(x=1 y=2){'t'b()'u'c(){'v'}}"},
      {"<a> <b/>\n</a>", "a(){' 'b()'\n'}"},
      {"<a>1<!-- - -->2<?x?>3<![CDATA[<4>]]]]><![CDATA[>]]></a>", "a(){'123<4>]]>'}"},
      {"<a x='&lt;&#65;&#x1F600;&amp;lt;'>&quot;&apos;&gt;</a>",
       "a(x=<A\xF0\x9F\x98\x80&lt;){'\"'>'}"},
      {"<a x='1\n2\t3\r\n4'>1\r\n2\r3</a>", "a(x=1 2 3 4){'1\n2\n3'}"},
      {"<n:a xml:x='1'><\xEA\xB0\x80.-9/></n:a>", "n:a(xml:x=1){\xEA\xB0\x80.-9()}"},
      // The definitions are skipped, and what they define is not known.
      {"<!DOCTYPE a SYSTEM \"x>\" [<!ENTITY e ']>'><!-- ]> --><?p ]>?>]><a/>", "a()"},
      {"<!DOCTYPE a [<!ENTITY b \"bb\"><!ENTITY c \"&b;&b;\">]>\n<a>&c;</a>",
       "!2:4 unknown entity"},
      {"<!DOCTYPE a [<!ENTITY e SYSTEM 'file:///etc/passwd'>]><a>&e;</a>", "!1:58 unknown entity"},
      {"", "!1:1 no root element"},
      {"  text", "!1:3 text before the root element"},
      {"<![CDATA[x]]><a/>", "!1:1 text before the root element"},
      {"<a/>x", "!1:5 something stands behind the root element"},
      {"<a/><b/>", "!1:5 something stands behind the root element"},
      {"<a>\n <b>\n</a>", "!3:3 end tag of another element"},
      {"<a>\r <b x='1' x='2'/></a>", "!2:18 attribute given twice"},
      {"<a x=1/>", "!1:6 bad attribute"},
      {"<a x/>", "!1:5 bad attribute"},
      {"<a x='1/>", "!1:7 bad attribute"},
      {"<a", "!1:3 the text ends inside a tag"},
      {"<a>", "!1:4 the text ends inside an element"},
      {"<a><!-->-></a>", "!1:4 comment without end"},
      {"<a><?></a>", "!1:4 instruction without end"},
      {"<a><![CDATA[ ]]</a>", "!1:4 CDATA without end"},
      {"<!DOCTYPE a [", "!1:1 document type without end"},
      {"<a><!DOCTYPE a></a>", "!1:5 unknown markup"},
      {"<1/>", "!1:5 bad element name"},
      {"< a/>", "!1:2 element without a name"},
      {"<a 1='x'/>", "!1:11 bad attribute name"},
      {"<a>\n\n  &b;</a>", "!3:3 unknown entity"},
      {"<a>&#x110000;</a>", "!1:4 unknown entity"},
      {"<a>&#;</a>", "!1:4 unknown entity"},
      {"<a>&#1<", "!1:4 unknown entity"},
      {"<a>\xEA\xB0\x80\r\n12\xFF</a>", "!2:3 bytes that are no UTF-8"},
      {"<\0/>"sv, "!1:5 bad element name"},
      {"<a>\0</a>"sv, nullptr},
  };
  for (const Row& row : rows) {
    const std::string wanted = row.result ? row.result : std::string("a(){'\0'}", 8);
    EXPECT_EQ(Read(row.xml), wanted) << row.xml;
  }
}

TEST(Xml, Limits) {
  const auto nested = [](int depth) {
    std::string text;
    for (int level = 0; level < depth; ++level) text += "<a>";
    for (int level = 0; level < depth; ++level) text += "</a>";
    return text;
  };
  EXPECT_EQ(Read(nested(256))[0], 'a');
  EXPECT_EQ(Read(nested(257)), "!1:770 elements nested too deeply");
  EXPECT_EQ(Read(nested(1000000)), "!1:770 elements nested too deeply");
  EXPECT_EQ(Read(nested(2), {.depth = 2}), "a(){a()}");
  EXPECT_EQ(Read(nested(3), {.depth = 2}), "!1:10 elements nested too deeply");
  EXPECT_EQ(Read("<a x=''>t<b/></a>", {.nodes = 4}), "a(x=){'t'b()}");
  EXPECT_EQ(Read("<a x=''>t<b/></a>", {.nodes = 3}), "!1:14 too many elements and attributes");
  std::string many = "<a";
  for (int at = 0; at < 64; ++at) many += " a" + std::to_string(at) + "=''";
  EXPECT_EQ(Read(many + "/>").substr(0, 6), "a(a0= ");
  EXPECT_EQ(Read(many + " b=''/>").substr(6), " too many attributes");
}

TEST(Xml, AFailedLoadKeepsTheDocument) {
  Kt_XmlDOM dom;
  Kt_XmlError error;
  Kt_WString text;
  EXPECT_FALSE(dom.Save(text));
  ASSERT_TRUE(dom.Load(u"<a>1</a>", error));
  EXPECT_FALSE(dom.Load(u"<b>", error));
  EXPECT_EQ(Dump(dom), "a(){'1'}");
  EXPECT_EQ(dom.NewRoot(u"1"), nullptr);
  ASSERT_TRUE(dom.Save(text));
  EXPECT_EQ(Utf8(text), "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<a>1</a>\n");
  dom.Clear();
  EXPECT_EQ(dom.GetRoot(), nullptr);
}

TEST(Xml, Editing) {
  Kt_XmlElement root(u"root");
  EXPECT_TRUE(root.SetAttribute(u"x", u"1"));
  EXPECT_TRUE(root.SetAttribute(u"x", u"2"));
  EXPECT_FALSE(root.SetAttribute(u"x y", u"1"));
  EXPECT_FALSE(root.SetAttribute(u"", u"1"));
  EXPECT_TRUE(root.AddText(u"a"));
  EXPECT_TRUE(root.AddText(u""));
  EXPECT_TRUE(root.AddText(u"b"));
  EXPECT_NE(root.AddChild(u"c"), nullptr);
  EXPECT_EQ(root.AddChild(u"\xD800"), nullptr);
  EXPECT_EQ(root.AddChild(u"a>b"), nullptr);
  EXPECT_TRUE(root.AddText(u"d"));
  EXPECT_EQ(Dump(root), "root(x=2){'ab'c()'d'}");
  EXPECT_EQ(root.GetText(), u"abd");
  EXPECT_EQ(root.FindChild(u"c"), root.GetNodeElement(1));
  EXPECT_EQ(root.FindChild(u"C"), nullptr);
  EXPECT_EQ(root.FindAttribute(u"X"), nullptr);
  EXPECT_EQ(root.GetAttribute(u"X"), u"");
  EXPECT_EQ(root.GetNodeElement(3), nullptr);
  EXPECT_EQ(root.GetNodeText(-1), u"");

  kt_long depth = 1;
  for (Kt_XmlElement* deep = &root; (deep = deep->AddChild(u"e")) != nullptr;) ++depth;
  EXPECT_EQ(depth, Kt_XmlElement::kMaxDepth);
}

class Maker {
 public:
  explicit Maker(unsigned seed) : random_(seed) {}

  void Fill(Kt_XmlElement& element, int depth) {
    for (kt_long left = Roll(3); left > 0; --left) element.SetAttribute(AnyName(), AnyText());
    for (kt_long left = Roll(5); left > 0; --left) {
      if (Roll(2) == 0) {
        element.AddText(AnyText());
      } else if (depth < 6) {
        Fill(*element.AddChild(AnyName()), depth + 1);
      }
    }
  }

 private:
  kt_long Roll(kt_long count) {
    return std::uniform_int_distribution<kt_long>(0, count - 1)(random_);
  }
  Kt_WString AnyName() {
    constexpr const char16_t* kNames[] = {u"a", u"B-1", u"n:c", u"\xAC00", u"\xD83D\xDE00", u"_."};
    return kNames[Roll(std::size(kNames))];
  }
  Kt_WString AnyText() {
    constexpr char16_t kUnits[] = {u'a',  u'<',   u'&',   u'"',   u'\'',  u'>',   u'\r',
                                   u'\n', u'\t',  u' ',   u'\0',  u']',   u';',   u'\x85',
                                   0xA0,  0xD83D, 0xDE00, 0xD800, 0xFFFE, 0xFFFF, 0xFEFF};
    Kt_WString text;
    for (kt_long left = Roll(7); left > 0; --left) text += kUnits[Roll(std::size(kUnits))];
    return text;
  }
  std::mt19937 random_;
};

TEST(Xml, RandomDocumentsComeBack) {
  for (unsigned seed = 1; seed <= 2000; ++seed) {
    Kt_XmlDOM dom;
    Maker(seed).Fill(*dom.NewRoot(u"root"), 0);
    for (const bool indent : {false, true}) {
      Kt_WString text;
      ASSERT_TRUE(dom.Save(text, indent));
      Kt_XmlDOM back;
      Kt_XmlError error;
      ASSERT_TRUE(back.Load(text, error)) << seed << Show(error);
      ASSERT_EQ(Dump(*dom.GetRoot(), !indent), Dump(*back.GetRoot(), !indent)) << seed;
      ASSERT_TRUE(back.LoadUtf8(text.ToUtf8(), error)) << seed << Show(error);
      ASSERT_EQ(Dump(*dom.GetRoot(), !indent), Dump(*back.GetRoot(), !indent)) << seed;
    }
  }
}

TEST(Xml, Writer) {
  Kt_XmlWriter writer(true);
  Kt_WString text;
  writer.Start(u"a");
  writer.Start(u"b");
  writer.Attribute(u"x", u"\"1\"");
  writer.End();
  writer.Start(u"c");
  writer.Text(u"t");
  writer.Start(u"d");
  writer.Start(u"e");
  ASSERT_TRUE(writer.Finish(text));
  EXPECT_EQ(Utf8(text),
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<a>\n  <b x=\"&quot;1&quot;\"/>\n"
            "  <c>t<d><e/></d></c>\n</a>\n");

  Kt_XmlWriter plain;
  plain.Start(u"a");
  plain.NewLine();
  for (const bool has_content : {false, true}) {
    plain.Start(u"b");
    if (has_content) plain.Content();
    plain.End();
  }
  plain.NewLine();
  ASSERT_TRUE(plain.Finish(text));
  EXPECT_EQ(Utf8(text), "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<a>\n<b/><b></b>\n</a>\n");

  // The first refusal spoils the document, and the writer starts anew after Finish.
  const std::function<bool()> refused[] = {
      [&] { return writer.Start(u"<"); },
      [&] { return writer.Attribute(u"x", u"1"); },
      [&] { return writer.Text(u"x"); },
      [&] { return writer.End(); },
      [&] { return writer.Content(); },
      [&] { return writer.NewLine(); },
      [&] { return writer.Start(u"a") && writer.End() && writer.Start(u"b"); },
      [&] { return writer.Start(u"a") && writer.Text(u"t") && writer.Attribute(u"x", u"1"); },
  };
  for (std::size_t at = 0; at < std::size(refused); ++at) {
    EXPECT_FALSE(refused[at]()) << at;
    EXPECT_FALSE(writer.Text(u""));
    EXPECT_FALSE(writer.Finish(text));
    EXPECT_EQ(text, u"");
  }
  EXPECT_FALSE(writer.Finish(text));
}

}  // namespace
