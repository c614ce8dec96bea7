// What a SCSI or NVMe drive refuses never passes for an answer, and makes no drive a defective one.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ostria/storage/test_ids.h"
#include "tests/support/raid_bench.h"

namespace ostria::storage::test {
namespace {

using ::testing::Contains;
using ::testing::HasSubstr;

constexpr int kRead16 = 0x88;
constexpr int kSendDiagnostic = 0x1D;

Json fault(int command, const char* action, Json more = Json::object()) {
  more["action"] = action;
  more["command"] = command;
  return more;
}
/// The command ends with this sense key, so often (0 for ever).
Json sense(int command, int key, int times, int code = 0) {
  return fault(command, "device_error", {{"codes", {key, code, 0}}, {"times", times}});
}

Json sasDrive() {
  return {
      {"kind", "sas"},
      {"model", "REFUSING"},
      {"serial", "R1"},
      {"size_sectors", 4096},
      {"smart", {{"self_tests", {{{"code", 1}, {"seconds", 20}}, {{"code", 0}, {"seconds", 5}}}}}}};
}
Json machineWith(const Json& drive) { return {{"format", 1}, {"drives", Json::array({drive})}}; }

struct Outcome {
  TestResult result = TestResult::CouldNotStart;
  std::vector<std::string> messages;
};
Outcome runOn(ModuleBench& bench, const Identifier& item, std::uint32_t index) {
  FakeHost host(bench.manager().component(index));
  host.answer = InputRequest::Yes;
  const TestResult result = bench.test(item).run(&host);
  return {result, host.messages};
}
Outcome runOnce(const Json& drive, const Identifier& item) {
  ModuleBench bench(machineWith(drive).dump());
  bench.scan(1);
  return runOn(bench, item, 0);
}

TEST(RefusedCommands, ARaidMembersBadSectorsAreFoundWhateverItsTransportReports) {
  const auto scanned = [](const char* name, const Json& more) {
    Json machine = raidMachine();
    for (Json& drive : machine["drives"]) {
      if (drive["name"] == name) {
        drive.update(more);
      }
    }
    RaidBench bench(machine);
    bench.manager().scan();
    const std::string serial = std::string(name) == "flash" ? "RPC-NVM-01" : "RPC-SAS-01";
    const std::vector<std::string> all = bench.serials();
    const auto found = std::find(all.begin(), all.end(), serial);
    EXPECT_NE(found, all.end());
    const auto index = static_cast<std::uint32_t>(found - all.begin());
    return std::pair(runOn(bench, ids::kFullDiskScan, index).result,
                     runOn(bench, ids::kLinearRead, index).result);
  };
  using Pair = std::pair<TestResult, TestResult>;
  // The pass-through of the NVMe member carries a failed read as zeros.
  const Json bad = {{"bad_sectors", Json::array({{{"lba", 20000}, {"count", 15000}}})}};
  EXPECT_EQ(scanned("flash", bad), Pair(TestResult::Failed, TestResult::Failed));
  EXPECT_EQ(scanned("single", bad), Pair(TestResult::Failed, TestResult::Failed));
  EXPECT_EQ(scanned("flash", Json::object()), Pair(TestResult::Passed, TestResult::Passed));
  for (const int key : {2, 0xB}) {
    const Pair refused = scanned("single", {{"faults", Json::array({sense(kRead16, key, 0)})}});
    EXPECT_NE(refused.first, TestResult::Passed) << key;
    EXPECT_NE(refused.second, TestResult::Passed) << key;
    EXPECT_NE(refused.first, TestResult::Failed) << key;
  }
}

TEST(RefusedCommands, ASelfTestThatTheDriveDidNotStartWasNotPerformed) {
  const struct {
    int key;
    int times;
    TestResult shortTest;
    TestResult defaultTest;
  } rows[] = {{2, 0, TestResult::NotPerformed, TestResult::NotPerformed},
              {6, 0, TestResult::NotPerformed, TestResult::NotPerformed},
              {0xB, 0, TestResult::NotPerformed, TestResult::NotPerformed},
              {4, 0, TestResult::NotPerformed, TestResult::Failed},
              {3, 0, TestResult::NotPerformed, TestResult::Failed},
              {6, 1, TestResult::Passed, TestResult::Passed}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.key);
    Json drive = sasDrive();
    drive["faults"] = Json::array({sense(kSendDiagnostic, row.key, row.times)});
    const Outcome first = runOnce(drive, ids::kShortSelfTest);
    EXPECT_EQ(first.result, row.shortTest);
    if (row.shortTest == TestResult::NotPerformed) {
      EXPECT_THAT(first.messages, Contains(HasSubstr("CANNOT_PERFORM_SELF_TEST")));
    }
    EXPECT_EQ(runOnce(drive, ids::kDefaultSelfTest).result, row.defaultTest);
  }
}

TEST(RefusedCommands, AFailingDriveThatReportsNoProgressStillFails) {
  Json drive = sasDrive();
  drive["smart"]["self_tests"][0]["outcome"] = 7;
  drive["smart"]["self_tests"][0]["failing_lba"] = 99;
  drive["faults"] = Json::array({sense(0x03, 5, 0)});  // REQUEST SENSE
  const Outcome run = runOnce(drive, ids::kShortSelfTest);
  EXPECT_EQ(run.result, TestResult::Failed);
  EXPECT_THAT(run.messages, ::testing::Not(Contains("progress 1"))) << "nothing is known of it";
}

TEST(RefusedCommands, NothingAsksAUsbStickForTheModePageThatItHangsOn) {
  Json stick = {{"kind", "usb_stick"},
                {"model", "STICK"},
                {"serial", "U1"},
                {"size_sectors", 4096},
                {"bad_sectors", Json::array({{{"lba", 1000}}})},
                {"faults", Json::array({fault(0x1A, "vanish"), fault(0x5A, "vanish")})}};
  ModuleBench bench(machineWith(stick).dump());
  bench.scan(1);
  bench.manager().refreshComponent(0);
  EXPECT_EQ(runOn(bench, ids::kFullDiskScan, 0).result, TestResult::Failed);
  EXPECT_TRUE(bench.device(0).storageProtocol()->IsAccessible());
}

TEST(RefusedCommands, AWornDriveWithoutTheVendorsLogIsNotShownAsNew) {
  for (const char* way : {"intel_port", "mini_port", "storage_query"}) {
    const Json drive = {{"kind", "nvme"},
                        {"model", "N"},
                        {"serial", "N1"},
                        {"size_sectors", 4'194'304},
                        {"nvme",
                         {{"pass_through", way},
                          {"endurance_estimate", 1000},
                          {"health", {{"percentage_used", 95}}}}}};
    const Outcome run = runOnce(drive, ids::kNvmeHealthPrediction);
    EXPECT_EQ(run.result, TestResult::Warning) << way;
    EXPECT_THAT(run.messages, Contains(HasSubstr(" 5% "))) << way;
  }
}

TEST(RefusedCommands, AChipIsReadToItsEnd) {
  const Json chip = {{"kind", "emmc"},
                     {"model", "CHIP"},
                     {"serial", "E1"},
                     {"size_sectors", 32000},
                     {"bad_sectors", Json::array({{{"lba", 16065}, {"count", 15935}}})}};
  ModuleBench bench(machineWith(chip).dump());
  bench.scan(1);
  StorageProtocolProperties properties;
  EXPECT_EQ(bench.device(0).storageProtocol()->GetCachedProperties(&properties),
            ProtocolResult::Success);
  EXPECT_EQ(properties.totalSectors, 32000u);
  EXPECT_EQ(runOn(bench, ids::kFullDiskScan, 0).result, TestResult::Failed);
}

}  // namespace
}  // namespace ostria::storage::test
