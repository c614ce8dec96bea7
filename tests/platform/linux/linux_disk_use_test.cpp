// Who uses a disk: mounts, swap, holders and open files, before anything is written to it.
#include "platform/linux/volumes/linux_disk_use.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>

#include "platform/linux/discovery/sysfs_tree.h"
#include "platform/linux/volumes/mounts.h"
#include "tests/support/temporary_folder.h"

namespace ostria::storage::test {
namespace {

namespace fs = std::filesystem;
using Names = std::vector<std::string>;

/// A saved system with one disk of two partitions, sda, and room for what uses it.
class DiskUseTest : public ::testing::Test {
 protected:
  DiskUseTest() {
    device("block/sda", "8:0");
    device("block/sda/sda1", "8:1", "1");
    device("block/sda/sda2", "8:2", "2");
    device("block/sdb", "8:16");
    device("block/sdb/sdb1", "8:17", "1");
    file("proc/swaps", "Filename Type Size Used Priority\n");
    mounts("");
  }

  void file(const std::string& path, const std::string& text) { folder_.write(path, text); }
  void link(const std::string& path, const std::string& target) {
    fs::create_directories(fs::path(root_ + "/" + path).parent_path());
    fs::create_symlink(root_ + "/" + target, root_ + "/" + path);
  }
  void device(const std::string& path, const std::string& number, const std::string& part = "") {
    file("sys/devices/" + path + "/dev", number + "\n");
    if (!part.empty()) {
      file("sys/devices/" + path + "/partition", part + "\n");
    }
    link("sys/dev/block/" + number, "sys/devices/" + path);
    const std::string name = fs::path(path).filename();
    file("dev/" + name, "");
    if (part.empty()) {
      link("sys/block/" + name, "sys/devices/" + path);
    }
  }
  /// `above` is built upon `below`.
  void holder(const std::string& below, const std::string& above) {
    link("sys/devices/block/" + below + "/holders/" + above, "sys/devices/block/" + above);
  }
  /// One line each: "NUMBER TARGET TYPE SOURCE".
  void mounts(const std::string& lines) {
    std::istringstream in(lines);
    std::string table, number, target, type, source;
    while (in >> number >> target >> type >> source) {
      table += "40 1 " + number + " / " + target + " rw - " + type + " " + source + " rw\n";
    }
    file("proc/self/mountinfo", table);
  }
  DiskUse use() { return findDiskUse(deviceNumberOf(8, 0), root_).value_or(DiskUse{{}, {"gone"}}); }

  const TemporaryFolder folder_;
  const std::string& root_ = folder_.path();
};

TEST_F(DiskUseTest, MountsGoOffLineDeepestFirst) {
  EXPECT_FALSE(findDiskUse(deviceNumberOf(8, 99), root_));
  EXPECT_TRUE(use().volumes.empty());
  mounts(
      "8:1 /data ext4 /dev/sda1\n8:17 /other ext4 /dev/sdb1\n8:2 /data/in/side ext4 /dev/sda2\n"
      "8:1 /srv/x ext4 /dev/sda1\n0:40 /fuse fuse.thing /dev/sda2\n0:41 /net nfs host:/x");
  EXPECT_EQ(use().volumes, (Names{"/data/in/side", "/srv/x", "/data", "/fuse"}));
  EXPECT_TRUE(use().users.empty());
}

TEST_F(DiskUseTest, AFileIsOnTheDiskThatItsVolumeLiesOn) {
  device("block/dm-0", "254:0");
  holder("sda/sda1", "dm-0");
  mounts(
      "8:1 /data ext4 /dev/sda1\n8:17 /data ext4 /dev/sdb1\n0:40 /fuse fuse.thing /dev/sda2\n"
      "0:41 /other fuse.thing /dev/sdb1");
  const std::vector<std::tuple<int, int, bool>> rows = {
      {8, 1, true}, {8, 17, false}, {254, 0, true}, {0, 40, true}, {0, 41, false}, {0, 99, false}};
  for (const auto& [high, low, on] : rows) {
    EXPECT_EQ(isMountOfDisk(deviceNumberOf(high, low), deviceNumberOf(8, 0), root_), on) << low;
  }
}

TEST_F(DiskUseTest, AFileSystemOfSeveralDevicesCountsOnEach) {
  link("sys/fs/btrfs/uuid/devices/sda2", "sys/devices/block/sda/sda2");
  link("sys/fs/btrfs/uuid/devices/sdb1", "sys/devices/block/sdb/sdb1");
  // The mount names the other disk, by a node whose number the test cannot fake: its link does.
  mounts("0:39 /pool btrfs /dev/sda2");
  EXPECT_EQ(use().volumes, Names{"/pool"});
}

TEST_F(DiskUseTest, WhatIsBuiltAboveTheDiskIsAUser) {
  device("block/dm-0", "253:0");
  file("sys/devices/block/dm-0/dm/name", "luks-home\n");
  device("block/dm-1", "253:1");
  file("sys/devices/block/dm-1/dm/name", "vg-home\n");
  holder("sda/sda1", "dm-0");
  holder("dm-0", "dm-1");
  link("dev/mapper/vg-home", "dev/dm-1");
  device("block/md127", "9:127");
  device("block/md127/md127p1", "259:0", "1");
  holder("sda/sda2", "md127");
  mounts("0:39 /home btrfs /dev/mapper/vg-home\n259:0 /srv ext4 /dev/md127p1");
  EXPECT_TRUE(use().volumes.empty());
  EXPECT_EQ(use().users, (Names{"/dev/md127", "/dev/md127p1 mounted at /srv",
                                "/dev/dm-0 (luks-home)", "/dev/dm-1 (vg-home) mounted at /home"}));
}

TEST_F(DiskUseTest, HoldersOfTheWholeDiskSwapLoopsAndWriteProtection) {
  device("block/dm-5", "253:5");
  holder("sda", "dm-5");
  file("proc/swaps",
       "Filename Type Size Used Priority\n/dev/sda2 partition 9 0 -2\n"
       "/dev/sdb1 partition 9 0 -3\n/swapfile file 9 0 -4\n");
  device("block/loop3", "7:3");
  file("sys/devices/block/loop3/loop/backing_file", "/dev/sda1\n");
  file("sys/devices/block/sda/sda1/ro", "1\n");
  EXPECT_EQ(use().users, (Names{"/dev/sda1 is write protected", "/dev/dm-5", "swap on /dev/sda2",
                                "/dev/loop3 on /dev/sda1"}));
}

TEST_F(DiskUseTest, OptionsOfADriverInUserSpaceAreThoseOfItsCommandLine) {
  MountEntry mount;
  mount.source = "/dev/sda1";
  mount.target = "/mnt/win";
  mount.plainOptions = "rw,nosuid";
  EXPECT_FALSE(fuseOptions(mount, root_));
  const auto process = [&](const std::string& number, std::string words) {
    std::replace(words.begin(), words.end(), ' ', '\0');
    file("proc/" + number + "/cmdline", words + '\0');
  };
  process("70", "cat /dev/sda1 /mnt/win");
  EXPECT_FALSE(fuseOptions(mount, root_)) << "whoever has the names on his command line";
  process("71", "/sbin/mount.ntfs-3g /dev/sda1 /mnt/win -o rw,uid=1000,umask=077");
  EXPECT_EQ(fuseOptions(mount, root_), "rw,uid=1000,umask=077,rw,nosuid");
  if (::geteuid() == 0) {
    fs::permissions(root_ + "/proc/71", fs::perms::all);
    ASSERT_EQ(::chown((root_ + "/proc/71").c_str(), 65534, 65534), 0);
    EXPECT_FALSE(fuseOptions(mount, root_)) << "a user's own process";
  }
}

}  // namespace
}  // namespace ostria::storage::test
