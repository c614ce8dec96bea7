// The controller status test as a host meets it, with and without the driver service.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ostria/storage/test_ids.h"
#include "tests/support/bench.h"

namespace ostria::storage::test {
namespace {

using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::StartsWith;

const std::string kService = R"("driver_service": {})";
constexpr char kLost[] =
    "100 CONTINUOUS_FAILURE_WARNING / log 0 flag 1 CONTINUOUS_FAILURE_WARNING = 4";

std::string with(const std::string& more, const std::vector<std::string>& drives) {
  return R"({"format": 1, )" + more +
         machineOf(drives).substr(std::string(R"({"format": 1)").size());
}

/// The messages and the result, behind a dash where the test does not apply.
std::string judge(ModuleBench& bench, std::uint32_t index) {
  Test& test = bench.test(ids::kControllerStatus);
  const bool applies = test.isApplicable(bench.manager().component(index));
  return (applies ? "" : "- ") + bench.run(ids::kControllerStatus, index);
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
  EXPECT_EQ(judge(bench, 0), "100 = 0");
  EXPECT_EQ(judge(bench, 1),
            "100 NVME_CONTROLLER_STATUS_TEST_FAIL / log 0 flag 1 NVME_CONTROLLER_STATUS_TEST_FAIL "
            "/ log 0 POSSIBLE_DEFECTIVE_COMPONENTS: STORAGE_DEVICE, SYSTEM_BOARD / 100 same = 1");
  EXPECT_EQ(judge(bench, 2), kLost);
  EXPECT_EQ(judge(bench, 3), "100 = 0");
  EXPECT_EQ(judge(bench, 4)[0], '-');
}

TEST(ControllerStatus, AControllerThatIsNotThereIsLostAndNotDefective) {
  for (const char* registers : {R"({"gone": true})", R"({"answer_bytes": 2, "fatal": true})"}) {
    ModuleBench bench(
        with(kService,
             {driveOf("nvme", "N", std::string(R"("nvme": {"registers": )") + registers + "}")}));
    bench.scan(1);
    EXPECT_EQ(judge(bench, 0), kLost) << registers;
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
    EXPECT_THAT(
        judge(bench, 0),
        AllOf(StartsWith("- "),
              EndsWith("log 0 flag 1 NVME Controller Test: Execution Supports failed. = 3")));
  }
}

}  // namespace
}  // namespace ostria::storage::test
