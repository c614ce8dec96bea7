// The history file: records appended, read back, and survived when damaged.
#include "host/core/report/history.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "host/platform/state_files.h"

namespace ostria::host::test {
namespace {

TEST(HistoryTest, KeepsTheNewestRecordsAndPassesOverDamage) {
  const std::string folder = testing::TempDir() + "history";
  std::filesystem::remove_all(folder);
  FileHistory history(folder + "/deep/results.jsonl", lockFile);
  EXPECT_TRUE(std::get<std::vector<HistoryRecord>>(history.read()).empty());
  ASSERT_FALSE(history.add({{"t", "m", "s", "1.1.1", "n", "passed", "a\nb\xff"}}).isSet());
  std::ofstream(folder + "/deep/results.jsonl", std::ios::app) << "broken\n[1]\n";
  std::vector<HistoryRecord> many(FileHistory::kMostRecords - 1);
  many.back().id = "last";
  ASSERT_FALSE(history.add(many).isSet());
  auto records = std::get<std::vector<HistoryRecord>>(history.read());
  ASSERT_EQ(records.size(), FileHistory::kMostRecords);
  EXPECT_EQ(records.front().text.substr(0, 3), "a\nb");
  ASSERT_FALSE(history.add({{}}).isSet());
  records = std::get<std::vector<HistoryRecord>>(history.read());
  ASSERT_EQ(records.size(), FileHistory::kMostRecords);
  EXPECT_EQ(records[records.size() - 2].id, "last");
  std::filesystem::remove_all(folder);
}

}  // namespace
}  // namespace ostria::host::test
