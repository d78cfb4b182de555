// SPDX-License-Identifier: MIT
#include <random>

#include "cli/Kt_Diff.h"
#include "cli/fmt/Kt_Format.h"
#include "cli_test_util.h"
#include "common/program_maker.h"
#include "script/Kt_Script.h"
#include "script/Kt_ScriptDump.h"

namespace {

namespace fs = std::filesystem;
using kt::cli::FormatScript;
using kt::cli::SameScript;

std::string Formatted(const std::string& text, int width = 100) {
  const auto formatted = FormatScript(Kt_WString::FromUtf8(text), width);
  return formatted ? formatted->ToUtf8() : "none";
}

// What stands in main().
std::string FormattedBody(const std::string& text, int width) {
  const std::string kHead = "function main() {\n";
  std::string whole = Formatted(kHead + text + "\n}\n", width);
  EXPECT_TRUE(whole.starts_with(kHead) && whole.ends_with("\n}\n")) << whole;
  return whole.substr(kHead.size(), whole.size() - kHead.size() - 2);
}

// The operations without lines and blanks, as `kt dump` shows them.
std::string Operations(const Kt_WString& text) {
  Kt_RunBudget budget;
  budget.limit_steps = 1;
  Kt_Script script;
  script.SetBudget(&budget);
  Kt_WStrList includes;
  script.ParseScript({}, includes, text.GetText(), nullptr);
  std::istringstream lines(DumpScript(script).ToUtf8());
  std::string out;
  for (std::string line; std::getline(lines, line); out += '\n') {
    if (line[0] == ' ') line.erase(0, 7);
    std::copy_if(line.begin(), line.end(), std::back_inserter(out),
                 [](char unit) { return unit != ' '; });
  }
  return out;
}

bool HasFault(const Kt_WString& text) {
  Kt_RunBudget budget;
  budget.limit_steps = 1;
  Kt_Script script;
  script.SetBudget(&budget);
  Kt_WStrList includes;
  Kt_WStrList errors;
  script.ParseScript({}, includes, text.GetText(), &errors);
  return errors.GetCount() > 0;
}

// Of a script without faults: the layout has the same operations, and is the layout of itself.
void CheckLayout(const std::string& source, int width) {
  const Kt_WString text = Kt_WString::FromUtf8(source);
  const auto once = FormatScript(text, width);
  ASSERT_TRUE(once.has_value()) << source;
  EXPECT_TRUE(SameScript(text, *once)) << source << "\n---\n" << once->ToUtf8();
  EXPECT_EQ(Operations(text), Operations(*once)) << source;
  const auto twice = FormatScript(*once, width);
  ASSERT_TRUE(twice.has_value());
  EXPECT_EQ(twice->ToUtf8(), once->ToUtf8());
}

TEST(CliFmt, Statements) {
  const struct {
    const char* text;
    const char* layout;  // without the line break behind it
    int width = 100;
  } kRows[] = {
      {"a=1;b+=2 ;c .d[ 1 ]%=3;", "  a = 1;\n  b += 2;\n  c.d[1] %= 3;"},
      {"x ++;--  x;;;f ( 1,-2 );", "  x++;\n  --x;\n  f(1, -2);"},
      {"a=!b&&-c<(-d)or e AND f==g;", "  a = !b && -c < (-d) or e AND f == g;"},
      {"var a,b [3 ],c=[1,[2 ]],d;", "  var a, b[3], c = [1, [2]], d;"},
      {"return;return   (1);break ;", "  return;\n  return (1);\n  break;"},
      {"return list[probe(2, 'o', '12')][!hosted];", "  return list[probe(2, 'o', '12')][!hosted];",
       40},
      // What is read otherwise with other blanks, or not to its end.
      {"a = 5 & 2  x;b = 2*-1;", "  a = 5 & 2  x;\n  b = 2*-1;"},
      {"a = 'x  y' + \"z\n z\";", "  a = 'x  y' + \"z\n z\";"},
      {"if(a)b();else if(c){d();}else{e();f();}",
       "  if (a) b();\n  else if (c) { d(); } else {\n    e();\n    f();\n  }"},
      {"if (a)\n{\nb();\n}\nelse\n{\n}", "  if (a) {\n    b();\n  } else {}"},
      {"if (a) while(b)c(); else;", "  if (a)\n    while (b) c();\n  else {}"},
      {"for(;;);for(i=0,j=1;i<2;i++,j--){}",
       "  for (;;) {}\n  for (i = 0, j = 1; i < 2; i++, j--) {}"},
      {"for(var i=0;i<3;i++){a();\n}", "  for (var i = 0; i < 3; i++) {\n    a();\n  }"},
      {"{a();\n\n\n\n{b();c();}\n\n}",
       "  {\n    a();\n\n    {\n      b();\n      c();\n    }\n  }"},
      {"switch(a){case 1:case 'b':c();break;\ncase (2):\nd();\n\ndefault :e();if(f)g();}",
       "  switch (a) {\n    case 1:\n    case 'b': c(); break;\n    case (2):\n      d();\n\n"
       "    default:\n      e();\n      if (f) g();\n  }"},
      {"total = alpha(1, 2) + beta(3, 4) * gamma(5, 6) + delta(7, 8);",
       "  total = alpha(1, 2)\n      + beta(3, 4) * gamma(5, 6)\n      + delta(7, 8);", 41},
      {"print('first', second + third, fourth, fifth);",
       "  print('first', second + third, fourth,\n      fifth);", 40},
      {"if (alpha && beta + gamma && delta || epsilon) f();",
       "  if (alpha && beta + gamma && delta\n      || epsilon) f();", 40},
      {"if (alpha && beta + gamma) functionCall(12);",
       "  if (alpha && beta + gamma)\n    functionCall(12);", 40},
      {"while (alpha && beta) { functionCall(12); }",
       "  while (alpha && beta) {\n    functionCall(12);\n  }", 40},
      // Comments.
      {"a(); // one\n// two\n\n\n// three\n\nb(); /* four */ c();",
       "  a(); // one\n  // two\n\n  // three\n\n  b(); /* four */\n  c();"},
      {"/* glued */a();{ // begin\nb(); }", "  /* glued */ a();\n  { // begin\n    b();\n  }"},
      {"if (a) // why\nb(); // then\n// not\nelse /* c */ d();",
       "  if (a) // why\n    b(); // then\n  // not\n  else /* c */\n    d();"},
      {"if /* x */ (a) { b(); } // end\nelse { c(); }",
       "  if (a) { /* x */\n    b();\n  } // end\n  else { c(); }"},
      {"    var a = [1, // one\n      2];", "  var a = [1, // one\n    2];"},
      {"a = 1 /*x*/ +  2;b = 2  +  1;", "  a = 1 /*x*/ +  2;\n  b = 2 + 1;"},
      {"switch (a) {\n// first\ncase 1: b();\n  // of 1\n// of 2\ncase 2:\n}",
       "  switch (a) {\n    // first\n    case 1: b();\n      // of 1\n    // of 2\n"
       "    case 2:\n  }"},
      {"  /* a\n     b */\n  c();", "  /* a\n     b */\n  c();"},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(FormattedBody(row.text, row.width), std::string(row.layout) + "\n") << row.text;
    CheckLayout("function main() {\n" + std::string(row.text) + "\n}\n", row.width);
  }
}

TEST(CliFmt, OutsideOfFunctions) {
  const struct {
    const char* text;
    const char* layout;
  } kRows[] = {
      {"", ""},
      {"\n\n// a\r\n\r\n\r\nvar\tb=1;;\r\n", "// a\n\nvar b = 1;\n"},
      {"  #include \"x\" // why  \nvar a[2]=3,b;", "#include \"x\" // why\nvar a[2] = 3, b;\n"},
      {"function  f ( a ,b ){return a;} // one\nfunction g(){ }",
       "function f(a, b) { return a; } // one\nfunction g() {}\n"},
      {"function f(a // one\n, b) // two\n{\n\n c(); }",
       "function f(a // one\n, b) { // two\n  c();\n}\n"},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(Formatted(row.text), row.layout);
    CheckLayout(row.text, 100);
  }
}

// What the comparison that guards every file has to see.
TEST(CliFmt, TellsScriptsApart) {
  const char* const kScripts[] = {
      "var a = 1; function f(x) { return x + 1; }",
      "var a = 2; function f(x) { return x + 1; }",
      "function f(x) { return x + 1; }",
      "var a = 1; function f(y) { return x + 1; }",
      "var a = 1; function f(x) { return x - 1; }",
      "var a = 1; function f(x) { return x + 1.0; }",
      "var a = 1; function f(x) { return 'x + 1'; }",
      "var a = 1; function f(x) { return [x, 1]; }",
      "var a = 1; function f(x) { return [x, '1']; }",
      "var a = 1; function f(x) { if (x) { return x; } return 1; }",
      "var a = 1; function f(x) { if (x) { return x; return 1; } }",
      "var a = 1; function f(x) { while (x) x--; }",
      "#include 'b'\nvar a = 1; function f(x) { return x + 1; }",
  };
  for (const std::string a : kScripts) {
    for (const std::string b : kScripts) {
      EXPECT_EQ(SameScript(Kt_WString::FromUtf8(a), Kt_WString::FromUtf8(b)), a == b) << a << b;
    }
  }
}

TEST(CliFmt, ScriptsOfTheProject) {
  int count = 0;
  for (const char* const folder : {"examples", "bench/workloads"}) {
    for (const auto& entry : fs::recursive_directory_iterator(fs::path(KT_PROJECT_DIR) / folder)) {
      if (entry.path().extension() != ".kts") continue;
      std::ifstream file(entry.path());
      const std::string text{std::istreambuf_iterator<char>(file), {}};
      for (const int width : {40, 100}) CheckLayout(text, width);
      if (*folder == 'e') {
        EXPECT_EQ(Formatted(text), text) << entry.path();
      }
      ++count;
    }
  }
  EXPECT_GT(count, 12);
}

TEST(CliFmt, TheStyleOfTheDocument) {
  std::ifstream file(KT_PROJECT_DIR "/docs/fmt.md");
  const std::string page{std::istreambuf_iterator<char>(file), {}};
  const std::size_t begin = page.find("```kts\n") + 7;
  const std::string script = page.substr(begin, page.find("```", begin) - begin);
  EXPECT_EQ(Formatted(script), script);
}

// Scripts of every form, with blanks, line breaks and comments between statements, and with
// characters missing: those are formatted that are still without faults.
TEST(CliFmt, RandomScripts) {
  std::mt19937 random(20);
  const auto choose = [&](std::size_t count) { return random() % count; };
  int broken = 0;
  for (int round = 0; round < 500; ++round) {
    std::vector<std::uint8_t> bytes(40 + choose(400));
    for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(random());
    std::string text = kt::test::ProgramMaker(bytes.data(), bytes.size()).Program();
    for (std::size_t at = 0; (at = text.find_first_of(";{}", at)) != std::string::npos; ++at) {
      const char* const kFillers[] = {"", "", "\n", " // c\n", "\n\n\n/* c\n c */ ", "\t"};
      text.insert(at + 1, kFillers[choose(std::size(kFillers))]);
    }
    if (round % 3 == 0) text.erase(choose(text.size()), 1 + choose(3));
    if (HasFault(Kt_WString::FromUtf8(text))) {
      (void)Formatted(text);  // any end will do
      ++broken;
      continue;
    }
    CheckLayout(text, round % 2 == 0 ? 100 : 40);
    if (HasFailure()) return;
  }
  EXPECT_GT(broken, 30);
  EXPECT_LT(broken, 250);
}

TEST(CliFmt, DeepNesting) {
  std::string chain = "if (a) b();\n";
  for (int at = 0; at < 120; ++at) chain += "else if (a) b();\n";
  std::string whiles;
  for (int at = 0; at < 120; ++at) whiles += "while (1) ";
  for (const std::string& body :
       {chain, whiles + "f();", std::string(120, '{') + "f();" + std::string(120, '}')}) {
    CheckLayout("function main() {" + body + "}", 100);
  }
}

TEST(CliFmt, ReplacesFiles) {
  const TestFolder folder;
  const std::string bad = folder.Write("bad.kts", "function  f() {\n x = (;\n y = );\n}\n");
  const std::string messy = folder.Write("messy.kts", "var a=1;\n");
  const std::string neat = folder.Write("neat.kts", "var a = 1;\n");
  const auto kt = [&](std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "fmt");
    Outcome outcome = Kt(std::move(arguments));
    return std::to_string(outcome.status) + folder.Shorten(outcome.out + outcome.messages);
  };
  EXPECT_EQ(kt({"--check", messy, neat}), "1messy.kts\n");
  EXPECT_EQ(kt({"--diff", messy, neat}),
            "0--- messy.kts\n+++ messy.kts\n@@ -1 +1 @@\n-var a=1;\n+var a = 1;\n");
  EXPECT_EQ(folder.Read("messy.kts"), "var a=1;\n");
  const std::string told = kt({bad, messy});
  EXPECT_TRUE(told.starts_with("1bad.kts:2:7: error: ")) << told;
  EXPECT_EQ(std::count(told.begin(), told.end(), '\n'), 8) << told;
  EXPECT_EQ(folder.Read("bad.kts"), "function  f() {\n x = (;\n y = );\n}\n");
  EXPECT_EQ(folder.Read("messy.kts"), "var a = 1;\n");
  EXPECT_EQ(kt({"--check", messy, neat}), "0");
  EXPECT_EQ(kt({folder.Path("none.kts")}).substr(0, 1), "2");
  EXPECT_EQ(kt({neat, "--width", "5"}).substr(0, 1), "2");
  const std::string line =
      "echo 'function f(a){a();}' | '" KT_PROGRAM "' fmt - > '" + folder.Path("out") + "'";
  EXPECT_EQ(std::system(line.c_str()), 0);  // NOLINT(cert-env33-c)
  EXPECT_EQ(folder.Read("out"), "function f(a) { a(); }\n");
}

TEST(CliFmt, Differences) {
  const struct {
    const char* before;
    const char* after;
    const char* hunks;
  } kRows[] = {
      {"a\n", "a\n", ""},
      {"", "a\n", "@@ -0,0 +1 @@\n+a\n"},
      {"a\nb\n", "", "@@ -1,2 +0,0 @@\n-a\n-b\n"},
      {"a\nb", "a\nc\n", "@@ -1,2 +1,2 @@\n a\n-b\n\\ No newline at end of file\n+c\n"},
      {"1\n2\n3\n4\n5\n6\n7\n8\n9\n", "1\n2\n3\n4\nx\n6\n8\n9\n",
       "@@ -2,8 +2,7 @@\n 2\n 3\n 4\n-5\n+x\n 6\n-7\n 8\n 9\n"},
      {"a\n1\n2\n3\n4\n5\n6\n7\nb\n", "x\n1\n2\n3\n4\n5\n6\n7\ny\n",
       "@@ -1,4 +1,4 @@\n-a\n+x\n 1\n 2\n 3\n@@ -6,4 +6,4 @@\n 5\n 6\n 7\n-b\n+y\n"},
  };
  for (const auto& row : kRows) {
    const std::string head = *row.hunks != '\0' ? "--- a\n+++ b\n" : "";
    EXPECT_EQ(kt::cli::UnifiedDiff("a", row.before, "b", row.after), head + row.hunks);
  }
}

}  // namespace
