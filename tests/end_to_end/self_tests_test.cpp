// The self-tests on drives that run their routines in virtual time, with each outcome of the
// standards.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ostria/storage/test_ids.h"
#include "tests/support/bench.h"

namespace ostria::storage::test {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

constexpr std::uint8_t kInProgress = 15;
constexpr std::uint8_t kAbortedByHost = 1;

/// @param inside  more of the routine; @param more  of what SMART knows
std::string routine(int code, int seconds, const std::string& more = "",
                    const std::string& inside = "") {
  return R"("smart": {"self_tests": [{"code": )" + std::to_string(code) + R"(, "seconds": )" +
         std::to_string(seconds) + inside + "}]" + more + "}";
}
std::string ending(int code, int outcome, const std::string& lba = "") {
  return routine(code, 40, "",
                 R"(, "outcome": )" + std::to_string(outcome) +
                     (lba.empty() ? "" : R"(, "failing_lba": )" + lba));
}

struct SelfTestBench : ModuleBench {
  explicit SelfTestBench(const std::vector<std::string>& drives) : ModuleBench(machineOf(drives)) {
    scan(static_cast<std::uint32_t>(drives.size()));
  }
  /// What the drive says of its newest routine.
  std::uint8_t status(std::uint32_t index = 0) {
    std::uint8_t status = 0xFF;
    EXPECT_EQ(device(index).storageProtocol()->GetSelfTestResult(&status), ProtocolResult::Success);
    return status;
  }
  std::uint64_t seconds() { return machine().clock().now() / virtual_pc::kMicrosecondsPerSecond; }
};

TEST(SelfTests, EachOutcomeOfADriveHasItsVerdict) {
  const std::string hinted =
      " / log 0 POSSIBLE_DEFECTIVE_COMPONENTS: STORAGE_DEVICE / 100 same = 1";
  const std::string passed = " / 100 / 100 = 0";
  const std::string aborted = " / log 0 SELF_TEST_ABORTED_BY_EXTERNAL_FACTOR / 100 same / 100 = 5";
  const std::string unclear = " / log 0 INCONCLUSIVE_RESULT / 100 same / 100 = 5";
  const std::string sector =
      " / log 2 READ_ERROR_DETECTED / log 2 READING_SECTOR 300000 / 100 same / 100" + hinted;
  const auto fault = [&](const std::string& key) {
    return " / log 2 " + key + " / 100 same / 100" + hinted;
  };
  const std::vector<std::pair<std::string, std::string>> verdicts = {
      {passed, passed},
      {aborted, aborted},
      {aborted, aborted},
      {fault("CRITICAL_INTERRUPTION_DETECTED"), sector},
      {fault("UNKNOWN_ERROR_DETECTED"), sector},
      {fault("ELECTRICAL_ERROR_DETECTED"), sector},
      {fault("SEEK_ERROR_DETECTED"), sector},
      {sector, sector},
      {fault("HANDLING_DAMAGE_DETECTED"), unclear},
  };
  std::vector<std::string> drives;
  for (const char* kind : {"sata", "sas"}) {
    for (int outcome = 0; outcome < 9; ++outcome) {
      drives.push_back(driveOf(kind, std::string(kind) + std::to_string(outcome),
                               ending(1, outcome, outcome < 3 ? "" : "300000")));
    }
  }
  drives.push_back(driveOf("sas", "NONE", ending(1, 7)));
  SelfTestBench bench(drives);
  for (std::uint32_t i = 0; i < 9; ++i) {
    const std::string ata = bench.run(ids::kShortSelfTest, i);
    const std::string scsi = bench.run(ids::kShortSelfTest, 9 + i);
    EXPECT_THAT(ata, EndsWith(verdicts[i].first)) << i;
    EXPECT_THAT(scsi, EndsWith(verdicts[i].second)) << i;
    EXPECT_THAT(ata, StartsWith("0 / 2"));
    EXPECT_THAT(scsi, StartsWith("0 / 2"));
  }
  EXPECT_THAT(bench.run(ids::kShortSelfTest, 18), EndsWith(" / 75 / 100 / 100" + hinted))
      << "a failure without an address";
}

TEST(SelfTests, TheAddressOfAFailureIsFoundBehindOlderEntries) {
  for (const int older : {18, 19, 20, 21, 38}) {
    std::string log;
    for (int i = 0; i < older; ++i) {
      log += std::string(i == 0 ? "" : ", ") + R"({"status": 0})";
    }
    const std::string smart = R"("smart": {"self_test_log": [)" + log +
                              R"(], "self_tests": [{"code": 1, "seconds": 40, "outcome": 7,
                                  "failing_lba": 300000}]})";
    SelfTestBench bench({driveOf("sata", "OLD", smart), driveOf("sas", "OLD2", smart)});
    for (const std::uint32_t index : {0u, 1u}) {
      EXPECT_THAT(bench.run(ids::kShortSelfTest, index),
                  HasSubstr(" / log 2 READING_SECTOR 300000 / 100 same / "))
          << older;
    }
  }
}

TEST(SelfTests, EachRoutineReachesItsDrive) {
  SelfTestBench bench({driveOf("sata", "C", R"("rotation_rate": 7200, )" + routine(3, 60)),
                       driveOf("sata", "D", R"("rotation_rate": 7200, )" + routine(80, 60)),
                       driveOf("sas", "X", ending(2, 7, "4711")),
                       driveOf("sas", "U", routine(0, 20)),
                       driveOf("sas", "V", routine(0, 20, "", R"(, "outcome": 4)"))});
  EXPECT_THAT(bench.run(ids::kConveyanceSelfTest, 0), EndsWith(" / 100 / 100 = 0"));
  EXPECT_THAT(bench.run(ids::kDriveSelfTest, 1), EndsWith(" / 100 / 100 = 0"));
  EXPECT_THAT(bench.run(ids::kExtendedSelfTest, 2), HasSubstr("READING_SECTOR 4711"));
  EXPECT_EQ(bench.run(ids::kDefaultSelfTest, 3), "100 / 100 = 0");
  EXPECT_THAT(bench.run(ids::kDefaultSelfTest, 4), StartsWith("100 / 100 / log 0 POSSIBLE"));
  // None of them knows the short routine.
  for (std::uint32_t i = 0; i < 5; ++i) {
    EXPECT_THAT(bench.run(ids::kShortSelfTest, i),
                EndsWith("100 CANNOT_PERFORM_SELF_TEST / log 1 same / 100 = 3"));
  }
}

TEST(SelfTests, AnotherRoutineIsStoppedFirst) {
  const std::string found = "0 OTHER_SELF_TEST_ALREADY_IN_PROGRESS / log 1 same / ";
  const std::string running = R"(, "running_self_test": 1)";
  for (const char* kind : {"sata", "sas"}) {
    SelfTestBench bench({driveOf(kind, "BUSY", routine(1, 100, running))});
    ASSERT_EQ(bench.status(), kInProgress);
    const std::string received = bench.run(ids::kShortSelfTest);
    EXPECT_THAT(
        received,
        StartsWith(found +
                   "0 OTHER_SELF_TEST_ALREADY_IN_PROGRESS_WAS_ABORTED / log 1 same / 0 / "));
    EXPECT_THAT(received, EndsWith(" / 100 / 100 = 0"));
  }
  SelfTestBench stubborn({driveOf("sata", "STUBBORN",
                                  routine(1, 100, running + R"(, "self_test_abortable": false)"))});
  EXPECT_EQ(stubborn.run(ids::kShortSelfTest),
            found + "100 CANNOT_ABORT_OTHER_SELF_TEST_ALREADY_IN_PROGRESS / log 3 same / 100 = 5");
}

TEST(SelfTests, AbortAndTimeOutStopTheDriveAndALossDoesNotPass) {
  for (const char* kind : {"sata", "sas"}) {
    SCOPED_TRACE(kind);
    {
      SelfTestBench bench({driveOf(kind, "LONG", routine(1, 5000))});
      EXPECT_THAT(bench.run(ids::kShortSelfTest, 0, 300), EndsWith(" / 100 / 100 = 4"));
      EXPECT_EQ(bench.status(), kAbortedByHost);
      const std::uint64_t before = bench.seconds();
      EXPECT_THAT(bench.run(ids::kShortSelfTest),
                  EndsWith(" / 100 TEST_FINISHED_WITH_TIMEOUT: 600 s / log 3 same / 100 = 5"));
      EXPECT_EQ(bench.status(), kAbortedByHost);
      EXPECT_NEAR(static_cast<double>(bench.seconds() - before), 600, 2);
    }
    // Gone at the third poll.
    const std::string poll =
        kind[1] == 'a' && kind[2] == 't' ? R"("command": 176, "detail": 208)" : R"("command": 3)";
    SelfTestBench lost({driveOf(
        kind, "LOST",
        routine(1, 500) + R"(, "faults": [{"action": "vanish", "occurrence": 9, )" + poll + "}]")});
    EXPECT_THAT(lost.run(ids::kShortSelfTest),
                EndsWith(" / 100 DEVICE_COMMUNICATION_FAILURE / log 3 same / 100 = 4"));
  }
}

TEST(SelfTests, ADriveWithSmartSwitchedOffIsAskedWhatItCanDo) {
  const auto off = [](int code, const std::string& more = "") {
    return R"("rotation_rate": 7200, )" + routine(code, 40, R"(, "enabled": false)" + more);
  };
  const std::pair<Identifier, int> cases[] = {
      {ids::kShortSelfTest, 1}, {ids::kDriveSelfTest, 80}, {ids::kConveyanceSelfTest, 3}};
  for (const auto& [test, code] : cases) {
    SelfTestBench bench(
        {driveOf("sata", "OFF", off(code)),
         driveOf("sata", "CANNOT", off(code, R"(, "capabilities": 0)")),
         driveOf("sata", "OLD", R"("rotation_rate": 7200, "smart": {"supported": false})")});
    ASSERT_FALSE(bench.smartEnabled(0));
    EXPECT_TRUE(bench.test(test).isApplicable(bench.manager().component(0)));
    EXPECT_THAT(bench.run(test, 0), EndsWith(" / 100 / 100 = 0"));
    EXPECT_FALSE(bench.smartEnabled(0));
    const std::string refused = bench.run(test, 1);
    EXPECT_THAT(refused, EndsWith(" / 100 = 3"));
    EXPECT_THAT(refused, HasSubstr("SUPPORT")) << "the reason is what the drive cannot do";
    EXPECT_FALSE(bench.smartEnabled(1));
    EXPECT_FALSE(bench.test(test).isApplicable(bench.manager().component(2)));
  }
}

TEST(SelfTests, AStopBeforeTheWorkLeavesARunningRoutineAlone) {
  // A host that only wants to know why a test does not apply runs it with an abort that shows from
  // the second look on.
  SelfTestBench bench(
      {driveOf("sata", "BUSY",
               routine(1, 5000, R"(, "running_self_test": 1)") + R"(, "rotation_rate": 7200)")});
  ASSERT_EQ(bench.status(), kInProgress);
  for (const Identifier& item : {ids::kShortSelfTest, ids::kDriveSelfTest}) {
    EXPECT_THAT(bench.run(item, 0, 1), EndsWith(" = 4"));
    EXPECT_EQ(bench.status(), kInProgress);
  }
}

TEST(SelfTests, DrivesSayHowLongTheyTake) {
  const std::string all = R"("smart": {"self_tests": [{"code": 1, "seconds": 100},
      {"code": 2, "seconds": 20000}, {"code": 3, "seconds": 300}])";
  SelfTestBench bench(
      {driveOf("sata", "ATA", all + "}"), driveOf("sata", "OFF", all + R"(, "enabled": false})"),
       driveOf("sata", "BARE", routine(2, 600)), driveOf("sas", "SAS", all + "}"),
       driveOf("sas", "LONG", routine(2, 7201) + R"(, "scsi": {"mode_pages6": false})"),
       driveOf("sas", "END", routine(2, 70000)), driveOf("nvme", "NVME", "")});
  const auto row = [](const std::string& name, int seconds) {
    return R"({"description":")" + name + R"(","data":")" + std::to_string(seconds) + R"("})";
  };
  const std::vector<std::string> expected = {
      "[" + row("Short", 120) + "," + row("Extended", 20040) + "," + row("Conveyance", 300) + "]",
      "none",
      "[" + row("Extended", 600) + "]",
      "[" + row("Extended", 20000) + "]",
      "[" + row("Extended", 7201) + "]",
      "none",
      "none"};
  for (std::uint32_t i = 0; i < expected.size(); ++i) {
    std::string report;
    const bool had = bench.manager().component(i)->getReport("SELF_TEST_TIMES", report);
    EXPECT_EQ(had ? report : "none", expected[i]) << i;
  }
}

}  // namespace
}  // namespace ostria::storage::test
