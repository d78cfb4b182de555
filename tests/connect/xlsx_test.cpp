// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zip.h>

#include <cmath>
#include <map>
#include <random>
#include <string>

#include "classlib/base/Kt_Codes.h"
#include "classlib/base/Kt_Memory.h"
#include "classlib/base/Kt_WorkMeter.h"
#include "classlib/formats/Kt_Formats.h"
#include "connect/Kt_Xlsx.h"
#include "random_dataset.h"

namespace {

using testing::HasSubstr;
using Parts = std::map<std::string, std::string>;

// An archive of some parts.
std::string Zip(const Parts& parts) {
  zip_error_t error;
  zip_source_t* const target = zip_source_buffer_create(nullptr, 0, 0, &error);
  zip_source_keep(target);
  zip_t* const archive = zip_open_from_source(target, ZIP_TRUNCATE, &error);
  for (const auto& [name, text] : parts) {
    zip_file_add(archive, name.c_str(), zip_source_buffer(archive, text.data(), text.size(), 0),
                 ZIP_FL_ENC_UTF_8);
  }
  zip_close(archive);
  zip_stat_t stat;
  zip_source_stat(target, &stat);
  std::string bytes(stat.size, '\0');
  zip_source_open(target);
  zip_source_read(target, bytes.data(), bytes.size());
  zip_source_close(target);
  zip_source_free(target);
  return bytes;
}

constexpr const char* kRelations = "<Relationships>";

// The parts of a workbook with two sheets, of which the first one has these rows. Style 1 is a day,
// style 2 a time of day.
Parts Workbook(const std::string& rows, const std::string& properties = "") {
  const std::string office = "http://schemas.openxmlformats.org/officeDocument/2006/relationships/";
  const auto relation = [&](const char* id, const char* type, const char* target) {
    return std::string("<Relationship Id='") + id + "' Type='" + office + type + "' Target='" +
           target + "'/>";
  };
  return {
      {"_rels/.rels",
       kRelations + relation("a", "officeDocument", "xl/workbook.xml") + "</Relationships>"},
      {"xl/_rels/workbook.xml.rels", kRelations + relation("s1", "worksheet", "/xl/sheet1.xml") +
                                         relation("s2", "worksheet", "../xl/sheet2.xml") +
                                         relation("st", "styles", "styles.xml") +
                                         relation("t", "sharedStrings", "texts.xml") +
                                         "</Relationships>"},
      {"xl/workbook.xml", "<x:workbook xmlns:x='u' xmlns:r='v'>" + properties +
                              "<x:sheets><x:sheet name='Sales' r:id='s1'/>"
                              "<x:sheet name='Größe' r:id='s2'/></x:sheets></x:workbook>"},
      {"xl/styles.xml",
       "<styleSheet><numFmts><numFmt numFmtId='170' formatCode='[h]:mm'/></numFmts><cellStyleXfs>"
       "<xf numFmtId='14'/></cellStyleXfs><cellXfs><xf numFmtId='0'/><xf numFmtId='14'/>"
       "<xf numFmtId='170'/></cellXfs></styleSheet>"},
      {"xl/texts.xml",
       "<sst><si><t>shared</t></si><si><r><t>ri</t></r><r><t>ch</t></r><rPh><t>no</t></rPh></si>"
       "<si><t>a_x000A_b_x005F_x000D_</t></si></sst>"},
      {"xl/sheet1.xml", "<worksheet><sheetData>" + rows + "</sheetData></worksheet>"},
      {"xl/sheet2.xml",
       "<worksheet><sheetData><row><c t='inlineStr'><is><t>w</t></is></c></row>"
       "<row><c><v>7</v></c></row></sheetData></worksheet>"},
  };
}

struct Loaded {
  kt_long rows = 0;
  std::string csv;  // with types
  Kt_LoadReport report;
};

Loaded Load(const std::string& bytes, const Kt_XlsxOptions& options = {}) {
  Loaded loaded;
  Kt_Dataset dataset;
  loaded.rows = kt::LoadXlsx(dataset, bytes, options, loaded.report);
  Kt_WString csv;
  Kt_SaveReport saved;
  if (loaded.rows >= 0) dataset.SaveCSV(csv, {}, Kt_CsvSaveOptions{}, saved);
  for (const char16_t unit : csv.View()) {
    if (unit != u'\r') loaded.csv += Kt_WString(std::u16string_view(&unit, 1)).ToUtf8();
  }
  return loaded;
}

std::string Head(const std::string& names) {
  std::string row = "<row>";
  for (const char name : names) {
    row += std::string("<c t='str'><v>") + name + "</v></c>";
  }
  return row + "</row>";
}

TEST(Xlsx, CellsBecomeWhatTheyAre) {
  const struct {
    const char* what;
    std::string rows;
    const char* csv;
  } kRows[] = {
      {"kinds",
       Head("abcdef") +
           "<row><c><v>1</v></c><c><v>1.5</v></c><c t='s'><v>1</v></c><c t='b'><v>1</v></c>"
           "<c s='1'><v>45000</v></c><c t='s'><v>2</v></c></row>"
           "<row><c><v>-2E0</v></c><c><v>2</v></c><c t='s'><v>0</v></c><c t='b'><v>0</v></c>"
           "<c s='1'><v>45000.25</v></c></row>",
       "a:long,b:double,c:string,d:long,e:datetime,f:string\n"
       "1,1.5,rich,1,2023-03-15,\"a\nb_x000D_\"\n-2,2,shared,0,2023-03-15 06:00:00,\n"},
      {"places: gaps, rows without values, a column without heading",
       Head("a") + "<row r='3'><c r='A3'><v>1</v></c><c r='C3'><v>2</v></c></row>"
                   "<row r='5'><c r='A5' s='1'/></row><row r='9'><c r='C9'><v>3</v></c></row>",
       "a:long,column3:long\n1,2\n,3\n"},
      {"numbers beyond 32 bits, days of 1900, times and durations",
       Head("abc") +
           "<row><c><v>3000000000</v></c><c s='1'><v>1</v></c><c s='2'><v>1.5</v></c></row>"
           "<row><c><v>1</v></c><c s='1'><v>61</v></c><c s='2'><v>0.25</v></c></row>",
       "a:double,b:datetime,c:double\n3000000000,1900-01-01,1.5\n1,1900-03-01,0.25\n"},
      {"words for null among numbers, different kinds",
       Head("ab") + "<row><c t='str'><v>n/a</v></c><c><v>1</v></c></row>"
                    "<row><c><v>2</v></c><c t='str'><v>x</v></c></row>",
       "a:long,b:variant\n,1\n2,x\n"},
      {"the same names, dates as names",
       "<row><c t='str'><v>a</v></c><c t='str'><v>A</v></c><c s='1'><v>45000</v></c></row>"
       "<row><c><v>1</v></c><c><v>2</v></c><c><v>3</v></c></row>",
       "a:long,A_2:long,2023-03-15:long\n1,2,3\n"},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.what);
    const Loaded loaded = Load(Zip(Workbook(row.rows)));
    EXPECT_EQ(loaded.report.error.ToUtf8(), "");
    EXPECT_EQ(loaded.csv, row.csv);
    EXPECT_EQ(loaded.report.cells_not_converted, 0);
  }
}

TEST(Xlsx, OptionsChooseSheetRowsAndTypes) {
  const std::string bytes =
      Zip(Workbook("<row><c t='str'><v>A title</v></c></row>" + Head("ab") +
                       "<row><c><v>1</v></c><c t='str'><v>007</v></c></row>"
                       "<row><c><v>2.5</v></c><c t='str'><v>none</v></c></row>",
                   "<x:workbookPr date1904='1'/>"));
  Kt_XlsxOptions options;
  options.skip = 1;
  EXPECT_EQ(Load(bytes, options).csv, "a:double,b:string\n1,007\n2.5,none\n");
  options.rules.types = {{u"A", Kt_ColumnType::kString}, {u"b", Kt_ColumnType::kLong}};
  const Loaded typed = Load(bytes, options);
  EXPECT_EQ(typed.csv, "a:string,b:long\n1,7\n2.5,0\n");
  ASSERT_EQ(typed.report.not_converted.size(), 1u);
  EXPECT_EQ(typed.report.not_converted[0].line, 4);
  EXPECT_EQ(typed.report.not_converted[0].column, u"b");
  options.rules.types = {{u"z", Kt_ColumnType::kLong}};
  EXPECT_EQ(Load(bytes, options).report.error, u"no column 'z'");

  options = {};
  options.header = false;
  options.sheet = "grÖSSe";
  EXPECT_THAT(Load(bytes, options).report.error.ToUtf8(), HasSubstr("'Sales', 'Größe'"));
  options.sheet = "größe";
  EXPECT_EQ(Load(bytes, options).csv, "column1:variant\nw\n7\n");
  options.sheet = "2";
  options.header = true;
  EXPECT_EQ(Load(bytes, options).csv, "w:long\n7\n");
}

TEST(Xlsx, DaysCountFrom1904WhereTheWorkbookSaysSo) {
  const std::string rows = Head("a") + "<row><c s='1'><v>40542</v></c></row>";
  const std::string properties =
      "<x:workbookPr date1904='1'/><e:workbookPr xmlns:e='e' chartTrackingRefBase='1'/>";
  EXPECT_EQ(Load(Zip(Workbook(rows))).csv, "a:datetime\n2010-12-30\n");
  EXPECT_EQ(Load(Zip(Workbook(rows, properties))).csv, "a:datetime\n2014-12-31\n");
}

TEST(Xlsx, WhatIsLostIsTold) {
  const Loaded loaded = Load(Zip(
      Workbook(Head("ab") + "<row r='4'><c><f>1+1</f></c><c t='e'><v>#DIV/0!</v></c></row>"
                            "<row r='6'><c><f>1+1</f><v>2</v></c><c t='e'><v>#N/A</v></c></row>")));
  EXPECT_EQ(loaded.csv, "a:long,b:string\n,\n2,\n");
  EXPECT_EQ(loaded.report.cells_not_converted, 2);
  ASSERT_EQ(loaded.report.not_converted.size(), 2u);
  EXPECT_EQ(loaded.report.not_converted[0].line, 4);
  EXPECT_EQ(loaded.report.not_converted[0].text, u"a formula without a value");
  EXPECT_EQ(loaded.report.not_converted[1].column, u"b");
  ASSERT_EQ(loaded.report.nulls.size(), 1u);
  EXPECT_EQ(loaded.report.nulls[0].token, u"#N/A");

  // An empty value, as programs write it that compute nothing; a text may be empty.
  const Loaded empty = Load(
      Zip(Workbook(Head("ab") + "<row><c><f>1+1</f><v></v></c><c t='str'><f>A1</f><v></v></c></row>"
                                "<row><c><f>2+2</f><v/></c><c><v></v></c></row>")));
  EXPECT_EQ(empty.csv, "a:string,b:string\n,\"\"\n,\n");
  EXPECT_EQ(empty.report.cells_not_converted, 2);
}

TEST(Xlsx, HostileFilesAreRefused) {
  const auto with = [](const char* part, const std::string& text) {
    Parts parts = Workbook(Head("a"));
    parts[part] = text;
    return Zip(parts);
  };
  const auto rows = [](const std::string& text) { return Zip(Workbook(text)); };
  const struct {
    std::string bytes;
    const char* error;
  } kRows[] = {
      {"", "no workbook"},
      {"a,b\n1,2\n", "no workbook"},
      {"\xD0\xCF\x11\xE0\xA1\xB1", "password"},
      {Zip({{"x", "y"}}), "'_rels/.rels': is missing"},
      {Zip(Workbook("")).substr(0, 600), "no workbook"},
      {with("xl/sheet1.xml", "<!DOCTYPE a [<!ENTITY b SYSTEM '/etc/passwd'>]><a>&b;</a>"),
       "'xl/sheet1.xml': has a document type"},
      {with("xl/texts.xml", "<sst><si><t>a</t></sst>"), "'xl/texts.xml': line 1: mismatched tag"},
      {with("xl/workbook.xml", "<workbook/>"), "the workbook has no sheets"},
      {rows(""), "the sheet has no rows"},
      {rows(Head("a") + "<row><c t='s'><v>9</v></c></row>"), "row 2: a cell refers to a text"},
      {rows(Head("a") + "<row><c r='ZZZZ9'><v>1</v></c></row>"), "row 2: the cell 'ZZZZ9'"},
      {rows(Head("a") + "<row><c r='B2'><v>1</v></c><c r='B2'><v>1</v></c></row>"), "out of place"},
      {rows("<row r='5'/><row r='5'/>"), "row 5 comes after row 5"},
      {rows("<row r='99999999999'/>"), "comes after"},
      {with("xl/sheet1.xml", std::string(100 << 20, ' ')), "more than 400 times its size"},
  };
  for (const auto& row : kRows) {
    const Loaded loaded = Load(row.bytes);
    EXPECT_LT(loaded.rows, 0) << row.error;
    EXPECT_THAT(loaded.report.error.ToUtf8(), HasSubstr(row.error));
  }
}

// Whatever bytes change: an answer, and the dataset as it was when it is a refusal.
TEST(Xlsx, DamagedFilesNeverCrash) {
  Parts parts = Workbook(
      Head("abc") + "<row><c><v>1</v></c><c t='s'><v>1</v></c><c s='1'><v>45000</v></c></row>");
  std::mt19937 random(20261122);
  for (int round = 0; round < 400; ++round) {
    Parts damaged = parts;
    auto part = damaged.begin();
    std::advance(part, random() % damaged.size());
    for (int change = 0; change < 3 && !part->second.empty(); ++change) {
      part->second[random() % part->second.size()] = "<>&;'/\"= 9Ax\xFF"[random() % 13];
    }
    std::string bytes = Zip(damaged);
    if (round % 2 == 0) bytes[random() % bytes.size()] ^= static_cast<char>(1 << random() % 8);
    Kt_Dataset dataset;
    dataset.AddColumn(u"kept", Kt_ColumnType::kLong);
    Kt_LoadReport report;
    const kt_long rows = kt::LoadXlsx(dataset, bytes, {}, report);
    EXPECT_EQ(rows < 0, !report.error.IsEmpty());
    if (rows < 0) {
      EXPECT_EQ(dataset.GetColID(0), u"kept");
    }
  }
}

Kt_XlsxTable TableOf(const Kt_Dataset& dataset) {
  Kt_XlsxTable table;
  for (kt_long col = 0; col < dataset.GetColCount(); ++col) {
    table.columns.push_back({dataset.GetColID(col), dataset.GetColType(col)});
  }
  table.row_count = dataset.GetRowCount();
  table.cell = [&](kt_long row, std::size_t col) {
    return dataset.ReadColumn(row, static_cast<kt_long>(col));
  };
  return table;
}

TEST(Xlsx, WhatIsSavedLoadsBack) {
  constexpr const char* kCsv =
      "id:long,price:double,name:string,day:datetime,at:datetime,mixed:variant\n"
      "1,0.1,=1+2,2024-02-29,2024-02-29 13:45:10,1.5\n"
      "-2147483648,1e-300,_x000D_ _x,1900-01-01,1999-12-31 23:59:59,ä€😀\n"
      ",123456789.125,\" a <&>\",,,\n";
  Kt_Dataset dataset;
  Kt_LoadReport report;
  ASSERT_EQ(kt::LoadCsv(dataset, std::string_view(kCsv), {}, report), 3);
  std::string bytes;
  std::string error;
  ASSERT_TRUE(kt::SaveXlsx(TableOf(dataset), bytes, error)) << error;
  EXPECT_TRUE(kt::IsXlsx(bytes));
  Kt_Dataset again;
  ASSERT_EQ(kt::LoadXlsx(again, bytes, {}, report), 3) << report.error.ToUtf8();
  for (kt_long row = 0; row < 3; ++row) {
    for (kt_long col = 0; col < dataset.GetColCount() - 1; ++col) {
      EXPECT_EQ(again.ReadColumn(row, col).ToString(), dataset.ReadColumn(row, col).ToString())
          << row << " " << col;
    }
  }
}

// Numbers of a sheet have 15 digits, and so do its moments; what is no number there is a text.
bool IsSameInSheet(const Kt_Variant& wanted, const Kt_Variant& found) {
  constexpr double kShare = 5e-15;
  if (wanted.IsEmpty() || (wanted.IsString() && wanted.AsString().IsEmpty())) {
    return found.IsEmpty();
  }
  if (wanted.IsString() || found.IsString()) return !found.ToString().IsEmpty();
  const double there = found.ToDouble();
  return std::fabs(wanted.ToDouble() - there) <= kShare * std::fabs(there);
}

TEST(Xlsx, AnyCellComesBackOrIsRefused) {
  int loaded_count = 0;
  for (unsigned seed = 1; seed <= 300; ++seed) {
    SCOPED_TRACE(seed);
    RandomDataset maker(seed, {.variants = seed % 2 == 0});
    Kt_Dataset dataset;
    dataset.AddColumn(u"v", static_cast<Kt_ColumnType>(maker.Roll(7)));
    dataset.AddColumn(u"there", u"long");  // so that no row is empty
    dataset.AppendRow(3);
    for (kt_long row = 0; row < 3; ++row) {
      dataset.SetColumn(row, 0, maker.AnyValue(4));
      dataset.SetColumn(row, 1, row);
    }
    std::string bytes;
    std::string error;
    if (!kt::SaveXlsx(TableOf(dataset), bytes, error)) {
      EXPECT_THAT(error, HasSubstr(", column 'v': "));
      continue;
    }
    Kt_Dataset again;
    Kt_LoadReport report;
    ASSERT_EQ(kt::LoadXlsx(again, bytes, {}, report), 3) << report.error.ToUtf8();
    ++loaded_count;
    for (kt_long row = 0; row < 3; ++row) {
      EXPECT_TRUE(IsSameInSheet(dataset.ReadColumn(row, 0), again.ReadColumn(row, 0)))
          << "'" << dataset.ReadColumn(row, 0).ToString().ToUtf8() << "' and '"
          << again.ReadColumn(row, 0).ToString().ToUtf8() << "'";
    }
  }
  EXPECT_GT(loaded_count, 100);
}

TEST(Xlsx, WhatASheetCannotHoldIsRefused) {
  const struct {
    Kt_Variant value;
    const char* error;
  } kRows[] = {
      {Kt_VariantList{1}, "row 1, column 'a': a sheet holds no lists"},
      {Kt_WString(std::u16string(32'768, u'x')), "row 1, column 'a': longer than 32767 characters"},
      {u"\xD800", "row 1, column 'a': half of a surrogate pair"},
  };
  Kt_XlsxTable table;
  table.columns = {{u"a", Kt_ColumnType::kVariant}};
  table.row_count = 1;
  for (const auto& row : kRows) {
    table.cell = [&](kt_long, std::size_t) { return row.value; };
    std::string bytes = "old";
    std::string error;
    EXPECT_FALSE(kt::SaveXlsx(table, bytes, error));
    EXPECT_THAT(error, HasSubstr(row.error));
    EXPECT_EQ(bytes, "");
  }
  table.row_count = 1'048'576;
  std::string bytes;
  std::string error;
  EXPECT_FALSE(kt::SaveXlsx(table, bytes, error));
  EXPECT_EQ(error, "a sheet holds 1048575 rows, these are 1048576");
}

TEST(Xlsx, BoundsHold) {
  std::string rows = Head("ab");
  for (int row = 0; row < 20'000; ++row) rows += "<row><c><v>1</v></c><c><v>2.5</v></c></row>";
  const std::string bytes = Zip(Workbook(rows));
  {
    const Kt_CountedMemory bound(100'000);
    const Loaded loaded = Load(bytes);
    EXPECT_EQ(loaded.rows, kErrNoMemory);
    EXPECT_EQ(loaded.report.error, u"out of memory");
  }
  Kt_RunBudget budget;
  budget.limit_steps = 100;
  const Kt_BoundedWork work(budget);
  EXPECT_EQ(Load(bytes).report.error, u"step limit reached");
}

}  // namespace
