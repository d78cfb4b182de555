// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#if !defined(_WIN32)
#include <sys/stat.h>
#endif

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <random>

#include "classlib/text/Kt_Settings.h"
#include "common/system.h"
#include "common/text.h"

namespace {

namespace fs = std::filesystem;
using kt::test::ClearVariable;
using kt::test::NewFolder;
using kt::test::SetVariable;

constexpr std::u16string_view kKey = u"SOFTWARE\\Velmora\\quillnet320\\Settings";

// Every test has a settings folder of its own.
class Settings : public testing::Test {
 protected:
  void SetUp() override {
    const char* const before = std::getenv("XDG_CONFIG_HOME");
    if (before) before_ = before;
    folder_ = NewFolder("kt_settings");
    SetVariable("XDG_CONFIG_HOME", folder_.string());
  }

  void TearDown() override {
    if (before_)
      SetVariable("XDG_CONFIG_HOME", *before_);
    else
      ClearVariable("XDG_CONFIG_HOME");
    fs::remove_all(folder_);
  }

  fs::path File() const { return folder_ / "ktscript" / "settings.ini"; }

  void Put(std::string_view content) const {
    fs::create_directories(File().parent_path());
    std::ofstream(File(), std::ios::binary) << content;
  }

  std::string Content() const {
    std::ifstream in(File(), std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }

  // "number 1", "text x" or "none".
  static std::string Read(std::u16string_view name, std::u16string_view key = kKey) {
    Kt_Settings settings;
    Kt_SettingValue value;
    if (!settings.Open(key) || !settings.QueryValue(name, value)) return "none";
    return value.type == Kt_SettingType::kNumber ? "number " + std::to_string(value.number)
                                                 : "text " + value.text.ToUtf8();
  }

  fs::path folder_;
  std::optional<std::string> before_;
};

TEST_F(Settings, ReadsWhatTheFileSaysNow) {
  EXPECT_EQ(Read(u"DisableWarning"), "none");
  Put("[SOFTWARE\\Velmora\\quillnet320\\Settings]\nDisableWarning=dword:1\n");
  EXPECT_EQ(Read(u"DisableWarning"), "number 1");
  EXPECT_EQ(Read(u"DisableWarning", u"SOFTWARE\\Velmora\\quillnet320"), "none");
  Put("[SOFTWARE\\Velmora\\quillnet320\\Settings]\nDisableWarning=dword:0\n");
  EXPECT_EQ(Read(u"DisableWarning"), "number 0");

  Kt_Settings settings;
  Kt_SettingValue value;
  EXPECT_TRUE(settings.Open(kKey));
  EXPECT_TRUE(settings.QueryValue(u"disablewarning", value));
  settings.Close();
  EXPECT_FALSE(settings.QueryValue(u"DisableWarning", value));
}

TEST_F(Settings, Lines) {
  Put("\xEF\xBB\xBF; a comment\r\n"
      "outside=1\r\n"
      " [ software\\VELMORA\\quillnet320\\settings ] ; key\r\n"
      "Hex = dword:fFfFfFfF ; a comment\r\n"
      "Long=dword:100000000\r\n"
      "Signed=dword:-1\r\n"
      "Empty=\r\n"
      "Plain = some text; more \r\n"
      "Quoted=\" \\\"a\\\\b\\\" \"\r\n"
      "Open=\"no end\r\n"
      "Twice=1\r\n"
      "=nameless\r\n"
      "no value\r\n"
      "[unclosed\r\n"
      "twice=2\r\n"
      "[Other]\r\n"
      "Elsewhere=1\r\n"
      "[SOFTWARE\\Velmora\\quillnet320\\Settings]\r\n"
      "Last=dword:a");
  const struct {
    std::u16string_view name;
    const char* wanted;
  } rows[] = {
      {u"outside", "none"},
      {u"Hex", "number 4294967295"},
      {u"Long", "text dword:100000000"},
      {u"Signed", "text dword:-1"},
      {u"Empty", "text "},
      {u"Plain", "text some text; more"},
      {u"Quoted", "text  \"a\\b\" "},
      {u"Open", "text no end"},
      {u"Twice", "text 2"},
      {u"", "none"},
      {u"no value", "none"},
      {u"Elsewhere", "none"},
      {u"Last", "number 10"},
  };
  for (const auto& row : rows) EXPECT_EQ(Read(row.name), row.wanted) << Utf8(row.name);
}

TEST_F(Settings, WritingKeepsEverythingElse) {
  EXPECT_TRUE(Kt_Settings::WriteNumber(kKey, u"DisableWarning", 1));
  EXPECT_EQ(Read(u"DisableWarning"), "number 1");
  Put("; mine\n[a]\nx=1\n\n[b]\ny=2");
  EXPECT_TRUE(Kt_Settings::WriteText(u"A", u"new", u"n"));
  EXPECT_TRUE(Kt_Settings::WriteText(u"b", u"Y", u"two"));
  EXPECT_TRUE(Kt_Settings::WriteNumber(u"c", u"z", 0xBEEF));
  EXPECT_EQ(Content(), "; mine\n[a]\nx=1\nnew=\"n\"\n\n[b]\nY=\"two\"\n[c]\nz=dword:0000beef\n");
  const auto files = fs::directory_iterator(File().parent_path());
  EXPECT_EQ(std::distance(begin(files), end(files)), 1) << "no temporary file stays";
}

TEST_F(Settings, TextReadsBack) {
  for (const char16_t* text : {u"", u" blanks ", u"\"", u"\\", u"\\n", u"a\nb\r\nc", u"dword:1",
                               u"[x]", u"; no comment", u"한글 \U0001F600", u"\x2028"}) {
    ASSERT_TRUE(Kt_Settings::WriteText(kKey, u"Text", text));
    EXPECT_EQ(Read(u"Text"), "text " + Utf8(text));
  }
}

TEST_F(Settings, RefusesNamesThatWouldNotReadBack) {
  for (const char16_t* name : {u"", u" a", u"a=b", u"a\nb", u"[a", u";a", u"#a"}) {
    EXPECT_FALSE(Kt_Settings::WriteNumber(kKey, name, 1)) << Utf8(name);
  }
  for (const char16_t* key : {u"", u"a]b", u"a\nb", u"a "}) {
    EXPECT_FALSE(Kt_Settings::WriteNumber(key, u"a", 1)) << Utf8(key);
  }
  EXPECT_FALSE(fs::exists(File()));
}

TEST_F(Settings, FilesThatAreNoSettings) {
  fs::create_directories(File());
  EXPECT_EQ(Read(u"a"), "none");
  EXPECT_FALSE(Kt_Settings::WriteNumber(kKey, u"a", 1));
  fs::remove(File());
#if !defined(_WIN32)
  ASSERT_EQ(mkfifo(File().c_str(), 0600), 0);
  EXPECT_EQ(Read(u"a"), "none");
  EXPECT_FALSE(Kt_Settings::WriteNumber(kKey, u"a", 1));
  fs::remove(File());
#endif

  const std::string too_long(Kt_Settings::kMaxFileBytes + 1, ';');
  Put(too_long);
  EXPECT_EQ(Read(u"a"), "none");
  EXPECT_FALSE(Kt_Settings::WriteNumber(kKey, u"a", 1));
  EXPECT_EQ(Content().size(), too_long.size());
}

TEST_F(Settings, AnyBytesAreTolerated) {
  std::mt19937 random(7);
  for (int turn = 0; turn < 200; ++turn) {
    std::string content;
    for (int at = 0; at < 400; ++at) content += "[]=;\"\\\n\r adword:1\xFF\xED"[random() % 18];
    Put(content);
    Read(u"a", u"a");
    ASSERT_TRUE(Kt_Settings::WriteNumber(kKey, u"Mark", 9));
    ASSERT_EQ(Read(u"Mark"), "number 9") << content;
  }
}

#if !defined(_WIN32)
TEST_F(Settings, WritingFollowsLinksAndKeepsPermissions) {
  const fs::path real = folder_ / "real.ini";
  std::ofstream(real) << "[a]\nx=1\n";
  fs::permissions(real, fs::perms::owner_read | fs::perms::owner_write);
  fs::create_directories(File().parent_path());
  fs::create_symlink(real, File());
  EXPECT_TRUE(Kt_Settings::WriteNumber(u"a", u"x", 2));
  EXPECT_TRUE(fs::is_symlink(File()));
  EXPECT_EQ(Read(u"x", u"a"), "number 2");
  EXPECT_EQ(fs::status(real).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}
#endif

TEST_F(Settings, WhereTheFileIs) {
  EXPECT_EQ(fs::path(Kt_Settings::FilePath()), File());
#if defined(_WIN32)
  const char* const variable = "APPDATA";
  const std::string inside = "";
#else
  const char* const variable = "HOME";
  const std::string inside = "/.config";
#endif
  const std::string before = std::getenv(variable) ? std::getenv(variable) : "";
  SetVariable(variable, "/home/somebody");
  for (const char* folder : {"", "relative/folder"}) {
    SetVariable("XDG_CONFIG_HOME", folder);
    EXPECT_EQ(Kt_Settings::FilePath(), "/home/somebody" + inside + "/ktscript/settings.ini");
  }
  ClearVariable(variable);
  EXPECT_EQ(Kt_Settings::FilePath(), "");
  EXPECT_FALSE(Kt_Settings().Open(kKey));
  SetVariable(variable, before);
}

}  // namespace
