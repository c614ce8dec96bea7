// The checker as a child process: scripted checkers, their output, exit codes and hangs.
#include "platform/linux/checker/linux_check_filesystem_tool.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "platform/linux/checker/linux_checker_process.h"
#include "platform/linux/io/fd_handle.h"
#include "tests/support/plain_tool.h"
#include "tests/support/temporary_folder.h"

namespace ostria::storage::test {
namespace {

namespace fs = std::filesystem;

class Receiver : public ToolEventReceiver {
 public:
  void requestInput(InputRequest&) override {}
};

/// An image with an ext4 file system, made and damaged with the system's own programs.
class LinuxCheckFilesystemToolTest : public ::testing::Test {
 protected:
  LinuxCheckFilesystemToolTest() {
    item_.partitions.push_back({"volume", image_, "", false});
    receiver_.handlers["OnProgress"] = [this](Tool* tool, const std::string&) {
      progress_.push_back(std::stoi(tool->getParameter("Progress")->front()));
    };
  }

  static bool shell(const std::string& command) {
    return system(("PATH=/usr/sbin:/sbin:$PATH; (" + command + ") >/dev/null 2>&1").c_str()) == 0;
  }
  void fakeChecker(const std::string& script) {
    folder_.write("e2fsck", "#!/bin/sh\n" + script + "\n");
    fs::permissions(folder_.file("e2fsck"), fs::perms::owner_all);
  }

  const TemporaryFolder folder_;
  const std::string image_ = folder_.file("volume.img");
  RecoverDeviceItem item_;
  PlainTool owner_;
  Receiver receiver_;
  std::vector<int> progress_;
};

class LinuxCheckOfAVolumeTest : public LinuxCheckFilesystemToolTest {
 protected:
  void SetUp() override {
    if (!shell("truncate -s 16M " + image_ + " && mkfs.ext4 -q " + image_)) {
      GTEST_SKIP() << "no mkfs.ext4 on this machine";
    }
  }
};

TEST_F(LinuxCheckOfAVolumeTest, RepairsAndThenFindsNothing) {
  LinuxCheckFilesystemTool tool(&owner_);
  tool.setEventReceiver(&receiver_);
  EXPECT_EQ(tool.execute(item_, 0), ToolStatus::Finished) << tool.getMessage();
  ASSERT_FALSE(progress_.empty());
  EXPECT_TRUE(std::is_sorted(progress_.begin(), progress_.end()));
  EXPECT_EQ(progress_.back(), 100);

  ASSERT_TRUE(shell("debugfs -w -R 'ssv free_blocks_count 5' " + image_));
  EXPECT_EQ(tool.execute(item_, 0), ToolStatus::Repaired) << tool.getMessage();
  EXPECT_NE(tool.getMessage(), "");
  EXPECT_EQ(tool.execute(item_, 0), ToolStatus::Finished) << tool.getMessage();

  EXPECT_TRUE(tool.scheduleCheck(image_));
  // What the kernel does when it unmounts a volume.
  ASSERT_TRUE(shell("debugfs -w -R 'ssv state 1' " + image_));
  EXPECT_TRUE(shell("e2fsck -p " + image_ + " | grep -q 'check forced'"));
  EXPECT_TRUE(shell("e2fsck -p " + image_ + " | grep -q clean,"));
  ASSERT_TRUE(shell("tune2fs -c 30 " + image_));
  EXPECT_TRUE(tool.scheduleCheck(image_));
  EXPECT_TRUE(shell("tune2fs -l " + image_ + " | grep -q 'Maximum mount count: *30$'"));
  EXPECT_FALSE(tool.scheduleCheck(folder_.path()));
  EXPECT_FALSE(tool.scheduleCheck("/nowhere"));
}

TEST_F(LinuxCheckFilesystemToolTest, WhatCannotBeCheckedSaysSo) {
  LinuxCheckFilesystemTool tool(&owner_);
  EXPECT_EQ(tool.execute(item_, 0), ToolStatus::CouldNotRun);
  EXPECT_EQ(tool.execute(item_, 1), ToolStatus::CouldNotRun);
  ASSERT_TRUE(shell("truncate -s 1M " + image_));
  EXPECT_EQ(tool.execute(item_, 0), ToolStatus::CouldNotRun);
  EXPECT_EQ(tool.getMessage(), "There is no checker for this file system.\n");
}

TEST_F(LinuxCheckFilesystemToolTest, NtfsIsLookedAtAndLeftAsItIs) {
  if (!shell("truncate -s 2M " + image_ + " && mkntfs -q -Q -F " + image_ +
             " && command -v ntfsfix")) {
    GTEST_SKIP() << "no programs for NTFS on this machine";
  }
  const auto content = [this] {
    std::ifstream file(image_, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
  };
  LinuxCheckFilesystemTool tool(&owner_);
  std::string before = content();
  EXPECT_EQ(tool.execute(item_, 0), ToolStatus::Finished) << tool.getMessage();
  EXPECT_TRUE(content() == before);
  // Wrong master file table, sound boot sector.
  ASSERT_TRUE(shell("dd if=/dev/urandom of=" + image_ + " bs=4096 seek=4 count=4 conv=notrunc"));
  before = content();
  EXPECT_EQ(tool.execute(item_, 0), ToolStatus::CouldNotRun);
  EXPECT_NE(tool.getMessage(), "");
  EXPECT_TRUE(content() == before);
}

TEST_F(LinuxCheckOfAVolumeTest, CheckerEndsAsItsExitCodeSays) {
  LinuxCheckFilesystemTool tool(&owner_, {folder_.path()});
  tool.setEventReceiver(&receiver_);
  const std::pair<const char*, ToolStatus> endings[] = {
      {"exit 0", ToolStatus::Finished},        {"exit 3", ToolStatus::Repaired},
      {"exit 4", ToolStatus::CouldNotRun},     {"exit 8", ToolStatus::CouldNotRun},
      {"kill -9 $$", ToolStatus::CouldNotRun}, {"exec /nowhere", ToolStatus::CouldNotRun},
  };
  for (const auto& [script, status] : endings) {
    fakeChecker(script);
    EXPECT_EQ(tool.execute(item_, 0), status) << script;
  }
  fakeChecker("echo one; echo 1 5 10 dev >&3; echo 1 4 10 dev >&3; echo junk >&3; echo two >&2");
  EXPECT_EQ(tool.execute(item_, 0), ToolStatus::Finished);
  EXPECT_EQ(tool.getMessage(), "one\ntwo\n");
  EXPECT_EQ(progress_, std::vector<int>{10});
}

TEST_F(LinuxCheckOfAVolumeTest, TheProgramGetsNothingOfTheHost) {
  const FdOwner kept(::open("/etc/passwd", O_RDONLY));  // without O_CLOEXEC, as some host may
  const FdOwner far(::fcntl(kept.get(), F_DUPFD, 100));
  ::setenv("OSTRIA_SECRET", "1", 1);
  LinuxCheckFilesystemTool tool(&owner_, {folder_.path()});
  fakeChecker("ls -l /proc/$$/fd | grep -c passwd; env | cut -d= -f1 | sort | tr '\\n' ' '");
  EXPECT_EQ(tool.execute(item_, 0), ToolStatus::Finished);
  ::unsetenv("OSTRIA_SECRET");
  EXPECT_EQ(tool.getMessage(), "0\nLC_ALL PATH PWD ");
}

TEST_F(LinuxCheckOfAVolumeTest, CheckGoesOnWhenTheHostFails) {
  LinuxCheckFilesystemTool tool(&owner_, {folder_.path()});
  tool.setEventReceiver(&receiver_);
  receiver_.handlers["OnProgress"] = [](Tool*, const std::string&) {
    throw std::runtime_error("host");
  };
  fakeChecker("echo 1 1 10 dev >&3; sleep 0.1; echo 2 1 10 dev >&3; touch " + folder_.file("done") +
              "; exit 1");
  EXPECT_EQ(tool.execute(item_, 0), ToolStatus::Repaired);
  EXPECT_TRUE(fs::exists(folder_.file("done")));
}

}  // namespace
}  // namespace ostria::storage::test
