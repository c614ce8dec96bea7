// What a SCSI drive refuses never passes for an answer, and makes no drive a defective one.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ostria/storage/test_ids.h"
#include "tests/support/bench.h"

namespace ostria::storage::test {
namespace {

using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;

/// A drive with self-tests of which the short one ends as `outcome` says, and one planned fault.
std::string sasDrive(const std::string& outcome, const std::string& fault) {
  return driveOf("sas", "R1",
                 R"("smart": {"self_tests": [{"code": 1, "seconds": 20)" + outcome +
                     R"(}, {"code": 0, "seconds": 5}]}, "faults": [{"action": "device_error", )" +
                     fault + "}]");
}

TEST(RefusedCommands, ASelfTestThatTheDriveDidNotStartWasNotPerformed) {
  const struct {
    int key;
    int times;
    const char* shortTest;
    const char* defaultTest;
  } rows[] = {{2, 0, " = 3", " = 3"}, {6, 0, " = 3", " = 3"}, {0xB, 0, " = 3", " = 3"},
              {4, 0, " = 3", " = 1"}, {3, 0, " = 3", " = 1"}, {6, 1, " = 0", " = 0"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.key);
    const std::string drive =
        sasDrive("", R"("command": 29, "codes": [)" + std::to_string(row.key) +
                         R"(, 0, 0], "times": )" + std::to_string(row.times));
    const std::string received = OneDriveBench(drive).run(ids::kShortSelfTest);
    EXPECT_THAT(received, EndsWith(row.shortTest));
    EXPECT_EQ(received.find("CANNOT_PERFORM_SELF_TEST") == std::string::npos, row.times != 0);
    EXPECT_THAT(OneDriveBench(drive).run(ids::kDefaultSelfTest), EndsWith(row.defaultTest));
  }
}

TEST(RefusedCommands, AFailingDriveThatReportsNoProgressStillFails) {
  OneDriveBench bench(sasDrive(R"(, "outcome": 7, "failing_lba": 99)",
                               R"("command": 3, "codes": [5, 0, 0], "times": 0)"));
  EXPECT_THAT(bench.run(ids::kShortSelfTest), AllOf(EndsWith(" = 1"), Not(HasSubstr(" 1 / "))))
      << "nothing is known of it";
}

TEST(RefusedCommands, NothingAsksAUsbStickForTheModePageThatItHangsOn) {
  OneDriveBench bench(driveOf("usb_stick", "U1", R"("bad_sectors": [{"lba": 1000}], "faults": [
      {"action": "vanish", "command": 26}, {"action": "vanish", "command": 90}])"));
  bench.manager().refreshComponent(0);
  EXPECT_THAT(bench.run(ids::kFullDiskScan), EndsWith(" = 1"));
  EXPECT_TRUE(bench.device(0).storageProtocol()->IsAccessible());
}

}  // namespace
}  // namespace ostria::storage::test
