// SPDX-License-Identifier: MIT
//
// CSV: types found in the cells, null and empty text, rows that are left out and why.
#include <gtest/gtest.h>

#include <string>

#include "classlib/Kt_Dataset.h"
#include "test_text.h"

namespace {

// The dataset as "id:type,..." and rows; null is "-", texts are in quotes.
std::string Shown(const Kt_Dataset& data) {
  std::string out;
  for (kt_long col = 0; col < data.GetColCount(); ++col) {
    out += (col > 0 ? "," : "") + data.GetColID(col).ToUtf8() + ":" +
           Utf8(kt_columntypenameW(data.GetColType(col)));
  }
  for (kt_long row = 0; row < data.GetRowCount(); ++row) {
    out += "|";
    for (kt_long col = 0; col < data.GetColCount(); ++col) {
      const Kt_Variant value = data.ReadColumn(row, col);
      const std::string text = value.ToString().ToUtf8();
      out += col > 0 ? "," : "";
      out += value.IsEmpty() ? "-" : value.IsString() ? "'" + text + "'" : text;
    }
  }
  return out;
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
    {"a\n-0\n1\n", "a:double|0|1"},
    {"a\n2147483647\n-2147483648\n", "a:long|2147483647|-2147483648"},
    {"a\n2147483648\n1\n", "a:double|2147483648|1"},
    {"a\n123456789012345\n", "a:double|123456789012345"},
    {"a\n1234567890123456\n", "a:string|'1234567890123456'"},
    {"a\n0.123456789012345\n", "a:double|0.123456789012345"},
    {"a\n1.\n2\n", "a:string|'1.'|'2'"},
    {"a,b,c\n1.5e3,1e+3,25E-1\n2,2,2\n", "a:double,b:double,c:double|1500,1000,2.5|2,2,2"},
    {"a,b\n1E5,1E5\n12E3,x\n", "a:string,b:string|'1E5','1E5'|'12E3','x'"},
    {"a\n1e999\n", "a:string|'1e999'"},
    {"a\n+1\n", "a:string|'+1'"},
    {"a\n 1\n", "a:string|' 1'"},
    {"a\n20240131\n", "a:long|20240131"},
    {"a\n2024-01-31\n2024-02-30\n", "a:string|'2024-01-31'|'2024-02-30'"},
    {"a\n2024-01-31\n5\n", "a:string|'2024-01-31'|'5'"},
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
    {"a,b\n1,x\"y\n2,z\n", "a:long,b:string|2,'z'", "2 quote inside a cell without quotes;"},
    {"a,b\n1,\"x\"y\n2,z\n", "a:long,b:string|2,'z'", "2 text after a closing quote;"},
    {"a,b\n1,\"x\n2,y\n3,z\n", "a:long,b:string|2,'y'|3,'z'", "2 quote that is never closed;"},
    {"a,b\n\"x\ny\",1\n\"p\nq\"r,2\n3,4\n", "a:string,b:long|'x\ny',1|'3',4",
     "4 text after a closing quote;"},
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

TEST(DatasetCsv, OneStrayQuoteCostsOneRow) {
  std::string text = "a,b\n0,\"x\n";
  for (int line = 0; line < 50000; ++line) text += "1,\"\"\n";
  Kt_Dataset data;
  Kt_LoadReport report;
  EXPECT_EQ(data.LoadCSVBytes(text, {}, report), 50000);
  EXPECT_EQ(Rejected(report), "2 quote that is never closed;");
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
  EXPECT_EQ(data.SaveCSV(text, u"some"), -1);
}

}  // namespace
