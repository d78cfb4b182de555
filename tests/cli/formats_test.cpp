// SPDX-License-Identifier: MIT
//
// Data files: what the formats and encodings keep, the types that columns get, and what is said of
// files that are not as they should be.
#include "cli/Kt_Text.h"
#include "cli/data/Kt_Report.h"
#include "cli_test_util.h"
#include "common/show.h"

namespace {

using kt::cli::DataFormat;
using kt::cli::DataOptions;
using kt::cli::DataReport;
using kt::cli::LoadDataFile;
using kt::cli::SaveDataFile;

DataOptions Of(DataFormat format) {
  DataOptions options;
  options.format = format;
  options.allow_rejects = 1'000'000;
  return options;
}

std::string Cell(const Kt_Variant& value) {
  const std::string text = kt::cli::ValueText(value);
  return value.IsEmpty() ? "null" : text.empty() ? "''" : text;
}

// Columns with types, then rows: "a:long b:string | 1 x | 2 null". Texts are quoted when they are
// empty.
std::string Show(const Kt_Dataset& data) {
  return kt::test::ShowTable(
      data,
      {.cell = Cell, .between_cells = " ", .between_rows = " | ", .ids = true, .types = true});
}

// What a text loads as, or "error line:column: what".
std::string Load(std::string_view text, DataFormat format, DataReport& report) {
  Kt_Dataset dataset;
  if (LoadData(text, Of(format), dataset, report)) return Show(dataset);
  return "error " + std::to_string(report.error_line) + ":" + std::to_string(report.error_column) +
         ": " + report.error;
}

std::string Load(std::string_view text, DataFormat format) {
  DataReport report;
  return Load(text, format, report);
}

std::string Text(const std::vector<kt::cli::Diagnostic>& diagnostics) {
  std::string text;
  for (const auto& diagnostic : diagnostics) text += Describe(diagnostic);
  return text;
}

std::string SaidOf(const DataReport& report, bool verbose = false) {
  return Text(kt::cli::LoadNotes("f", {}, report, verbose));
}

TEST(CliFormats, ShapesAndTypesOfJson) {
  const struct {
    const char* text;
    const char* shown;
  } kRows[] = {
      // Shapes.
      {R"([{"a": 1, "b": "x"}, {"b": null, "c": 2.5}])",
       "a:long b:string c:double | 1 x null | null null 2.5"},
      {R"([["a", "b"], [1, "x"], [2]])", "a:long b:string | 1 x | 2 null"},
      {R"({"n": 2, "rows": [{"a": 1}], "more": {"rows": [5]}})", "a:long | 1"},
      {R"({"rows": [["a"], [1]]})", "a:long | 1"},
      {"{\"a\": 1}\n{\"a\": 2}\n", "a:long | 1 | 2"},
      {"{\"a\": 1}{\"a\": 2}", "a:long | 1 | 2"},
      {"[\"a\"]\n[1]\n[2]", "a:long | 1 | 2"},
      {R"({"a": 1, "rows": 3})", "a:long rows:long | 1 3"},
      {"{\"rows\": [1]}\n{\"rows\": [2]}", "rows:string | [1] | [2]"},
      {"[]", ""},
      {"[{}, {}]", " |  | "},
      {"[[\"a\", \"b\"]]", "a:string b:string"},
      {"\xEF\xBB\xBF[{\"a\": 1}]", "a:long | 1"},
      // Ids.
      {R"([{"": 1, "a": 2, "A": 3, "\u0061": 2}])", "column1:long a:long A_2:long | 1 2 3"},
      {R"([["a", "a", null, 7], [1, 2, 3, 4]])", "a:long a_2:long column3:long 7:long | 1 2 3 4"},
      // Types.
      {R"([{"a": 2147483647}, {"a": -2147483648}])", "a:long | 2147483647 | -2147483648"},
      {R"([{"a": 2147483648}])", "a:double | 2147483648"},
      {R"([{"a": 1}, {"a": 1.5}])", "a:double | 1 | 1.5"},
      {R"([{"a": 1.0}])", "a:double | 1"},
      {R"([{"a": 9007199254740992}, {"a": null}])", "a:double | 9.00719925474099e+15 | null"},
      {R"([{"a": 9007199254740993}])", "a:string | 9007199254740993"},
      {R"([{"a": 0.30000000000000004}])", "a:double | 0.3"},
      {R"([{"a": 0.12345678901234567890}, {"a": 1}])", "a:double | 0.123456789012346 | 1"},
      {R"([{"a": 1e400}])", "a:string | 1e400"},
      {R"([{"a": 1e2}, {"a": -0}])", "a:double | 100 | 0"},
      {R"([{"a": true}, {"a": false}, {"a": null}])", "a:long | 1 | 0 | null"},
      {R"([{"a": true}, {"a": 7}])", "a:string | true | 7"},
      {R"([{"a": "2024-02-29"}, {"a": "2024-02-29T12:30:00"}])",
       "a:datetime | 2024-02-29 | 2024-02-29 12:30:00"},
      {R"([{"a": "2024-02-30"}])", "a:string | 2024-02-30"},
      {R"([{"a": "2024-02-29T23:30:00-01:00"}, {"a": "NA"}, {"a": ""}])",
       "a:datetime | 2024-03-01 00:30:00 | null | null"},
      {R"([{"a": 1}, {"a": "NA"}, {"a": " - "}, {"a": ""}])", "a:long | 1 | null | null | null"},
      {R"([{"a": "x", "b": true}, {"a": "NA", "b": "n/a"}])", "a:string b:long | x 1 | NA null"},
      {R"([{"a": "20240229"}, {"a": ""}])", "a:string | 20240229 | ''"},
      {R"([{"a": "1"}, {"a": 2}])", "a:string | 1 | 2"},
      {R"([{"a": null}])", "a:string | null"},
      {R"([{"a": {"b": [1, {"c": "ü"}]}}, {"a": [ 1 ]}])",
       R"(a:string | {"b": [1, {"c": "ü"}]} | [ 1 ])"},
      {R"([{"a": "\u00fc\ud83d\ude00\n\/"}])", "a:string | ü😀\n/"},
  };
  for (const auto& row : kRows) EXPECT_EQ(Load(row.text, DataFormat::kJson), row.shown) << row.text;
}

TEST(CliFormats, MalformedJsonNamesThePlace) {
  const struct {
    const char* text;
    const char* error;
  } kRows[] = {
      {"", "1:1: expected a list of rows; the text is empty"},
      {"  7", "1:3: expected a list of rows or an object"},
      {"[{\"a\": 1},\n {\"a\": }]", "2:8: expected a value"},
      {"[{\"a\": 1},]", "1:11: expected a value"},
      {"[{\"a\": 1}\n{\"a\": 2}]", "2:1: expected ',' or ']'"},
      {"[{\"ü\": 1 \"b\": 2}]", "1:10: expected ',' or '}'"},
      {"[{a: 1}]", "1:3: expected the name of a member in double quotes"},
      {"[{\"a\" 1}]", "1:7: expected ':' behind the name of a member"},
      {"[{\"a\": 1}", "1:10: the text ends; expected ',' or ']'"},
      {"[{\"a\": \"x}]", "1:8: a text that is never closed"},
      {"[{\"a\": \"\\x\"}]", "1:9: an unknown escape"},
      {"[{\"a\": \"\\u12\"}]", "1:9: an unknown escape"},
      {"[{\"a\": \"\t\"}]", "1:9: a control character inside a text"},
      {"[{\"a\": 01}]", "1:8: a number with a leading zero"},
      {"[{\"a\": 1.}]", "1:10: expected a digit"},
      {"[{\"a\": nul}]", "1:8: expected a value"},
      {"[{\"a\": 1}] 5", "1:12: expected the end behind the list of rows"},
      {"{\"rows\": [{\"a\": 1}], }", "1:22: expected the name of a member in double quotes"},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(Load(row.text, DataFormat::kJson), std::string("error ") + row.error) << row.text;
  }
}

TEST(CliFormats, NestingCostsNoStack) {
  const std::string deep(1'000'000, '[');
  EXPECT_EQ(Load(deep, DataFormat::kJson), "error 1:1000001: the text ends; expected a value");
  const std::string closed = "[{\"a\": " + deep + std::string(deep.size(), ']') + "}]";
  EXPECT_EQ(Load(closed, DataFormat::kJson).size(), std::string("a:string | ").size() + 2'000'000);
}

TEST(CliFormats, RowsAndCellsThatDoNotFitAreReported) {
  const struct {
    DataFormat format;
    const char* text;
    const char* shown;
    const char* report;
  } kRows[] = {
      {DataFormat::kCsv, "a,b\n1,x\n2\n3,y,z\n4,\"q\n5,w\n", "a:long b:string | 1 x | 2 null | 5 w",
       "f: 3 rows, 2 rejected, 1 short row filled with nulls\nf:4: row rejected: more cells than "
       "columns\n"
       "f:5: row rejected: quote that is never closed\n"},
      {DataFormat::kCsv, "a:long,b\n1,x\ny,z\n", "a:long b:string | 1 x | 0 z",
       "f: 2 rows, 1 cell not converted\nf:3: cell not converted: column 'a': 'y'\n"},
      {DataFormat::kJson, "[{\"a\": 1},\n5,\n[2],\n{\"a\": 3,\n\"a\": 4}]", "a:long | 1 | 4",
       "f: 2 rows, 2 rejected, 1 cell not converted\nf:2: row rejected: expected an object\n"
       "f:3: row rejected: expected an object\nf:4: cell not converted: column 'a': '4'\n"},
      {DataFormat::kJson, "[[\"a\"],\n[1, 2],\n{}, [3]]", "a:long | 3",
       "f: 1 row, 2 rejected\nf:2: row rejected: more cells than columns\n"
       "f:3: row rejected: expected a list\n"},
  };
  for (const auto& row : kRows) {
    DataReport report;
    EXPECT_EQ(Load(row.text, row.format, report), row.shown) << row.text;
    EXPECT_EQ(SaidOf(report), row.report) << row.text;
  }
  DataReport report;
  EXPECT_EQ(Load("a\n1\n", DataFormat::kCsv, report), "a:long | 1");
  EXPECT_EQ(SaidOf(report), "");
  EXPECT_EQ(SaidOf(report, true), "f: 1 row\n");
  std::string many = "a\n";
  for (int line = 0; line < 25; ++line) many += "1,2,3\n";
  Load(many, DataFormat::kCsv, report);
  const std::string said = SaidOf(report);
  EXPECT_TRUE(
      said.ends_with("f:11: row rejected: more cells than columns\n"
                     "f: 15 more are not shown\n"))
      << said;
}

TEST(CliFormats, TypesThatTheDatasetHasCount) {
  const struct {
    const char* type;
    const char* text;
    const char* shown;
    int not_converted;
  } kRows[] = {
      {"long", R"([{"A": "12"}, {"A": 1.5}, {"A": "x"}, {"A": true}, {"A": ""}])",
       "a:long | 12 | 1 | 0 | 1 | null", 2},
      {"double", R"([{"a": "1.5"}, {"a": 3}, {"a": [1]}])", "a:double | 1.5 | 3 | 0", 1},
      {"currency", R"([{"a": "1.25"}, {"a": 922337203685477.5807}])",
       "a:currency | 1.25 | 922337203685477.5807", 0},
      {"datetime", R"([{"a": "20240131"}, {"a": 1.5}, {"a": "soon"}])",
       "a:datetime | 2024-01-31 | 1899-12-31 12:00:00 | null", 1},
      {"binary", R"([{"a": "00fF"}, {"a": "0"}])", "a:binary | 00ff | 30", 1},
      {"string", R"([{"a": 1}, {"a": "2024-01-31"}])", "a:string | 1 | 2024-01-31", 0},
      {"variant", R"([{"a": 1}, {"a": true}, {"a": "x"}])", "a:variant | 1 | 1 | x", 0},
  };
  for (const auto& row : kRows) {
    Kt_Dataset dataset(u"kept");
    dataset.AddColumn(u"a", Kt_WString::FromUtf8(row.type));
    dataset.AppendRow(3);
    DataReport report;
    ASSERT_TRUE(LoadData(row.text, Of(DataFormat::kJson), dataset, report)) << report.error;
    EXPECT_EQ(Show(dataset), row.shown) << row.text;
    EXPECT_EQ(report.rows.cells_not_converted, row.not_converted) << row.text;
    EXPECT_EQ(dataset.GetRowType(0), kRowTypeNormal);
    EXPECT_FALSE(LoadData("[{", Of(DataFormat::kJson), dataset, report));
    EXPECT_EQ(Show(dataset), row.shown) << "a failed load changes nothing";
    EXPECT_EQ(dataset.GetId(), u"kept");
  }
}

// Every kind of value, and texts that formats have to take care of.
Kt_Dataset Everything() {
  const std::u16string_view kTexts[] = {u"plain",
                                        u"",
                                        u"\"quoted\", and 'so'",
                                        u"a,b;c\td",
                                        u"line\r\nline\nline\rend",
                                        u" blanks ",
                                        u"007",
                                        u"true",
                                        u"<&>",
                                        u"漢字 é ü",
                                        u"😀 astral",
                                        u"\\n \\u0041",
                                        u"\x1F\x7F\x85\xA0",
                                        {u"zero\0inside", 11},
                                        u"[1, 2]",
                                        u"2024-13-01"};
  Kt_Dataset dataset(u"all");
  for (const char16_t* const type :
       {u"string", u"long", u"double", u"currency", u"datetime", u"binary"}) {
    dataset.AddColumn(Kt_WString(u"c ") + type, type);
  }
  kt_long count = 0;
  for (const std::u16string_view text : kTexts) {
    const kt_long row = dataset.AppendRow();
    dataset.SetColumn(row, 0, Kt_WString(text));
    if (count++ % 5 == 4) continue;
    Kt_Variant bytes;
    bytes.SetBinary("\x00\xFF,\"", static_cast<std::size_t>(count % 4));
    dataset.SetColumn(row, 1, count % 2 == 0 ? INT32_MIN + count : count);
    dataset.SetColumn(row, 2, count % 3 == 0 ? 1e300 * count : 0.1 * count);
    dataset.SetColumn(row, 3, Kt_Currency::FromUnits(123456789012345678 * count));
    dataset.SetColumn(row, 4, Kt_DateTime{45000.5 + count});
    dataset.SetColumn(row, 5, bytes);
  }
  dataset.AppendRow();
  dataset.ApplyChange();
  return dataset;
}

void ExpectEqual(const Kt_Dataset& a, const Kt_Dataset& b, const std::string& what) {
  ASSERT_EQ(a.GetRowCount(), b.GetRowCount()) << what;
  ASSERT_EQ(a.GetColCount(), b.GetColCount()) << what;
  for (kt_long col = 0; col < a.GetColCount(); ++col) {
    EXPECT_EQ(a.GetColID(col), b.GetColID(col)) << what;
    EXPECT_EQ(a.GetColType(col), b.GetColType(col)) << what;
    for (kt_long row = 0; row < a.GetRowCount(); ++row) {
      EXPECT_FALSE(a.WouldChange(row, col, b.ReadColumn(row, col)) ||
                   b.WouldChange(row, col, a.ReadColumn(row, col)))
          << what << " row " << row << " column " << col << ": '"
          << kt::cli::ValueText(a.ReadColumn(row, col)) << "' and '"
          << kt::cli::ValueText(b.ReadColumn(row, col)) << "'";
    }
  }
}

Kt_Dataset WithColumnsOf(const Kt_Dataset& model) {
  Kt_Dataset dataset;
  for (kt_long col = 0; col < model.GetColCount(); ++col) {
    dataset.AddColumn(model.GetColID(col), model.GetColType(col));
  }
  return dataset;
}

TEST(CliFormats, WhatIsSavedLoadsBackEqual) {
  const TestFolder folder;
  const Kt_Dataset original = Everything();
  const char* const kFiles[] = {"f.csv",   "f.tsv", "f.xml", "f.json",
                                "f.jsonl", "f.ktb", "f.bin", "f.txt"};
  for (const char* const file : kFiles) {
    for (const char* const encoding : {"utf-8", "utf-16", "utf-16be", "gb18030"}) {
      DataOptions options;
      options.code_page = kt::cli::FindEncoding(encoding);
      const std::string what = std::string(file) + " " + encoding;
      std::string reason;
      ASSERT_TRUE(SaveDataFile(folder.Path(file), options, original, reason)) << what << reason;
      // JSON says no types.
      Kt_Dataset loaded = WithColumnsOf(original);
      DataReport report;
      ASSERT_TRUE(LoadDataFile(folder.Path(file), options, loaded, report)) << what << report.error;
      EXPECT_TRUE(report.IsClean()) << Text(kt::cli::LoadNotes(what, options, report, true));
      ExpectEqual(original, loaded, what);
    }
  }
}

TEST(CliFormats, HalvesOfSurrogatePairsAreNotLost) {
  const TestFolder folder;
  Kt_Dataset original;
  original.AddColumn(u"c");
  original.AppendRow(3);
  original.SetColumn(0, 0, Kt_WString(u"\xD83D"));
  original.SetColumn(1, 0, Kt_WString(u"a\xDE00\xD83D b"));
  original.SetColumn(2, 0, Kt_WString(u"\xDE00"));
  original.ApplyChange();
  for (const char* const file : {"f.json", "f.xml", "f.ktb", "f.csv"}) {
    DataOptions options;
    std::string reason;
    const bool is_csv = file == std::string("f.csv");
    if (is_csv) {
      EXPECT_FALSE(SaveDataFile(folder.Path(file), options, original, reason));
      EXPECT_EQ(reason, "row 0, column 'c': half of a surrogate pair, which UTF-8 does not have");
      options.code_page = kt::cli::FindEncoding("utf-16");
    }
    ASSERT_TRUE(SaveDataFile(folder.Path(file), options, original, reason)) << file << reason;
    Kt_Dataset loaded;
    DataReport report;
    ASSERT_TRUE(LoadDataFile(folder.Path(file), options, loaded, report)) << file << report.error;
    ExpectEqual(original, loaded, file);
  }
}

TEST(CliFormats, StatesAreKeptInXmlAndBinary) {
  const TestFolder folder;
  Kt_Dataset original = Everything();
  original.SetColumn(1, 1, 99);
  original.DeleteRow(0);
  original.AppendRow();
  for (const char* const file : {"f.xml", "f.ktb"}) {
    std::string reason;
    ASSERT_TRUE(SaveDataFile(folder.Path(file), {}, original, reason)) << reason;
    Kt_Dataset loaded;
    DataReport report;
    ASSERT_TRUE(LoadDataFile(folder.Path(file), {}, loaded, report)) << report.error;
    EXPECT_EQ(loaded.GetRowType(0), kRowTypeUpdate);
    EXPECT_EQ(loaded.GetDelRowCount(), 1);
    loaded.Reset();
    ExpectEqual(Everything(), loaded, file);
  }
}

TEST(CliFormats, Encodings) {
  const TestFolder folder;
  const struct {
    const char* encoding;  // null: none is given
    std::string bytes;
    const char* shown;
    const char* report;
  } kRows[] = {
      {nullptr,
       std::string("\xFF\xFE"
                   "a\0\n\0"
                   "\x22\x6F\n\0",
                   10),
       "a:string | 漢", ""},
      {nullptr,
       std::string("\xFE\xFF"
                   "\0a\0\n\x6F\x22\0\n",
                   10),
       "a:string | 漢", ""},
      {"cp1252", "a\n\xFC\n", "a:string | ü", ""},
      {"cp1252",
       "\xEF\xBB\xBF"
       "a\n\xC3\xBC\n",
       "a:string | ü", ""},
      {"euc-kr", "a\n\xC7\xD1\n", "a:string | 한", ""},
      {"shift_jis", "a\n\x8A\xBF\n", "a:string | 漢", ""},
      {"gb18030", "a\nx\n\x84\x31\xA4\x37\n", "a:string | x | \xEF\xBF\xBD", ""},
  };
  for (const auto& row : kRows) {
    DataOptions options = Of(DataFormat::kCsv);
    if (row.encoding != nullptr) options.code_page = kt::cli::FindEncoding(row.encoding);
    Kt_Dataset dataset;
    DataReport report;
    const bool loaded = LoadData(row.bytes, options, dataset, report);
    EXPECT_EQ(loaded ? Show(dataset) : report.error, row.shown);
    EXPECT_EQ(SaidOf(report), row.report);
  }
  // XML says its encoding itself.
  Kt_Dataset dataset;
  DataReport report;
  EXPECT_TRUE(
      LoadData("<?xml version='1.0' encoding='iso-8859-1'?><dataset><columns><column "
               "id='\xFC'/></columns></dataset>",
               Of(DataFormat::kXml), dataset, report));
  EXPECT_EQ(Show(dataset), "ü:string");
  // What a code page lacks is not replaced.
  dataset.AppendRow();
  dataset.SetColumn(0, 0, u"漢");
  DataOptions options;
  options.code_page = kt::cli::FindEncoding("cp1252");
  std::string reason;
  folder.Write("f.csv", "old");
  EXPECT_FALSE(SaveDataFile(folder.Path("f.csv"), options, dataset, reason));
  EXPECT_EQ(reason, "windows-1252 has no character U+6F22");
  EXPECT_EQ(folder.Read("f.csv"), "old");
}

TEST(CliFormats, FilesThatAreNone) {
  const TestFolder folder;
  folder.Write("a.xml", "<dataset>\n<rows><row>\n</dataset>");
  folder.Write("b.ktb", "KTDS nothing");
  folder.Write("c.csv", "");
  folder.Write("d.doc", "x");
  const struct {
    const char* file;
    const char* error;
  } kRows[] = {
      {"a.xml", "a.xml:3:3: error: end tag of another element"},
      {"b.ktb", "b.ktb: error: no whole dataset in binary form"},
      {"c.csv", "c.csv:1: error: the text has no header row"},
      {"d.doc", "d.doc: error: the ending names no format (csv, tsv, xml, json, jsonl, ktb, xlsx)"},
      {"missing.csv", "missing.csv: error: cannot read: No such file or directory"},
      {".", ".: error: cannot read: Is a directory"},
  };
  for (const auto& row : kRows) {
    Kt_Dataset dataset;
    DataReport report;
    EXPECT_FALSE(LoadDataFile(folder.Path(row.file), {}, dataset, report)) << row.file;
    EXPECT_EQ(Text(kt::cli::LoadFault(row.file, report)), std::string(row.error) + "\n");
  }
}

TEST(CliFormats, LimitsEndInAClearResult) {
  std::string csv;
  std::string json = "[{";
  for (int col = 0; col < 100'000; ++col) {
    const std::string id = "c" + std::to_string(col);
    csv += (col > 0 ? "," : "") + id;
    json += (col > 0 ? ",\"" : "\"") + id + "\":1";
  }
  EXPECT_EQ(Load(csv + "\n1\n", DataFormat::kCsv), "error 1:0: too many columns");
  EXPECT_NE(Load(json + "}]", DataFormat::kJson).find("more than 16384 columns"),
            std::string::npos);
  // Many columns and many rows with next to nothing in them.
  std::string sparse = "[{";
  for (int col = 0; col < 16'000; ++col) sparse += "\"" + std::to_string(col) + "\":1,";
  sparse.back() = '}';
  for (int row = 0; row < 100'000; ++row) sparse += ",{}";
  EXPECT_EQ(Load(sparse + "]", DataFormat::kJson), "error 1:1: too many empty cells");
  const std::string field(50'000'000, 'x');
  DataReport report;
  EXPECT_EQ(Load("a\n" + field + "\n", DataFormat::kCsv, report).size(), field.size() + 11);
  EXPECT_EQ(Load("[{\"a\":\"" + field + "\"}]", DataFormat::kJson, report).size(),
            field.size() + 11);
  EXPECT_TRUE(report.IsClean());
}

}  // namespace
