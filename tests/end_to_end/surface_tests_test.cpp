// The tests that read the surface, on disks of every address width, by the commands that reach
// them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ostria/storage/test_ids.h"
#include "tests/support/bench.h"
#include "tests/support/watched_drive.h"

namespace ostria::storage::test {
namespace {

using ::testing::EndsWith;

std::string disk(const std::string& kind, std::uint64_t sectors = 400'000,
                 const std::string& more = "") {
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
  OneDisk bench(c.drive);
  EXPECT_EQ(bench.device(0).storageProtocol()->GetProtocolKind(), c.kind);
  EXPECT_EQ(bench.device(0).secondaryProtocol() != nullptr, c.secondary);
  EXPECT_THAT(bench.run(ids::kQuickRandomSeek), EndsWith(c.ending));
  for (const auto& [command, times] : c.ata) {
    EXPECT_EQ(bench.watch->ataCommands[command], times) << "ATA command " << int{command};
  }
  for (const auto& [command, times] : c.scsi) {
    EXPECT_EQ(bench.watch->scsiCommands[command], times) << "SCSI command " << int{command};
  }
  EXPECT_THAT(bench.run(ids::kQuickFunnelSeek),
              EndsWith(" 100 / 100" + c.ending.substr(c.ending.rfind(" ="))));
}

TEST(SeekTests, DrawTheirPlacesByTheClockOfTheMachine) {
  for (const Identifier& id : {ids::kQuickRandomSeek, ids::kQuickFunnelSeek}) {
    const auto placesOf = [&](std::uint64_t seconds) {
      OneDisk bench(disk("sata"));
      bench.machine().clock().advance(seconds * virtual_pc::kMicrosecondsPerSecond);
      bench.run(id);
      return bench.watch->reads;
    };
    const auto first = placesOf(0);
    EXPECT_EQ(placesOf(0), first);
    EXPECT_NE(placesOf(1), first);
  }
}

const std::string kNoCapacity = R"("bridge_faults": [
    {"command": 37, "times": 0, "action": "device_error", "codes": [5, 32, 0]},
    {"command": 158, "times": 0, "action": "device_error", "codes": [5, 32, 0]}])";
constexpr auto kAta = ProtocolKind::Ata;
constexpr std::uint64_t kHuge = (1ull << 33) + 5;
const Reach kReaches[] = {
    {.name = "Ata",
     .drive = disk("sata"),
     .kind = kAta,
     .ata = {{0x24, 4001}},
     .scsi = {{0x28, 1}}},
    {.name = "SataShortAddresses",
     .drive = disk("sata", 400'000, R"("lba48": false)"),
     .kind = kAta,
     .ata = {{0x20, 4001}}},
    {.name = "SataHuge", .drive = disk("sata", kHuge), .kind = kAta, .ata = {{0x24, 4001}}},
    {.name = "Sas", .drive = disk("sas"), .scsi = {{0x88, 4001}, {0x28, 1}}},
    {.name = "SasHugeOf4096Bytes",
     .drive = disk("sas", kHuge, R"("sector_bytes": 4096)"),
     .scsi = {{0x88, 4001}}},
    {.name = "SasWithoutRead16",
     .drive = disk("sas", 1ull << 32, R"("scsi": {"read16": false})"),
     .scsi = {{0x88, 1}, {0xA8, 4001}, {0x28, 1}}},
    {.name = "SasWithRead10Alone",
     .drive = disk("sas", 400'000, R"("scsi": {"read16": false, "read12": false})"),
     .scsi = {{0x88, 1}, {0xA8, 1}, {0x28, 4002}}},
    {.name = "SasHugeWithoutRead16",
     .drive = disk("sas", (1ull << 32) + 1, R"("scsi": {"read16": false})"),
     .scsi = {{0x88, 1}, {0xA8, 0}},
     .ending = "0 / log 2 DEVICE_COMMUNICATION_FAILURE / 100 same / 100 / 100 = 4"},
    {.name = "UsbStick", .drive = disk("usb_stick"), .secondary = true, .scsi = {{0x88, 4001}}},
    {.name = "UsbSat", .drive = disk("usb_sat"), .secondary = true, .scsi = {{0x88, 4001}}},
    // The bridge gives no capacity, so the drive behind it is asked itself.
    {.name = "UsbBySatAlone",
     .drive = disk("usb_sat", 400'000, kNoCapacity),
     .kind = ProtocolKind{},
     .secondary = true,
     .ata = {{0x24, 4001}}},
};
INSTANTIATE_TEST_SUITE_P(Disks, SeekTests, ::testing::ValuesIn(kReaches),
                         [](const auto& info) { return info.param.name; });

TEST(ScanTests, TheBlockIsTheLargestThatTheDiskReads) {
  // The first bad sector lies just behind the block, or is its last sector.
  const std::pair<std::uint64_t, std::uint16_t> cases[] = {
      {8193, 8193}, {8192, 4095}, {127, 127}, {126, 0}};
  for (const auto& [bad, block] : cases) {
    OneDisk bench(disk("sas", 20'000, R"("bad_sectors": [{"lba": )" + std::to_string(bad) + "}]"));
    EXPECT_EQ(bench.device(0).preferredReadBlock(), block) << bad;
  }
}

}  // namespace
}  // namespace ostria::storage::test
