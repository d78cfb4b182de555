// SPDX-License-Identifier: MIT
//
// Values of JSON by the rules that texts of cells have.
#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <utility>

#include "classlib/base/Kt_Buffer.h"
#include "classlib/store/Kt_Dataset.h"
#include "classlib/store/Kt_UniqueIds.h"
#include "common/show.h"

namespace {

using kt::test::NullCell;
using kt::test::ShowTable;

// Types of columns, then rows: "long string | 1 x | - y".
std::string Show(const Kt_Dataset& data) {
  return ShowTable(data,
                   {.cell = NullCell, .between_cells = " ", .between_rows = " | ", .types = true});
}

// The rules of cells are for strings, and for all values where they state types.
TEST(DatasetJson, RulesOfCells) {
  const std::string_view text =
      "[[\"a\",\"b\",\"c\",\"d\"],\n[\"1,5\",1.5,\"31.1.24\",\"x\"],\n[\"?\",2,\"?\",\"?\"],\n"
      "[\"12 kg\",-1],\n[2.5,-1,\"\\u0031.2.2024\",\"y\"]]";
  Kt_JsonOptions options;
  options.rules.types = {{u"A", Kt_ColumnType::kDouble}};
  options.rules.null_tokens = {u"?", u"-1"};
  options.rules.decimal = u',';
  options.rules.dates = Kt_DateOrder::kDayMonthYear;
  Kt_Dataset dataset;
  Kt_LoadReport report;
  ASSERT_GE(dataset.LoadJson(text, options, report), 0);
  EXPECT_EQ(Show(dataset),
            "double double datetime string | 1.5 1.5 2024-01-31 x | - 2 - - | 12 - - - | "
            "2.5 - 2024-02-01 y");
  EXPECT_EQ(report.records, 4);
  EXPECT_EQ(report.rows_short, 1);
  ASSERT_EQ(report.not_converted.size(), 1u);
  EXPECT_EQ(report.not_converted[0].text, u"12 kg");
  ASSERT_EQ(report.nulls.size(), 4u);
  EXPECT_EQ(report.nulls[1].column, u"b");
  EXPECT_EQ(report.nulls[1].count, 2);

  options.reject_bad_cells = true;
  report = {};
  ASSERT_GE(dataset.LoadJson(text, options, report), 0);
  EXPECT_EQ(dataset.GetRowCountNF(), 3);
  EXPECT_EQ(report.records, 4);
  ASSERT_EQ(report.rejected.size(), 1u);
  EXPECT_EQ(report.rejected[0].line, 4);
  EXPECT_EQ(report.rejected[0].reason, u"column 'a': no double: '12 kg'");
  EXPECT_EQ(report.rejected[0].text, u"[\"12 kg\",-1]");

  options.rules.types = {{u"e", Kt_ColumnType::kLong}};
  EXPECT_EQ(dataset.LoadJson(text, options, report), -1);
  EXPECT_EQ(report.error, u"there is no column 'e', whose type is stated");
  EXPECT_EQ(dataset.GetRowCount(), 3);
}

// Which lists and objects are rows.
TEST(DatasetJson, Shapes) {
  constexpr std::pair<const char*, const char*> kTexts[] = {
      {R"({"3166-1": [{"a": 1}, {"a": 2, "b": "x"}]})", "long string | 1 - | 2 x"},
      {R"({"items": [{"a": 1}], "rows": [["b"], [2], [3]]})", "long | 2 | 3"},
      {R"({"items": [{"a": 1}], "total": 1})", "string long | [{\"a\": 1}] 1"},
      {R"({"items": [{"a": 1}]} {"items": [{"a": 2}]})", "string | [{\"a\": 1}] | [{\"a\": 2}]"},
      {R"({"items": [1, 2]})", "string | [1, 2]"},
      {R"({"items": []})", "string | []"},
      {R"([["year", 2020], [1, 2]])", "long long | 1 2"},
      {"[[1, 2], [3, 4]]", "1:2 expected the names of the columns: the first list has them"},
      {"\n[1, 2, 3]", "2:1 expected the names of the columns: the first list has them"},
      {R"({"items": [{"a": 1}, {"a": 2})", "1:30 the text ends; expected ',' or ']'"},
  };
  for (const auto& [text, wanted] : kTexts) {
    Kt_Dataset dataset;
    Kt_LoadReport report;
    std::string shown;
    if (dataset.LoadJson(text, {}, report) >= 0) {
      shown = Show(dataset);
    } else {
      shown = std::to_string(report.error_line) + ":" + std::to_string(report.error_column) + " " +
              report.error.ToUtf8();
    }
    EXPECT_EQ(shown, wanted) << text;
  }
}

// A number is what it says, whatever the notation of the rules; nothing is rounded in silence.
TEST(DatasetJson, Numbers) {
  Kt_JsonOptions options;
  options.rules.decimal = u',';
  options.rules.thousands = u'.';
  Kt_Dataset dataset;
  Kt_LoadReport report;
  const std::string_view text =
      R"([{"a": 1.234, "b": 1.5, "c": -0, "d": 9007199254740993}, {"a": 1e-400, "b": "NA"}])";
  ASSERT_EQ(dataset.LoadJson(text, options, report), 2);
  EXPECT_EQ(Show(dataset), "double double long string | 1.234 1.5 0 9007199254740993 | 0 - - -");
  EXPECT_EQ(report.cells_not_converted, 0);
}

// As docs/embedding.md has it: what is lost and why nothing is loaded are fields.
TEST(DatasetJson, LoadsSavesAndReports) {
  Kt_Dataset orders;
  orders.AddColumn(u"item");
  orders.AddColumn(u"qty", u"long");
  orders.AddLogicalColumn(u"count", u"qty");
  orders.AddLogicalColumn(u"twice", u"qty * 2");
  Kt_JsonOptions options;
  Kt_LoadReport report;
  ASSERT_EQ(orders.LoadJson(R"([{"item": "pen", "qty": 10}, {"item": "cup"}])", options, report),
            2);
  EXPECT_EQ(Show(orders), "string long string string | pen 10 10 - | cup - - -");
  EXPECT_FALSE(orders.GetUpdate());

  // Appended; through the alias; nothing for a computed column, and that is told.
  options.clear = false;
  ASSERT_EQ(orders.LoadJson("{\"item\":\"hat\",\"count\":3}\n{\"qty\":\"two\",\"twice\":4}",
                            options, report),
            2);
  EXPECT_EQ(Show(orders),
            "string long string string | pen 10 10 - | cup - - - | hat 3 3 - | - 0 0 -");
  ASSERT_EQ(report.not_converted.size(), 2u);
  EXPECT_EQ(report.not_converted[0].line, 2);
  EXPECT_EQ(report.not_converted[0].column, u"twice");
  EXPECT_EQ(report.not_converted[1].text, u"two");

  for (const auto& [layout, json] :
       {std::pair(Kt_JsonLayout::kList,
                  "[\n{\"item\":\"\u00FC\",\"qty\":1},\n{\"item\":null,\"qty\":-2}\n]\n"),
        std::pair(Kt_JsonLayout::kLines,
                  "{\"item\":\"\u00FC\",\"qty\":1}\n{\"item\":null,\"qty\":-2}\n"),
        std::pair(Kt_JsonLayout::kOneLine,
                  "[{\"item\":\"\u00FC\",\"qty\":1},{\"item\":null,\"qty\":-2}]")}) {
    Kt_Dataset data;
    ASSERT_EQ(data.LoadJson(json, {}, report), 2) << report.error.ToUtf8();
    Kt_JsonSaveOptions save;
    save.layout = layout;
    Kt_Buffer out;
    Kt_SaveReport saved;
    EXPECT_EQ(data.SaveJson(out, {}, save, saved), 2);
    EXPECT_EQ(out.View(), json);
  }

  options.clear = true;
  const struct {
    std::string_view text;
    const char16_t* error;
    std::int64_t line, column;
  } kRows[] = {
      {"", u"expected a list of rows; the text is empty", 1, 1},
      {"[{\"\u00FC\": 1},\n {\"\u00FC\" 1}]", u"expected ':' behind the name of a member", 2, 7},
      {"\xEF\xBB\xBF[1, 2", u"the text ends; expected ',' or ']'", 1, 6},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(orders.LoadJson(row.text, options, report), -1);
    EXPECT_EQ(report.error, row.error);
    EXPECT_EQ(report.error_line, row.line) << row.text;
    EXPECT_EQ(report.error_column, row.column) << row.text;
    EXPECT_EQ(orders.GetRowCount(), 4);
  }

  orders.AddColumn(u"parts", u"variant");
  orders.SetColumn(3, 4, std::numeric_limits<double>::infinity());
  Kt_Buffer out;
  Kt_SaveReport saved;
  EXPECT_EQ(orders.SaveJson(out, {}, {}, saved), kErrNotAllowed);
  EXPECT_EQ(saved.error, u"row 3, column 'parts': an infinite number");
  EXPECT_EQ(out.GetSize(), 0u);
}

// Names that come in the order of the rows before are compared, others are read; what is wrong
// after a known one is told as ever.
TEST(DatasetJson, NamesInAnyOrder) {
  const std::string row = R"({"":1,"a":2,"a\"":3,"a\\":4})";
  const auto load = [&row](const std::string& more, Kt_LoadReport& report) {
    Kt_Dataset data;
    if (data.LoadJson("[" + row + "," + row + "," + more + "]", {}, report) >= 0) return Show(data);
    return "!" + std::to_string(report.error_column) + " " + report.error.ToUtf8();
  };
  const std::string start = "long long long long | 1 2 3 4 | 1 2 3 4 | ";
  const struct {
    std::string_view text;
    std::string_view shown;
  } kGood[] = {
      {"{ \"\" :5 ,\n\"a\":\t6,\"a\\\"\" : 7, \"a\\\\\" :8 }", "5 6 7 8"},
      {R"({"a\\":8,"a\"":7,"a":6,"":5})", "5 6 7 8"},
      {R"({"\u0061":6,"a\"":7})", "- 6 7 -"},
      {R"({"":5,"a\"":7})", "5 - 7 -"},
      {R"({})", "- - - -"},
  };
  Kt_LoadReport report;
  for (const auto& good : kGood) {
    EXPECT_EQ(load(std::string(good.text), report), start + std::string(good.shown)) << good.text;
  }
  const std::string_view kBad[] = {
      R"({"":5 "a":6})",  R"({"":5,"a" 6})", R"({"":5,"a)",   R"({"":5,"a")",
      R"({"":5,,"a":6})", R"({,"":5})",      R"({"":5,"a":)", R"({"":5,"a":})",
  };
  for (const std::string_view bad : kBad) {
    // As where no name is known.
    Kt_Dataset data;
    const std::string text = "[" + std::string(bad) + "]";
    ASSERT_LT(data.LoadJson(text, {}, report), 0) << bad;
    const std::int64_t column = report.error_column + 2 * std::ssize(row) + 2;
    const std::string expected = "!" + std::to_string(column) + " " + report.error.ToUtf8();
    EXPECT_EQ(load(std::string(bad), report), expected) << bad;
  }
}

// The n-th of many equal names costs no more than the first.
TEST(DatasetJson, EqualNamesGetTheNextNumber) {
  Kt_UniqueIds ids;
  EXPECT_EQ(ids.Make(u"a_3"), u"a_3");
  const char16_t* const kMade[] = {u"A", u"a_2", u"a_4", u"a_5"};
  EXPECT_EQ(ids.Make(u"A"), kMade[0]);
  for (int at = 1; at < 4; ++at) EXPECT_EQ(ids.Make(u"a"), kMade[at]);
  EXPECT_EQ(ids.MakeHeading({}), u"column6");
}

}  // namespace
