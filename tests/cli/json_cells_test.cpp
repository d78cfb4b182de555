// SPDX-License-Identifier: MIT
//
// Values of JSON by the rules that texts of cells have.
#include <gtest/gtest.h>

#include <string>

#include "classlib/test_text.h"
#include "cli/data/Kt_Json.h"

namespace {

// Types of columns, then rows: "long string | 1 x | - y".
std::string Show(const Kt_Dataset& dataset) {
  std::string out;
  for (kt_long col = 0; col < dataset.GetColCount(); ++col) {
    out += (col > 0 ? " " : "") + Utf8(kt_columntypenameW(dataset.GetColType(col)));
  }
  for (kt_long row = 0; row < dataset.GetRowCount(); ++row) {
    out += " |";
    for (kt_long col = 0; col < dataset.GetColCount(); ++col) {
      const Kt_Variant value = dataset.ReadColumn(row, col);
      out += ' ' + (value.IsEmpty() ? "-" : value.ToString().ToUtf8());
    }
  }
  return out;
}

// The rules of cells are for strings, and for all values where they state types.
TEST(CliJsonCells, RulesOfCells) {
  const std::string_view text =
      "[[\"a\",\"b\",\"c\",\"d\"],\n[\"1,5\",1.5,\"31.1.24\",\"x\"],\n[\"?\",2,\"?\",\"?\"],\n"
      "[\"12 kg\",-1],\n[2.5,-1,\"\\u0031.2.2024\",\"y\"]]";
  Kt_CsvOptions options;
  options.rules.types = {{u"A", Kt_ColumnType::kDouble}};
  options.rules.null_tokens = {u"?", u"-1"};
  options.rules.decimal = u',';
  options.rules.dates = Kt_DateOrder::kDayMonthYear;
  Kt_Dataset dataset;
  kt::cli::DataReport report;
  ASSERT_TRUE(kt::cli::LoadJson(text, false, options, dataset, report));
  EXPECT_EQ(Show(dataset),
            "double double datetime string | 1.5 1.5 2024-01-31 x | - 2 - - | 12 - - - | "
            "2.5 - 2024-02-01 y");
  EXPECT_EQ(report.rows.records, 4);
  EXPECT_EQ(report.rows.rows_short, 1);
  ASSERT_EQ(report.rows.not_converted.size(), 1u);
  EXPECT_EQ(report.rows.not_converted[0].text, u"12 kg");
  ASSERT_EQ(report.rows.nulls.size(), 4u);
  EXPECT_EQ(report.rows.nulls[1].column, u"b");
  EXPECT_EQ(report.rows.nulls[1].count, 2);

  options.reject_bad_cells = true;
  report = {};
  ASSERT_TRUE(kt::cli::LoadJson(text, false, options, dataset, report));
  EXPECT_EQ(dataset.GetRowCountNF(), 3);
  EXPECT_EQ(report.rows.records, 4);
  ASSERT_EQ(report.rows.rejected.size(), 1u);
  EXPECT_EQ(report.rows.rejected[0].line, 4);
  EXPECT_EQ(report.rows.rejected[0].reason, u"column 'a': no double: '12 kg'");
  EXPECT_EQ(report.rows.rejected[0].text, u"[\"12 kg\",-1]");

  options.rules.types = {{u"e", Kt_ColumnType::kLong}};
  EXPECT_FALSE(kt::cli::LoadJson(text, false, options, dataset, report));
  EXPECT_EQ(report.error, "there is no column 'e', whose type is stated");
  EXPECT_EQ(dataset.GetRowCount(), 3);
}

// A number is what it says, whatever the notation of the rules; nothing is rounded in silence.
TEST(CliJsonCells, Numbers) {
  Kt_CsvOptions options;
  options.rules.decimal = u',';
  options.rules.thousands = u'.';
  Kt_Dataset dataset;
  kt::cli::DataReport report;
  ASSERT_TRUE(kt::cli::LoadJson(
      R"([{"a": 1.234, "b": 1.5, "c": -0, "d": 9007199254740993}, {"a": 1e-400, "b": "NA"}])",
      false, options, dataset, report));
  EXPECT_EQ(Show(dataset), "double double long string | 1.234 1.5 0 9007199254740993 | 0 - - -");
  EXPECT_EQ(report.rows.cells_not_converted, 0);
}

}  // namespace
