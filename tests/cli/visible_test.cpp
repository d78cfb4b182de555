// SPDX-License-Identifier: MIT
//
// What files and scripts bring into messages and tables cannot drive a terminal.
#include "cli/Kt_Visible.h"
#include "cli_test_util.h"

namespace {

using kt::cli::Shown;
using kt::cli::VisibleStream;
using kt::cli::WithVisibleControls;

TEST(CliVisible, TextsForOneLine) {
  const struct {
    Kt_WString text;
    const char* shown;
  } kRows[] = {
      {u"plain ~", "plain ~"},
      {u"a\tb\r\n\x1b[31m\x7f", "a␉b␍␊␛[31m␡"},
      {Kt_WString(u"\0", 1), "␀"},
      {u"\u0080\u009B2J\u00A0", "\\u{80}\\u{9B}2J\u00A0"},
      {u"\u202Aa\u202E\u2066\u2069\u200E\u200F\u061C",
       "\\u{202A}a\\u{202E}\\u{2066}\\u{2069}\\u{200E}\\u{200F}\\u{61C}"},
      {u"\u200B\u2060\u00AD\uFEFF\u2028\u3164\U000E0041",
       "\\u{200B}\\u{2060}\\u{AD}\\u{FEFF}\\u{2028}\\u{3164}\\u{E0041}"},
      {u"👩\u200D💻 ❤\uFE0F é e\u0301 漢字 עברית", "👩\u200D💻 ❤\uFE0F é e\u0301 漢字 עברית"},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(WithVisibleControls(row.text).ToUtf8(), row.shown);
    EXPECT_EQ(WithVisibleControls(row.text.ToUtf8()), row.shown);
  }
  EXPECT_EQ(WithVisibleControls(Kt_WString(u"\xD800x")).ToUtf8(), "\\u{D800}x");
}

TEST(CliVisible, LongTextsAreCut) {
  EXPECT_EQ(Shown(std::string(200, 'a')), std::string(200, 'a'));
  EXPECT_EQ(Shown(std::string(201, 'a')), std::string(200, 'a') + "…");
  EXPECT_EQ(Shown(std::string(199, 'a') + "😀b"), std::string(199, 'a') + "…");
}

// Bytes may come in any pieces; line feeds and tabs are those of the message.
TEST(CliVisible, StreamsPassOnWholeCharacters) {
  const std::string text = "a\tb\n\x1b[2J 漢😀\u202E\u009B|\r";
  for (std::size_t piece = 1; piece <= text.size(); ++piece) {
    std::ostringstream target;
    VisibleStream stream(target);
    for (std::size_t at = 0; at < text.size(); at += piece) stream << text.substr(at, piece);
    EXPECT_EQ(target.str(), "a\tb\n␛[2J 漢😀\\u{202E}\\u{9B}|␍") << piece;
  }
  std::ostringstream target;
  VisibleStream stream(target);
  stream.put('x') << std::flush;
  EXPECT_EQ(target.str(), "x");
  EXPECT_EQ(VisibleStream::TargetOf(stream), target.rdbuf());
  target.setstate(std::ios::badbit);
  EXPECT_FALSE(stream << "y" << std::flush);
}

TEST(CliVisible, JsonStaysJson) {
  EXPECT_EQ(kt::cli::WithJsonEscapes("{\"é漢\": \"a\\u001b\u202E\u009B\U000E0041\"}"),
            "{\"é漢\": \"a\\u001b\\u202e\\u009b\\udb40\\udc41\"}");
  const Outcome outcome = Kt({"eval", "--json", "a\u202E\u200Bb"});
  EXPECT_NE(outcome.messages.find("'a\\\\u{202E}\\\\u{200B}b'"), std::string::npos)
      << outcome.messages;
  EXPECT_EQ(outcome.messages.find("\u202E"), std::string::npos) << outcome.messages;
}

// Whatever a stranger can name: nothing of it reaches the messages as it is, nor makes a line
// there.
TEST(CliVisible, MessagesAreFitForATerminal) {
  const TestFolder folder;
  const std::string evil = "e\x1b[2J\u202E\u200B";
  const std::string data = folder.Write("a.csv", "\"" + evil + "x\nerror: forged\",n:long\n1,x\n");
  const std::string script = folder.Write(
      "a.kts", "function main() { a.SetColumn(0, '" + evil + "', 1); loadData('a', '" + evil +
                   "\\nerror: forged'); trace('" + evil + "'); return '" + evil + "'.x; }\n");
  const std::string syntax = folder.Write("b.kts", "function f() { x = ('" + evil + "' + ; }\n");
  const std::string includes = folder.Write("c.kts", "#include '" + evil + ".kts'\n");
  const std::vector<std::string> kCommands[] = {
      {"show", data, "--sort", "ex"},
      {"show", data, "--sort", evil},
      {"show", data, "--filter", evil + " > 1"},
      {"show", folder.Path(evil)},
      {"run", "--trace", "--data", "a=" + data, script},
      {"run", script, evil},
      {"check", syntax, includes},
      {"eval", evil + "(1)"},
      {"help", evil},
      {"functions", evil},
      {"run", "--" + evil, script},
  };
  for (const auto& command : kCommands) {
    const Outcome outcome = Kt(command);
    EXPECT_NE(outcome.messages, "") << command[0];
    EXPECT_EQ(outcome.messages.find_first_of("\x1b\r"), std::string::npos) << outcome.messages;
    EXPECT_EQ(outcome.messages.find("\u202E"), std::string::npos) << outcome.messages;
    EXPECT_EQ(outcome.messages.find("\u200B"), std::string::npos) << outcome.messages;
    EXPECT_EQ(("\n" + outcome.messages).find("\nerror: forged"), std::string::npos)
        << outcome.messages;
  }
}

TEST(CliVisible, NamesInMessagesAreCut) {
  const std::string name(5000, 'n');
  for (const std::string& expression : {name, name + "(1)", "1 + " + name + ".x"}) {
    EXPECT_LT(Kt({"eval", expression}).messages.size(), 700U) << expression.substr(0, 10);
  }
}

}  // namespace
