// The controller status test as a host meets it, with and without the driver service.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ostria/storage/test_ids.h"
#include "tests/support/bench.h"

namespace ostria::storage::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::string kService = R"("driver_service": {})";
const std::string kHint = "POSSIBLE_DEFECTIVE_COMPONENTS: STORAGE_DEVICE, SYSTEM_BOARD";

std::string with(const std::string& more, const std::vector<std::string>& drives) {
  return R"({"format": 1, )" + more +
         machineOf(drives).substr(std::string(R"({"format": 1)").size());
}

struct Verdict {
  bool applicable;
  TestResult result;
  std::vector<std::string> messages;
};

Verdict judge(ModuleBench& bench, std::uint32_t index) {
  Test& test = bench.test(ids::kControllerStatus);
  FakeHost host(bench.manager().component(index));
  const bool applicable = test.isApplicable(host.component());
  const TestResult result = test.run(&host);
  return {applicable, result, host.messages};
}

TEST(ControllerStatus, TheRegisterDecides) {
  ModuleBench bench(with(
      kService, {driveOf("nvme", "GOOD"),
                 driveOf("nvme", "FATAL", R"("nvme": {"registers": {"fatal": true}})"),
                 driveOf("nvme", "DEAF", R"("nvme": {"registers": {"readable": false}})"),
                 driveOf("nvme", "IDLE",
                         R"("nvme": {"pass_through": "mini_port", "registers": {"ready": false}})"),
                 driveOf("sata", "ATA")}));
  bench.scan(5);
  // Each drive's location is its own controller's: one verdict does not leak to its neighbours.
  const Verdict good = judge(bench, 0);
  EXPECT_TRUE(good.applicable);
  EXPECT_EQ(good.result, TestResult::Passed);
  EXPECT_THAT(good.messages, ElementsAre("progress 100"));

  const Verdict fatal = judge(bench, 1);
  EXPECT_TRUE(fatal.applicable);
  EXPECT_EQ(fatal.result, TestResult::Failed);
  EXPECT_THAT(fatal.messages, ElementsAre("progress 100 NVME_CONTROLLER_STATUS_TEST_FAIL",
                                          "log 0 flag 1 NVME_CONTROLLER_STATUS_TEST_FAIL",
                                          "log 0 " + kHint, "progress 100 " + kHint));

  const Verdict deaf = judge(bench, 2);
  EXPECT_TRUE(deaf.applicable);
  EXPECT_EQ(deaf.result, TestResult::Stopped);
  EXPECT_THAT(deaf.messages, ElementsAre("progress 100 CONTINUOUS_FAILURE_WARNING",
                                         "log 0 flag 1 CONTINUOUS_FAILURE_WARNING"));

  EXPECT_EQ(judge(bench, 3).result, TestResult::Passed);
  EXPECT_FALSE(judge(bench, 4).applicable);
}

TEST(ControllerStatus, AControllerThatIsNotThereIsLostAndNotDefective) {
  for (const char* registers : {R"({"gone": true})", R"({"answer_bytes": 2, "fatal": true})"}) {
    ModuleBench bench(
        with(kService,
             {driveOf("nvme", "N", std::string(R"("nvme": {"registers": )") + registers + "}")}));
    bench.scan(1);
    const Verdict lost = judge(bench, 0);
    EXPECT_EQ(lost.result, TestResult::Stopped) << registers;
    EXPECT_EQ(lost.messages.back(), "log 0 flag 1 CONTINUOUS_FAILURE_WARNING");
  }
}

TEST(ControllerStatus, WithoutAUsableServiceOrAnNvmeControllerItIsRefused) {
  const std::string raid = kService +
                           R"(, "controllers": [{"name": "raid", "bus": 9,
                                "hardware_id": "PCI\\VEN_1AF4&DEV_2822&CC_0104"}])";
  const struct {
    const char* name;
    std::string machine;
    std::string drive;
  } rows[] = {{"no library", R"("administrator": true)", ""},
              {"not available", R"("driver_service": {"available": false})", ""},
              {"class of a RAID controller", raid, R"("controller": "raid")"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    ModuleBench bench(with(row.machine, {driveOf("nvme", "N", row.drive)}));
    bench.scan(1);
    EXPECT_EQ(bench.device(0).controllerAccess(), 0u);
    const Verdict verdict = judge(bench, 0);
    EXPECT_FALSE(verdict.applicable);
    EXPECT_EQ(verdict.result, TestResult::NotPerformed);
    EXPECT_EQ(verdict.messages.back(),
              "log 0 flag 1 NVME Controller Test: Execution Supports failed.");
  }
}

}  // namespace
}  // namespace ostria::storage::test
