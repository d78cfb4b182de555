// SPDX-License-Identifier: MIT
#include "cli_test_util.h"

namespace {

TEST(CliInclude, RelativeToTheIncluderOnceEachAndInCircles) {
  const TestFolder folder;
  folder.Write("lib/b.kts",
               "#include 'deep/c.kts'\n#include '../a.kts'\n"
               "var loads = 0;\nfunction b() { return 'b' + c(); }\n");
  folder.Write("lib/deep/c.kts",
               "#include '../b.kts'\nvar c_loads = 1;\nfunction c() { return 'c'; }\n");
  const std::string script =
      folder.Write("a.kts",
                   "#include 'lib/b.kts'\n#include 'lib/../lib/b.kts'\n#include lib/deep/c.kts\n"
                   "function main() { return b() + length(c_loads + ''); }\n");
  const Outcome outcome = Kt({"run", script});
  EXPECT_EQ(outcome.messages, "");
  EXPECT_EQ(outcome.out, "bc1\n");
}

TEST(CliInclude, FaultsNameTheFileAndTheLine) {
  const TestFolder folder;
  folder.Write("lib.kts", "function f() {\n  return missing;\n}\n");
  const std::string missing =
      folder.Write("missing.kts",
                   "// #include 'comment'\nvar s = '#include \"text\"';\n"
                   "#include 'lib.kts'\n  #include 'none.kts'\nfunction main() { }\n");
  Outcome outcome = Kt({"run", missing});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(folder.Shorten(outcome.messages),
            "missing.kts:4:3: error: cannot include 'none.kts': there is no such file\n"
            "  #include 'none.kts'\n  ^\n");

  const std::string run = folder.Write("run.kts", "#include 'lib.kts'\nfunction main() { f(); }\n");
  outcome = Kt({"run", run});
  EXPECT_EQ(folder.Shorten(outcome.messages),
            "lib.kts:2:10: error: unknown variable 'missing'\n"
            "  return missing;\n         ^~~~~~~\n"
            "  in function f (lib.kts:2)\n  in function main (run.kts:2)\n");

  folder.Write("bad.kts", "function g() { return (1; }\n");
  const std::string uses = folder.Write("uses.kts", "#include 'bad.kts'\nfunction main() { }\n");
  for (const char* const command : {"run", "check"}) {
    outcome = Kt({command, uses});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(folder.Shorten(outcome.messages).starts_with("bad.kts:1:")) << outcome.messages;
  }
  // A file that two scripts include is reported once.
  const std::string again = folder.Write("again.kts", "#include 'bad.kts'\nfunction main() { }\n");
  EXPECT_EQ(Kt({"check", uses, again, folder.Path("bad.kts")}).messages, outcome.messages);
}

TEST(CliInclude, StaysInsideTheFolderUnlessAllowed) {
  const TestFolder folder;
  const WorkingFolder elsewhere(folder.Path("work"));
  folder.Write("outside/o.kts", "function o() { return 'outside'; }\n");
  const std::string script =
      folder.Write("in/a.kts", "#include '../outside/o.kts'\nfunction main() { return o(); }\n");
  const std::string by_link =
      folder.Write("in/b.kts", "#include 'link.kts'\nfunction main() { return o(); }\n");
  const std::string by_name =
      folder.Write("in/c.kts", "#include 'o.kts'\nfunction main() { return o(); }\n");
  const std::string absolute =
      folder.Write("in/d.kts", "#include '" + folder.Path("outside/o.kts") +
                                   "'\nfunction main() { return o(); }\n");
  const std::string in_prefix_folder =
      folder.Write("out/e.kts", "#include '../outside/o.kts'\nfunction main() { return o(); }\n");
  std::filesystem::create_symlink("../outside/o.kts", folder.Path("in/link.kts"));

  for (const std::string& refused : {script, by_link, absolute, in_prefix_folder}) {
    const Outcome outcome = Kt({"run", refused});
    EXPECT_EQ(outcome.status, 1) << refused;
    EXPECT_NE(outcome.messages.find("outside the folder of the script"), std::string::npos);
  }
  EXPECT_NE(Kt({"run", by_name}).messages.find("no such file"), std::string::npos);
  for (const std::string& allowed : {script, by_link, by_name, absolute}) {
    const Outcome outcome = Kt({"run", "--include-dir", folder.Path("outside"), allowed});
    EXPECT_EQ(outcome.out, "outside\n") << allowed << outcome.messages;
  }
}

TEST(CliInclude, LongChainsTakeNoStack) {
  const TestFolder folder;
  constexpr int kFiles = 3000;
  for (int file = 0; file < kFiles; ++file) {
    folder.Write("f" + std::to_string(file) + ".kts",
                 "#include 'f" + std::to_string(file + 1) + ".kts'\n");
  }
  folder.Write("f" + std::to_string(kFiles) + ".kts", "function main() { return 'end'; }\n");
  EXPECT_EQ(Kt({"run", folder.Path("f0.kts")}).out, "end\n");
}

TEST(CliInclude, ManyMissingFilesAreReportedInBrief) {
  std::string text;
  for (int line = 0; line < 20000; ++line) text += "#include 'none.kts'\n";
  const Outcome outcome = RunText(text + "function main() { }\n");
  EXPECT_EQ(outcome.status, 1);
  EXPECT_TRUE(outcome.messages.ends_with("a.kts: 19900 more includes failed\n"));
}

}  // namespace
