// SPDX-License-Identifier: MIT
//
// What commands and scripts may say about data files: options and their faults, rejected rows,
// encodings, the standard input, and the forms in which results are written.
#include <sys/wait.h>

#include <cstdlib>

#include "cli/show/Kt_Markdown.h"
#include "cli_test_util.h"

namespace {

constexpr const char* kBroken = "a,b\n1,2\n3,4,5\n\"x,6\ny\"z,7\n8,9,10\n11\n";
const std::string kLatin = "a,b\nM\xFCller,1\nGr\xFCn,2\n";

class CliDataOptions : public testing::Test {
 protected:
  // kt with FOLDER/ in arguments and messages for the folder of the test.
  Outcome Run(std::vector<std::string> arguments) const {
    for (std::string& argument : arguments) {
      if (const std::size_t at = argument.find("FOLDER/"); at != std::string::npos) {
        argument.replace(at, 7, folder_.Path(""));
      }
    }
    Outcome outcome = Kt(std::move(arguments));
    outcome.messages = folder_.Shorten(outcome.messages);
    return outcome;
  }
  // kt run of a script in which DIR is the path of the folder.
  Outcome Script(const std::string& body) const {
    folder_.Write("a.kts", "function main(DIR) {\n" + body + "\n}");
    return Run({"run", "FOLDER/a.kts", "main", folder_.Path("")});
  }
  // The program itself, by a line for the shell.
  Outcome Shell(const std::string& command) const {
    const std::string line = "cd '" + folder_.Path("") +
                             "' && PATH=\"$(dirname '" KT_PROGRAM "'):$PATH\" && { " + command +
                             "; } > out 2> messages";
    const int status = std::system(line.c_str());  // NOLINT(cert-env33-c)
    return {WEXITSTATUS(status), folder_.Read("out"), folder_.Read("messages")};
  }

  TestFolder folder_;
};

TEST_F(CliDataOptions, OptionsReadFilesInEveryCommand) {
  folder_.Write("n.txt",
                "# made by hand\nname;price;day;code\n'a;b';1.234,5;31.12.2024;007\n"
                "c;n.a.;1.2.2025;8\n");
  const std::vector<std::string> options = {
      "--separator", ";", "--quote", "'",   "--comment", "#",    "--decimal", ",",
      "--thousands", ".", "--dates", "dmy", "--null",    "n.a.", "--types",   "code:long"};
  const std::string json = "{\"name\":\"a;b\",\"price\":1234.5,\"day\":\"2024-12-31\",\"code\":7}";
  std::vector<std::string> show = {"show", "FOLDER/n.txt", "--json", "--rows", "1"};
  std::vector<std::string> eval = {"eval", "n[0].price + n[1].code", "--data", "n=FOLDER/n.txt"};
  show.insert(show.end(), options.begin(), options.end());
  eval.insert(eval.end(), options.begin(), options.end());
  EXPECT_EQ(Run(show).out, "[\n" + json + "\n]\n") << Run(show).messages;
  EXPECT_EQ(Run(eval).out, "1242.5\n") << Run(eval).messages;
  const Outcome script = Script(
      "  loadData('n', DIR + 'n.txt', '', \"separator=; quote=' comment=# decimal=, thousands=. "
      "dates=dmy null=n.a. types=code:long\");\n"
      "  return n[0].price + n[1].code;");
  EXPECT_EQ(script.out, "1242.5\n") << script.messages;
}

TEST_F(CliDataOptions, WrongOptionsNameThemselves) {
  folder_.Write("t.csv", "a,b\n1,2\n");
  const struct {
    std::vector<std::string> options;
    const char* message;
  } kRows[] = {
      {{"--separator", ";;"},
       "--separator: expected auto or one character other than \" (\\t for a tab), not ';;'"},
      {{"--decimal", ""}, "--decimal: expected one character, not ''"},
      {{"--thousands", "."}, "--thousands: '.' is the decimal point already"},
      {{"--separator", "|", "--quote", "|"}, "--separator: '|' is the quote already"},
      {{"--skip", "-1"}, "--skip: expected a number of lines, not '-1'"},
      {{"--dates", "dm"}, "--dates: expected dmy, mdy or ymd, not 'dm'"},
      {{"--encoding", "klingon"},
       "--encoding: expected auto or the name of an encoding, not 'klingon'"},
      {{"--types", "a"},
       "--types: expected COLUMN:TYPE,... with the types long, double, currency, datetime, "
       "string, binary, variant, not 'a'"},
      {{"--types", "c:long"}, "--types: there is no column 'c'; columns: a, b"},
      {{"--allow-rejects", "many"},
       "--allow-rejects: expected a number of rows and cells, not 'many'"},
      {{"--rejects", ""}, "--rejects: expected the name of a file, not ''"},
  };
  for (const auto& row : kRows) {
    for (std::vector<std::string> command : {std::vector<std::string>{"show", "FOLDER/t.csv"},
                                             {"eval", "1", "--data", "FOLDER/t.csv"}}) {
      const std::string name = "kt " + command[0] + ": ";
      command.insert(command.end(), row.options.begin(), row.options.end());
      const Outcome outcome = Run(command);
      EXPECT_EQ(outcome.messages, name + row.message + "\n");
      EXPECT_EQ(outcome.status, 2) << row.message;
    }
  }
  const struct {
    const char* options;
    const char* message;
  } kScripts[] = {
      {"'decmal=,'", "there is no option 'decmal'; options: format, "},
      {"'typed'", "there is no option 'typed'; options: format, "},
      {"'decimal'", "decimal needs a value: decimal=CHAR\n"},
      {"'no-header=1'", "no-header has no value, not '1'\n"},
      {"\"null='NA\"", "null: a quote that is never closed\n"},
      {"'skip=x'", "skip: expected a number of lines, not 'x'\n"},
      {"'types=c:long'", "types: there is no column 'c'; columns: a, b\n"},
  };
  for (const auto& row : kScripts) {
    const Outcome outcome =
        Script(std::string("  loadData('t', DIR + 't.csv', '', ") + row.options + ");");
    const std::string expected = std::string("a.kts:2: error: loadData(): ") + row.message;
    EXPECT_TRUE(outcome.messages.starts_with(expected)) << outcome.messages;
    EXPECT_EQ(outcome.status, 1) << row.options;
  }
}

TEST_F(CliDataOptions, RejectedRowsAreAnErrorWithTwoWaysOn) {
  folder_.Write("t.csv", kBroken);
  const Outcome refused = Run({"show", "FOLDER/t.csv"});
  EXPECT_EQ(refused.status, 1);
  EXPECT_EQ(refused.out, "");
  EXPECT_EQ(refused.messages,
            "t.csv: error: 4 of 6 records rejected; nothing is loaded\n"
            "t.csv:3: row rejected: more cells than columns\n"
            "t.csv:4: row rejected: text after a closing quote\n"
            "t.csv:5: row rejected: quote inside a cell without quotes\n"
            "t.csv:6: row rejected: more cells than columns\n"
            "t.csv: --rejects FILE writes such rows to a file and loads the rest; "
            "--allow-rejects 4 loads what it can\n");
  EXPECT_EQ(Run({"eval", "1", "--data", "FOLDER/t.csv"}).messages, refused.messages);
  EXPECT_EQ(Run({"show", "FOLDER/t.csv", "--allow-rejects", "3"}).status, 1);
  const Outcome allowed = Run({"show", "FOLDER/t.csv", "--allow-rejects", "4", "--csv"});
  EXPECT_EQ(allowed.status, 0) << allowed.messages;
  EXPECT_EQ(allowed.out, "a,b\r\n1,2\r\n11,\r\n");
  EXPECT_TRUE(allowed.messages.starts_with(
      "t.csv: 2 rows, 4 rejected, 1 short row filled with nulls\nt.csv:3: row rejected: more "))
      << allowed.messages;
  const Outcome written =
      Run({"eval", "t.rowcount", "--data", "FOLDER/t.csv", "--rejects", "FOLDER/r.csv"});
  EXPECT_EQ(written.out, "2\n");
  EXPECT_EQ(written.messages,
            "t.csv: 2 rows, 4 rejected, 1 short row filled with nulls, see r.csv\n");
  EXPECT_EQ(folder_.Read("r.csv"),
            "line,reason,record\r\n3,more cells than columns,\"3,4,5\"\r\n"
            "4,text after a closing quote,\"\"\"x,6\"\r\n"
            "5,quote inside a cell without quotes,\"y\"\"z,7\"\r\n"
            "6,more cells than columns,\"8,9,10\"\r\n");
}

TEST_F(CliDataOptions, RowsWithBadCellsAreRejectedAsAWhole) {
  folder_.Write("t.csv", "a:long,b\n1,x\ntwo,y\n3,z\n");
  EXPECT_EQ(Run({"show", "FOLDER/t.csv"}).messages,
            "t.csv: error: 1 cell not converted of 3 records; nothing is loaded\n"
            "t.csv:3: cell not converted: column 'a': 'two'\n"
            "t.csv: --rejects FILE writes such rows to a file and loads the rest; "
            "--allow-rejects 1 loads what it can\n");
  EXPECT_EQ(Run({"show", "FOLDER/t.csv", "--csv", "--rejects", "FOLDER/r.csv"}).out,
            "a,b\r\n1,x\r\n3,z\r\n");
  EXPECT_TRUE(folder_.Read("r.csv").starts_with("line,reason,record\r\n3,"))
      << folder_.Read("r.csv");
  EXPECT_TRUE(folder_.Read("r.csv").ends_with(",\"two,y\"\r\n")) << folder_.Read("r.csv");
  // What is replaced is never the file itself, nor one that could not be written.
  EXPECT_EQ(Run({"show", "FOLDER/t.csv", "--rejects", "FOLDER/t.csv"}).messages,
            "t.csv: error: its own rejected rows would replace the file\n");
  EXPECT_EQ(Run({"show", "FOLDER/t.csv", "--rejects", "FOLDER/no/r.csv"}).messages,
            "t.csv: error: cannot write 'no/r.csv': No such file or directory\n");
  EXPECT_EQ(Run({"eval", "1", "--data", "a=FOLDER/t.csv", "--data", "b=FOLDER/t.csv", "--rejects",
                 "FOLDER/r.csv"})
                .messages,
            "kt eval: --rejects: one file cannot hold the rows of several --data\n");
}

TEST_F(CliDataOptions, LoadDataInScriptsRefusesAndLeavesTheDataset) {
  folder_.Write("t.csv", kBroken);
  const Outcome refused = Script(
      "  var t = dataset('t', 'a:long, b:long');\n  t.AppendRow();\n"
      "  loadData('t', DIR + 't.csv');\n  print('still here');");
  EXPECT_TRUE(refused.messages.starts_with(
      "a.kts:4: error: cannot load: t.csv: 4 of 6 records rejected; nothing is loaded\nt.csv:3: "))
      << refused.messages;
  EXPECT_NE(
      refused.messages.find("the option rejects=FILE writes such rows to a file and loads the "
                            "rest; allow-rejects=4 loads what it can\n"),
      std::string::npos);
  EXPECT_EQ(refused.status, 1);
  const Outcome tolerated = Script(
      "  var options = ['allow-rejects=4'];\n"
      "  print(loadData('t', DIR + 't.csv', '', options));\n"
      "  print(loadData('t', DIR + 't.csv', 'csv', \"rejects='\" + DIR + \"the rest.csv'\"));");
  EXPECT_EQ(tolerated.out, "2\n2\n") << tolerated.messages;
  EXPECT_EQ(tolerated.status, 0);
  EXPECT_TRUE(folder_.Read("the rest.csv").starts_with("line,reason,record\r\n3,"));
}

TEST_F(CliDataOptions, EncodingsAreCertainOrRefused) {
  folder_.Write("t.csv", kLatin);
  folder_.Write("t.json", "[{\"a\": \"M\xFCller\"}]");
  folder_.Write("t.xml", "<?xml version='1.0' encoding='us-ascii'?>\n<dataset id='\xFC'/>");
  folder_.Write("odd.csv", "a,b\n1");
  folder_.Write("u.csv", std::string("a\0,\0b\0\n\0001\0,\0002\0\n\0", 16));
  const struct {
    std::vector<std::string> arguments;
    const char* message;  // its beginning
  } kRows[] = {
      {{"show", "FOLDER/t.csv"},
       "t.csv:2: error: no valid UTF-8 at byte offset 5; encodings that fit all of it: ISO-8859-1"},
      {{"show", "FOLDER/t.json"},
       "t.json:1: error: no valid UTF-8 at byte offset 9; encodings that fit all of it: "},
      {{"show", "FOLDER/t.xml"}, "t.xml:2: error: no valid US-ASCII at byte offset 55; "},
      {{"show", "FOLDER/t.csv", "--encoding", "euc-kr"},
       "t.csv:2: error: no valid windows-949 at byte offset "},
      {{"show", "FOLDER/odd.csv", "--encoding", "utf-16be"},
       "odd.csv:1: error: no valid UTF-16BE at byte offset 4; "},
      {{"show", "FOLDER/u.csv"},
       "u.csv:1: error: no valid UTF-8 at byte offset 1; encodings that fit all of it: UTF-16LE"},
  };
  for (const auto& row : kRows) {
    const Outcome outcome = Run(row.arguments);
    EXPECT_TRUE(outcome.messages.starts_with(row.message)) << outcome.messages;
    EXPECT_EQ(outcome.status, 1) << row.message;
    EXPECT_EQ(outcome.out, "") << row.message;
  }
  const Outcome guessed = Run({"show", "FOLDER/t.csv", "--encoding", "auto", "--csv"});
  EXPECT_EQ(guessed.out, "a,b\r\nMüller,1\r\nGrün,2\r\n");
  EXPECT_EQ(guessed.messages, "t.csv: read as ISO-8859-1, the likeliest encoding\n");
  for (const char* const name : {"latin1", "utf-16", "utf-16be", "gb18030", "cp437"}) {
    ASSERT_EQ(Run({"show", "FOLDER/t.csv", "--encoding", "latin1", "--save", "FOLDER/s.csv",
                   "--save-encoding", name})
                  .status,
              0);
    EXPECT_EQ(Run({"show", "FOLDER/s.csv", "--encoding", name, "--csv"}).out, guessed.out) << name;
    ASSERT_EQ(Run({"show", "FOLDER/t.csv", "--encoding", "latin1", "--save", "FOLDER/s.xml",
                   "--save-encoding", name})
                  .status,
              0);
    EXPECT_EQ(Run({"show", "FOLDER/s.xml", "--csv"}).out, guessed.out)
        << name << ", by its first line";
  }
}

TEST_F(CliDataOptions, StandardInput) {
  const struct {
    const char* command;
    const char* out;
    const char* messages;
  } kRows[] = {
      {"printf 'a;b\\n1;\\n' | kt show - --csv", "a,b\r\n1,\r\n", ""},
      {"printf ' [{\"a\": 1}]' | kt show - --csv", "a\r\n1\r\n", ""},
      {"printf 'a|b\\n1|2\\n' | kt eval 't.Sum(\"b\")' --data t=-", "2\n", ""},
      {"printf '{\"a\": 1}\\n{\"a\": 2}\\n' | kt show - --format jsonl --csv", "a\r\n1\r\n2\r\n",
       ""},
      {"printf 'a,b\\n1,2,3,4\\n' | kt show - --allow-rejects 1 --csv", "a,b\r\n",
       "stdin: 0 rows, 1 rejected\nstdin:2: row rejected: more cells than columns\n"},
      {"printf 'a,b\\nx,1,2\\n' | kt show - --csv", "rowname,a,b\r\nx,1,2\r\n",
       "stdin: the header is one cell short; the first column is called 'rowname'\n"},
      {"kt eval 1 --data a=- --data b=-", "",
       "kt eval: --data: the standard input can be read once\n"},
      {"kt repl --data a=-", "", "kt repl: --data: the standard input is what is typed here\n"},
      {"printf ':data a=-\\n' | kt repl", "",
       "input:1: error: the standard input is what is typed here\n"},
  };
  for (const auto& row : kRows) {
    const Outcome outcome = Shell(row.command);
    EXPECT_EQ(outcome.out, row.out) << row.command;
    EXPECT_EQ(outcome.messages, row.messages) << row.command;
  }
}

TEST_F(CliDataOptions, WhatIsTakenForNullIsTold) {
  folder_.Write("t.csv", "a,b\n1,x\nNA,\n-,y\n2,NA\n");
  EXPECT_EQ(Run({"show", "FOLDER/t.csv", "--sum", "a", "--columns", "a"}).messages,
            "t.csv: column 'a': 1 'NA', 1 '-' taken for null\n");
  EXPECT_EQ(Run({"eval", "t.Sum('a')", "--data", "FOLDER/t.csv", "--null", "NA"}).messages,
            "t.csv: column 'a': 1 'NA' taken for null\nt.csv: column 'b': 1 'NA' taken for null\n");
  EXPECT_EQ(Run({"show", "FOLDER/t.csv", "--null", "", "--csv"}).messages, "");
  folder_.Write("h.csv", "a\n\"1,5\"\n\"2,25\"\n\"3,75\"\n");
  const Outcome hint = Run({"show", "FOLDER/h.csv", "--csv"});
  EXPECT_TRUE(hint.messages.starts_with("h.csv: column 'a' is text, as '1,5'; --decimal , would"))
      << hint.messages;
}

TEST_F(CliDataOptions, HeadingsArePlainOrTyped) {
  // Quotes that a heading needs leave its type to it.
  folder_.Write("t.csv", "a,\"b:long\",\"c,d:long\"\n1,=1+2,-5\n2,@x,6\n");
  EXPECT_EQ(Run({"show", "FOLDER/t.csv", "--csv", "--columns", "a,b:long"}).out,
            "a,\"b:long\"\r\n1,=1+2\r\n2,@x\r\n");
  const Outcome typed = Run(
      {"show", "FOLDER/t.csv", "--csv", "--typed", "--guard-formulas", "--columns", "a,b:long"});
  EXPECT_EQ(typed.out, "a:long,b:long:string\r\n1,'=1+2\r\n2,'@x\r\n");
  // An id that looks typed and needs quotes as well says its type.
  folder_.Write("q.csv", "\"c,d:long:string\"\nx\n");
  EXPECT_EQ(Run({"show", "FOLDER/q.csv", "--csv"}).out, "\"c,d:long:string\"\r\nx\r\n");
  // Both come back as they were.
  for (const std::vector<std::string>& form :
       {std::vector<std::string>{}, std::vector<std::string>{"--typed"}}) {
    std::vector<std::string> save = {"show",     "FOLDER/t.csv", "--columns",
                                     "a,b:long", "--save",       "FOLDER/s.csv"};
    save.insert(save.end(), form.begin(), form.end());
    ASSERT_EQ(Run(save).status, 0);
    EXPECT_EQ(Run({"show", "FOLDER/s.csv", "--csv"}).out, "a,\"b:long\"\r\n1,=1+2\r\n2,@x\r\n");
  }
}

TEST_F(CliDataOptions, Markdown) {
  folder_.Write("t.csv", "name,n\na|b,1\n\"two\nlines\",20.5\nsnake_case *x* <b> &amp; a & b,\n");
  const std::string table =
      "| name                                |        n |\n"
      "| ----------------------------------- | -------: |\n"
      "| a\\|b                                |        1 |\n"
      "| two<br>lines                        |     20.5 |\n"
      "| snake_case \\*x\\* \\<b\\> \\&amp; a & b |          |\n";
  EXPECT_EQ(Run({"show", "FOLDER/t.csv", "--markdown", "--sum", "n"}).out,
            table + "| **total**                           | **21.5** |\n");
  ASSERT_EQ(Run({"eval", "1", "--data", "FOLDER/t.csv", "--save", "t=FOLDER/t.md"}).status, 0);
  EXPECT_TRUE(folder_.Read("t.md").starts_with("| name "));
  EXPECT_EQ(Run({"show", "FOLDER/t.md"}).messages,
            "t.md: error: tables of Markdown are written, not read\n");
  EXPECT_EQ(kt::cli::MarkdownText(u"a\r\nb\rc\\`~_d_\t").ToUtf8(), "a<br>b<br>c\\\\\\`\\~\\_d\\_␉");
}

// A full disk after the standard output is a failure of every command.
TEST_F(CliDataOptions, OutputThatIsLostIsAFailure) {
  folder_.Write("t.csv", "a\n1\n");
  folder_.Write("a.kts", "function main() { print('x'); return 1; }");
  folder_.Write("in", "print('x');\n");
  folder_.Write("bad.kts", "function main() { x = (; }");
  for (const char* const command :
       {"--version", "--help", "help show", "functions", "functions left", "dump a.kts",
        "show t.csv", "show t.csv --json", "eval 1", "eval 1 --json", "run a.kts",
        "run a.kts --data t.csv --save t=s.csv", "repl < in", "check bad.kts --json"}) {
    const Outcome outcome = Shell(std::string("kt ") + command + " > /dev/full");
    const std::string lost = "kt: cannot write to the standard output";
    if (std::string_view(command).ends_with(" --json")) {
      EXPECT_NE(outcome.messages.find("\"text\":\"" + lost), std::string::npos) << command;
    } else {
      EXPECT_EQ(outcome.messages, lost + "\n") << command;
    }
    EXPECT_EQ(outcome.status, 1) << command;
  }
  EXPECT_EQ(folder_.Read("s.csv"), "") << "a run that failed saves nothing";
}

}  // namespace
