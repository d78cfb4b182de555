// SPDX-License-Identifier: MIT
//
// XML and the binary form: everything comes back, and damaged data is refused.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <random>

#include "classlib/base/Kt_Buffer.h"
#include "classlib/formats/Kt_Formats.h"
#include "classlib/value/Kt_Object.h"
#include "common/text.h"
#include "random_dataset.h"

namespace {

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
      ASSERT_TRUE(IsSameValue(a.ReadColumnNF(row, col), b.ReadColumnNF(row, col)))
          << row << ", " << col;
      ASSERT_TRUE(IsSameValue(a.GetOrgColumnNF(row, col), b.GetOrgColumnNF(row, col)));
      ASSERT_EQ(a.GetRowTypeNF(row), b.GetRowTypeNF(row));
    }
    for (kt_long at = 0; at < a.GetOrgBuffCount(); ++at) {
      ASSERT_TRUE(IsSameValue(a.GetOrgBuffColumn(at, col), b.GetOrgBuffColumn(at, col)));
      ASSERT_EQ(a.GetOrgBuffType(at), b.GetOrgBuffType(at));
    }
    for (kt_long at = 0; at < a.GetDelRowCount(); ++at) {
      ASSERT_TRUE(IsSameValue(a.GetDelColumn(at, col), b.GetDelColumn(at, col)));
    }
  }
}

void ExpectSame(Kt_Dataset a, Kt_Dataset b) {
  EXPECT_EQ(a.GetId(), b.GetId());
  ASSERT_EQ(a.GetConstCount(), b.GetConstCount());
  for (kt_long at = 0; at < a.GetConstCount(); ++at) {
    EXPECT_EQ(a.GetConstColID(at), b.GetConstColID(at));
    EXPECT_TRUE(IsSameValue(a.GetConstColumn(at), b.GetConstColumn(at)));
  }
  ExpectSameCells(a, b);
  // Deleted rows come back at their places.
  a.Reset();
  b.Reset();
  ExpectSameCells(a, b);
}

// KT_ROUND_TRIPS=5000 for a long run.
unsigned RoundTrips() {
  const char* const wanted = std::getenv("KT_ROUND_TRIPS");
  return wanted != nullptr ? static_cast<unsigned>(std::atoi(wanted)) : 200;
}

TEST(DatasetFiles, XmlAndBinaryKeepEverything) {
  for (unsigned seed = 1; seed <= RoundTrips(); ++seed) {
    SCOPED_TRACE(seed);
    RandomDataset maker(seed, {.many_texts = seed % 10 == 0});
    Kt_Dataset data = maker.Make();
    maker.Change(data);
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

TEST(DatasetFiles, TypedCsvKeepsCells) {
  for (unsigned seed = 1; seed <= RoundTrips(); ++seed) {
    SCOPED_TRACE(seed);
    const Kt_Dataset data =
        RandomDataset(seed, {.variants = false, .many_texts = seed % 10 == 0}).Make();
    for (const char16_t separator : {u',', u'\t', u';', u'|'}) {
      Kt_WString text;
      ASSERT_EQ(data.SaveCSV(text, {}, separator), data.GetRowCount());
      Kt_CsvSaveOptions save_options;
      save_options.separator = separator;
      Kt_Buffer utf8;
      Kt_SaveReport saved;
      const bool is_utf8 = Kt_WString::FromUtf8(text.ToUtf8()) == text;
      EXPECT_EQ(kt::SaveCsv(data, {}, save_options, utf8, saved) >= 0, is_utf8);
      EXPECT_EQ(utf8.View(), is_utf8 ? text.ToUtf8() : "");
      Kt_CsvOptions options;
      options.separator = separator;
      Kt_LoadReport report;
      Kt_Dataset back;
      ASSERT_EQ(back.LoadCSV(text, options, report), data.GetRowCount()) << report.error.ToUtf8();
      EXPECT_EQ(report.cells_not_converted + report.rows_rejected, 0);
      ExpectSameCells(data, back);
      if (HasFailure()) return;
    }
  }
}

// A number or a date of an untyped text, whatever type was found for its column.
bool SaysTheSame(const Kt_Variant& wanted, const Kt_Variant& found) {
  constexpr std::int64_t kExactUnits = 1'000'000'000'000'000;  // a double keeps 15 digits
  if (wanted.IsEmpty() || wanted.IsString() || wanted.GetTag() == kTagBinary) return true;
  const double number = wanted.ToDouble();
  const bool is_amount = wanted.GetTag() == kTagCurrency;
  if (!std::isfinite(number) || (is_amount && std::abs(wanted.AsInt64()) > kExactUnits)) {
    return true;
  }
  Kt_DateTime date;
  if (found.IsString() && wanted.GetTag() == kTagDateTime &&
      Kt_DateTime::FromText(found.AsStringView(), date)) {
    return date.days == number;
  }
  return found.ToDouble() == number;
}

TEST(DatasetFiles, UntypedCsvKeepsWhatItsTextsSay) {
  for (unsigned seed = 1; seed <= RoundTrips(); ++seed) {
    SCOPED_TRACE(seed);
    const Kt_Dataset data = RandomDataset(seed, {.variants = false}).Make();
    Kt_CsvSaveOptions untyped;
    untyped.typed = false;
    Kt_WString text;
    Kt_LoadReport report;
    ASSERT_EQ(data.SaveCSV(text, {}, untyped), data.GetRowCount());
    // With the types of a dataset that is there, everything comes back.
    Kt_Dataset typed(data);
    typed.ClearData();
    ASSERT_EQ(typed.LoadCSV(text, {}, report), data.GetRowCount()) << report.error.ToUtf8();
    EXPECT_EQ(report.cells_not_converted, 0);
    ExpectSameCells(data, typed);
    // With types that are found, what reads like a number or a date is the same one.
    Kt_Dataset found;
    ASSERT_EQ(found.LoadCSV(text, {}, report), data.GetRowCount());
    for (kt_long col = 0; col < data.GetColCount(); ++col) {
      for (kt_long row = 0; row < data.GetRowCount(); ++row) {
        const Kt_Variant wanted = data.ReadColumn(row, col);
        EXPECT_TRUE(SaysTheSame(wanted, found.ReadColumn(row, col)))
            << wanted.ToString().ToUtf8() << " and "
            << found.ReadColumn(row, col).ToString().ToUtf8();
      }
    }
    if (HasFailure()) return;
  }
}

struct SampleObject final : Kt_Object {
  SampleObject() : Kt_Object(nullptr) {}
};

// What a form cannot hold is refused, by its place.
TEST(DatasetFiles, WhatAFormCannotHoldIsRefused) {
  const auto nested = [](int levels) {
    Kt_Variant list;
    while (levels-- > 0) list = Kt_VariantList{list};
    return list;
  };
  Kt_Variant shared = u"x";  // grows to a list of 2 to the power 60 items
  for (int level = 0; level < 60; ++level) shared = Kt_VariantList{shared, shared};
  SampleObject object;
  const struct {
    Kt_Variant value;
    const char* csv;
    const char* others;
  } rows[] = {
      {nested(1), "row 1, column 'v': a list", ""},
      {nested(65), "row 1, column 'v': a list", ""},
      {nested(66), "row 1, column 'v': a list", "row 1, column 'v': lists nested too deeply"},
      {shared, "row 1, column 'v': a list", "row 1, column 'v': a list that is too large"},
      {Kt_Variant(Kt_ObjectHolder(nullptr, &object)), "row 1, column 'v': an object",
       "row 1, column 'v': an object"},
  };
  for (const auto& row : rows) {
    Kt_Dataset data;
    data.AddColumn(u"v", u"variant");
    data.LoadCSV(u"v\na\nb\nc\n", false);
    data.DeleteRow(0);
    data.SetColumn(1, 0, row.value);
    Kt_WString text(u"old");
    Kt_Buffer bytes;
    Kt_SaveReport report;
    EXPECT_EQ(data.SaveCSV(text, {}, {}, report), kErrNotAllowed);
    EXPECT_EQ(report.error.ToUtf8(), row.csv);
    EXPECT_EQ(text, u"");
    EXPECT_EQ(data.SaveDataXml(text, {}, true, report) < 0, *row.others != 0);
    EXPECT_EQ(report.error.ToUtf8(), row.others);
    EXPECT_EQ(data.Save2(bytes, {}, report) < 0, *row.others != 0);
    EXPECT_EQ(report.error.ToUtf8(), row.others);
    data.ClearData();
    data.AddConstColumn(u"k", row.value);
    const std::string fault(row.others);
    data.Save2(bytes, {}, report);
    EXPECT_EQ(report.error.ToUtf8(),
              fault.empty() ? "" : "constant 'k'" + fault.substr(fault.find(": ")));
  }
}

// One long text that cells share, so that saving is what passes the limit.
TEST(DatasetFiles, ATextThatWouldBeTooLongIsRefused) {
  Kt_WString half;
  char16_t* const units = half.GetBuffer(kMaxStringLength / 2 + 1);
  ASSERT_NE(units, nullptr);
  std::fill_n(units, kMaxStringLength / 2 + 1, u'x');
  Kt_Dataset data;
  data.AddColumn(u"a");
  data.AppendRow(2);
  data.SetColumn(0, 0, half);
  data.SetColumn(1, 0, half);
  Kt_WString text;
  Kt_SaveReport report;
  EXPECT_EQ(data.SaveCSV(text, {}, {}, report), kErrStringTooLong);
  EXPECT_EQ(text, u"");
  EXPECT_EQ(data.SaveDataXml(text, {}, true, report), kErrStringTooLong);
  EXPECT_EQ(report.code, kErrStringTooLong);
  EXPECT_EQ(text, u"");
}

// What a load would refuse, because a file claims more than it has, is not saved.
TEST(DatasetFiles, TablesOfNothing) {
  Kt_Dataset data;
  data.AddLogicalColumn(u"a", u"1");
  data.AppendRow((1 << 20) + 1);
  data.ApplyChange();
  Kt_Buffer bytes;
  Kt_SaveReport report;
  EXPECT_EQ(data.Save2(bytes, {}, report), kErrNotAllowed);
  EXPECT_EQ(report.error, u"too many rows without a stored column");
  data.SetRowType(0, kRowTypeInsert);
  data.DeleteRow(0);
  ASSERT_EQ(data.Save2(bytes, {}, report), 1 << 20);
  EXPECT_EQ(data.LoadDataBin({bytes.GetData(), bytes.GetSize()}), 1 << 20);
  Kt_Dataset rows;
  Kt_WString text;
  rows.AppendRow(2);
  EXPECT_EQ(rows.SaveCSV(text, {}, {}, report), kErrNotAllowed);
  EXPECT_EQ(report.error, u"rows without a column");
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
  Kt_SaveReport report;
  EXPECT_EQ(data.SaveDataXml(text, u"other", true, report), kErrNotAllowed);
  EXPECT_EQ(report.error, u"unknown save type 'other'");
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
  RandomDataset maker(7);
  Kt_Dataset data = maker.Make();
  maker.Change(data);
  Kt_Buffer bytes;
  data.Save2(bytes);
  const std::vector<std::uint8_t> good(bytes.GetData(), bytes.GetData() + bytes.GetSize());
  Kt_Dataset back;
  for (std::size_t size = 0; size < good.size(); ++size) {
    Kt_LoadReport report;
    ASSERT_EQ(back.LoadDataBin({good.data(), size}, true, report), -1) << size;
    ASSERT_EQ(report.error, u"no whole dataset in binary form") << size;
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
