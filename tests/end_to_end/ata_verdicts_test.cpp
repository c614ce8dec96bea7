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

using Bench = OneDriveBench;

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
  Bench recovered(disk(R"(, {"command": 133, "times": 0, "action": "scsi_status", "status": 2,
                            "codes": [1, 23, 0]})"));
  EXPECT_THAT(recovered.run(ids::kQuickRandomSeek), EndsWith(" = 0")) << "with all its data";
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
