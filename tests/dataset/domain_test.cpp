// SPDX-License-Identifier: MIT
//
// Domains: what is loaded from XML, what expressions read and change, and references whose element
// has gone.
#include <gtest/gtest.h>

#include "classlib/base/Kt_Codes.h"
#include "classlib/xml/Kt_XmlDOM.h"
#include "dataset/Kt_ExprDomain.h"
#include "dataset_test_util.h"

namespace {

using kt::test::Show;

constexpr std::string_view kStatusXml = R"(<?xml version="1.0" encoding="UTF-8"?>
<domain>
  <element id="open" text="Open" type="long" limit="3"/>
  <element id="paid" label="Paid" format="#,##0.00" type="currency" decimal="2" visible="0">
    <element id="cash" text="In cash"/>
    <element id="card" text="By card" enable="0"/>
  </element>
  <element id="text" text="A child called text"/>
</domain>
)";

// The outermost context of a host that has one domain, named `status`.
class DomainHost : public kt::test::TestHost {
 public:
  int GetVarType(const Kt_WString& name, Kt_ExprObjInfo& info) override {
    if (!name.EqualsNoCase(u"status") || domain == nullptr) return TestHost::GetVarType(name, info);
    info.SetComponent(domain.get());
    return info.GetKind();
  }

  std::unique_ptr<Kt_ExprDomain> domain = std::make_unique<Kt_ExprDomain>(this);
};

kt_long LoadXml(Kt_ExprDomain& domain, std::string_view xml) {
  Kt_XmlDOM dom;
  Kt_XmlError error;
  EXPECT_TRUE(dom.LoadUtf8(xml, error)) << error.text.ToUtf8();
  return domain.LoadXMLData(u"file.xml", dom);
}

class Domain : public testing::Test {
 protected:
  Domain() { EXPECT_EQ(LoadXml(*host_.domain, kStatusXml), 3); }

  // The value of an expression, and what it reported.
  std::string Eval(const char16_t* text) {
    const std::string value = kt::test::Eval(&host_, text);
    const std::string reports = host_.TakeReports();
    return reports.empty() ? value : value + " ! " + reports;
  }

  DomainHost host_;
};

struct Row {
  const char16_t* expr;
  const char* value;
};

TEST_F(Domain, Expressions) {
  const Row rows[] = {
      {u"status.open.text", "'Open'"},
      {u"status.OPEN.Label", "'Open'"},
      {u"status.paid.label + '!'", "'Paid!'"},
      {u"status.paid.format", "'#,##0.00'"},
      {u"status.paid.type", "'currency'"},
      {u"status.text.type", "'string'"},
      {u"status.paid.decimal + status.open.limit", "5"},
      {u"status.paid.visible * 10 + status.paid.enable", "1"},
      {u"status.paid.card.enable", "0"},
      {u"status.count * 10 + status.paid.count", "32"},
      {u"status['paid']['cash'].id", "'cash'"},
      {u"status[1][0].text", "'In cash'"},
      {u"status.GetChild('PAID').GetChild(1).GetID()", "'card'"},
      {u"status.GetCount()", "3"},
      // The child comes before the attribute, the method means the attribute.
      {u"status.text", "<text>"},
      {u"status.text.text", "'A child called text'"},
      {u"status.paid.GetText()", "'Paid'"},
      // The root has no attributes of its own.
      {u"status.GetText()", "-"},
      {u"status.limit", "-"},
      {u"status.id", "-"},
      {u"status", "<domain>"},
      {u"'' + status", "'[domain]'"},
      {u"'' + status.open", "'Open'"},
      // Nothing there.
      {u"status['none']", "-"},
      {u"status[3]", "-"},
      {u"status.GetChild('none')", "-"},
      {u"status.GetChild(-1)", "-"},
      {u"status.GetChild()", "- ! 83B01008(GetChild())"},
      {u"status.open.SetText()", "- ! 83B01008(SetText())"},
      {u"status.open.text", "'Open'"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(Eval(row.expr), row.value) << Kt_WString(row.expr).ToUtf8();
  }
}

TEST_F(Domain, Scripts) {
  const Row rows[] = {
      {u"status.open.text = 'Still open'; return status.open.label;", "'Still open'"},
      {u"status.open.limit = 12; return status.open.limit;", "12"},
      {u"status['open'] = 'By item'; return status.open.text;", "'By item'"},
      {u"status[0] = 'By index'; return status.open.text;", "'By index'"},
      {u"var o = status.open; o = 5; return status.open.text;", "'By index'"},
      {u"var o = status.open; o.text = 'By variable'; return status.open.text;", "'By variable'"},
      {u"status.open.SetType('DATETIME'); return status.open.type;", "'datetime'"},
      {u"status.open.SetDecimal(4); return status.open.GetDecimal();", "4"},
      {u"status.paid.text = status.open; return status.paid.text;", "'By variable'"},
      {u"status.open.SetID('Closed'); return status.closed.id;", "'Closed'"},
      {u"var t = ''; for (var i = 0; i < status.paid.count; i = i + 1) "
       u"{ t = t + status.paid[i].id + ';'; } return t;",
       "'cash;card;'"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(kt::test::RunScript(&host_, row.expr), row.value) << Kt_WString(row.expr).ToUtf8();
  }
  EXPECT_EQ(host_.TakeReports(), "");
}

TEST_F(Domain, PropertiesAndMethods) {
  const Kt_VariantList none;
  Kt_ExprDomain& root = *host_.domain;
  Kt_Variant held;
  ASSERT_EQ(root.GetItem(1, held), kOk);
  Kt_ExprObject& paid = *Kt_ExprObject::From(held.GetHolder().GetObject());
  struct {
    const char16_t* name;
    Kt_Variant value;
    const char* back;  // null: refused, and nothing changed
  } const rows[] = {
      {u"TEXT", u"x", "'x'"},           {u"label", kt_long{5}, "'5'"},
      {u"format", u"0.0", "'0.0'"},     {u"visible", Kt_Variant(true), "1"},
      {u"enable", u"2", "2"},           {u"type", u"Date", "'datetime'"},
      {u"type", u"odd", nullptr},       {u"limit", 7.9, "7"},
      {u"limit", kt_long{-1}, nullptr}, {u"decimal", Kt_Variant(), "0"},
      {u"decimal", u"-2", nullptr},
  };
  for (const auto& row : rows) {
    const std::string name = Kt_WString(row.name).ToUtf8();
    Kt_Variant before;
    Kt_Variant after;
    ASSERT_EQ(paid.GetProperty(row.name, &none, before), kOk) << name;
    EXPECT_EQ(paid.SetProperty(row.name, &none, row.value), row.back ? kOk : kFailed) << name;
    ASSERT_EQ(paid.CallMethod(Kt_WString(u"get") + row.name, &none, after), kOk) << name;
    EXPECT_EQ(Show(after), row.back ? row.back : Show(before)) << name;
    const Kt_VariantList args{before};
    EXPECT_EQ(paid.CallMethod(Kt_WString(u"SET") + row.name, &args, after), kOk) << name;
    EXPECT_EQ(paid.CallMethod(Kt_WString(u"Set") + row.name, nullptr, after), kErrBadArgument);
    EXPECT_EQ(root.SetProperty(row.name, &none, row.value), kFailed) << "the root";
  }
  EXPECT_EQ(host_.errors.size(), std::size(rows));

  Kt_Variant value = kt_long{1};
  for (const char16_t* const name : {u"", u"get", u"set", u"ge", u"none", u"GetNone", u"SetNone",
                                     u"SetCount", u"child", u"text ", u"GetGetText"}) {
    const Kt_VariantList args{Kt_Variant(u"x")};
    EXPECT_EQ(paid.CallMethod(name, &args, value), kFailed) << Kt_WString(name).ToUtf8();
    EXPECT_EQ(paid.GetProperty(name, &args, value), kFailed) << Kt_WString(name).ToUtf8();
    EXPECT_EQ(paid.SetProperty(name, &args, value), kFailed) << Kt_WString(name).ToUtf8();
  }
  EXPECT_EQ(paid.SetProperty(u"id", &none, Kt_Variant(u"x")), kFailed);
  EXPECT_EQ(paid.SetProperty(u"count", &none, Kt_Variant(u"x")), kFailed);
  for (const char16_t* const id : {u"", u"OPEN"}) {
    const Kt_VariantList args{Kt_Variant(id)};
    EXPECT_EQ(paid.CallMethod(u"SetID", &args, value), kFailed);
  }
  const Kt_VariantList same{Kt_Variant(u"PAID")};
  EXPECT_EQ(paid.CallMethod(u"SetID", &same, value), kOk);
  EXPECT_EQ(paid.GetID(), u"PAID");
  EXPECT_EQ(Show(value), "1") << "what gives nothing leaves the result";
  EXPECT_EQ(Kt_WString(paid.GetDefaultProp()), u"text");
}

TEST_F(Domain, ReferencesNoticeThatTheirElementHasGone) {
  Kt_Variant held;
  Kt_Variant child;
  host_.domain->GetItem(u"paid", held);
  Kt_ExprObject* const paid = Kt_ExprObject::From(held.GetHolder().GetObject());
  paid->GetItem(0, child);
  host_.variables.AddVariable(u"kept", child);
  EXPECT_EQ(Eval(u"kept.text"), "'In cash'");

  // The same document again: other elements, though they are called the same.
  EXPECT_EQ(LoadXml(*host_.domain, kStatusXml), 3);
  EXPECT_EQ(Eval(u"kept.text"), "!-1");
  EXPECT_EQ(Eval(u"status.paid.cash.text"), "'In cash'");
  Kt_Variant value = kt_long{1};
  Kt_WString text = u"old";
  EXPECT_EQ(paid->GetID(), u"");
  EXPECT_EQ(paid->GetItemCount(), 0);
  EXPECT_EQ(paid->GetProperty(u"text", nullptr, value), kFailed);
  EXPECT_EQ(paid->GetProperty(u"count", nullptr, value), kFailed);
  EXPECT_EQ(paid->SetProperty(u"text", nullptr, value), kFailed);
  EXPECT_EQ(paid->GetItem(0, value), kOk);
  EXPECT_EQ(paid->GetItem(u"cash", value), kOk);
  EXPECT_EQ(Show(value), "1");
  paid->ConvToString(text);
  EXPECT_EQ(text, u"");

  host_.domain->GetItem(u"open", held);
  host_.domain.reset();
  EXPECT_EQ(Kt_ExprObject::From(held.GetHolder().GetObject())->GetID(), u"");
}

TEST_F(Domain, ReferencesEndWithTheirLastHold) {
  Kt_ObjectHolder hold;
  {
    Kt_Variant held;
    host_.domain->GetItem(0, held);
    hold = Kt_ObjectHolder(nullptr, held.GetHolder().GetObject());
  }
  EXPECT_TRUE(hold.IsValid());
  Kt_Variant held;
  {
    Kt_ExprObject parent(nullptr);
    Kt_ExprDomain domain(&parent);
    LoadXml(domain, kStatusXml);
    domain.GetItem(0, held);
    EXPECT_TRUE(held.GetHolder().IsValid());
  }
  EXPECT_FALSE(held.GetHolder().IsValid());
}

// Nothing in a document is lost without a message, and no id hides one that came before it.
TEST_F(Domain, OddDocuments) {
  Kt_ExprDomain& domain = *host_.domain;
  EXPECT_EQ(LoadXml(domain, R"(<x>text<element id="A" text="1"/><other/>
    <element id="a" text="2" type="odd" limit="-1" decimal="x" visible="1.5"/><element/></x>)"),
            3);
  EXPECT_EQ(Eval(u"status.a.text"), "'1'");
  EXPECT_EQ(Eval(u"status[1].text"), "'2'");
  EXPECT_EQ(Eval(u"status[1].type"), "'string'");
  EXPECT_EQ(Eval(u"status[2].id"), "''");
  EXPECT_EQ(domain.GetLoadMessages().Join(u"\n").ToUtf8(),
            "skipped: <other>\nelement 'a': unknown type 'odd'\n"
            "element 'a': bad visible '1.5'\nelement 'a': bad limit '-1'\n"
            "element 'a': bad decimal 'x'");
  // When the first of an id gets another one the second is found.
  EXPECT_TRUE(domain.GetElements().GetItem(0)->SetID(u"b"));
  EXPECT_EQ(Eval(u"status.a.text"), "'2'");
  EXPECT_FALSE(domain.GetElements().GetItem(2)->SetID(u"B"));
  EXPECT_TRUE(domain.GetElements().GetItem(2)->SetID(u"c"));

  Kt_XmlDOM empty;
  Kt_XmlDOM dom;
  Kt_XmlError error;
  ASSERT_TRUE(dom.LoadUtf8(kStatusXml, error));
  EXPECT_EQ(domain.AppendXMLData(u"more", dom), 3);
  EXPECT_EQ(Eval(u"status.b.text"), "'1'");
  EXPECT_EQ(domain.GetSourceId(), u"file.xml");
  EXPECT_EQ(domain.LoadXMLData(u"none", empty), 0);
  EXPECT_EQ(domain.GetSourceId(), u"none");
  EXPECT_EQ(domain.GetLoadMessages().GetCount(), 0);
}

std::string Dump(const Kt_DomainElemList& list) {
  std::string out;
  for (kt_long at = 0; at < list.GetCount(); ++at) {
    const Kt_DomainElement& element = *list.GetItem(at);
    out += element.GetID().ToUtf8() + "|" + element.GetText().ToUtf8() + "|" +
           element.GetFormat().ToUtf8() + "|" + Kt_WString(element.GetTypeStr()).ToUtf8() + "|" +
           std::to_string(element.GetVisible()) + std::to_string(element.GetEnable()) + "|" +
           std::to_string(element.GetLimit()) + "|" + std::to_string(element.GetDecimal()) + "{" +
           Dump(element.GetChildren()) + "}\n";
  }
  return out;
}

TEST_F(Domain, SavesAndLoadsBackEqual) {
  Kt_DomainElemList& elements = host_.domain->GetElements();
  elements.GetItem(0)->SetText(u"<\"&\r\n\xD800>");
  elements.GetItem(0)->SetVisible(-3);
  elements.Add(u"")->SetEnable(0);
  elements.Add(u"OPEN");
  kt_long depth = 0;
  for (Kt_DomainElemList* list = &elements;; ++depth) {
    Kt_DomainElement* const element = list->Add(u"deep");
    if (element == nullptr) break;
    list = &element->GetChildren();
  }
  EXPECT_EQ(depth, Kt_DomainElemList::kMaxDepth);
  Kt_XmlDOM dom;
  ASSERT_TRUE(elements.Save(dom));
  Kt_WString text;
  ASSERT_TRUE(dom.Save(text, true));
  Kt_XmlError error;
  ASSERT_TRUE(dom.Load(text, error)) << error.text.ToUtf8();
  Kt_DomainElemList back;
  Kt_WStrList messages;
  EXPECT_EQ(back.Load(dom, &messages), elements.GetCount());
  EXPECT_EQ(messages.GetCount(), 0);
  EXPECT_EQ(Dump(back), Dump(elements));
  EXPECT_EQ(back.FindItem(u"open"), back.GetItem(0));
}

// Children are found by id in time that does not grow with their number.
TEST_F(Domain, LargeDomains) {
  Kt_DomainElemList& elements = host_.domain->GetElements();
  constexpr kt_long kCount = 50000;
  for (kt_long at = 0; at < kCount; ++at) {
    elements.Add(Kt_WString(u"id") + Kt_Variant(at).ToString().View());
  }
  for (kt_long at = 0; at < kCount; ++at) {
    Kt_DomainElement* const found =
        elements.FindItem(Kt_WString(u"ID") + Kt_Variant(at).ToString().View());
    ASSERT_EQ(found, elements.GetItem(3 + at));
    ASSERT_TRUE(found->SetID(Kt_WString(u"new") + Kt_Variant(at).ToString().View()));
  }
  EXPECT_EQ(elements.FindItem(u"id0"), nullptr);
  EXPECT_EQ(elements.FindItem(u"New0"), elements.GetItem(3));
}

}  // namespace
