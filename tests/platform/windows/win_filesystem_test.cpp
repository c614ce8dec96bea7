// What files leave behind, and where they are, on the virtual PC.
#include "platform/windows/io/win_filesystem.h"

#include <gtest/gtest.h>

#include "tests/support/on_virtual_pc.h"

namespace ostria::storage::test {
namespace {

using WinFilesystemTest = OnVirtualPc;

TEST_F(WinFilesystemTest, WhatACrashLeavesGoesAtTheNextStart) {
  const std::string path = "C:\\scratch.bin";
  WinFilesystem files;
  DeviceHandle file;
  ASSERT_EQ(files.createFile(path, &file, true), 0);
  EXPECT_EQ(virtual_pc::machine().deletedAtRestart(), std::vector<std::string>{path});
  EXPECT_EQ(files.closeFile(file), 0);
  EXPECT_EQ(files.closeFile(file), 1);
}

TEST_F(WinFilesystemTest, KnowsItsPlace) {
  EXPECT_STREQ(WinFilesystem().getCurrentDirectory(), "C:\\Diagnostics");
}

}  // namespace
}  // namespace ostria::storage::test
