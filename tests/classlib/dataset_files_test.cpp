// SPDX-License-Identifier: MIT
//
// XML and the binary form: everything comes back, and damaged data is refused.
#include <gtest/gtest.h>

#include <functional>
#include <random>

#include "classlib/Kt_Buffer.h"
#include "classlib/Kt_Dataset.h"
#include "test_text.h"

namespace {

bool Same(const Kt_Variant& a, const Kt_Variant& b) {
  return a.GetTag() == b.GetTag() && Var_Order(a, b) == 0;
}

void ExpectSameCells(const Kt_Dataset& a, const Kt_Dataset& b) {
  ASSERT_EQ(a.GetColCount(), b.GetColCount());
  ASSERT_EQ(a.GetRowCountNF(), b.GetRowCountNF());
  ASSERT_EQ(a.GetOrgBuffCount(), b.GetOrgBuffCount());
  ASSERT_EQ(a.GetDelRowCount(), b.GetDelRowCount());
  for (kt_long col = 0; col < a.GetColCount(); ++col) {
    EXPECT_EQ(a.GetColID(col), b.GetColID(col));
    EXPECT_EQ(a.GetColType(col), b.GetColType(col));
    EXPECT_EQ(a.GetColSize(col), b.GetColSize(col));
    EXPECT_EQ(a.GetColMapValue(col), b.GetColMapValue(col));
    for (kt_long row = 0; row < a.GetRowCountNF(); ++row) {
      ASSERT_TRUE(Same(a.ReadColumnNF(row, col), b.ReadColumnNF(row, col))) << row << ", " << col;
      ASSERT_TRUE(Same(a.GetOrgColumnNF(row, col), b.GetOrgColumnNF(row, col)));
      ASSERT_EQ(a.GetRowTypeNF(row), b.GetRowTypeNF(row));
    }
    for (kt_long at = 0; at < a.GetOrgBuffCount(); ++at) {
      ASSERT_TRUE(Same(a.GetOrgBuffColumn(at, col), b.GetOrgBuffColumn(at, col)));
      ASSERT_EQ(a.GetOrgBuffType(at), b.GetOrgBuffType(at));
    }
    for (kt_long at = 0; at < a.GetDelRowCount(); ++at) {
      ASSERT_TRUE(Same(a.GetDelColumn(at, col), b.GetDelColumn(at, col)));
    }
  }
}

void ExpectSame(Kt_Dataset a, Kt_Dataset b) {
  EXPECT_EQ(a.GetId(), b.GetId());
  ASSERT_EQ(a.GetConstCount(), b.GetConstCount());
  for (kt_long at = 0; at < a.GetConstCount(); ++at) {
    EXPECT_EQ(a.GetConstColID(at), b.GetConstColID(at));
    EXPECT_TRUE(Same(a.GetConstColumn(at), b.GetConstColumn(at)));
  }
  ExpectSameCells(a, b);
  // Deleted rows come back at their places.
  a.Reset();
  b.Reset();
  ExpectSameCells(a, b);
}

class Maker {
 public:
  explicit Maker(unsigned seed) : random_(seed) {}

  kt_long Roll(kt_long count) {
    return std::uniform_int_distribution<kt_long>(0, count - 1)(random_);
  }
  Kt_WString AnyText() {
    Kt_WString text;
    for (kt_long left = Roll(6); left > 0; --left) {
      constexpr char16_t kUnits[] = {u'a',   u'<',  u'&', u'"',    u'\r',  u'\n',
                                     u'\t',  u'\0', u' ', u'\xA0', 0xD83D, 0xDE00,
                                     0xFFFF, u']',  u'>', u'\'',   0x1,    u','};
      text += kUnits[Roll(std::size(kUnits))];
    }
    return text;
  }
  Kt_Variant AnyValue(int depth = 0) {
    const Kt_WString text = AnyText();
    switch (Roll(depth < 3 ? 9 : 8)) {
      case 0: return {};
      case 1: return Roll(1000000) - 500000;
      case 2: return std::uniform_real_distribution<double>(-1e6, 1e6)(random_);
      case 3: return Kt_Currency::FromUnits(Roll(2000000000));
      case 4: return Kt_DateTime{40000 + Roll(100000) / 1000.0};
      case 5: return Kt_Variant(Roll(2) == 0);
      case 6: return text;
      case 7: {
        Kt_Variant binary;
        binary.SetBinary(text.GetText(), static_cast<std::size_t>(text.GetLength()));
        return binary;
      }
      default: return Kt_VariantList{AnyValue(depth + 1), AnyValue(depth + 1)};
    }
  }

  Kt_Dataset AnyDataset() {
    Kt_Dataset data(AnyText());
    for (const char16_t* type :
         {u"string", u"long", u"double", u"currency", u"datetime", u"binary", u"variant"}) {
      data.AddColumn(Kt_WString(u"c&") + type, type, Roll(20));
    }
    data.AddLogicalColumn(u"again", u"c&long", u"long");
    data.AddConstColumn(u"const", AnyValue());
    data.AppendRow(1 + Roll(40));
    Edit(data, 60);
    data.ApplyChange();
    Edit(data, Roll(60));
    return data;
  }

 private:
  void Edit(Kt_Dataset& data, kt_long count) {
    for (; count > 0; --count) {
      const kt_long row = Roll(std::max(1, data.GetRowCount()));
      switch (Roll(8)) {
        case 0: data.DeleteRow(row); break;
        case 1: data.InsertRow(row); break;
        case 2: data.SetRowType(row, kRowTypeUpdate); break;
        default: data.SetColumn(row, Roll(data.GetColCount()), AnyValue()); break;
      }
    }
  }

  std::mt19937 random_;
};

TEST(DatasetFiles, RandomDatasetsComeBack) {
  for (unsigned seed = 1; seed <= 300; ++seed) {
    SCOPED_TRACE(seed);
    const Kt_Dataset data = Maker(seed).AnyDataset();
    Kt_WString text;
    ASSERT_GE(data.SaveDataXml(text), 0);
    Kt_Dataset from_xml(data.GetId());
    Kt_LoadReport report;
    ASSERT_EQ(from_xml.LoadDataXml(text, true, report), data.GetRowCount());
    EXPECT_EQ(report.cells_not_converted, 0);
    ExpectSame(data, from_xml);

    Kt_Buffer bytes;
    ASSERT_GE(data.Save2(bytes), 0);
    Kt_Dataset from_bytes(data.GetId());
    ASSERT_EQ(from_bytes.LoadDataBin({bytes.GetData(), bytes.GetSize()}), data.GetRowCount());
    ExpectSame(data, from_bytes);
    if (HasFailure()) return;
  }
}

TEST(DatasetFiles, SaveTypes) {
  Kt_Dataset data(u"d");
  data.LoadCSV(u"a\n1\n2\n3\n4\n");
  data.SetColumn(1, 0, 20);
  data.DeleteRow(2);
  data.Filter(0);
  Kt_WString text;
  Kt_Dataset back;
  struct {
    const char16_t* type;
    kt_long rows;
  } const rows[] = {{u"", 2}, {u"ALL", 2}, {u"nf", 3}, {u"update", 1}};
  for (const auto& row : rows) {
    EXPECT_GE(data.SaveDataXml(text, row.type), row.rows);
    EXPECT_EQ(back.LoadDataXml(text), row.rows);
    EXPECT_EQ(back.GetDelRowCount(), 1);
    EXPECT_EQ(back.GetDelColumn(0, 0).ToInteger(), 3);
    EXPECT_EQ(back.GetOrgBuffCount(), 2);
  }
  EXPECT_EQ(data.SaveDataXml(text, u"other"), -1);
  // Without column information the loading dataset's types count.
  data.SaveDataXml(text, u"nf", false);
  Kt_Dataset typed;
  typed.AddColumn(u"A", u"currency");
  EXPECT_EQ(typed.LoadDataXml(text), 3);
  EXPECT_EQ(typed.GetColType(0), Kt_ColumnType::kCurrency);
  EXPECT_EQ(typed.ReadColumn(1, 0).ToString(), u"20");
  EXPECT_EQ(typed.LoadDataXml(text, false), 3);
  EXPECT_EQ(typed.GetRowCount(), 6);
}

TEST(DatasetFiles, BadXmlIsRefused) {
  const char16_t* const texts[] = {
      u"",
      u"x",
      u"<dataset>",
      u"<other/>",
      u"<dataset><rows></dataset>",
      u"<dataset><columns><column/></columns></dataset>",
      u"<dataset><columns><column id=\"a\" type=\"odd\"/></columns></dataset>",
      u"<dataset><columns><column id=\"a\"/><column id=\"A\"/></columns></dataset>",
      u"<dataset id=\"&unknown;\"/>",
      u"<dataset id=\"&#x110000;\"/>",
      u"<dataset id=a/>",
      u"<dataset><!-- </dataset>",
      u"<!DOCTYPE d [<!ENTITY a \"aaaa\"><!ENTITY b \"&a;&a;\">]><dataset id=\"&b;\"/>",
  };
  Kt_Dataset data(u"kept");
  data.LoadCSV(u"a\n1\n");
  for (const char16_t* const text : texts) {
    Kt_LoadReport report;
    EXPECT_EQ(data.LoadDataXml(text, true, report), -1) << Utf8(text);
    EXPECT_FALSE(report.error.IsEmpty()) << Utf8(text);
    EXPECT_EQ(data.GetRowCount(), 1);
    EXPECT_EQ(data.GetId(), u"kept");
  }
  std::u16string deep = u"<dataset>";
  for (int level = 0; level < 100000; ++level) deep += u"<x>";
  EXPECT_EQ(data.LoadDataXml(deep), -1);
}

TEST(DatasetFiles, UnknownXmlIsSkipped) {
  Kt_Dataset data;
  Kt_LoadReport report;
  EXPECT_EQ(data.LoadDataXml(u"<?xml version='1.0'?><!-- c --><!DOCTYPE dataset>"
                             u"<dataset id='x'><extra a='1'>t<b/></extra>"
                             u"<columns><column id='a' type='LONG'/></columns>"
                             u"<rows><row><c i='0'><![CDATA[5]]></c><c i='9'>lost</c></row>"
                             u"<row><c i='0'>x</c></row><row/></rows></dataset>",
                             true, report),
            3);
  EXPECT_EQ(data.ReadColumn(0, 0).ToInteger(), 5);
  EXPECT_TRUE(data.ReadColumn(2, 0).IsEmpty());
  EXPECT_EQ(report.cells_not_converted, 2);
}

TEST(DatasetFiles, DamagedBytesNeverCrash) {
  const Kt_Dataset data = Maker(7).AnyDataset();
  Kt_Buffer bytes;
  data.Save2(bytes);
  const std::vector<std::uint8_t> good(bytes.GetData(), bytes.GetData() + bytes.GetSize());
  Kt_Dataset back;
  for (std::size_t size = 0; size < good.size(); ++size) {
    ASSERT_EQ(back.LoadDataBin({good.data(), size}), -1) << size;
  }
  std::mt19937 random(11);
  for (int turn = 0; turn < 20000; ++turn) {
    std::vector<std::uint8_t> bad = good;
    for (unsigned hits = random() % 3 + 1; hits > 0; --hits) {
      bad[random() % bad.size()] = static_cast<std::uint8_t>(random() % 4 == 0 ? 0xFF : random());
    }
    Kt_Dataset damaged;
    damaged.LoadDataBin(bad);
    damaged.Reset();
    for (kt_long row = 0; row < damaged.GetRowCount(); ++row) damaged.ReadColumn(row, 0);
  }
}

}  // namespace
