// Kept runs: both stores give back what they got, drop the oldest, and survive what is broken.
#include "host/core/model/history.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include "host/core/model/file_history.h"
#include "host/platform/result_store.h"
#include "host/platform/state_files.h"
#include "tests/support/temporary_folder.h"

namespace ostria::host::test {
namespace {

KeptRun sampleRun(const std::string& day, std::uint64_t pending, const std::string& outcome) {
  KeptRun run;
  run.started = day + "T10:00:00Z";
  run.machine = "pc";
  run.outcome = outcome;
  run.drives = {{3, "DISK", "S1", "wwn", "/dev/sda", "F", "watch", {{"pending", pending}}}};
  run.results = {{3, run.started, "1.1.1", "SMART Status Test", outcome, "a\nb \xC3\xA4"}};
  return run;
}

std::vector<KeptRun> runsOf(History& history) {
  auto runs = history.read();
  EXPECT_TRUE(std::holds_alternative<std::vector<KeptRun>>(runs));
  auto* kept = std::get_if<std::vector<KeptRun>>(&runs);
  return kept != nullptr ? *kept : std::vector<KeptRun>();
}

TEST(HistoryTest, RootsStateIsInNoFolderThatItsVariablesName) {
  const char* const home = getenv("HOME");
  const std::string before = home != nullptr ? home : "";
  setenv("HOME", "/home/other", 1);
  setenv("XDG_STATE_HOME", "state", 1);
  const uid_t self = geteuid();
  if (self == 0) {
    EXPECT_EQ(stateFolder(), "/var/lib");
    ASSERT_EQ(seteuid(65534), 0);
  }
  EXPECT_EQ(stateFolder(), "/home/other/.local/state") << "a relative folder counts as none";
  setenv("XDG_STATE_HOME", "/var/other", 1);
  EXPECT_EQ(stateFolder(), "/var/other");
  ASSERT_EQ(seteuid(self), 0);
  unsetenv("XDG_STATE_HOME");
  home != nullptr ? setenv("HOME", before.c_str(), 1) : unsetenv("HOME");
}

TEST(HistoryTest, StoresKeepRunsInOrderAndDropTheOldest) {
  const storage::test::TemporaryFolder folder;
  setenv("OSTRIA_RESULTS", (folder.file("deep/results.sqlite")).c_str(), 1);
  const Patience patience([] { return 0; });
  const std::unique_ptr<History> stores[] = {
      std::make_unique<FileHistory>(folder.file("deeper/results.jsonl"), lockFile, patience),
      resultStore(patience)};
  unsetenv("OSTRIA_RESULTS");
  for (const auto& store : stores) {
    EXPECT_TRUE(runsOf(*store).empty());
    KeptRun empty;
    ASSERT_FALSE(store->add(empty).isSet());
    KeptRun first = sampleRun("2026-01-01", 1, "passed");
    ASSERT_FALSE(store->add(first).isSet());
    KeptRun large = sampleRun("2026-02-01", 13, "failed");
    large.virtualPc = true;
    large.results.resize(History::kMostResults - 1, large.results[0]);
    ASSERT_FALSE(store->add(large).isSet());
    EXPECT_GT(large.number, first.number);
    auto runs = runsOf(*store);
    ASSERT_EQ(runs.size(), 2u);
    EXPECT_EQ(runs[0].number, first.number);
    ASSERT_NE(runs[0].drive(3), nullptr);
    EXPECT_EQ(runs[0].drive(3)->numbers, first.drives[0].numbers);
    EXPECT_EQ(runs[0].drive(3)->node, "/dev/sda");
    EXPECT_EQ(runs[0].results[0].text, first.results[0].text);
    EXPECT_TRUE(runs[1].virtualPc);
    KeptRun last = sampleRun("2026-03-01", 2, "passed");
    ASSERT_FALSE(store->add(last).isSet());
    runs = runsOf(*store);
    ASSERT_EQ(runs.size(), 2u);  // the first one went
    EXPECT_EQ(runs[1].number, last.number);
    // One that is larger than all that may be kept stands alone.
    large.results.resize(History::kMostResults + 1, large.results[0]);
    ASSERT_FALSE(store->add(large).isSet());
    EXPECT_EQ(runsOf(*store).size(), 1u);
  }
}

TEST(HistoryTest, LinesOfOlderVersionsBecomeRunsAndDamageIsPassedOver) {
  const auto runs = runsOfLines(
      R"({"time":"2026-01-01T00:00:00Z","model":"M","serial":"S","id":"1.1.1","outcome":"passed"})"
      "\nbroken\n[1]\n{}\n"
      R"({"run":7,"started":5,"drives":{"a":1},"results":[1,{"id":"x"}],"virtual":true})");
  ASSERT_EQ(runs.size(), 3u);
  EXPECT_EQ(runs[0].drives[0].serial, "S");
  EXPECT_EQ(runs[0].results[0].outcome, "passed");
  EXPECT_EQ(runs[2].number, 7);
  EXPECT_TRUE(runs[2].virtualPc);
  EXPECT_EQ(runs[2].results.size(), 2u);
}

TEST(HistoryTest, RunsAreChosenAndCompared) {
  std::vector<KeptRun> runs = {sampleRun("2026-01-01", 1, "passed"),
                               sampleRun("2026-02-01", 13, "failed"),
                               sampleRun("2026-03-01", 5, "passed")};
  runs[2].virtualPc = true;
  runs[2].drives[0].serial = "S2";
  for (std::size_t i = 0; i < runs.size(); ++i) {
    runs[i].number = static_cast<std::int64_t>(i) + 1;
  }
  const std::vector<std::pair<HistoryFilter, std::size_t>> rows = {
      {{}, 3},
      {{{"S1"}, "", ""}, 2},
      {{{"S1", "S2"}, "", ""}, 3},
      {{{"/dev/sda"}, "", "2026-02"}, 2},
      {{{}, "status", ""}, 3},
      {{{}, "1.1.1", "2026-02-01T10:00:01"}, 1},
      {{{}, "seek", ""}, 0},
      {{{"DIS"}, "", ""}, 0},
  };
  for (const auto& [filter, count] : rows) {
    EXPECT_EQ(chosenRecords(runs, filter).size(), count);
  }
  EXPECT_EQ(lastRunOf(runs, "DISK", "S1", false)->number, 2);
  EXPECT_EQ(lastRunOf(runs, "DISK", "S2", false), nullptr);  // that one is simulated
  EXPECT_EQ(lastRunOf(runs, "DISK", "", false), nullptr);

  const Comparison same = compareRuns(runs[0], runs[1]);
  ASSERT_EQ(same.results.size(), 1u);
  EXPECT_EQ(same.results[0].now, "failed");
}

}  // namespace
}  // namespace ostria::host::test
