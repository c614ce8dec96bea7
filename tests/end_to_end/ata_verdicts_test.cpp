// Whole tests on ATA drives that refuse, lose or cut commands, or whose translators do: nothing of
// it may pass, and only what the drive itself did may count against it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ostria/storage/test_ids.h"
#include "tests/support/bench.h"
#include "tests/support/watched_drive.h"

namespace ostria::storage::test {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;

using Bench = OneDriveBench;

std::string everySector(const std::string& kind) {
  return R"("bad_sectors": [{"lba": 0, "count": 409600, "kind": ")" + kind + R"("}])";
}

std::string everyRead(const std::string& action) {
  return R"("faults": [{"command": 36, "times": 0, "action": )" + action + "}]";
}

TEST(AtaVerdicts, NoReadPassesThatTheDriveDidNotServe) {
  struct Case {
    const char* name;
    std::string drive;
    TestResult result;
  };
  constexpr auto kFailed = TestResult::Failed;
  constexpr auto kStopped = TestResult::Stopped;
  for (const Case& c : {
           Case{"unreadable", everySector("medium"), kFailed},
           Case{"interface CRC error", everySector("interface"), kFailed},
           Case{"aborted by the drive", everySector("rejected"), kStopped},
           Case{"device fault", everyRead(R"("device_error", "codes": [0, 96])"), kStopped},
           Case{"dead link", everyRead(R"("device_error", "codes": [255, 255])"), kStopped},
           Case{"no data", everyRead(R"("short", "bytes": 0)"), kStopped},
           Case{"a byte missing", everyRead(R"("short", "bytes": 511)"), kStopped},
           Case{"lost", everyRead(R"("transport", "error": 1117)"), kStopped},
       }) {
    Bench disk(driveOf("sata", "R1", c.drive));
    for (const Identifier& item :
         {ids::kTargetedRead, ids::kQuickRandomSeek, ids::kQuickFunnelSeek}) {
      EXPECT_THAT(disk.run(item), EndsWith(" = " + std::to_string(static_cast<unsigned>(c.result))))
          << c.name << ", test " << item.item;
    }
  }
}

TEST(AtaVerdicts, NoReadPassesThatATranslatorRefused) {
  // A USB disk whose SCSI side does not know its size, so that only SAT reaches its sectors.
  const auto disk = [](const std::string& fault) {
    return driveOf("usb_sat", "U1",
                   R"("bridge_faults": [{"command": 37, "times": 0, "action": "device_error",
                        "codes": [5, 32, 0]},
                       {"command": 158, "times": 0, "action": "device_error", "codes": [5, 32, 0]})" +
                       fault + "]");
  };
  for (const Identifier& item : {ids::kQuickRandomSeek, ids::kQuickFunnelSeek}) {
    EXPECT_THAT(Bench(disk("")).run(item), EndsWith(" = 0"));
  }
  for (int key = 0; key < 16; ++key) {
    Bench failing(disk(R"(, {"command": 133, "times": 0, "action": "device_error", "codes": [)" +
                       std::to_string(key) + ", 0, 0]}"));
    const std::string verdict = key == 3 ? " = 1" : " = 4";
    for (const Identifier& item : {ids::kQuickRandomSeek, ids::kQuickFunnelSeek}) {
      EXPECT_THAT(failing.run(item), EndsWith(verdict)) << "sense key " << key;
    }
  }
  const auto ending = [&](const std::string& fault) {
    Bench bench(disk(R"(, {"command": 133, "times": 0, "action": )" + fault + "}"));
    return bench.run(ids::kQuickRandomSeek);
  };
  for (const char* fault :
       {R"("short", "bytes": 500)",                             // a part of the sector
        R"("scsi_status", "status": 8)",                        // BUSY
        R"("scsi_status", "status": 24)",                       // RESERVATION CONFLICT
        R"("scsi_status", "status": 40)",                       // TASK SET FULL
        R"("scsi_status", "status": 2)",                        // no sense
        R"("scsi_status", "status": 0, "codes": [11, 71, 3])",  // sense behind GOOD
        R"("scsi_status", "status": 2, "codes": [6, 41, 0], "descriptor": true)"}) {
    EXPECT_THAT(ending(fault), EndsWith(" = 4")) << fault;
  }
  EXPECT_THAT(ending(R"("scsi_status", "status": 2, "codes": [1, 23, 0])"), EndsWith(" = 0"))
      << "a recovered error, with all its data";
}

TEST(AtaVerdicts, ARefusedLogDoesNotHideTheDriveBehindItsTranslator) {
  // The drive has no vendor log, and its translator aborts every command without data.
  const std::string routine =
      R"("smart": {"self_tests": [{"code": 1, "seconds": 40, "outcome": 7, "failing_lba": 55}]})";
  Bench disk(driveOf("sata", "S1",
                     routine + R"(, "bridge_faults": [{"command": 161, "detail": 108, "times": 0,
                                    "action": "device_error", "codes": [11, 0, 0]}])"));
  WatchedDrive watch(*disk.machine().drives()[0]);
  EXPECT_THAT(disk.run(ids::kShortSelfTest), HasSubstr("READING_SECTOR 55"));
  EXPECT_THAT(disk.run(ids::kQuickRandomSeek), EndsWith(" = 0"));
  EXPECT_EQ(watch.scsiCommands[0x85] + watch.scsiCommands[0xA1], 0u);
}

}  // namespace
}  // namespace ostria::storage::test
