// SPDX-License-Identifier: MIT
//
// Saves that fail, are killed, or meet each other.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "cli/Kt_File.h"
#include "cli/data/Kt_Save.h"
#include "cli_test_util.h"

namespace {

using kt::cli::ReplaceFile;
using kt::cli::SetSaveHook;
using kt::cli::WriteFileBytes;

class CliSave : public ::testing::Test {
 protected:
  ~CliSave() override { SetSaveHook(nullptr); }

  std::string Save(const std::string& text) const {
    std::string error;
    return WriteFileBytes(folder_.Path("a.txt"), text, error) ? "saved" : error;
  }
  mode_t Mode(const std::string& name) const {
    struct stat info = {};
    EXPECT_EQ(::stat(folder_.Path(name).c_str(), &info), 0);
    return info.st_mode & 07777;
  }
  std::vector<std::string> Names() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder_.Path(""))) {
      names.push_back(entry.path().filename().string());
    }
    return names;
  }

  TestFolder folder_;
};

// The n-th system call fails, for every n: the file is the old one or the new one, nothing else is
// left, and the next save works.
TEST_F(CliSave, EverySystemCallMayFail) {
  const std::string old = "old";
  const std::string text(1'500'000, 'x');  // two writes
  int calls = 0;
  constexpr int kCauses[] = {EIO, ENOSPC, EPERM};
  for (int failing = 1, made = failing; made >= failing; ++failing) {
    folder_.Write("a.txt", old);
    std::string failed;
    made = 0;
    SetSaveHook([&](std::string_view call) {
      if (++made != failing) return true;
      failed = call;
      errno = kCauses[failing % 3];
      return false;
    });
    const std::string outcome = Save(text);
    SetSaveHook(nullptr);
    const std::string found = folder_.Read("a.txt");
    EXPECT_EQ(found == text, outcome == "saved" || failed == "fsync folder") << failed;
    EXPECT_TRUE(found == text || found == old) << failed << found.size();
    EXPECT_THAT(Names(), ::testing::ElementsAre("a.txt")) << failed;
    calls = std::max(calls, made);
  }
  EXPECT_GE(calls, 15) << "the whole save was walked through";
}

TEST_F(CliSave, KeepsModeAndWidensNoRights) {
  const struct {
    mode_t old;
    bool keeps_owner;
    bool keeps_group;
    mode_t wanted;
  } kRows[] = {
      {0600, true, true, 0600},    {0664, true, true, 0664},   {04755, true, true, 04755},
      {04755, false, true, 0755},  {0664, false, true, 0664},  {0664, false, false, 0644},
      {02770, false, false, 0700}, {0641, false, false, 0601}, {0666, false, false, 0666},
  };
  for (const auto& row : kRows) {
    folder_.Write("a.txt", "old");
    ASSERT_EQ(::chmod(folder_.Path("a.txt").c_str(), row.old), 0);
    int chowns = 0;
    SetSaveHook([&](std::string_view call) {
      if (call != "fchown") return true;
      errno = EPERM;
      return ++chowns == 1 ? row.keeps_owner : row.keeps_group;
    });
    EXPECT_EQ(Save("new"), "saved");
    EXPECT_EQ(Mode("a.txt"), row.wanted) << std::oct << row.old;
    EXPECT_EQ(folder_.Read("a.txt"), "new");
  }
  if (::geteuid() != 0) return;
  ASSERT_EQ(::chown(folder_.Path("a.txt").c_str(), 1234, 4321), 0);
  SetSaveHook(nullptr);
  EXPECT_EQ(Save("newer"), "saved");
  struct stat info = {};
  ASSERT_EQ(::stat(folder_.Path("a.txt").c_str(), &info), 0);
  EXPECT_EQ(info.st_uid, 1234U);
  EXPECT_EQ(info.st_gid, 4321U);
}

// What a killed program left is removed by the next save of the same file; the file of a living
// one, files of other names and what is no plain file stay.
TEST_F(CliSave, RemovesWhatKilledProgramsLeft) {
  folder_.Write(".a.txt.kt0", "half");
  folder_.Write(".a.txt.kt3", "half");
  folder_.Write(".b.txt.kt0", "half of another file");
  folder_.Write("target", "mine");
  std::filesystem::create_symlink("target", folder_.Path(".a.txt.kt4"));
  ASSERT_EQ(::mkfifo(folder_.Path(".a.txt.kt5").c_str(), 0600), 0);
  const std::string living = folder_.Write(".a.txt.kt1", "being written");
  const int fd = ::open(living.c_str(), O_WRONLY | O_CLOEXEC);
  ASSERT_EQ(::flock(fd, LOCK_EX | LOCK_NB), 0);
  EXPECT_EQ(Save("new"), "saved");
  EXPECT_THAT(Names(), ::testing::UnorderedElementsAre("a.txt", ".b.txt.kt0", ".a.txt.kt1",
                                                       ".a.txt.kt4", ".a.txt.kt5", "target"));
  EXPECT_EQ(folder_.Read(".a.txt.kt1"), "being written");
  ::close(fd);
  EXPECT_EQ(Save("newer"), "saved");
  EXPECT_FALSE(std::filesystem::exists(living));
}

// Another program takes the new file for a leftover before it is locked.
TEST_F(CliSave, StartsAgainWhenItsFileWasTakenAway) {
  int locks = 0;
  SetSaveHook([&](std::string_view call) {
    if (call == "flock" && ++locks == 1) std::filesystem::remove(folder_.Path(".a.txt.kt0"));
    return true;
  });
  EXPECT_EQ(Save("new"), "saved");
  EXPECT_EQ(locks, 2);
  EXPECT_EQ(folder_.Read("a.txt"), "new");
  EXPECT_THAT(Names(), ::testing::ElementsAre("a.txt"));
}

TEST_F(CliSave, ManySaversAtOnceAndLongNames) {
  std::vector<int> living;
  for (int slot = 0; slot < 10; ++slot) {
    const std::string path = folder_.Write(".a.txt.kt" + std::to_string(slot), "");
    living.push_back(::open(path.c_str(), O_WRONLY | O_CLOEXEC));
    ASSERT_EQ(::flock(living.back(), LOCK_EX | LOCK_NB), 0);
  }
  EXPECT_NE(Save("new"), "saved") << "no slot is free";
  ::close(living[7]);
  EXPECT_EQ(Save("new"), "saved");
  for (const int fd : living) ::close(fd);
  EXPECT_TRUE(ReplaceFile(folder_.Path(std::string(255, 'n')), "new"));
  EXPECT_EQ(folder_.Read(std::string(255, 'n')), "new");
}

}  // namespace
