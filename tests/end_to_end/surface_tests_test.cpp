// The tests that read the surface, on disks of every address width, by the commands that reach
// them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "checks/device_checks.h"
#include "ostria/storage/test_ids.h"
#include "tests/support/bench.h"
#include "tests/support/watched_drive.h"

namespace ostria::storage::test {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;

std::string sized(const std::string& kind, std::uint64_t sectors, const std::string& more = "") {
  return R"("kind": ")" + kind + R"(", "model": "DISK", "serial": "DISK1", "size_sectors": )" +
         std::to_string(sectors) + (more.empty() ? "" : ", " + more);
}

/// One drive, scanned, with every command watched.
struct OneDisk : OneDriveBench {
  explicit OneDisk(const std::string& drive) : OneDriveBench(drive) {
    watch = std::make_unique<WatchedDrive>(*machine().drives()[0]);
  }
  std::string run(const Identifier& item, const Parameters& parameters = {}) {
    watch->forget();
    return OneDriveBench::run(item, parameters);
  }
  std::unique_ptr<WatchedDrive> watch;
};

/// A disk and the commands that reach its sectors: how often each was sent for two sector reads.
struct Reach {
  const char* name;
  std::string drive;
  ProtocolKind kind = ProtocolKind::Scsi;
  bool secondary = false;
  std::map<std::uint8_t, unsigned> ata = {},
                                   scsi = {};  ///< for 4001 reads; only what is named is looked at
  std::string ending = " 99 / 100 / 100 = 0";
};

class SeekTests : public ::testing::TestWithParam<Reach> {};

TEST_P(SeekTests, TakeTheCommandsThatReachTheDisk) {
  const Reach& c = GetParam();
  OneDisk disk(c.drive);
  const StorageProtocolProperties properties = cachedProperties(disk.device(0).storageProtocol());
  EXPECT_EQ(disk.device(0).storageProtocol()->GetProtocolKind(), c.kind);
  EXPECT_EQ(disk.device(0).secondaryProtocol() != nullptr, c.secondary);
  EXPECT_THAT(disk.run(ids::kQuickRandomSeek), EndsWith(c.ending));
  for (const auto& [command, times] : c.ata) {
    EXPECT_EQ(disk.watch->ataCommands[command], times) << "ATA command " << int{command};
  }
  for (const auto& [command, times] : c.scsi) {
    EXPECT_EQ(disk.watch->scsiCommands[command], times) << "SCSI command " << int{command};
  }
  EXPECT_THAT(disk.run(ids::kQuickFunnelSeek),
              EndsWith(" 100 / 100" + c.ending.substr(c.ending.rfind(" ="))));
  const auto& reads = disk.watch->reads;
  if (!c.ending.ends_with("= 0") || c.kind != ProtocolKind::Scsi) {
    return;
  }
  ASSERT_GT(reads.size(), 201u);
  const std::uint64_t last = properties.totalSectors - 1;
  for (std::uint64_t i = 0; i < 100; ++i) {
    ASSERT_EQ(reads[1 + i], (WatchedDrive::Read{i, 1})) << "the head, behind the waking read";
    ASSERT_EQ(reads[reads.size() - 1 - i], (WatchedDrive::Read{last - i, 1})) << "the tail";
  }
}

const std::string kNoCapacity = R"("bridge_faults": [
    {"command": 37, "times": 0, "action": "device_error", "codes": [5, 32, 0]},
    {"command": 158, "times": 0, "action": "device_error", "codes": [5, 32, 0]}])";
constexpr std::uint64_t kHuge = (1ull << 33) + 5;
const Reach kReaches[] = {
    {.name = "Sata",
     .drive = sized("sata", 400'000),
     .kind = ProtocolKind::Ata,
     .ata = {{0x24, 4001}},
     .scsi = {{0x28, 1}}},
    {.name = "SataShortAddresses",
     .drive = sized("sata", 400'000, R"("lba48": false)"),
     .kind = ProtocolKind::Ata,
     .ata = {{0x20, 4001}}},
    {.name = "SataHuge",
     .drive = sized("sata", kHuge),
     .kind = ProtocolKind::Ata,
     .ata = {{0x24, 4001}}},
    {.name = "Sas", .drive = sized("sas", 400'000), .scsi = {{0x88, 4001}, {0x28, 1}}},
    {.name = "SasHugeOf4096Bytes",
     .drive = sized("sas", kHuge, R"("sector_bytes": 4096)"),
     .scsi = {{0x88, 4001}}},
    {.name = "SasWithoutRead16",
     .drive = sized("sas", 1ull << 32, R"("scsi": {"read16": false})"),
     .scsi = {{0x88, 1}, {0xA8, 4001}, {0x28, 1}}},
    {.name = "SasWithRead10Alone",
     .drive = sized("sas", 400'000, R"("scsi": {"read16": false, "read12": false})"),
     .scsi = {{0x88, 1}, {0xA8, 1}, {0x28, 4002}}},
    {.name = "SasHugeWithoutRead16",
     .drive = sized("sas", (1ull << 32) + 1, R"("scsi": {"read16": false})"),
     .scsi = {{0x88, 1}, {0xA8, 0}},
     .ending = "0 / log 2 DEVICE_COMMUNICATION_FAILURE / 100 same / 100 / 100 = 4"},
    {.name = "UsbStick",
     .drive = sized("usb_stick", 400'000),
     .secondary = true,
     .scsi = {{0x88, 4001}}},
    {.name = "UsbSat",
     .drive = sized("usb_sat", 400'000),
     .secondary = true,
     .scsi = {{0x88, 4001}}},
    // The bridge gives no capacity, so the drive behind it is asked itself.
    {.name = "UsbBySatAlone",
     .drive = sized("usb_sat", 400'000, kNoCapacity),
     .kind = ProtocolKind{},
     .secondary = true,
     .ata = {{0x24, 4001}}},
};
INSTANTIATE_TEST_SUITE_P(Disks, SeekTests, ::testing::ValuesIn(kReaches),
                         [](const auto& info) { return info.param.name; });

TEST(SeekTests, CallALostDiskLost) {
  for (const char* kind : {"sata", "sas"}) {
    for (const Identifier& item : {ids::kQuickRandomSeek, ids::kQuickFunnelSeek}) {
      OneDisk lost(sized(kind, 400'000));
      lost.watch->onCommand = [&] {
        if (lost.watch->commands == 90) {
          lost.machine().drives()[0]->vanish();
        }
      };
      EXPECT_THAT(lost.run(item),
                  ::testing::AllOf(HasSubstr("DEVICE_COMMUNICATION_FAILURE"), EndsWith("= 4"),
                                   Not(HasSubstr("READING_SECTOR"))));
    }
  }
}

TEST(ScanTests, TheBlockIsTheLargestThatTheDiskReads) {
  // The first bad sector lies just behind the block, or is its last sector.
  const std::pair<std::uint64_t, std::uint16_t> cases[] = {
      {8193, 8193}, {8192, 4095}, {127, 127}, {126, 0}};
  for (const auto& [bad, block] : cases) {
    OneDisk disk(sized("sas", 20'000, R"("bad_sectors": [{"lba": )" + std::to_string(bad) + "}]"));
    EXPECT_EQ(disk.device(0).preferredReadBlock(), block) << bad;
  }
}

}  // namespace
}  // namespace ostria::storage::test
