// Files and raw reads by the Windows calls, on the virtual PC.
#include "platform/windows/io/win_filesystem.h"

#include <gtest/gtest.h>

#include "services/sal.h"
#include "tests/support/on_virtual_pc.h"

namespace ostria::storage::test {
namespace {

constexpr const char* kHangingPc = R"({"format": 1, "drives": [
  {"name": "hangs", "kind": "sata", "model": "M", "serial": "S", "size_sectors": 100000,
   "bad_sectors": [{"lba": 100, "kind": "hang"}, {"lba": 200}]}],
  "volumes": [{"letter": "C", "total_bytes": 100000000}]})";

class WinFilesystemTest : public OnVirtualPc {
 protected:
  WinFilesystem files;
  std::uint64_t done = 0;
};

TEST_F(WinFilesystemTest, ReadsOfABrokenDiskEndInTime) {
  switchOn(kHangingPc);
  DeviceScanner* scanner = get_device_scanner();
  DeviceHandle disk;
  ASSERT_EQ(scanner->open("\\\\.\\PhysicalDrive0", &disk), 0);
  std::vector<std::uint8_t> buffer(512, 0x11);
  const auto read = [&](std::uint64_t lba) {
    return files.readAt(disk, lba * 512, 512, &done, 30, buffer.data());
  };
  EXPECT_EQ(read(100), ProtocolResult::ReadTimeout);
  EXPECT_EQ(buffer, std::vector<std::uint8_t>(512, 0x11));
  EXPECT_EQ(read(99), ProtocolResult::Success);
  EXPECT_EQ(done, 512u);
  EXPECT_EQ(read(200), ProtocolResult::MediumError);
  EXPECT_FALSE(succeeded(read(100000)));
  scanner->close(disk);
  release_device_scanner(scanner);
}

TEST_F(WinFilesystemTest, WhatACrashLeavesGoesAtTheNextStart) {
  const std::string path = "C:\\scratch.bin";
  DeviceHandle file;
  ASSERT_EQ(files.createFile(path, &file, true), 0);
  EXPECT_EQ(virtual_pc::machine().deletedAtRestart(), std::vector<std::string>{path});
  EXPECT_EQ(files.closeFile(file), 0);
  EXPECT_EQ(files.closeFile(file), 1);
}

TEST_F(WinFilesystemTest, KnowsItsPlaces) {
  EXPECT_STREQ(files.getCurrentDirectory(), "C:\\Diagnostics");
  const std::int64_t before = get_timer()->clock();
  get_timer()->wait(2500);
  EXPECT_NEAR(get_timer()->secondsBetween(before, get_timer()->clock()), 2.5, 0.1);
}

}  // namespace
}  // namespace ostria::storage::test
