// What a sound drive of each kind says of itself, by each way to it: every flag and size of the
// record, as the tests and reports find it.
#include <gtest/gtest.h>

#include "tests/support/raid_bench.h"
#include "tests/support/sound_drives.h"

namespace ostria::storage::test {
namespace {

/// The flags that are set, then the numbers.
std::string written(const StorageProtocolProperties& p) {
  std::string text = p.protocolName;
  const std::pair<const char*, bool> flags[] = {{"solid", p.solidState},
                                                {"removable", p.removable},
                                                {"security", p.securitySupported},
                                                {"locked", p.securityLocked},
                                                {"smart", p.smartSupported},
                                                {"on", p.smartEnabled},
                                                {"lba48", p.lba48Supported},
                                                {"data", p.smartDataValid},
                                                {"offline", p.offlineImmediateSupported},
                                                {"abort", p.selfTestAbortSupported},
                                                {"selftest", p.selfTestSupported},
                                                {"conveyance", p.conveyanceSupported}};
  for (const auto& [name, set] : flags) {
    text += set ? std::string(" ") + name : "";
  }
  return text + " " + std::to_string(p.logicalSectorSize) + "/" +
         std::to_string(p.physicalSectorSize) + " " + std::to_string(p.rotationRate);
}

TEST(SoundProperties, EachKindOfDriveSaysWhatItIs) {
  const char* const kWanted[] = {
      "ATA security smart on lba48 data offline selftest conveyance 512/512 7200",
      "ATA solid security smart on lba48 data offline selftest conveyance 512/512 0",
      "SCSI 512/512 0",
      "SCSI 512/512 0",
      "SCSI 512/512 0",
      "SCSI 512/512 0",
      "SCSI solid 512/512 0",
      "SCSI smart on 512/512 7200",
      "NVMe solid smart on selftest 512/512 0",
      "NVMe solid smart on selftest 512/512 0",
      "NVMe solid smart on selftest 512/512 0",
      "SCSI solid smart on 512/512 0",
      "EMMC solid 512/512 0",
      "EMMC solid 512/512 0",
      "ATA security smart on lba48 data offline selftest conveyance 512/512 7200",
      "SCSI smart on 512/512 7200",
      "NVMe solid smart on selftest 512/512 0",
      "SCSI smart on 512/512 7200",
      "SCSI smart on 512/512 7200",
  };
  ASSERT_EQ(std::size(kWanted), std::size(kSoundDrives));
  for (std::size_t i = 0; i < std::size(kSoundDrives); ++i) {
    const DriveKind& drive = kSoundDrives[i];
    SCOPED_TRACE(drive.name);
    ModuleBench bench(drive.controller == DriveKind::Behind::Lsi
                          ? withLibraryLoaded(machineWith(drive, false))
                          : machineWith(drive, false));
    bench.scan(1);
    StorageProtocol& protocol = *bench.device(0).storageProtocol();
    StorageProtocolProperties properties;
    EXPECT_EQ(protocol.GetProperties(&properties), ProtocolResult::Success);
    EXPECT_EQ(written(properties), kWanted[i]);
    if (protocol.GetProtocolKind() == ProtocolKind::Emmc) {
      std::uint8_t celsius = 1;
      std::uint64_t lba = 1;
      EXPECT_NE(protocol.GetTemperature(nullptr), ProtocolResult::Success);
      EXPECT_NE(protocol.GetFirstFailedLba(nullptr), ProtocolResult::Success);
      EXPECT_EQ(protocol.GetTemperature(&celsius), ProtocolResult::Success);
      EXPECT_EQ(protocol.GetFirstFailedLba(&lba), ProtocolResult::Success);
      EXPECT_EQ(celsius + lba, 0u);
    }
  }
}

}  // namespace
}  // namespace ostria::storage::test
