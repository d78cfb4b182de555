// SPDX-License-Identifier: MIT
//
// Which files scripts may reach.
#include <gmock/gmock.h>

#include <filesystem>

#include "cli/Kt_Fence.h"
#include "cli_test_util.h"

namespace fs = std::filesystem;

namespace {

using ::testing::HasSubstr;

// in/ has the script, here/ is the working folder, out/ is neither.
class CliFence : public ::testing::Test {
 protected:
  CliFence() {
    folder_.Write("in/deep/a.txt", "in");
    folder_.Write("here/b.txt", "work");
    folder_.Write("out/secret.txt", "secret");
    folder_.Write("out/secret.csv", "n\n1\n");
    folder_.Write("in2/near.txt", "a folder whose name begins alike");
    fs::create_directory_symlink("../out", folder_.Path("in/dirlink"));
    fs::create_symlink("../out/secret.txt", folder_.Path("in/link.txt"));
    fs::create_symlink("deep/a.txt", folder_.Path("in/inner.txt"));
    fs::create_symlink("../out/new.txt", folder_.Path("in/dangling.txt"));
    fs::create_symlink("loop.txt", folder_.Path("in/loop.txt"));
  }

  // What a script in in/ that returns this expression gives.
  Outcome Run(const std::string& expression, std::vector<std::string> options = {}) const {
    folder_.Write("in/a.kts", "function main() { return " + expression + "; }\n");
    options.insert(options.begin(), "run");
    options.push_back(folder_.Path("in/a.kts"));
    return Kt(options);
  }
  bool HasSecret() const {
    return folder_.Read("out/secret.txt") == "secret" && !fs::exists(folder_.Path("out/new.txt"));
  }

  TestFolder folder_;
  const WorkingFolder here_{folder_.Path("here")};
};

constexpr const char* kOutside = "it is outside the folder of the script and the working folder";

TEST_F(CliFence, ReadsInsideAndRefusesOutside) {
  const struct {
    std::string path;
    const char* text;  // null: refused
  } kRows[] = {
      {"b.txt", "work"},
      {"../here/b.txt", "work"},
      {folder_.Path("in/deep/a.txt"), "in"},
      {"../in/inner.txt", "in"},
      {"../in/deep/../inner.txt", "in"},
      {folder_.Path("out/secret.txt"), nullptr},
      {"../out/secret.txt", nullptr},
      {"../in2/near.txt", nullptr},
      {"../in/link.txt", nullptr},
      {"../in/dirlink/secret.txt", nullptr},
      {"../in/dirlink/../out/secret.txt", nullptr},
      {"../out/none.txt", nullptr},
      {"none/../../out/secret.txt", nullptr},
      {"/etc/passwd", nullptr},
      {"/dev/null", nullptr},
  };
  for (const auto& row : kRows) {
    const Outcome outcome = Run("readText('" + row.path + "')");
    if (row.text != nullptr) {
      EXPECT_EQ(outcome.out, std::string(row.text) + "\n") << row.path << outcome.messages;
      continue;
    }
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.messages, HasSubstr("cannot read '" + row.path + "': " + kOutside +
                                            " (--allow-dir allows others)"));
    EXPECT_EQ(outcome.out, "");
    EXPECT_NE(Run("readText('" + row.path + "')", {"--allow-all-files"}).messages,
              outcome.messages);
  }
  // What is said of a file that is not there, or leads nowhere.
  for (const char* const path : {"none.txt", "none/x.txt", "../in/loop.txt", ""}) {
    const Outcome outcome = Run("readText('" + std::string(path) + "')");
    EXPECT_THAT(outcome.messages, ::testing::Not(HasSubstr(kOutside))) << path;
    EXPECT_EQ(outcome.status, 1) << path;
  }
}

TEST_F(CliFence, WritesNothingOutside) {
  for (const char* const path : {"../out/secret.txt", "../out/new.txt", "../in/link.txt",
                                 "../in/dirlink/new.txt", "none/../../out/new.txt", "../out"}) {
    const std::string quoted = "'" + std::string(path) + "'";
    EXPECT_THAT(Run("writeText(" + quoted + ", 'x')").messages, HasSubstr("cannot write")) << path;
    EXPECT_THAT(Run("saveData(dataset('d', 'n'), " + quoted + ", 'csv')").messages,
                HasSubstr("cannot save"))
        << path;
    EXPECT_TRUE(HasSecret()) << path;
  }
  // A link to nothing is replaced, not followed.
  EXPECT_EQ(Run("writeText('../in/dangling.txt', 'x')").status, 0);
  EXPECT_TRUE(HasSecret());
  EXPECT_FALSE(fs::is_symlink(folder_.Path("in/dangling.txt")));
  EXPECT_EQ(Run("writeText('new.txt', 'x')").status, 0);
  EXPECT_EQ(folder_.Read("here/new.txt"), "x");
  // A link inside stays one.
  EXPECT_EQ(Run("writeText('../in/inner.txt', 'y')").status, 0);
  EXPECT_TRUE(fs::is_symlink(folder_.Path("in/inner.txt")));
  EXPECT_EQ(folder_.Read("in/deep/a.txt"), "y");
}

TEST_F(CliFence, OptionsMoveTheFence) {
  const std::string out = folder_.Path("out");
  const struct {
    std::vector<std::string> options;
    const char* path;
    bool allowed;
  } kRows[] = {
      {{"--allow-dir", out}, "../out/secret.txt", true},
      {{"--allow-dir", "../out"}, "../in/dirlink/secret.txt", true},
      {{"--allow-dir", "../in/dirlink"}, "../out/secret.txt", true},
      {{"--allow-dir", out}, "b.txt", true},
      {{"--allow-dir", out}, "../in2/near.txt", false},
      {{"--allow-all-files"}, "../out/secret.txt", true},
      {{"--no-files"}, "b.txt", false},
      {{"--no-files"}, "../in/deep/a.txt", false},
      {{"--no-files", "--allow-dir", out}, "../out/secret.txt", true},
      {{"--no-files", "--allow-dir", out}, "b.txt", false},
      {{"--include-dir", out}, "../out/secret.txt", false},
  };
  for (const auto& row : kRows) {
    const Outcome outcome = Run("readText('" + std::string(row.path) + "')", row.options);
    EXPECT_EQ(outcome.status, row.allowed ? 0 : 1) << row.path << outcome.messages;
  }
  EXPECT_THAT(Run("readText('b.txt')", {"--no-files"}).messages,
              HasSubstr("no files are allowed (--allow-dir allows a folder)"));
  EXPECT_EQ(Run("1", {"--allow-dir", "none"}).status, 2);
  EXPECT_EQ(Run("1", {"--no-files", "--allow-all-files"}).status, 2);
}

TEST_F(CliFence, OtherCommandsHaveItToo) {
  const std::string read = "readText('../out/secret.txt')";
  EXPECT_THAT(Kt({"eval", read}).messages, HasSubstr(kOutside));
  EXPECT_THAT(Kt({"eval", read, "--no-files"}).messages, HasSubstr("no files are allowed"));
  EXPECT_EQ(Kt({"eval", "--allow-dir", "../out", read}).out, "secret\n");
  EXPECT_EQ(Kt({"eval", "readText('b.txt')"}).out, "work\n");
  EXPECT_THAT(Kt({"eval", "readText('../in/deep/a.txt')"}).messages, HasSubstr(kOutside));
  // Files that the user names are the user's choice.
  const std::string data = "d=" + folder_.Path("out/secret.csv");
  EXPECT_EQ(Kt({"eval", "--no-files", "--data", data, "--save", "d=" + folder_.Path("out/made.csv"),
                "d.rowcount"})
                .out,
            "1\n");
  EXPECT_TRUE(fs::exists(folder_.Path("out/made.csv")));
}

TEST_F(CliFence, Includes) {
  folder_.Write("here/w.kts", "function w() { return 'w'; }\n");
  folder_.Write("out/o.kts", "function w() { return 'o'; }\n");
  const struct {
    const char* file;
    std::vector<std::string> options;
    const char* gives;  // null: refused
  } kRows[] = {
      {"../here/w.kts", {}, "w\n"},
      {"../here/w.kts", {"--no-files"}, nullptr},
      {"../here/w.kts", {"--no-files", "--include-dir", "."}, "w\n"},
      {"../out/o.kts", {}, nullptr},
      {"dirlink/o.kts", {}, nullptr},
      {"../out/o.kts", {"--allow-dir", "../out"}, "o\n"},
      {"../out/o.kts", {"--include-dir", "../out"}, "o\n"},
      {"../out/o.kts", {"--allow-all-files"}, "o\n"},
  };
  for (const auto& row : kRows) {
    const std::string script = folder_.Write(
        "in/i.kts", "#include '" + std::string(row.file) + "'\nfunction main() { return w(); }\n");
    std::vector<std::string> arguments = row.options;
    arguments.insert(arguments.begin(), "run");
    arguments.push_back(script);
    const Outcome outcome = Kt(arguments);
    EXPECT_EQ(outcome.out, row.gives != nullptr ? row.gives : "") << row.file << outcome.messages;
    arguments[0] = "check";
    EXPECT_EQ(Kt(arguments).status, row.gives != nullptr ? 0 : 1) << row.file;
  }
}

}  // namespace
