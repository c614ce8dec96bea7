// A host whose channels fail with an exception, at each report of a run in turn: the drive must be
// left as it was found, and no exception may come back.
#include <gtest/gtest.h>

#include "ostria/storage/test_ids.h"
#include "tests/support/bench.h"

namespace ostria::storage::test {
namespace {

struct Subject {
  const char* name;
  Identifier test;
  const char* drive;  ///< the inside of a JSON object
};

// SMART is off where the test can do without the drive's SMART data before its start.
const Subject kSubjects[] = {
    {"SmartStatus", ids::kSmartStatus,
     R"("kind": "sata", "smart": {"enabled": false, "failing": true})"},
    {"SmartStatusOfSas", ids::kSmartStatus, R"("kind": "sas", "smart": {"enabled": false})"},
    {"SmartWearout", ids::kSmartWearout,
     R"("kind": "sata", "solid_state": true,
        "smart": {"enabled": false, "attributes": [{"id": 233, "value": 5}]})"},
    {"SmartHealth", ids::kSmartHealth,
     R"("kind": "sata", "smart": {"enabled": false, "attributes": [{"id": 5, "raw": 60}]})"},
    {"TargetedRead", ids::kTargetedRead,
     R"("kind": "sata", "smart": {"enabled": false}, "bad_sectors": [{"lba": 3}])"},
    {"ShortOfSata", ids::kShortSelfTest,
     R"("kind": "sata", "smart": {"self_tests": [{"code": 1, "seconds": 45}]})"},
    {"ShortOfSataTimedOut", ids::kShortSelfTest,
     R"("kind": "sata", "smart": {"self_tests": [{"code": 1, "seconds": 900}]})"},
    {"ShortOfSas", ids::kShortSelfTest,
     R"("kind": "sas", "smart": {"self_tests": [{"code": 1, "seconds": 45, "outcome": 7,
        "failing_lba": 11}]})"},
};

class FailingHost : public ::testing::TestWithParam<Subject> {};

TEST_P(FailingHost, LeavesTheDriveAsItWasFound) {
  const Subject& subject = GetParam();
  ModuleBench bench(machineOf({std::string(subject.drive) +
                               R"(, "model": "BENCH", "serial": "B1", "size_sectors": 4000)"}));
  bench.scan(1);
  const bool smart = bench.smartEnabled(0);
  storage::Test& test = bench.test(subject.test);
  FakeHost whole(bench.manager().component(0));
  const TestResult verdict = test.run(&whole);
  ASSERT_GE(whole.reports, 2u);
  for (unsigned report = 0; report < whole.reports; ++report) {
    SCOPED_TRACE("report " + std::to_string(report) + " of " + std::to_string(whole.reports));
    FakeHost host(bench.manager().component(0));
    host.failAtReport = report;
    const TestResult result = test.run(&host);
    // The verdict stands when just the line behind it fails.
    EXPECT_TRUE(result == TestResult::CouldNotStart || result == verdict);
    ASSERT_FALSE(host.messages.empty());
    EXPECT_EQ(bench.smartEnabled(0), smart);
    if (result == TestResult::CouldNotStart) {
      EXPECT_EQ(host.messages.back(), "progress 100");
    }
    std::uint8_t status = 0;
    StorageProtocol& protocol = *bench.device(0).storageProtocol();
    if (smart) {
      EXPECT_EQ(protocol.GetSelfTestResult(&status), ProtocolResult::Success);
      EXPECT_NE(status, 15) << "the drive's routine still runs";
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Tests, FailingHost, ::testing::ValuesIn(kSubjects),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace ostria::storage::test
