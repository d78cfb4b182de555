// SPDX-License-Identifier: MIT
#include <regex>

#include "classlib/xml/Kt_XmlDOM.h"
#include "cli/show/Kt_Cell.h"
#include "cli/show/Kt_Chart.h"
#include "cli/show/Kt_Sha256.h"
#include "cli/show/Kt_Table.h"
#include "cli/show/Kt_View.h"
#include "cli_test_util.h"

namespace {

using namespace kt::cli;

constexpr const char* kSales =
    "date,region,product,price,qty,note\n"
    "2024-01-05,North,apples,12.5,3,ok\n"
    "2024-01-06,South,pears,3.25,7,\n"
    "2024-02-11,North,pears,100,1,\"line\ntwo\"\n"
    "2024-02-14,West,漢字の製品,0.75,-4,tab\there\n"
    "2024-03-01,South,apples,9.99,12,\"\"\n"
    "2024-03-02,,plums,,2,a note that is long\n";

// kt show of a CSV text.
Outcome Show(const std::string& csv, std::vector<std::string> options) {
  const TestFolder folder;
  options.insert(options.begin(), {"show", folder.Write("sales.csv", csv)});
  Outcome outcome = Kt(std::move(options));
  outcome.messages = folder.Shorten(outcome.messages);
  return outcome;
}

struct Row {
  std::vector<std::string> options;
  const char* out;
};

template <std::size_t N>
void ExpectShown(const Row (&rows)[N]) {
  for (const Row& row : rows) {
    const Outcome outcome = Show(kSales, row.options);
    std::string options;
    for (const std::string& option : row.options) options += option + " ";
    EXPECT_EQ(outcome.out, row.out) << options << outcome.messages;
    EXPECT_EQ(outcome.messages, "") << options;
    EXPECT_EQ(outcome.status, 0) << options;
  }
}

TEST(CliShow, Tables) {
  const Row kRows[] = {
      {{},
       "date        region  product      price  qty  note\n"
       "──────────  ──────  ──────────  ──────  ───  ───────────────────\n"
       "2024-01-05  North   apples       12.5     3  ok\n"
       "2024-01-06  South   pears         3.25    7  ·\n"
       "2024-02-11  North   pears       100       1  line␊two\n"
       "2024-02-14  West    漢字の製品    0.75   -4  tab␉here\n"
       "2024-03-01  South   apples        9.99   12\n"
       "2024-03-02  ·       plums            ·    2  a note that is long\n"},
      {{"--filter", "qty > 2", "--sort", "price:d", "--columns", "product,price", "--sum", "price"},
       "product  price\n"
       "───────  ─────\n"
       "apples   12.5\n"
       "apples    9.99\n"
       "pears     3.25\n"
       "───────  ─────\n"
       "total    25.74\n"},
      {{"--rows", "1", "--show-types", "--decimals", "1", "--columns", "date,price,qty"},
       "date         price   qty\n"
       "datetime    double  long\n"
       "──────────  ──────  ────\n"
       "2024-01-05    12.5     3\n"
       "… 5 more rows\n"},
      // Texts are cut, dates and numbers are not; then columns go.
      {{"--rows", "4", "--width", "52"},
       "date        region  product     price  qty  note\n"
       "──────────  ──────  ─────────  ──────  ───  ────────\n"
       "2024-01-05  North   apples      12.5     3  ok\n"
       "2024-01-06  South   pears        3.25    7  ·\n"
       "2024-02-11  North   pears      100       1  line␊two\n"
       "2024-02-14  West    漢字の製…    0.75   -4  tab␉here\n"
       "… 2 more rows\n"},
      {{"--rows", "1", "--width", "30"},
       "date        region  product  …\n"
       "──────────  ──────  ───────  …\n"
       "2024-01-05  North   apples   …\n"
       "… 5 more rows\n"
       "… 3 more columns: price, qty,…\n"},
  };
  ExpectShown(kRows);
}

TEST(CliShow, Groups) {
  const Row kRows[] = {
      {{"--group", "region", "--sum", "qty", "--avg", "price", "--columns", "region,price,qty"},
       "    region    price  qty\n"
       "    ──────  ───────  ───\n"
       "    ·             ·    2\n"
       "Σ1  ·                  2\n"
       "\n"
       "    North    12.5      3\n"
       "    North   100        1\n"
       "Σ1  North    56.25     4\n"
       "\n"
       "    South     3.25     7\n"
       "    South     9.99    12\n"
       "Σ1  South     6.62    19\n"
       "\n"
       "    West      0.75    -4\n"
       "Σ1  West      0.75    -4\n"
       "    ──────  ───────  ───\n"
       "Σ   total    25.298   21\n"},
      {{"--group", "region,product", "--max", "qty", "--totals-only", "--filter", "price > 5"},
       "    region  product  rows  max(qty)\n"
       "    ──────  ───────  ────  ────────\n"
       "Σ1  North   apples      1         3\n"
       "Σ1  North   pears       1         1\n"
       "Σ2  North               2         3\n"
       "\n"
       "Σ1  South   apples      1        12\n"
       "Σ2  South               1        12\n"
       "    ──────  ───────  ────  ────────\n"
       "Σ   total               3        12\n"},
      // The order of the groups goes by their totals.
      {{"--group", "region", "--sum", "qty", "--totals-only", "--sort", "qty:d"},
       "region  rows  sum(qty)\n"
       "──────  ────  ────────\n"
       "South      2        19\n"
       "North      2         4\n"
       "·          1         2\n"
       "West       1        -4\n"
       "──────  ────  ────────\n"
       "total      6        21\n"},
      // The groups follow the direction that --sort gives their key.
      {{"--group", "region", "--count", "price", "--sort", "region:d,qty:d", "--columns",
        "region,qty,price", "--filter", "region > 'O'"},
       "    region  qty  price\n"
       "    ──────  ───  ─────\n"
       "    West     -4   0.75\n"
       "Σ1  West          1\n"
       "\n"
       "    South    12   9.99\n"
       "    South     7   3.25\n"
       "Σ1  South         2\n"
       "    ──────  ───  ─────\n"
       "Σ   total         3\n"},
  };
  ExpectShown(kRows);
}

TEST(CliShow, CrossTables) {
  const Row kRows[] = {
      {{"--pivot", "region:product:qty", "--sort", "total:d"},
       "region  apples  pears  plums  漢字の製品  total\n"
       "──────  ──────  ─────  ─────  ──────────  ─────\n"
       "South       12      7      ·           ·     19\n"
       "North        3      1      ·           ·      4\n"
       "·            ·      ·      2           ·      2\n"
       "West         ·      ·      ·          -4     -4\n"
       "──────  ──────  ─────  ─────  ──────────  ─────\n"
       "total       15      8      2          -4     21\n"},
      {{"--pivot", "product:region:d:qty,note:max", "--filter", "product = 'pears'"},
       "product  South qty  South note  North qty  North note  total qty  total note\n"
       "───────  ─────────  ──────────  ─────────  ──────────  ─────────  ──────────\n"
       "pears            7  ·                   1  line␊two            7  line␊two\n"
       "───────  ─────────  ──────────  ─────────  ──────────  ─────────  ──────────\n"
       "total            7                      1  line␊two            7  line␊two\n"},
      // Averages have no total; texts are counted when no kind is given.
      {{"--pivot", "product:region:price:avg", "--filter", "price > 5"},
       "product  North  South\n"
       "───────  ─────  ─────\n"
       "apples    12.5   9.99\n"
       "pears    100        ·\n"},
      {{"--pivot", "product:region:note", "--filter", "region = 'South'"},
       "product  South\n"
       "───────  ─────\n"
       "apples       1\n"
       "pears        0\n"
       "───────  ─────\n"
       "total        1\n"},
      // Keys that are no texts leave the label of the total in its place.
      {{"--pivot", "date:region:qty", "--filter", "qty > 2"},
       "date        North  South  total\n"
       "──────────  ─────  ─────  ─────\n"
       "2024-01-05      3      ·      3\n"
       "2024-01-06      ·      7      7\n"
       "2024-03-01      ·     12     12\n"
       "──────────  ─────  ─────  ─────\n"
       "total           3     19     22\n"},
      {{"--pivot", "qty:region:price:max", "--filter", "qty > 6"},
       "  qty  South\n"
       "─────  ─────\n"
       "    7   3.25\n"
       "   12   9.99\n"
       "─────  ─────\n"
       "total   9.99\n"},
      {{"--pivot", "region,product:date:qty", "--group", "region", "--filter", "qty > 2"},
       "    region  product  2024-01-05  2024-01-06  2024-03-01  total\n"
       "    ──────  ───────  ──────────  ──────────  ──────────  ─────\n"
       "    North   apples            3           ·           ·      3\n"
       "Σ1  North                     3                              3\n"
       "\n"
       "    South   apples            ·           ·          12     12\n"
       "    South   pears             ·           7           ·      7\n"
       "Σ1  South                                 7          12     19\n"
       "    ──────  ───────  ──────────  ──────────  ──────────  ─────\n"
       "Σ   total                     3           7          12     22\n"},
  };
  ExpectShown(kRows);
}

TEST(CliShow, Charts) {
  const Row kRows[] = {
      {{"--group", "region", "--sum", "qty", "--chart", "qty", "--width", "40"},
       "qty\n"
       "·           ██▌ 2\n"
       "North       █████ 4\n"
       "South       ████████████████████████ 19\n"
       "West   █████ -4\n"},
      {{"--chart", "price", "--width", "30", "--bars", "2"},
       "price\n"
       "North  █████████████████ 12.5\n"
       "South  ████▍ 3.25\n"
       "… 4 more bars\n"},
      {{"--pivot", "product:region:qty", "--chart", "South", "--width", "30", "--filter",
        "qty > 0 and qty < 9"},
       "South\n"
       "apples  ·\n"
       "pears   ███████████████████ 7\n"
       "plums   ·\n"},
  };
  for (const Row& row : kRows) {
    const Outcome outcome = Show(kSales, row.options);
    EXPECT_EQ(outcome.out, row.out) << outcome.messages;
  }
}

TEST(CliShow, ResultsAsData) {
  const Row kRows[] = {
      {{"--group", "region", "--sum", "qty", "--csv", "--columns", "region,qty", "--filter",
        "qty < 3"},
       "level,region,qty\r\n0,,2\r\n1,,2\r\n0,North,1\r\n"
       "1,North,1\r\n0,West,-4\r\n1,West,-4\r\n"},
      {{"--group", "region", "--sum", "qty", "--totals-only", "--json", "--sort", "qty", "--rows",
        "2"},
       "[\n{\"region\":\"West\",\"rows\":1,\"sum(qty)\":-4},\n"
       "{\"region\":null,\"rows\":1,\"sum(qty)\":2}\n]\n"},
      {{"--pivot", "product:region:qty", "--csv", "--filter", "product = 'pears'"},
       "product,North,South,total\r\npears,1,7,8\r\n"},
      // The key of a column is null: it is called by its place.
      {{"--pivot", "product:region:qty", "--csv", "--filter", "price <> 12.5 && qty <= 2"},
       "product,column2,North,West,total\r\npears,,1,,1\r\nplums,2,,,2\r\n漢字の製品,,,-4,-4\r\n"},
  };
  ExpectShown(kRows);

  const TestFolder folder;
  const std::string csv = folder.Write("a.csv", kSales);
  const std::string xml = folder.Path("b.xml");
  EXPECT_EQ(Kt({"show", csv, "--filter", "qty = 7", "--save", xml}).status, 0);
  EXPECT_EQ(Kt({"show", xml, "--columns", "product,note", "--csv"}).out,
            "product,note\r\npears,\r\n");
}

TEST(CliShow, MessagesNameWhatIsKnown) {
  const std::string columns = "olumns: date, region, product, price, qty, note\n";
  const struct {
    std::vector<std::string> options;
    int status;
    std::string message;
  } kRows[] = {
      {{"--sort", "prize:d"},
       2,
       "kt show: --sort: there is no column 'prize'; did you mean 'price'? C" + columns},
      {{"--columns", "wholly else"},
       2,
       "kt show: --columns: there is no column 'wholly else'; c" + columns},
      {{"--chart", "qtty"},
       2,
       "kt show: --chart: there is no column 'qtty'; did you mean 'qty'? C" + columns},
      {{"--pivot", "region:product"},
       2,
       "kt show: --pivot: expected ROWS:COLUMNS:VALUES or ROWS:COLUMNS:VALUES:KIND\n"},
      {{"--pivot", "region:product:qty:total"},
       2,
       "kt show: --pivot: 'total' is none of sum, avg, max, min, count\n"},
      {{"--group", "region", "--sum", "region"},
       2,
       "kt show: --sum: 'region' is a key of --group\n"},
      {{"--avg", "note"},
       2,
       "kt show: --avg: column 'note' holds texts, which have no avg; --types note:double would "
       "read numbers\n"},
      {{"--pivot", "region:product:note:sum"},
       2,
       "kt show: --pivot: column 'note' holds texts, which have no sum; --types note:double would "
       "read numbers\n"},
      {{"--sum", "qty", "--max", "qty"}, 2, "kt show: --max: 'qty' has a total already, sum\n"},
      {{"--totals-only"}, 2, "kt show: --totals-only needs --group\n"},
      {{"--filter", "qty >"},
       1,
       "expression:1:6: error: expression ends too early [no-operand]\nqty >\n     ^\n"
       "  hint: a value is missing after '>'\n"},
      {{"--filter", "price > 1 and qtty > 2"},
       1,
       "expression:1:15: error: unknown variable 'qtty'; did you mean 'qty'? C" + columns +
           "price > 1 and qtty > 2\n              ^~~~\n"},
      {{"--filter", "price > 1 && roud(qty) > 2"},
       1,
       "expression:1:14: error: unknown function: roud (did you mean 'round'?)\n"
       "price > 1 && roud(qty) > 2\n             ^~~~\n"},
  };
  for (const auto& row : kRows) {
    const Outcome outcome = Show(kSales, row.options);
    EXPECT_EQ(outcome.messages, row.message);
    EXPECT_EQ(outcome.status, row.status) << row.message;
    EXPECT_EQ(outcome.out, "") << row.message;
  }
}

// Every row has them, and every reading of its cells: each is told once.
TEST(CliShow, FaultsOfComputedColumns) {
  const Outcome outcome = Show("a,unit price\n1,2.5\n2,3\n3,4\n",
                               {"--add", "n=a + nosuch", "--add", "m=rund(a)", "--add",
                                "p=curdata[rowidx]['unit price']", "--sort", "m"});
  EXPECT_EQ(
      outcome.messages,
      "expression:1:1: error: column 'm': unknown function: rund (did you mean 'round'?) (row 0)\n"
      "rund(a)\n^~~~\n"
      "expression:1:5: error: column 'n': unknown variable 'nosuch' (row 0)\n"
      "a + nosuch\n    ^~~~~~\n");
  EXPECT_EQ(outcome.out,
            "a  unit price  n  m    p\n─  ──────────  ─  ─  ───\n1         2.5  ·  ·  2.5\n"
            "2         3    ·  ·  3\n3         4    ·  ·  4\n");
  EXPECT_EQ(outcome.status, 1);
}

// What is only printed has null for numbers that JSON lacks; a file is refused.
TEST(CliShow, NumbersThatJsonLacks) {
  const char* const text = "k,v\na,nan\na,1\nb,-inf\n";
  EXPECT_EQ(Show(text, {"--group", "k", "--max", "v", "--totals-only", "--json"}).out,
            "[\n{\"k\":\"a\",\"rows\":2,\"max(v)\":1.0},\n"
            "{\"k\":\"b\",\"rows\":1,\"max(v)\":null}\n]\n");
  const TestFolder folder;
  const Outcome saved = Show(text, {"--save", folder.Path("x.json")});
  EXPECT_EQ(saved.messages, "kt show: error: row 0, column 'v': a NaN\n");
  EXPECT_EQ(saved.status, 1);
}

// Lists of options have no blanks at the ends of their items.
TEST(CliShow, HeadingsWithBlanksAtTheirEnds) {
  const char* const text = "k, v ,w\na,1,5\na,2,6\nb,4,7\n";
  EXPECT_EQ(
      Show(text, {"--group", "k", "--sum", "v", "--totals-only", "--sort", "k:d", "--csv"}).out,
      "k,rows,sum( v )\r\nb,1,4\r\na,2,3\r\n");
  EXPECT_EQ(Show(text, {"--sort", "v:d", "--columns", "w,v", "--csv"}).out,
            "w, v \r\n7,4\r\n6,2\r\n5,1\r\n");
  EXPECT_EQ(Show(text, {"--group", "v", "--sum", "w", "--totals-only", "--csv"}).out,
            " v ,rows,sum(w)\r\n1,1,5\r\n2,1,6\r\n4,1,7\r\n");
  EXPECT_EQ(Show(text, {"--pivot", "k:v:w", "--chart", "total"}).status, 0);
}

TEST(CliShow, SeparatorsAndTablesWithoutHeader) {
  EXPECT_EQ(Show("1;a\n2;b\n", {"--separator", ";", "--no-header"}).out,
            "column1  column2\n───────  ───────\n      1  a\n      2  b\n");
  EXPECT_EQ(Show("a;b\n1;x\n", {"--separator", ";;"}).status, 2);
}

TEST(CliShow, NothingToShow) {
  EXPECT_EQ(Kt({"show", "no/such.csv"}).status, 2);
  EXPECT_EQ(Show("", {}).status, 1);
  EXPECT_EQ(Show("a,b\n", {}).out, "a  b\n─  ─\n");
  EXPECT_EQ(Show("a,b\n", {"--group", "a", "--sum", "b", "--totals-only"}).status, 0);
  EXPECT_EQ(Show("a,b\n", {"--pivot", "a:b:b"}).status, 2);
  EXPECT_EQ(Show("a,b,c\n", {"--pivot", "a:b:c", "--chart", "a"}).status, 0);
}

// On both sides of the limit: the key of the rows, one column for each key, and the total.
TEST(CliShow, CrossTablesHaveAWidthLimit) {
  const TestFolder folder;
  std::string rows = "r,c,v\n";
  for (int key = 0; key < 16382; ++key) rows += "1,c" + std::to_string(key) + ",1\n";
  const std::string fits = folder.Write("a.csv", rows);
  EXPECT_EQ(Kt({"show", fits, "--pivot", "r:c:v", "--columns", "r,c16381,total"}).out,
            "    r  c16381  total\n─────  ──────  ─────\n    1       1  16382\n"
            "─────  ──────  ─────\ntotal       1  16382\n");
  const Outcome wide = Kt({"show", folder.Write("b.csv", rows + "1,d,1\n"), "--pivot", "r:c:v"});
  EXPECT_EQ(wide.status, 1);
  EXPECT_EQ(wide.messages,
            "kt show: error: --pivot: the cross table would have 16385 columns (at most 16384)\n");
}

// ---- Cells ------------------------------------------------------------------------------------

TEST(CliCell, TextsAreCutByWidth) {
  const struct {
    const char16_t* text;
    kt_long width;
    const char16_t* cut;
  } kRows[] = {
      {u"abc", 3, u"abc"},  {u"abcd", 3, u"ab…"},   {u"漢字", 4, u"漢字"},
      {u"漢字", 3, u"漢…"}, {u"漢字", 2, u"…"},     {u"a", 1, u"a"},
      {u"ab", 1, u"…"},     {u"e\u0301e", 1, u"…"}, {u"", 1, u""},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(CutToWidth(row.text, row.width), row.cut) << Kt_WString(row.text).ToUtf8();
  }
}

TEST(CliCell, DatesOfAColumnHaveOneForm) {
  Kt_DateTime day, noon;
  ASSERT_TRUE(Kt_DateTime::FromText(u"2024-01-05", day));
  ASSERT_TRUE(Kt_DateTime::FromText(u"2024-01-05 12:00", noon));
  Kt_CliCellFormat days;
  days.Measure(day);
  EXPECT_EQ(days.Text(day), u"2024-01-05");
  Kt_CliCellFormat times;
  times.Measure(day);
  times.Measure(noon);
  EXPECT_EQ(times.Text(day), u"2024-01-05 00:00:00");
  EXPECT_EQ(times.Width(), 19);
}

TEST(CliCell, TotalsShowTheDigitsThatMeanSomething) {
  const struct {
    double value;
    Kt_Aggregate made_by;
    const char16_t* text;
  } kRows[] = {
      {29311146.1899999, Kt_Aggregate::kNone, u"29311146.1899999"},
      {29311146.1899999, Kt_Aggregate::kSum, u"29311146.19"},
      {-0.1000000000002, Kt_Aggregate::kSum, u"-0.1"},
      {0.00000012345, Kt_Aggregate::kSum, u"1.2345e-07"},
      {0.0000125, Kt_Aggregate::kSum, u"0.0000125"},
      {123456789012.5, Kt_Aggregate::kSum, u"123456789013"},
      {1e20, Kt_Aggregate::kSum, u"1e+20"},
      {100 / 3.0, Kt_Aggregate::kAvg, u"33.3333"},
      {1 / 30000.0, Kt_Aggregate::kAvg, u"0.0000333"},
      {0, Kt_Aggregate::kAvg, u"0"},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(Kt_CliCellFormat().Text(row.value, row.made_by).ToUtf8(),
              Kt_WString(row.text).ToUtf8());
  }
}

// ---- Colours and pages ------------------------------------------------------------------------

TEST(CliTable, ColoursStandOutsideOfTheWidths) {
  Kt_Dataset data;
  ASSERT_EQ(data.LoadCSV(u"a,n\nx,1\n,22\n"), 2);
  TableOptions options;
  options.colours = true;
  std::ostringstream coloured;
  PrintTable(Kt_CliView(data), options, coloured);
  std::ostringstream plain;
  PrintTable(Kt_CliView(data), {}, plain);
  EXPECT_NE(coloured.str().find("\x1b[1m"), std::string::npos);
  EXPECT_EQ(std::regex_replace(coloured.str(), std::regex("\x1b\\[[0-9]*m"), ""), plain.str());
}

TEST(CliChart, ExtremeValues) {
  Kt_Dataset data;
  ASSERT_EQ(data.LoadCSV(u"name,v:double\na,1.7e308\nb,-1.7e308\nc,0\nd,\n"), 4);
  const Kt_CliView view(data);
  const Chart chart = MakeChart(view, 1, 10, {});
  std::ostringstream out;
  PrintChart(chart, 60, false, out);
  const std::string text = out.str();
  EXPECT_EQ(text.find("nan"), std::string::npos);
  EXPECT_EQ(ChartSvg(chart).find("nan"), std::string::npos);
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 5);
}

// The text of an element and of all that it holds.
Kt_WString AllText(const Kt_XmlElement& element) {
  Kt_WString text;
  for (kt_long node = 0; node < element.GetNodeCount(); ++node) {
    const Kt_XmlElement* const child = element.GetNodeElement(node);
    text += child != nullptr ? AllText(*child) : element.GetNodeText(node);
  }
  return text;
}

// A page is well-formed, holds the texts of hostile cells as texts, and names nothing outside.
TEST(CliHtml, PagesAreWellFormedAndEscaped) {
  const TestFolder folder;
  const std::string csv = folder.Write(
      "a.csv",
      "name,<b>&x,n\n\"<script>alert('1')</script>\",\"a & \"\"b\"\"\",1\n\x01\x0b,]]>,-2\n");
  const std::string page = folder.Path("a.html");
  const Outcome outcome = Kt({"show", csv, "--html", page, "--chart", "n", "--title", "T <&> \"'",
                              "--group", "name", "--sum", "n"});
  ASSERT_EQ(outcome.status, 0) << outcome.messages;
  EXPECT_EQ(outcome.out, "");
  const std::string html = folder.Read("a.html");
  Kt_XmlDOM dom;
  Kt_XmlError error;
  ASSERT_TRUE(dom.LoadUtf8(html, error)) << error.line << ": " << error.text.ToUtf8();
  const Kt_XmlElement& root = *dom.GetRoot();
  EXPECT_EQ(root.FindChild(u"head")->FindChild(u"title")->GetText(), u"T <&> \"'");
  const Kt_XmlElement* const table = root.FindChild(u"body")->FindChild(u"table");
  ASSERT_NE(table, nullptr);
  EXPECT_NE(root.FindChild(u"body")->FindChild(u"svg"), nullptr);
  const Kt_WString text = AllText(*table->FindChild(u"tbody"));
  for (const char16_t* const part : {u"<script>alert('1')</script>", u"a & \"b\"", u"]]>", u"␁␋"}) {
    EXPECT_GE(text.Find(part), 0) << Kt_WString(part).ToUtf8() << text.ToUtf8();
  }
  // The policy lets the browser use the style of the page, known by its hash, and nothing else.
  const Kt_XmlElement& head = *root.FindChild(u"head");
  const std::string style = head.FindChild(u"style")->GetText().ToUtf8();
  const kt::cli::HashText hash = kt::cli::Sha256Base64(style);
  EXPECT_NE(html.find("<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; "
                      "style-src 'sha256-" +
                      std::string(hash.begin(), hash.end()) +
                      "'; base-uri 'none'; form-action 'none'\"/>"),
            std::string::npos);
  for (const char* const outside : {"<script", " style=\"", " onload", "src=", "url(", "href="}) {
    EXPECT_EQ(html.find(outside), std::string::npos) << outside;
  }
}

TEST(CliHtml, HashesOfTheStandard) {
  const struct {
    std::string text;
    const char* hash;
  } kRows[] = {
      {"", "47DEQpj8HBSa+/TImW+5JCeuQeRkm5NMpJWZG3hSuFU="},
      {"abc", "ungWv48Bz+pBQUDeXa4iI7ADYaOWF3qctBD/YfIAFa0="},
      {std::string(55, 'x'), "1eKFaDzU78AtAhpcYgFGlJWJAQBdb3HongmJ+sd+QHI="},
      {std::string(56, 'x'), "BMJiYTcO51QVSdFt7jIMcj4/0UZx5moJmv4KN3wWiI4="},
      {std::string(3000, 'y'), "AkydXBtFlH0iEYQdh16ZXGWJEln0wpIYOWvYFLr45aU="},
  };
  for (const auto& row : kRows) {
    const kt::cli::HashText hash = kt::cli::Sha256Base64(row.text);
    EXPECT_EQ(std::string(hash.begin(), hash.end()), row.hash) << row.text.size();
  }
}

TEST(CliHtml, RowsAreCapped) {
  const TestFolder folder;
  const std::string csv = folder.Write("a.csv", "n\n1\n2\n3\n");
  ASSERT_EQ(Kt({"show", csv, "--html", folder.Path("a.html"), "--rows", "1"}).status, 0);
  const std::string html = folder.Read("a.html");
  EXPECT_NE(html.find("<p>… 2 more rows</p>"), std::string::npos);
  EXPECT_EQ(html.find("<td class=\"n\">2"), std::string::npos);
}

}  // namespace
