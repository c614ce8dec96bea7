#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "host/cli/progress_line.h"
#include "host/cli/terminal.h"
#include "host/core/model/outcome.h"
#include "host/core/model/smart_rows.h"
#include "host/core/model/surface_map.h"
#include "host/core/report/history.h"
#include "host/core/run/redact.h"
#include "host/core/run/settings_file.h"
#include "host/platform/linux/access_check.h"

namespace ostria::host {
namespace {

TEST(ExitCodeTest, TheWorstOutcomeWins) {
  const ExitCode order[] = {ExitCode::Failed,  ExitCode::Stopped,      ExitCode::CouldNotStart,
                            ExitCode::Warning, ExitCode::NotPerformed, ExitCode::Passed};
  for (std::size_t i = 0; i + 1 < std::size(order); ++i) {
    EXPECT_EQ(worse(order[i], order[i + 1]), order[i]);
    EXPECT_EQ(worse(order[i + 1], order[i]), order[i]);
  }
  EXPECT_EQ(exitCodeOf(static_cast<storage::TestResult>(2)), ExitCode::CouldNotStart);
}

TEST(ConfigFileTest, SettingsAreReadAndMistakesHaveTheirPlace) {
  const auto good = readConfiguration(
      "; of the host\n[storage]\r\nsec_num = 12 ; comment\nWHOLE_DISK_READ=1\n[Other]\n", "c.ini");
  ASSERT_TRUE(std::holds_alternative<storage::ConfigurationMap>(good));
  const auto& map = std::get<storage::ConfigurationMap>(good);
  EXPECT_EQ(map.at("STORAGE"),
            (std::map<std::string, std::string>{{"SEC_NUM", "12"}, {"WHOLE_DISK_READ", "1"}}));
  const std::vector<std::pair<const char*, const char*>> wrong = {
      {"[A]\nB\n", "c.ini, line 2: neither a [SECTION] nor KEY=VALUE."},
      {"[A\n", "c.ini, line 1: the bracket of the section is not closed."},
      {"B=1\n", "c.ini, line 1: the key B stands before any section."},
      {"[A]\nB=1\nb=2", "c.ini, line 3: the key B is there already in section A."},
      {"[A]\n[a]", "c.ini, line 2: the section A is there already."},
      {"[A]\nB= ;x", "c.ini, line 2: the key B has no value."},
  };
  for (const auto& [text, sentence] : wrong) {
    const auto result = readConfiguration(text, "c.ini");
    ASSERT_TRUE(std::holds_alternative<UsageError>(result)) << sentence;
    EXPECT_EQ(std::get<UsageError>(result).sentence, sentence);
  }
  EXPECT_EQ(refusedSetting({0, 1116, 0, "SEC_NUM", "STORAGE"}, "c.ini").sentence,
            "c.ini: section STORAGE, key SEC_NUM: its value is outside the range that it allows "
            "(code 1116).");
}

TEST(RedactTest, SerialNumbersAreMaskedInEveryForm) {
  Redactor redactor(true);
  redactor.addSecret("WD-W CC4");
  redactor.addSecret("");
  redactor.addSecret("7");
  EXPECT_EQ(redactor.text("id wd-wcc4#0, WD-W_CC4, WD-W CC4; 7 rows"),
            "id [masked]#0, [masked], [masked]; 7 rows");
  EXPECT_EQ(redactor.property("UDI", "ACME-X-7"), "[masked]");
  EXPECT_EQ(redactor.property("SERIAL", ""), "");
  Redactor off(false);
  off.addSecret("WD-WCC4");
  EXPECT_EQ(off.property("SERIAL", "WD-WCC4"), "WD-WCC4");
}

TEST(SmartReportTest, QuotationMarksInsideAValueDoNotEndIt) {
  const auto rows = readSmartReport(
      R"([{"id":"5","description":"A "b" c","threshold":"36","value":"36","worst":"30","data":"7"},)"
      R"({"id":"194","description":"T","threshold":"0","value":"0","worst":"0","data":"31"}])");
  ASSERT_EQ(rows.size(), 2u);
  EXPECT_EQ(rows[0].name, "A \"b\" c");
  EXPECT_TRUE(rows[0].isBelowThreshold());
  EXPECT_FALSE(rows[1].isBelowThreshold());
  EXPECT_EQ(rows[1].data, "31");
  const auto log = readSmartReport(R"([{"description":"Signature","data":"O"S"T"}])");
  ASSERT_EQ(log.size(), 1u);
  EXPECT_EQ(log[0].data, "O\"S\"T");
  for (const char* broken : {"", "[]", "[{", "[{\"id\":\"", "}{\"", "{\"description\":\"x"}) {
    (void)readSmartReport(broken);
  }
}

TEST(TerminalTest, LinesKeepToTheWidth) {
  EXPECT_EQ(wrapped("one two three four five", 14, 2), "one two three\n  four five");
  EXPECT_EQ(wrapped("abcdefghijklmnop", 12, 2), "abcdefghijkl\n  mnop");
  EXPECT_EQ(wrapped("a b", 0, 2), "a b");
  EXPECT_EQ(fitted("35 °C warm", 6), "35 °C~");
  EXPECT_EQ(harmless("A\033[31mB\n\x7f\xC2\x9B"), "A?[31mB ??");
  for (std::size_t width = 8; width < 120; ++width) {
    const std::string bar = barLine("Full Disk Scan Test, device 10", "Reading sector 123456789",
                                    42, std::chrono::seconds(4000), width);
    EXPECT_LE(columns(bar), width) << bar;
  }
  const std::string bar = barLine("T", "", 50, std::chrono::seconds(60), 79);
  EXPECT_NE(bar.find(" 50% 1:00, 1:00 left"), std::string::npos) << bar;
}

TEST(SurfaceMapTest, BadSectorsLieInTheirCells) {
  EXPECT_EQ(rangesOf("X [8, 15], [1, x] [9,9] [32, 39]."),
            (std::vector<SectorRange>{{8, 15}, {32, 39}}));
  // Behind the end, over a border, and on a disk that is smaller than the map or larger than 2^54.
  EXPECT_EQ(badCells({{99, 130}, {19, 20}}, 100, 10), (std::vector<std::size_t>{1, 2, 9}));
  EXPECT_EQ(badCells({{1, 1}}, 2, 10), (std::vector<std::size_t>{5}));
  const std::uint64_t huge = std::uint64_t{1} << 63;
  EXPECT_EQ(badCells({{huge - 1, huge}}, huge, 768), (std::vector<std::size_t>{767}));
  EXPECT_EQ(badCells({{1, 2}}, 0, 10), (std::vector<std::size_t>{}));
  for (std::size_t cell = 0; cell < 768; ++cell) {
    const std::uint64_t first = firstSectorOf(cell, 1000003, 768);
    EXPECT_EQ(badCells({{first, first}}, 1000003, 768), (std::vector<std::size_t>{cell}));
  }
}

TEST(HistoryTest, KeepsTheNewestRecordsAndPassesOverDamage) {
  const std::string folder = testing::TempDir() + "history";
  std::filesystem::remove_all(folder);
  FileHistory history(folder + "/deep/results.jsonl");
  EXPECT_TRUE(std::get<std::vector<HistoryRecord>>(history.read()).empty());
  ASSERT_EQ(history.add({{"t", "m", "s", "1.1.1", "n", "passed", "a\nb\xff"}}).sentence, "");
  std::ofstream(folder + "/deep/results.jsonl", std::ios::app) << "broken\n[1]\n";
  std::vector<HistoryRecord> many(FileHistory::kMostRecords - 1);
  many.back().id = "last";
  ASSERT_EQ(history.add(many).sentence, "");
  auto records = std::get<std::vector<HistoryRecord>>(history.read());
  ASSERT_EQ(records.size(), FileHistory::kMostRecords);
  EXPECT_EQ(records.front().text.substr(0, 3), "a\nb");
  ASSERT_EQ(history.add({{}}).sentence, "");
  records = std::get<std::vector<HistoryRecord>>(history.read());
  ASSERT_EQ(records.size(), FileHistory::kMostRecords);
  EXPECT_EQ(records[records.size() - 2].id, "last");
  std::filesystem::remove_all(folder);
}

TEST(AccessCheckTest, DisksThatAUserMayNotOpenAreCounted) {
  EXPECT_EQ(missingAccess("/nonexistent", "/dev"), "");
  const std::string root = testing::TempDir() + "access";
  std::filesystem::create_directories(root + "/dev");
  for (const char* name : {"sda", "nvme0n1", "loop0", "dm-0", "sdb"}) {
    std::filesystem::create_directories(root + "/block/" + name);
    std::ofstream(root + "/dev/" + name) << "x";
    std::filesystem::permissions(root + "/dev/" + name, std::filesystem::perms::owner_read);
  }
  std::filesystem::remove(root + "/dev/sdb");
  // Root may open everything, so the question is put by somebody else.
  const pid_t child = fork();
  if (child == 0) {
    if (geteuid() == 0 && setuid(65534) != 0) {
      _exit(2);
    }
    const std::string sentence = missingAccess(root + "/block", root + "/dev");
    _exit(sentence.starts_with("2 disks of this computer cannot be opened") ? 0 : 1);
  }
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  std::filesystem::remove_all(root);
}

}  // namespace
}  // namespace ostria::host
