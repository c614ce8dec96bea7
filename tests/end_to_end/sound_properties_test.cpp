// What a sound drive of each kind says of itself, by each way to it: every flag and size of the
// record, as the tests and reports find it.
#include <gtest/gtest.h>

#include "services/number_handler.h"
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
         std::to_string(p.physicalSectorSize) + " " + std::to_string(p.totalSectors) + " " +
         std::to_string(p.rotationRate);
}

TEST(SoundProperties, EachKindOfDriveSaysWhatItIs) {
  const char* const kWanted[] = {
      "ATA security smart on lba48 data offline selftest conveyance 512/512 2400 7200",
      "ATA solid security smart on lba48 data offline selftest conveyance 512/512 2400 0",
      "SCSI 512/512 2400 0",
      "SCSI 512/512 2400 0",
      "SCSI 512/512 2400 0",
      "SCSI 512/512 2400 0",
      "SCSI solid 512/512 2400 0",
      "SCSI smart on 512/512 2400 7200",
      "NVMe solid smart on selftest 512/512 2400 0",
      "NVMe solid smart on selftest 512/512 2400 0",
      "NVMe solid smart on selftest 512/512 2400 0",
      "SCSI solid smart on 512/512 2400 0",
      "EMMC solid 512/512 2400 0",
      "EMMC solid 512/512 2400 0",
      "ATA security smart on lba48 data offline selftest conveyance 512/512 2400 7200",
      "SCSI smart on 512/512 2400 7200",
      "NVMe solid smart on selftest 512/512 2400 0",
      "SCSI smart on 512/512 2400 7200",
      "SCSI smart on 512/512 2400 7200",
  };
  ASSERT_EQ(std::size(kWanted), std::size(kSoundDrives));
  for (std::size_t i = 0; i < std::size(kSoundDrives); ++i) {
    const DriveKind& drive = kSoundDrives[i];
    SCOPED_TRACE(drive.name);
    ModuleBench bench(soundMachine(drive));
    bench.scan(1);
    StorageProtocol& protocol = *bench.device(0).storageProtocol();
    StorageProtocolProperties properties;
    EXPECT_EQ(protocol.GetProperties(&properties), ProtocolResult::Success);
    EXPECT_EQ(written(properties), kWanted[i]);
    if (protocol.GetProtocolKind() == ProtocolKind::Emmc) {
      std::uint8_t celsius = 1;
      std::uint64_t lba = 1;
      EXPECT_EQ(protocol.GetTemperature(&celsius), ProtocolResult::Success);
      EXPECT_EQ(protocol.GetFirstFailedLba(&lba), ProtocolResult::Success);
      EXPECT_EQ(celsius + lba, 0u);
    }
  }
}

// The generators of random addresses are seeded with the time of day.
TEST(SoundProperties, VerdictsAreTheSameAtAnyTime) {
  const auto verdicts = [](const DriveKind& drive, std::uint32_t seconds) {
    ModuleBench bench(soundMachine(drive));
    bench.machine().clock().advance(seconds * virtual_pc::kMicrosecondsPerSecond);
    getLocalNumberHandler().seedRandom(seconds);
    bench.scan(1);
    std::string all;
    for (const Identifier& id : kAllTests) {
      FakeHost host(&bench.device(0));
      // A sample finds what it happens to meet, so here all is read.
      if (id == ids::kLinearRead) {
        host.choose({{"COVERAGE_AREA", "100"}});
      }
      all += bench.test(id).isApplicable(&bench.device(0))
                 ? std::to_string(static_cast<unsigned>(bench.test(id).run(&host)))
                 : "-";
    }
    return all;
  };
  for (const DriveKind& sound : kSoundDrives) {
    for (const char* flaw : {"", R"(, "bad_sectors": [{"lba": 600, "count": 1200}])"}) {
      const std::string more = std::string(sound.more) + flaw;
      DriveKind drive = sound;
      drive.more = more.c_str();
      const std::string first = verdicts(drive, 0);
      EXPECT_EQ(verdicts(drive, 86'399), first) << drive.name << flaw;
      EXPECT_EQ(first.find('1') == std::string::npos, *flaw == 0) << drive.name << first;
      EXPECT_EQ(first.substr(19, 2), *flaw == 0 ? "00" : "11") << "the scans of " << drive.name;
    }
  }
}

}  // namespace
}  // namespace ostria::storage::test
