// SPDX-License-Identifier: MIT
//
// CSV: types found in the cells, null and empty text, rows that are left out and why.
#include <gtest/gtest.h>

#include <chrono>
#include <random>
#include <string>

#include "classlib/store/Kt_Dataset.h"
#include "common/show.h"
#include "plain_csv.h"

namespace {

using kt::test::QuotedCell;
using kt::test::ShowTable;

// The dataset as "id:type,..." and rows; null is "-", texts are in quotes.
std::string Shown(const Kt_Dataset& data) {
  return ShowTable(data, {.cell = QuotedCell, .ids = true, .types = true});
}

struct Row {
  const char* text;
  const char* shown;
  const char* rejected = "";  // "line reason;..."
  kt_long not_converted = 0;
};

const Row kRows[] = {
    // Types
    {"a,b,c,d\n1,1.5,x,2024-01-31\n-2,3,,2024-02-01 10:30\n",
     "a:long,b:double,c:string,d:datetime|1,1.5,'x',2024-01-31|-2,3,-,2024-02-01 10:30:00"},
    {"a\n007\n1\n", "a:string|'007'|'1'"},
    {"a\n1\n007\n", "a:string|'1'|'007'"},
    {"a\n0\n-1\n", "a:long|0|-1"},
    {"a\n-0\n+0\n", "a:long|0|0"},
    {"a\n2147483647\n-2147483648\n", "a:long|2147483647|-2147483648"},
    {"a\n2147483648\n1\n", "a:double|2147483648|1"},
    {"a\n123456789012345\n", "a:double|123456789012345"},
    {"a\n9007199254740992\n", "a:double|9.00719925474099e+15"},
    {"a\n9007199254740993\n", "a:string|'9007199254740993'"},
    {"a\n1.5\n9007199254740993\n", "a:string|'1.5'|'9007199254740993'"},
    {"a\n0.1234567890123456789012\n", "a:double|0.123456789012346"},
    {"a\n0000.5\n", "a:double|0.5"},
    {"a\n1.\n.5\n+2\n", "a:double|1|0.5|2"},
    {"a\n.\n1\n", "a:long|-|1"},
    {"a\n+\n1\n", "a:string|'+'|'1'"},
    {"a,b\n1E5,1E5\n12e-3,x\n", "a:double,b:string|100000,'1E5'|0.012,'x'"},
    {"a\n1e308\n1e-999\n", "a:double|1e+308|0"},
    {"a\n1e999\n", "a:string|'1e999'"},
    {"a\n1e\n", "a:string|'1e'"},
    {"a\n+1\n", "a:long|1"},
    {"a\n 1\n\t2 \n   \n", "a:long|1|2|-"},
    {"a,b\n1,nan\nNaN,-Inf\ninfinity,2\n", "a:double,b:double|1,nan|nan,-inf|inf,2"},
    {"a,b\n1,\"2\"\n\"\",\"\"\n", "a:long,b:long|1,2|-,-"},
    {"a\n20240131\n", "a:long|20240131"},
    {"a\n2024-01-31\n2024-02-30\n", "a:string|'2024-01-31'|'2024-02-30'"},
    {"a\n2024-01-31\n5\n", "a:string|'2024-01-31'|'5'"},
    {"a\n2024-01-31T10:11:12.3456789\n2024/1/2 7:05\n2024.12.31\n",
     "a:datetime|2024-01-31 10:11:12|2024-01-02 07:05:00|2024-12-31"},
    {"a\n2024-01-31T23:30:00-01:45\n2024-03-01 00:10:00Z\n2024-03-01 00:10 +0130\n"
     "20240301T1011Z\n",
     "a:datetime|2024-02-01 01:15:00|2024-03-01 00:10:00|2024-02-29 22:40:00|2024-03-01 10:11:00"},
    {"a\n0001-01-01T00:00:00+00:01\n", "a:string|'0001-01-01T00:00:00+00:01'"},
    {"a\n2024-01-31T24:00\n", "a:string|'2024-01-31T24:00'"},
    // Tokens for null, where the other cells are numbers or dates
    {"a,b,c\nNA,2024-01-31,NA\n1,-,x\n#N/A,null,None\n",
     "a:long,b:datetime,c:string|-,2024-01-31,'NA'|1,-,'x'|-,-,'None'"},
    {"a,b\nNA,na\nNA,1\n", "a:string,b:string|'NA','na'|'NA','1'"},
    {"a:long,b:string\nNA,NA\n n/a ,.\n", "a:long,b:string|-,'NA'|-,'.'"},
    {"a,b\n,1\n,2\n", "a:string,b:long|-,1|-,2"},
    // Stated types
    {"a:long,b:string(20),c:x\n5,5,5\n", "a:long,b:string,c:x:long|5,'5',5"},
    {"a:currency,b:date,c:binary\n1.25,2024-01-31,QUI=\n",
     "a:currency,b:datetime,c:binary|1.25,2024-01-31,"},
    {"a:long\n12 kg\nx\n\"\"\n2.5\n", "a:long|12|0|-|2", "", 3},
    {"a:date\nsoon\n45000.25\n", "a:datetime|-|2023-03-15 06:00:00", "", 1},
    // Quotes, null and the empty text
    {"a,b\n\"x,\"\"y\"\"\",\"\"\n,z\n", "a:string,b:string|'x,\"y\"',''|-,'z'"},
    {"a,b\n\"1\",\"two\nlines\"\n", "a:long,b:string|1,'two\nlines'"},
    {"a\n\n\"\"\nx\n", "a:string|-|''|'x'"},
    // Line ends
    {"a,b\r\n1,2\r3,4\n\n5,6", "a:long,b:long|1,2|3,4|5,6"},
    {"\xEF\xBB\xBF"
     "a\n1\n",
     "a:long|1"},
    // Ids
    {"a,A,,a\n1,2,3,4\n", "a:long,A_2:long,column3:long,a_3:long|1,2,3,4"},
    // Rows of the wrong length, quotes in the wrong place
    {"a,b\n1\n1,2,3\n4,5\n", "a:long,b:long|1,-|4,5", "3 more cells than columns;"},
    {"a,b\n1,2,,\n3,4,\n5,6,,\"\"\n", "a:long,b:long|1,2|3,4", "4 more cells than columns;"},
    {"a,b\n1,\"x\n2,y\"z\n3,w\n", "a:long,b:string|3,'w'",
     "2 text after a closing quote;3 quote inside a cell without quotes;"},
    {"a,b\n1,\"x\n2,y\n3,\"z\"\n", "a:long,b:string|2,'y'|3,'z'", "2 text after a closing quote;"},
    {"a,b\n\"x\ny\",p\"q\n3,4\n", "a:long,b:long|3,4",
     "2 quote inside a cell without quotes;3 quote inside a cell without quotes;"},
    {"a,b\n1,x\"y\n2,z\n", "a:long,b:string|2,'z'", "2 quote inside a cell without quotes;"},
    {"a,b\n1,\"x\"y\n2,z\n", "a:long,b:string|2,'z'", "2 text after a closing quote;"},
    {"a,b\n1,\"x\n2,y\n3,z\n", "a:long,b:string|2,'y'|3,'z'", "2 quote that is never closed;"},
    {"a,b\n\"x\ny\",1\n\"p\nq\"r,2\n3,4\n", "a:string,b:long|'x\ny',1|'3',4",
     "4 text after a closing quote;5 quote inside a cell without quotes;"},
    // Empty lines before the header
    {"\n\na,b\n\n1,2\n", "a:long,b:long|1,2"},
    // Bytes that are no UTF-8, and NUL
    {"a\nx\xFFy\n", "a:string|'x\xEF\xBF\xBDy'", "", 1},
};

std::string Rejected(const Kt_LoadReport& report) {
  std::string out;
  for (const Kt_LoadReport::Row& row : report.rejected) {
    out += std::to_string(row.line) + " " + row.reason.ToUtf8() + ";";
  }
  return out;
}

TEST(DatasetCsv, Rows) {
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.text);
    Kt_Dataset data;
    Kt_LoadReport report;
    const kt_long loaded = data.LoadCSVBytes(row.text, {}, report);
    EXPECT_EQ(Shown(data), row.shown);
    EXPECT_EQ(Rejected(report), row.rejected);
    EXPECT_EQ(report.cells_not_converted, row.not_converted);
    EXPECT_EQ(loaded, data.GetRowCount());
    EXPECT_EQ(report.rows_read, loaded);
    EXPECT_EQ(report.records, loaded + report.rows_rejected);
    EXPECT_FALSE(data.GetUpdate());

    // The same text as UTF-16.
    Kt_Dataset wide;
    wide.LoadCSV(Kt_WString::FromUtf8(row.text), {}, report);
    EXPECT_EQ(Shown(wide), row.shown);
    EXPECT_EQ(Rejected(report), row.rejected);
  }
}

TEST(DatasetCsv, MatchesColumnsOfTheDataset) {
  Kt_Dataset data(u"d");
  data.AddColumn(u"Code", u"string");
  data.AddColumn(u"amount", u"currency");
  data.AddLogicalColumn(u"twice", u"amount * 2");
  EXPECT_EQ(data.LoadCSV(u"code,more\n1,x\n2,y\n"), 2);
  EXPECT_EQ(Shown(data),
            "Code:string,amount:currency,twice:string,more:string|'1',-,-,'x'|'2',-,-,'y'");
  EXPECT_EQ(data.LoadCSV(u"amount,code\n1.5,3\n", false), 1);
  EXPECT_EQ(
      Shown(data),
      "Code:string,amount:currency,twice:string,more:string|'1',-,-,'x'|'2',-,-,'y'|'3',1.5,-,-");
  // Stated types replace the columns, but not logical ones.
  EXPECT_EQ(data.LoadCSV(u"amount:long\n7\n"), 1);
  EXPECT_EQ(Shown(data), "twice:string,amount:long|-,7");
  // A load that fails changes nothing.
  EXPECT_EQ(data.LoadCSV(u""), -1);
  EXPECT_EQ(data.LoadCSV(u"\"a\n1"), -1);
  EXPECT_EQ(Shown(data), "twice:string,amount:long|-,7");
}

// "nulls: column token count; hints: column option" of a report, what there is of it.
std::string Told(const Kt_LoadReport& report) {
  std::string out;
  for (const Kt_LoadReport::Nulls& row : report.nulls) {
    out += row.column.ToUtf8() + " " + row.token.ToUtf8() + " " + std::to_string(row.count) + ";";
  }
  for (const Kt_LoadReport::Hint& row : report.hints) {
    out += row.column.ToUtf8() + ": " + row.option.ToUtf8() + " (" + row.example.ToUtf8() + ");";
  }
  return out;
}

struct RulesRow {
  const char* text;
  void (*set)(Kt_CellRules& rules);
  const char* shown;
  const char* told = "";
};

const RulesRow kRulesRows[] = {
    // Tokens
    {"a,b\n?,?\n1,x\n-,-\n",
     [](Kt_CellRules& rules) {
       rules.null_tokens = {u"?", u"x"};
     },
     "a:string,b:string|-,-|'1',-|'-','-'", "a ? 1;b ? 1;b x 1;"},
    {"a,b:string,c:currency\n-999,-999,1\n 1 ,\"\", -999\n",
     [](Kt_CellRules& rules) {
       rules.null_tokens = {u"-999", u""};
     },
     "a:long,b:string,c:currency|-,-,1|1,-,-", "a -999 1;b -999 1;b  1;c -999 1;"},
    {"a\nNA\n1\n", [](Kt_CellRules& rules) { rules.null_tokens.emplace(); }, "a:string|'NA'|'1'"},
    {"a,b,c\nNA,N/A,NA\n1,2024-01-01,x\nNA,.,y\n", [](Kt_CellRules&) {},
     "a:long,b:datetime,c:string|-,-,'NA'|1,2024-01-01,'x'|-,-,'y'", "a NA 2;b N/A 1;b . 1;"},
    // Notations
    {"a;b;c;d\n1,5;1.234,5;1.234;1.5\n,5;-12;12.345.678;2\n",
     [](Kt_CellRules& rules) {
       rules.decimal = u',';
       rules.thousands = u'.';
     },
     "a:double,b:double,c:long,d:string|1.5,1234.5,1234,'1.5'|0.5,-12,12345678,'2'"},
    {"a;b\n1 234;1\xE2\x80\xAF"
     "234,5\n12\xC2\xA0"
     "345;12 34\n",
     [](Kt_CellRules& rules) {
       rules.decimal = u',';
       rules.thousands = u' ';
     },
     "a:long,b:string|1234,'1\xE2\x80\xAF"
     "234,5'|12345,'12 34'"},
    {"a;b;c\n1'234.5;0'123;1''234\n-1;1;1\n", [](Kt_CellRules& rules) { rules.thousands = u'\''; },
     "a:double,b:string,c:string|1234.5,'0'123','1''234'|-1,'1','1'"},
    {"a;b;c;d\n$1.50;(1.50);1.50 EUR;-\xE2\x82\xAC 2\nUS$ 2;-1;(EUR 2);$-3\n3;$(2);-4 "
     "\xE2\x82\xAC;5\n",
     [](Kt_CellRules& rules) { rules.currency_symbols = true; },
     "a:double,b:double,c:double,d:long|1.5,-1.5,1.5,-2|2,-1,-2,-3|3,-2,-4,5"},
    {"a;b;c;d\n$;1 KGS;(-1);-(1)\n1;1 PCS;1;1\n",
     [](Kt_CellRules& rules) { rules.currency_symbols = true; },
     "a:string,b:string,c:string,d:string|'$','1 KGS','(-1)','-(1)'|'1','1 PCS','1','1'"},
    {"a;b;c\n31.12.2024;1/2/24 5:06 PM;31/12/2024\n2024-12-30;2.1.1969 23:59;12/31/2024\n",
     [](Kt_CellRules& rules) { rules.dates = Kt_DateOrder::kDayMonthYear; },
     "a:datetime,b:datetime,c:string|2024-12-31,2024-02-01 17:06:00,'31/12/2024'|"
     "2024-12-30,1969-01-02 23:59:00,'12/31/2024'"},
    {"a;b\n1/31/24;1/31/24\n12/1/1999;31/1/24\n",
     [](Kt_CellRules& rules) { rules.dates = Kt_DateOrder::kMonthDayYear; },
     "a:datetime,b:string|2024-01-31,'1/31/24'|1999-12-01,'31/1/24'"},
    {"a\n24-01-31\n68-01-01\n69-01-01\n",
     [](Kt_CellRules& rules) { rules.dates = Kt_DateOrder::kYearMonthDay; },
     "a:datetime|2024-01-31|2068-01-01|1969-01-01"},
    // Stated types, which win over those of the header
    {"zip;price;day;a:long\n007;1,5;31.1.24;5\n1;(2,25);NA;6\n",
     [](Kt_CellRules& rules) {
       rules.types = {{u"ZIP", Kt_ColumnType::kString},
                      {u"price", Kt_ColumnType::kCurrency},
                      {u"day", Kt_ColumnType::kDateTime},
                      {u"a", Kt_ColumnType::kDouble}};
       rules.decimal = u',';
       rules.currency_symbols = true;
       rules.dates = Kt_DateOrder::kDayMonthYear;
     },
     "zip:string,price:currency,day:datetime,a:double|'007',1.5,2024-01-31,5|'1',-2.25,-,6",
     "day NA 1;"},
    // Hints
    {"a;b;c;d\n1,5;1.234,5;1,234.5;1,234\n2;12.345;1.5;2,345\n3,25;1.234.567;2;3\n",
     [](Kt_CellRules&) {},
     "a:string,b:string,c:string,d:string|'1,5','1.234,5','1,234.5','1,234'|"
     "'2','12.345','1.5','2,345'|'3,25','1.234.567','2','3'",
     "a: --decimal , (1,5);b: --decimal , --thousands . (1.234,5);c: --thousands , (1,234.5);"
     "d: --thousands , (1,234);"},
    {"a;b;c;d\n$1;1/2/2024;1/2/2024;?\n(2);3/4/2024;13/4/2024;1\n3;4/31/2024;5/1/2024;2\n"
     "5;5/5/2024;6/6/2024;NA\n6;1/13/2024;7/7/2024;3\n",
     [](Kt_CellRules&) {},
     "a:string,b:string,c:string,d:string|'$1','1/2/2024','1/2/2024','?'|'(2)','3/4/2024',"
     "'13/4/2024','1'|'3','4/31/2024','5/1/2024','2'|'5','5/5/2024','6/6/2024','NA'|"
     "'6','1/13/2024','7/7/2024','3'",
     "a: --currency-symbols ($1);c: --dates dmy (1/2/2024);d: --null NA,? (?);"},
    {"a;b;c\n1;1/13/2024;x\n2;2/1/2024;y\n007;3/1/2024;z\n4;4/1/2024;1\n", [](Kt_CellRules&) {},
     "a:string,b:string,c:string|'1','1/13/2024','x'|'2','2/1/2024','y'|'007','3/1/2024','z'|"
     "'4','4/1/2024','1'",
     "b: --dates mdy (1/13/2024);"},
};

TEST(DatasetCsv, RulesOfCells) {
  for (const RulesRow& row : kRulesRows) {
    SCOPED_TRACE(row.text);
    Kt_CsvOptions options;
    row.set(options.rules);
    if (std::string_view(row.text).find(';') != std::string_view::npos) options.separator = u';';
    Kt_Dataset data;
    Kt_LoadReport report;
    data.LoadCSVBytes(row.text, options, report);
    EXPECT_EQ(Shown(data), row.shown) << report.error.ToUtf8();
    EXPECT_EQ(Told(report), row.told);
    EXPECT_EQ(report.cells_not_converted, 0);
    Kt_Dataset wide;
    wide.LoadCSV(Kt_WString::FromUtf8(row.text), options, report);
    EXPECT_EQ(Shown(wide), row.shown);
    EXPECT_EQ(Told(report), row.told);
  }
}

// Late cells decide as early ones do, and a hint needs nearly all cells.
TEST(DatasetCsv, TypesAndHintsOfLongColumns) {
  struct LongRow {
    const char* usual;
    const char* odd;
    int every;  // how often the odd one comes
    const char* type;
    const char* told;
  };
  const LongRow rows[] = {
      {"5", "2.5", 20000, "double", ""},
      {"5", "x", 20000, "string", "a: --null x (x);"},
      {"5", "NA", 7, "long", "a NA 2857;"},
      {"1.5", "1,234.5", 15, "string", "a: --thousands , (1,234.5);"},
      {"1,5", "n.v.", 5, "string", ""},
      {"1,5", "n.v.", 15, "string", "a: --decimal , (1,5);"},
      {"word", "5", 2, "string", ""},
      {"5", "2024-01-31", 2, "string", ""},
  };
  for (const LongRow& row : rows) {
    SCOPED_TRACE(std::string(row.usual) + " " + row.odd);
    std::string text = "a\n";
    for (int line = 1; line <= 20000; ++line) {
      text += std::string(line % row.every == 0 ? row.odd : row.usual) + "\n";
    }
    Kt_CsvOptions options;
    options.separator = u';';
    Kt_Dataset data;
    Kt_LoadReport report;
    EXPECT_EQ(data.LoadCSVBytes(text, options, report), 20000);
    EXPECT_EQ(Utf8(kt_columntypenameW(data.GetColType(0))), row.type);
    EXPECT_EQ(Told(report), row.told);
  }
}

// A file is read once, with the types of its first rows, or twice. Rejecting bad cells, of which
// there are none here, makes it look at all rows first.
TEST(DatasetCsv, TypesThatComeLate) {
  constexpr const char* kUsual[] = {"", "1", "-0", "2.5", "NA", "2024-01-31", "x", "1,5", " "};
  constexpr const char* kLate[] = {"1",
                                   "-0",
                                   "0",
                                   "-7",
                                   "2.5",
                                   "-.5",
                                   "1e5",
                                   "NA",
                                   "-",
                                   "  ",
                                   "",
                                   "007",
                                   "x",
                                   "+3",
                                   "1,5",
                                   "2024-01-31",
                                   "5.",
                                   "2024-01-31 10:30",
                                   "3000000000",
                                   "123456789012345678",
                                   "12345678901234567.5"};
  std::mt19937 random(11);
  const auto any = [&](const auto& cells) { return cells[random() % std::size(cells)]; };
  for (int file = 0; file < 160; ++file) {
    std::string text = "a;b;c\n";
    const char* const usual[] = {any(kUsual), any(kUsual), any(kUsual)};
    for (int row = 0; row < 100; ++row) {
      for (const char* const cell : usual) {
        text += (row >= 40 && random() % 50 == 0 ? any(kLate) : cell) + std::string(";");
      }
      text.back() = '\n';
    }
    SCOPED_TRACE(text);
    Kt_CsvOptions options;
    options.separator = u';';
    if (file % 8 == 7) options.rules.null_tokens = {u"NA", u"1"};
    if (file % 8 == 6) options.rules.decimal = u',';
    const auto load = [&](bool types_first) {
      options.reject_bad_cells = types_first;
      Kt_Dataset data;
      Kt_LoadReport report;
      data.LoadCSVBytes(text, options, report);
      EXPECT_EQ(report.rows_rejected + report.cells_not_converted, 0);
      Kt_WString saved;  // where -0 is told from 0
      data.SaveCSV(saved);
      return Told(report) + saved.ToUtf8();
    };
    ASSERT_EQ(load(false), load(true));
  }
}

TEST(DatasetCsv, ShapesOfFiles) {
  struct ShapeRow {
    const char* text;
    char16_t preferred;
    void (*set)(Kt_CsvOptions& options);
    const char* shown;
    char16_t separator;
    char16_t quote;
  };
  const auto plain = [](Kt_CsvOptions&) {};
  const ShapeRow rows[] = {
      {"a;b\n1,5;2,5\n", u',', plain, "a:string,b:string|'1,5','2,5'", u';', u'"'},
      {"a,b\n\"x;y\",1\n\"z;w\",2\n", u',', plain, "a:string,b:long|'x;y',1|'z;w',2", u',', u'"'},
      {"a|b\n1|2\n", u',', plain, "a:long,b:long|1,2", u'|', u'"'},
      {"a\tb c\n1\tx, y\n2\tz\n", u',', plain, "a:long,b c:string|1,'x, y'|2,'z'", u'\t', u'"'},
      {"a;b,c\n1;2,3\n", u';', plain, "a:long,b,c:string|1,'2,3'", u';', u'"'},
      {"a;b,c\n1;2,3\n", u',', plain, "a;b:string,c:long|'1;2',3", u',', u'"'},
      {"abc\nx y\n", u'\t', plain, "abc:string|'x y'", u'\t', u'"'},
      // Quotes that do not pair, or that would join lines that are whole without them
      {"a\tb\n5\" pipe\t1\nx\t2\n", u'\t', plain, "a:string,b:long|'5\" pipe',1|'x',2", u'\t', 0},
      {"a\tb\n\"x\" y\t1\n", u'\t', plain, "a:string,b:long|'\"x\" y',1", u'\t', 0},
      {"a\tb\n1\t\"x\n2\ty\"\n", u'\t', plain, "a:long,b:string|1,'\"x'|2,'y\"'", u'\t', 0},
      {"a\tb\n1\t\"x\ny\"\n", u'\t', plain, "a:long,b:string|1,'x\ny'", u'\t', u'"'},
      {"a\tb\n1\t\"x\ty\"\n\"p\tq\"\t2\n2\t\"z\"w\n", u'\t', plain,
       "a:string,b:string|'1','x\ty'|'p\tq','2'", u'\t', u'"'},
      // A text with types was saved here
      {"a:string\tb\n\"x\t\ny\"\tc\n", u'\t', plain, "a:string,b:string|'\"x',-|'y\"','c'", u'\t',
       0},
      {"a:string\tb:string\n\"x\t\ny\"\tc\n", u'\t', plain, "a:string,b:string|'x\t\ny','c'", u'\t',
       u'"'},
      {"a\tb\n\"1\"\t\"x\"\n", u'\t', plain, "a:long,b:string|1,'x'", u'\t', u'"'},
      {"a,b\n'x,y',1\n", u',', [](Kt_CsvOptions& options) { options.quote = u'\''; },
       "a:string,b:long|'x,y',1", u',', u'\''},
      {"a,b\n\"x,1\n", u',', [](Kt_CsvOptions& options) { options.quote = 0; },
       "a:string,b:long|'\"x',1", u',', 0},
      // Lines that are left out
      {"title\n\n#c\na,b\n#1,2\n3,\"4\n#5\"\n#", u',',
       [](Kt_CsvOptions& options) {
         options.skip = 1;
         options.comment = u'#';
         options.quote = u'"';
       },
       "a:long,b:string|3,'4\n#5'", u',', u'"'},
      {"a,b\n1,2\n", u',', [](Kt_CsvOptions& options) { options.skip = 9; }, "", u',', u'"'},
      // A header without the names of the rows
      {"x,y\nr1,1,2\nr2,3,4\n", u',', plain, "rowname:string,x:long,y:long|'r1',1,2|'r2',3,4", u',',
       u'"'},
      {"rowname,y\nr1,1,\nr2,3,4\n", u',', plain,
       "rowname_2:string,rowname:long,y:long|'r1',1,-|'r2',3,4", u',', u'"'},
      {"x,y\n1,2,\n3,4,\n", u',', plain, "x:long,y:long|1,2|3,4", u',', u'"'},
  };
  for (const ShapeRow& row : rows) {
    SCOPED_TRACE(row.text);
    Kt_CsvOptions options;
    options.separator = options.quote = Kt_CsvOptions::kAuto;
    options.preferred = row.preferred;
    row.set(options);
    Kt_LoadReport report;
    Kt_Dataset data;
    Kt_Dataset wide;
    data.LoadCSVBytes(row.text, options, report);
    wide.LoadCSV(Kt_WString::FromUtf8(row.text), options, report);
    EXPECT_EQ(Shown(data), row.shown);
    EXPECT_EQ(Shown(wide), row.shown);
    EXPECT_EQ(report.row_name_column.IsEmpty(), Shown(data).find("rowname") != 0);
    if (*row.shown == '\0') continue;
    EXPECT_EQ(static_cast<int>(report.separator), static_cast<int>(row.separator));
    EXPECT_EQ(static_cast<int>(report.quote), static_cast<int>(row.quote));
  }
}

TEST(DatasetCsv, BadCellsAndShortRows) {
  const char* const text =
      "a:long,b:string,c:date\n1,x\n2.5,\"y\nz\",2024-01-31\n7,w,soon\nNA,v,\n1e1,u,45000\n";
  Kt_CsvOptions options;
  options.reject_bad_cells = true;
  Kt_LoadReport report;
  Kt_Dataset data;
  EXPECT_EQ(data.LoadCSVBytes(text, options, report), 3);
  EXPECT_EQ(Shown(data), "a:long,b:string,c:datetime|1,'x',-|-,'v',-|10,'u',2023-03-15");
  EXPECT_EQ(Rejected(report), "3 column 'a': no long: '2.5';5 column 'c': no datetime: 'soon';");
  EXPECT_EQ(report.rejected[0].text, u"2.5,\"y\nz\",2024-01-31");
  EXPECT_EQ(Told(report), "a NA 1;");
  EXPECT_EQ(report.cells_not_converted, 0);
  EXPECT_EQ(report.records, 5);
  ASSERT_EQ(report.rows_short, 1);
  EXPECT_EQ(report.short_rows[0].line, 2);
  EXPECT_EQ(report.short_rows[0].text, u"1,x");

  options.reject_bad_cells = false;
  options.max_listed = 1;
  EXPECT_EQ(data.LoadCSVBytes(text, options, report), 5);
  EXPECT_EQ(report.cells_not_converted, 2);
  ASSERT_EQ(report.not_converted.size(), 1u);
  EXPECT_EQ(report.not_converted[0].text, u"2.5");
  EXPECT_EQ(report.not_converted[0].line, 3);

  options.rules.types = {{u"d", Kt_ColumnType::kLong}};
  EXPECT_EQ(data.LoadCSVBytes(text, options, report), -1);
  EXPECT_EQ(report.error, u"there is no column 'd', whose type is stated");
  EXPECT_EQ(data.GetRowCount(), 5);
}

TEST(DatasetCsv, OptionsThatContradict) {
  const auto error_of = [](void (*set)(Kt_CsvOptions&)) {
    Kt_CsvOptions options;
    set(options);
    Kt_LoadReport report;
    Kt_Dataset data;
    return data.LoadCSVBytes("a\n1\n", options, report) == -1 && !report.error.IsEmpty();
  };
  EXPECT_TRUE(error_of([](Kt_CsvOptions& options) { options.separator = u'"'; }));
  EXPECT_TRUE(error_of([](Kt_CsvOptions& options) { options.quote = u'\n'; }));
  EXPECT_TRUE(error_of([](Kt_CsvOptions& options) { options.comment = u','; }));
  EXPECT_TRUE(error_of([](Kt_CsvOptions& options) { options.rules.decimal = u'1'; }));
  EXPECT_TRUE(error_of([](Kt_CsvOptions& options) { options.rules.thousands = u'.'; }));
}

// A text that is too long for a cell is not taken for an empty one.
TEST(DatasetCsv, CellsBeyondTheLimitOfTexts) {
  std::u16string text = u"a,b\n1,";
  text.append(static_cast<std::size_t>(kMaxStringLength) + 1, u'x');
  text += u"\n2,y\n";
  Kt_LoadReport report;
  Kt_Dataset data;
  EXPECT_EQ(data.LoadCSV(text, {}, report), 2);
  EXPECT_EQ(Shown(data), "a:long,b:string|1,-|2,'y'");
  ASSERT_EQ(report.not_converted.size(), 1u);
  EXPECT_EQ(report.not_converted[0].line, 2);
}

void ExpectCells(const Kt_Dataset& data, kt_long row, const PlainCsv::Record& record) {
  for (std::size_t at = 0; at < record.cells.size(); ++at) {
    const auto col = static_cast<kt_long>(at);
    const Kt_Variant value = data.ReadColumn(row, col);
    if (record.cells[at].IsNull()) {
      EXPECT_TRUE(value.IsEmpty());
    } else if (data.GetColType(col) == Kt_ColumnType::kString) {
      EXPECT_EQ(Utf8(value.ToString()), Utf8(record.cells[at].text));
    }
  }
}

// Every record of a broken file is loaded or rejected, with its line and text, as a plain reader of
// the rules has it.
TEST(DatasetCsv, EveryRecordOfBrokenFilesIsAccountedFor) {
  const std::string kPieces[] = {"\"", "\"\"",  ",",   "\n",   "\r\n", "\r",  std::string(60, 'x'),
                                 "1",  "\"y\"", ",\"", "\n\"", "\",",  "\"\n"};
  std::mt19937 random(7);
  for (int file = 0; file < 3000; ++file) {
    std::string text = "a,b\n";
    for (auto left = random() % 60; left > 0; --left) text += kPieces[random() % 13];
    SCOPED_TRACE(text);
    Kt_CsvOptions options;
    options.reject_bad_cells = file % 2 == 0;
    Kt_LoadReport report;
    Kt_Dataset data;
    const kt_long loaded = data.LoadCSVBytes(text, options, report);
    const Kt_WString wide = Kt_WString::FromUtf8(text);
    PlainCsv reader(wide, u',');
    PlainCsv::Record record;
    ASSERT_TRUE(reader.Next(record));
    const auto columns = static_cast<std::size_t>(data.GetColCount());
    kt_long records = 0;
    std::size_t rejected = 0;
    kt_long good = 0;
    while (reader.Next(record)) {
      if (record.IsEmpty()) continue;
      ++records;
      while (record.cells.size() > columns && record.cells.back().IsNull()) record.cells.pop_back();
      if (record.good && record.cells.size() <= columns) {
        ExpectCells(data, good++, record);
        continue;
      }
      ASSERT_LT(rejected, report.rejected.size());
      EXPECT_EQ(report.rejected[rejected].line, record.line);
      EXPECT_EQ(Utf8(report.rejected[rejected].text), Utf8(record.text));
      ++rejected;
    }
    ASSERT_EQ(report.records, records);
    ASSERT_EQ(loaded + report.rows_rejected, records);
    ASSERT_EQ(report.rejected.size(), rejected);
  }
}

TEST(DatasetCsv, OneStrayQuoteCostsOneRow) {
  std::string text = "a,b\n0,\"x\n";
  for (int line = 0; line < 50000; ++line) text += "1,\"\"\n";
  Kt_Dataset data;
  Kt_LoadReport report;
  EXPECT_EQ(data.LoadCSVBytes(text, {}, report), 50000);
  EXPECT_EQ(Rejected(report), "2 quote that is never closed;");
}

// However the quotes stand, the time is that of the length: eight times the text takes about eight
// times as long, where it would take 64 times if every bad record read the rest again.
TEST(DatasetCsv, BadQuotesDoNotCostMoreThanTheyAreLong) {
  const auto seconds = [](std::string_view line, int lines) {
    std::string text = "a,b\n";
    for (int count = 0; count < lines; ++count) text += line;
    Kt_LoadReport report;
    Kt_Dataset data;
    const auto start = std::chrono::steady_clock::now();
    data.LoadCSVBytes(text, {}, report);
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  };
  for (const char* const line :
       {"\"x\n", "1,\"\"\"\n", "\",x,\"\n", "\"\",\"\n", "x\"\n", "\"a\"b\n"}) {
    SCOPED_TRACE(line);
    EXPECT_LT(seconds(line, 80000), 25 * seconds(line, 10000) + 0.2);
  }
}

TEST(DatasetCsv, Limits) {
  Kt_Dataset data;
  Kt_LoadReport report;
  std::string header(100000, ',');
  EXPECT_EQ(data.LoadCSVBytes(header + "\n1\n", {}, report), -1);
  EXPECT_EQ(report.error, u"too many columns");
  header.resize(16000);
  for (int line = 0; line < 20000; ++line) header += "\nx";
  EXPECT_EQ(data.LoadCSVBytes(header, {}, report), -1);
  EXPECT_EQ(report.error, u"too many empty cells");
  EXPECT_EQ(data.GetColCount(), 0);
}

TEST(DatasetCsv, WhatIsSavedLoadsBack) {
  Kt_Dataset data;
  const char16_t* const header =
      u"t:string,n:long,d:double,c:currency,w:datetime,b:binary,o:string(5)\n";
  ASSERT_EQ(data.LoadCSV(Kt_WString(header) +
                         u"\"a,\"\"b\"\"\r\nc\",1,0.1,12.5,2024-01-31 10:11:12.345,QUJD,\"\"\n"
                         u",,,,,,\n"
                         u"\xD83D\xDE00;\x1,-5,1e300,-0.0001,45000.123456789012,\"\",x\n"),
            3);
  data.SetColumn(1, 2, -0.0);
  Kt_WString text;
  EXPECT_EQ(data.SaveCSV(text), 3);
  Kt_Dataset back;
  EXPECT_EQ(back.LoadCSV(text), 3);
  Kt_WString again;
  back.SaveCSV(again);
  EXPECT_EQ(text.ToUtf8(), again.ToUtf8());
  for (kt_long row = 0; row < 3; ++row) {
    for (kt_long col = 0; col < data.GetColCount(); ++col) {
      EXPECT_FALSE(back.WouldChange(row, col, data.ReadColumn(row, col))) << row << " " << col;
    }
  }
  EXPECT_EQ(back.GetColSize(6), 5);
  EXPECT_EQ(data.SaveCSV(text, u"update"), 1);
  EXPECT_EQ(data.SaveCSV(text, u"some"), kErrNotAllowed);
}

}  // namespace
