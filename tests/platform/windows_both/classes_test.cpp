// The Windows-bound classes that need no disk, with the same expectations on two implementations of
// the system.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numeric>
#include <utility>
#include <vector>

#include "platform/windows/checker/win_check_filesystem_tool.h"
#include "platform/windows/io/win_filesystem.h"
#include "platform/windows/services/win_cim.h"
#include "services/sal.h"
#include "services/volume_access.h"
#include "tests/platform/windows_both/place.h"
#include "tests/support/plain_tool.h"
#include "tests/support/tool_host.h"

namespace ostria::storage::test {
namespace {

using ::testing::ElementsAre;
using ::testing::UnorderedElementsAre;

class WindowsClassesTest : public ::testing::Test {
 protected:
  std::string at(const std::string& name) const { return place.folder() + "\\" + name; }

  Place place;
  WinFilesystem files;
  std::uint64_t done = 0;
};

TEST_F(WindowsClassesTest, FilesKeepWhatWasWritten) {
  DeviceHandle file;
  // A name that no code page of eight bits has.
  const std::string path =
      at("Gr\xC3\xB6\xC3\x9F"
         "e \xE2\x82\xAC \xE5\xAD\x97");
  ASSERT_EQ(files.createFile(path, &file, false), 0);
  EXPECT_EQ(files.setFileSize(file, 1 << 20), 0);
  std::vector<std::uint8_t> written(8192);
  std::iota(written.begin(), written.end(), std::uint8_t{3});
  EXPECT_EQ(files.writeAt(file, 65536, 8192, &done, 30, written.data()), ProtocolResult::Success);
  EXPECT_EQ(done, 8192u);
  std::vector<std::uint8_t> back(8192);
  EXPECT_EQ(files.readAt(file, 65536, 8192, &done, 30, back.data()), ProtocolResult::Success);
  EXPECT_EQ(back, written);
  // What nobody wrote is zeros; the end cuts; behind it is nothing.
  EXPECT_EQ(files.readAt(file, 0, 8192, &done, 30, back.data()), ProtocolResult::Success);
  EXPECT_EQ(back, std::vector<std::uint8_t>(8192));
  EXPECT_EQ(files.readAt(file, (1 << 20) - 4096, 8192, &done, 30, back.data()),
            ProtocolResult::MediumError);
  EXPECT_EQ(done, 4096u);
  EXPECT_FALSE(succeeded(files.readAt(file, 2 << 20, 4096, &done, 30, back.data())));
  DeviceHandle second;
  EXPECT_NE(files.createFile(path, &second, false), 0) << "somebody else has it";
  EXPECT_EQ(files.closeFile(file), 0);
  std::vector<std::string> names;
  EXPECT_EQ(files.listDirectory(at("Gr*"), names), 0);
  EXPECT_THAT(names, ElementsAre(path));
  // Made again, it is empty.
  ASSERT_EQ(files.createFile(path, &file, true), 0);
  EXPECT_FALSE(succeeded(files.readAt(file, 65536, 4096, &done, 30, back.data())));
  EXPECT_EQ(files.closeFile(file), 0);
  EXPECT_EQ(files.listDirectory(path, names), 1) << "it goes with its handle";
}

TEST_F(WindowsClassesTest, DirectoriesAreMadeListedAndRemoved) {
  std::vector<std::string> made;
  EXPECT_EQ(files.createDirectories(at("a\\b\\c"), made), 0);
  EXPECT_THAT(made, ElementsAre(at("a"), at("a\\b"), at("a\\b\\c")));
  EXPECT_EQ(files.createDirectories(at("a\\b\\"), made), 0);
  EXPECT_TRUE(made.empty());
  DeviceHandle file;
  ASSERT_EQ(files.createFile(at("a\\f.bin"), &file, false), 0);
  EXPECT_NE(files.removeTree(at("a")), 0) << "a file in it is open";
  files.closeFile(file);
  EXPECT_EQ(files.createDirectories(at("a\\b\\c"), made), 0);
  ASSERT_EQ(files.createFile(at("a\\f.bin"), &file, false), 0);
  files.closeFile(file);
  EXPECT_NE(files.createDirectories(at("a\\f.bin\\g"), made), 0) << "a file is in the way";
  EXPECT_NE(files.createDirectories("Q:\\a", made), 0);
  EXPECT_NE(files.createDirectories(at("new\\b?d"), made), 0);
  EXPECT_TRUE(made.empty());
  std::vector<std::string> names;
  EXPECT_EQ(files.listDirectory(at("new"), names), 1) << "what was made before a failure goes";
  EXPECT_EQ(files.listDirectory(at("a\\*"), names), 0);
  EXPECT_THAT(names, UnorderedElementsAre(at("a\\."), at("a\\.."), at("a\\b"), at("a\\f.bin")));
  EXPECT_EQ(files.listDirectory(at("a\\*.bin"), names), 0);
  EXPECT_THAT(names, ElementsAre(at("a\\f.bin")));
  EXPECT_EQ(files.removeTree(at("a")), 0);
  EXPECT_NE(files.removeTree(at("a")), 0);
  EXPECT_EQ(files.listDirectory(at("a"), names), 1);
}

TEST_F(WindowsClassesTest, PathsThatCannotBeUsed) {
  using Paths = std::vector<std::string>;
  for (const std::string& bad : Paths{"", "C", "COM1", "com1", R"(C:\COM1\x)", R"(C:\x\nul)",
                                      R"(C:\a\ \b)", "C:\\a\\\t \\b", std::string(256, 'a')}) {
    EXPECT_TRUE(files.isInvalidPath(bad)) << bad;
  }
  // Only the first place of a name counts.
  for (const std::string& good :
       Paths{"C:", R"(C:\COM10)", R"(C:\XCOM1)", R"(C:\COM1.txt)", R"(C:\a\ b\c)", R"(C:\a\\b)",
             R"(C:\ )", std::string(255, 'a'), R"(C:\XCOM1\COM1)"}) {
    EXPECT_FALSE(files.isInvalidPath(good)) << good;
  }
}

TEST_F(WindowsClassesTest, VolumesAnswer) {
  std::string name;
  ASSERT_TRUE(readFileSystemName(place.root(), name));
  EXPECT_EQ(name, "NTFS");
  const std::uint32_t sector = volumeSectorBytes(place.root());
  EXPECT_GE(sector, 512u);
  EXPECT_EQ(sector & (sector - 1), 0u);
  name = "as it was";
  EXPECT_FALSE(readFileSystemName("Q:\\", name));
  EXPECT_EQ(name, "as it was");
  EXPECT_EQ(volumeSectorBytes("Q:\\"), 0u);
}

TEST_F(WindowsClassesTest, PrivilegeIsGivenBack) {
  for (int i = 0; i < 2; ++i) {
    EXPECT_TRUE(holdVolumePrivilege());
    releaseVolumePrivilege();
  }
}

TEST_F(WindowsClassesTest, TheCheckersOutputAndExitCodeArrive) {
  std::string many;  // more than the pipe holds, so that the checker is still there to be ended
  for (int i = 0; i < 2500; ++i) {
    many += "a\r\n";
  }
  const struct {
    std::string output;
    unsigned exitCode;
    ToolStatus status;
    std::vector<int> progress;
    std::string message;
  } rows[] = {
      {"Stage 1\r\n10 percent completed.\r55 percent completed.\r\nDone.\r\n",
       0,
       ToolStatus::Finished,
       {10, 55},
       "Stage 1\n\nDone."},
      // In the code page of the console; the low byte of each character is kept.
      {"Gr\xC3\xB6\xC3\x9F"
       "e\r\n",
       1,
       ToolStatus::Repaired,
       {},
       "Gr\xF6\xDF"
       "e\n"},
      {"Cannot lock the drive.\r\n", 3, ToolStatus::CouldNotRun, {}, "Cannot lock the drive.\n"},
      // Nothing but lines is taken for a checker that is stuck.
      {many, 0, ToolStatus::CouldNotRun, {}, ""},
  };
  for (const auto& row : rows) {
    place.scriptChecker(row.output, row.exitCode);
    PlainTool owner;
    ToolHost host(owner);
    WinCheckFilesystemTool checker(&owner);
    checker.setEventReceiver(&host);
    RecoverDeviceItem item;
    item.partitions.emplace_back();
    item.partitions[0].volumePath = "C:\\";
    EXPECT_EQ(checker.execute(item, 0), row.status) << row.output.substr(0, 40);
    EXPECT_EQ(host.progress(), row.progress);
    if (row.output.size() < 1000) {
      EXPECT_EQ(checker.getMessage(), row.message);
    }
  }
}

TEST_F(WindowsClassesTest, QueriesOfManagementRows) {
  WinCim cim;
  CimTable* table = nullptr;
  const char* const fields[] = {"Caption", "NoSuchField"};
  // Wine has no rows of a class that it does not know; the system says that there is no class.
  EXPECT_EQ(cim.queryAll(&table, "NoSuchClass", 1, fields, L"ROOT\\CIMV2"),
            runsOnWine() ? CimResult::Success : CimResult::ConnectFailed);
  if (table != nullptr) {
    EXPECT_TRUE(table->empty());
    cim.freeTable(std::exchange(table, nullptr));
  }
  EXPECT_EQ(cim.queryAll(&table, "Win32_LogicalDisk", 1, fields, L"ROOT\\NoSuchSpace"),
            CimResult::ConnectFailed);
  EXPECT_EQ(table, nullptr);
}

TEST_F(WindowsClassesTest, ServicesOfTheProcess) {
  const std::int64_t before = get_timer()->clock();
  get_timer()->wait(50);
  EXPECT_GE(get_timer()->secondsBetween(before, get_timer()->clock()), 0.04);
  EXPECT_GT(get_time_handler()->now(), 1'577'836'800);  // 2020
  EXPECT_EQ(get_module()->load(at("none.dll"), 1), nullptr);
  EXPECT_EQ(get_module()->load("none.dll", 0), nullptr);
  const std::string program = files.getProgramPath();
  EXPECT_EQ(program.substr(0, program.rfind('\\')), files.getProgramDirectory());
  EXPECT_EQ(std::string(files.getWindowsDirectory()).substr(1, 2), ":\\");
}

}  // namespace
}  // namespace ostria::storage::test
