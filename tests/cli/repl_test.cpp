// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <sstream>

#include "cli/repl/Kt_InputScan.h"
#include "cli/repl/Kt_Repl.h"
#include "cli_test_util.h"

namespace {

// A session in a pipe, in this process; the folder does not show in its messages.
Outcome Session(const std::string& input, const TestFolder* folder = nullptr) {
  std::istringstream in(input);
  std::ostringstream out;
  std::ostringstream messages;
  Kt_CliPipe pipe(in);
  Kt_CliRepl repl({out, messages}, {});
  const int status = repl.Run(pipe);
  return {status, out.str(), folder ? folder->Shorten(messages.str()) : messages.str()};
}

TEST(CliRepl, Sessions) {
  const struct {
    const char* input;
    const char* out;
    const char* messages;
    int status;
  } kRows[] = {
      {"", "", "", 0},
      {"1 + 2\n'a'\nnull\nprint('p')", "3\na\np\n", "", 0},
      // What assigns and what compares.
      {"x = 5\nx == 5; x <= 4; x != 5; 1 = 1\nx", "1\n0\n0\n1\n5\n", "", 0},
      {"x = 1\nx += 2; x\nX -= 1; x\nx++\nx", "3\n2\n2\n3\n", "", 0},
      {"a = [1, 2, 3]\na[1] = a[0] == 1; a\na[0] += 7\na", "[1, 1, 3]\n[8, 1, 3]\n", "", 0},
      {"var a, b = 2, c[2] = 7\na; b; c", "2\n[7, null]\n", "", 0},
      // Statements leave globals behind, their blocks do not.
      {"for (i = 0; i < 2; i++) { inner = i; print(i); }\ni; inner", "0\n1\n2\n",
       "input:2: error: unknown variable 'inner'\n", 1},
      {"if (1)\n  x = 1;\nelse\n", "", "input:3:1: error", 1},
      {"x = 0; while (x < 9) { x += 5; if (x > 3) break; } x\nreturn 7\nbreak", "5\n7\n", "", 0},
      // Functions are replaced, and keep their old form when the new one is wrong.
      {"function f(a) { return a; }\nf(1)\nfunction F(a, b)\n{\n  return b;\n}\nf(1, 2)", "1\n2\n",
       "", 0},
      {"function f() { return 1; }\nfunction f() { return 2 + ; }\nf()", "1\n",
       "input:2:26: error: Invalid Expression: expression ends too early in function f "
       "[no-operand]\n"
       "function f() { return 2 + ; }\n"
       "                         ^\n"
       "  hint: a value is missing after '+'\n",
       1},
      {"function f() { return g(); }\nfunction g() { return 3; }\nf()\nfunction g() { return 4; }\n"
       "f()",
       "3\n4\n", "", 0},
      // Errors name lines of the whole input; the session goes on.
      {"\nmissing\n1", "1\n", "input:2: error: unknown variable 'missing'\n", 1},
      {"function f(n) {\n  x = n;\n  return missing;\n}\ny = 1;\n1 + f(2)\ny", "1\n",
       "input:3: error: unknown variable 'missing'\n"
       "  in function f (input:3)\n"
       "  in function input (input:6)\n",
       1},
      {"print(1);\nprint(1,\n 2 3)\n", "1\n", "input:3:4: error: ", 1},
      // Nothing of an input runs when a part of it is wrong.
      {"print(1); 2 +", "", "input:1:14: error: ", 1},
      {"f(1,\n2", "", "input:", 1},
      {"#include \"x\"", "",
       "input:1:1: error: at the prompt, ':load FILE' takes files in\n#include \"x\"\n^\n", 1},
      {"1\n\xFF\n2", "1\n2\n", "input:2: error: no valid UTF-8 at byte offset 0\n", 1},
      // Warnings are no failures.
      {"5 & 6", "5\n", "input:1:3: warning: the text from here on is not read\n5 & 6\n  ^\n", 0},
      // Comments, texts over lines, other line ends.
      {"1 // one\r\n/* no\r\n1 */ 2\r\n'a\r\nb'", "1\n2\na\nb\n", "", 0},
      // Commands.
      {":quit\nmissing", "", "", 0},
      {":nope", "", "input:1: error: there is no command ':nope' (:help lists them)\n", 1},
      {":help nope", "", "input:1: error: there is no function 'nope'\n", 1},
      {"\nfunction f(a, b) { }\n:help F", "f(a, b)\n    Defined at input:2.\n", "", 0},
      {":load", "", "input:1: error: :load needs the name of a file\n", 1},
  };
  for (const auto& row : kRows) {
    const Outcome outcome = Session(row.input);
    EXPECT_EQ(outcome.out, row.out) << row.input;
    EXPECT_EQ(outcome.status, row.status) << row.input;
    // Of a message that the parser words, only the place counts here.
    const std::string wanted = row.messages;
    const bool is_whole = wanted.empty() || wanted.ends_with('\n');
    EXPECT_EQ(is_whole ? outcome.messages : outcome.messages.substr(0, wanted.size()), wanted)
        << row.input;
  }
  EXPECT_EQ(Session(":help mid").out, Kt({"functions", "mid"}).out);
  EXPECT_EQ(Session("1").out.find('\x1b'), std::string::npos);
}

TEST(CliRepl, VariablesAreAlignedAndCut) {
  const Outcome outcome = Session(
      "b = 'line' + chr(10) + 'two'\n한국어 = 0.5\nA = [1, ['x'], null]\n"
      "long = space(1000000)\nwide = replace(space(100), ' ', '漢')\n:vars");
  EXPECT_EQ(outcome.out,
            "A       list    [1, ['x'], null]\n"
            "b       string  'line␊two'\n"
            "long    string  '" +
                std::string(56, ' ') + "...\n" +
                "wide    string  '漢漢漢漢漢漢漢漢漢漢漢漢漢漢漢漢漢漢漢漢漢漢漢漢漢漢漢漢...\n"
                "한국어  double  0.5\n");
  EXPECT_EQ(outcome.messages, "");
}

TEST(CliRepl, LoadedFilesReplaceAndFaultsChangeNothing) {
  const TestFolder folder;
  folder.Write("part.kts", "function part() { return 'part'; }");
  const std::string good =
      folder.Write("good.kts", "#include \"part.kts\"\nvar g = 1;\nfunction f() { return g; }");
  const std::string bad =
      folder.Write("bad.kts", "var g = 2;\nfunction f() { return 9; }\nfunction h() { 1 + ; }");
  const std::string load_good = ":load " + good + "\n";
  const Outcome outcome =
      Session("function f(a) { return a; }\n" + load_good + load_good + "f(7); part()\n:load " +
                  bad + "\nf(); g\n:help f\n:load " + folder.Path("none"),
              &folder);
  EXPECT_EQ(outcome.out, "1\npart\n1\n1\nf()\n    Defined at " + good + ":3.\n");
  EXPECT_EQ(outcome.messages,
            "bad.kts:3:19: error: Invalid Expression: expression ends too early in function h "
            "[no-operand]\n"
            "function h() { 1 + ; }\n"
            "                  ^\n"
            "  hint: a value is missing after '+'\n"
            "input:5: error: loading 'bad.kts' failed\n"
            "none: error: cannot read: No such file or directory\n"
            "input:8: error: loading 'none' failed\n");
  EXPECT_EQ(outcome.status, 1);
}

TEST(CliRepl, InputsGoOnWhileSomethingIsOpen) {
  const struct {
    const char16_t* text;
    bool is_open;
  } kRows[] = {
      {u"", false},
      {u"f(1", true},
      {u"f(1)", false},
      {u"a[{(", true},
      {u")}", false},
      {u"'a", true},
      {u"'a\\'", true},
      {u"'(' + \"{\"", false},
      {u"1 /* (", true},
      {u"1 /* ( */", false},
      {u"1 // (", false},
      {u"function", true},
      {u"function f", true},
      {u"function f(a)", true},
      {u"function f(a) x", false},
      {u"function f(a) { }", false},
      {u"FOR (;;)", true},
      {u"for (;;) x()", false},
      {u"if (a) b; else", true},
      {u"if (a) b; else c", false},
      {u"while x", false},
      {u"format", false},
  };
  for (const auto& row : kRows) {
    Kt_CliInputScan scan;
    scan.Feed(row.text);
    EXPECT_EQ(scan.IsOpen(), row.is_open) << Kt_WString(row.text).ToUtf8();
  }
}

// Time and memory of a session do not grow with what it has forgotten.
TEST(CliRepl, LongInputsTakeLinearTime) {
  std::string one_line;
  std::string lines;
  for (int count = 0; count < 20000; ++count) one_line += "x = 1;";
  for (int count = 0; count < 20000; ++count) lines += "function f() { return 1; }\n";
  std::string brackets(200000, '\n');
  const Outcome outcome = Session(one_line + "\n" + lines + "(" + brackets + "x + f())");
  EXPECT_EQ(outcome.out, "2\n");
  EXPECT_EQ(outcome.messages, "");
}

// kt at a terminal of its own.
class Terminal {
 public:
  explicit Terminal(const TestFolder& folder) {
    struct winsize size = {25, 80, 0, 0};
    child_ = ::forkpty(&fd_, nullptr, nullptr, &size);
    if (child_ != 0) return;
    ::setenv("TERM", "vt100", 1);
    // The line editor's library keeps some of its own memory until the process ends.
    ::setenv("ASAN_OPTIONS", "detect_leaks=0", 1);
    ::setenv("HOME", folder.Path("").c_str(), 1);
    ::setenv("XDG_STATE_HOME", folder.Path("state").c_str(), 1);
    ::execl(KT_PROGRAM, "kt", "repl", nullptr);
    ::_exit(127);
  }
  ~Terminal() {
    ::kill(child_, SIGKILL);
    ::waitpid(child_, nullptr, 0);
    ::close(fd_);
  }

  // Types, and waits for `wanted` in what comes back from then on.
  void Type(const std::string& keys, const std::string& wanted) {
    seen_.clear();
    if (::testing::Test::HasFatalFailure()) return;
    ASSERT_EQ(::write(fd_, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
    Expect(wanted);
  }
  void Expect(const std::string& wanted) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (seen_.find(wanted) == std::string::npos) {
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
          end - std::chrono::steady_clock::now());
      struct pollfd ready = {fd_, POLLIN, 0};
      ASSERT_GT(left.count(), 0) << "waiting for " << wanted << "\n" << seen_;
      if (::poll(&ready, 1, static_cast<int>(left.count())) <= 0) continue;
      char bytes[1024];
      const ssize_t count = ::read(fd_, bytes, sizeof bytes);
      ASSERT_GT(count, 0) << "waiting for " << wanted << "\n" << seen_;
      seen_.append(bytes, static_cast<std::size_t>(count));
    }
  }
  int WaitForEnd() {
    if (::testing::Test::HasFatalFailure()) return -1;
    char bytes[1024];
    while (::read(fd_, bytes, sizeof bytes) > 0) {
    }
    int status = -1;
    return ::waitpid(child_, &status, 0) == child_ && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

 private:
  int fd_ = -1;
  pid_t child_ = -1;
  std::string seen_;
};

TEST(CliRepl, AtATerminal) {
  const TestFolder folder;
  {
    Terminal terminal(folder);
    terminal.Expect("kt:1> ");
    terminal.Type("20 + 3\r", "\n23\r\nkt:2> ");
    terminal.Type("\x1b[A\x1b[D\x7f\x7f\x7f+ 1\r", "\n33\r\nkt:3> ");  // makes it 20+ 13
    terminal.Type("f(1,\r", "    4| ");
    terminal.Type("\x03", "^C\r\nkt:5> ");
    terminal.Type("Größe = 6\r", "kt:6> ");
    terminal.Type("gr\t", "greatest");
    terminal.Type("\x15grö\t * 7\r", "\n42\r\nkt:7> ");
    terminal.Type("print('go'); while (1) { }\r", "\ngo\r\n");
    terminal.Type("\x03", "kt:8> ");
    terminal.Type(":v\t\r", "Größe  long  6");
    terminal.Expect("kt:9> ");
    terminal.Type("\x04", "\n");
    EXPECT_EQ(terminal.WaitForEnd(), 0);
  }
  EXPECT_NE(folder.Read("state/ktscript/history").find("20"), std::string::npos);
  Terminal again(folder);
  again.Expect("kt:1> ");
  again.Type("\x1b[A", ":vars");
  again.Type("\x15:quit\r", "\n");
  EXPECT_EQ(again.WaitForEnd(), 0);
}

}  // namespace
