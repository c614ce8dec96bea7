// Disks at the edges of what a scan can read: bad sectors at the very start, a device that leaves
// in the middle, a password, an area that must not be left.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ostria/storage/test_ids.h"
#include "tests/support/bench.h"
#include "tests/support/watched_drive.h"

namespace ostria::storage::test {
namespace {

using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;

const char* const kAnyKind[] = {"sata", "sas", "usb_stick", "usb_sat"};

struct Bench : OneDriveBench {
  Bench(const std::string& kind, std::uint64_t sectors, const std::string& more)
      : OneDriveBench(R"("kind": ")" + kind + R"(", "model": "EDGE", "serial": "E1",
                         "size_sectors": )" +
                      std::to_string(sectors) + more) {}
};

std::string badAt(std::uint64_t lba) {
  return R"(, "bad_sectors": [{"lba": )" + std::to_string(lba) + "}]";
}

TEST(ScanEdges, BadSectorsAtTheStartOfADiskAreFound) {
  for (const char* kind : kAnyKind) {
    SCOPED_TRACE(kind);
    for (const std::uint64_t lba : {0u, 100u}) {
      Bench disk(kind, 20'000, badAt(lba));
      const std::string list =
          "NUMBER_OF_BLOCKS_WITH_BAD_SECTORS 1. "
          "BAD_SECTORS_IN_THE_FOLLOWING_RANGE [0, 127].";
      EXPECT_THAT(disk.run(ids::kFullDiskScan), AllOf(HasSubstr(list), EndsWith(" = 1")));
      EXPECT_THAT(disk.run(ids::kLinearRead, {{"COVERAGE_AREA", "100"}}),
                  AllOf(HasSubstr(list), EndsWith(" = 1")));
    }
    // A disk that is smaller than any block.
    for (const Identifier& id : {ids::kFullDiskScan, ids::kLinearRead}) {
      EXPECT_THAT(Bench(kind, 100, badAt(50)).run(id),
                  AllOf(HasSubstr("[0, 100]"), EndsWith(" = 1")));
      EXPECT_THAT(Bench(kind, 100, "").run(id), EndsWith(" = 0"));
    }
  }
}

TEST(ScanEdges, TheSystemsReadsHaveTheirOwnTimeAndABlockIsTriedFiveTimes) {
  // The second read of the largest block meets it: its commands are of 1 MiB each.
  const std::string flaky = R"(, "bridge_faults": [{"command": 40, "occurrence": 40,
                                 "action": "device_error", "codes": [11, 0, 0]}])";
  EXPECT_EQ(Bench("sata", 409'600, flaky).device(0).preferredReadBlock(), 32767);

  Bench slow("sata", 409'600, R"(, "bridge_faults": [{"command": 40, "action": "hang"}])");
  std::vector<std::uint8_t> sector(512);
  const std::uint64_t before = slow.machine().clock().now();
  EXPECT_EQ(slow.device(0).readSectors(0, 1, sector.data(), false, 512, 5),
            ProtocolResult::ReadTimeout);
  EXPECT_EQ((slow.machine().clock().now() - before) / virtual_pc::kMicrosecondsPerSecond, 30u);
}

TEST(ScanEdges, ALockedDiskIsNamedAndNotRead) {
  const std::string locked = R"(, "security": {"locked": true})";
  // The SCSI side of the last ones does not describe them, so that they come by the ATA side alone.
  const std::string withoutCapacity =
      R"(, "bridge_faults": [
        {"command": 37, "times": 0, "action": "device_error", "codes": [5, 32, 0]},
        {"command": 158, "times": 0, "action": "device_error", "codes": [5, 32, 0]})";
  // The first form of the ATA pass-through is refused, and the second one is not.
  const std::string secondForm =
      R"(, {"command": 161, "times": 1, "action": "device_error", "codes": [5, 32, 0]}])";
  const std::pair<const char*, std::string> disks[] = {
      {"sata", locked},
      {"usb_sat", locked},
      {"usb_sat", locked + withoutCapacity + "]"},
      {"usb_sat", locked + withoutCapacity + secondForm}};
  for (const auto& [kind, more] : disks) {
    Bench disk(kind, 20'000, more);
    for (const Identifier& id :
         {ids::kQuickRandomSeek, ids::kQuickFunnelSeek, ids::kFullDiskScan, ids::kLinearRead}) {
      EXPECT_THAT(disk.run(id),
                  AllOf(HasSubstr("HARD_DISK_IS_PASSWORD_PROTECTED. |TRY_TO_"), EndsWith(" = 3")))
          << kind << " " << id.item;
    }
  }
}

TEST(ScanEdges, TheLinearReadStaysInItsAreaAndReachesItsEnd) {
  constexpr std::uint64_t kSectors = 20'000;
  Bench disk("sas", kSectors, R"(, "bad_sectors": [{"lba": 200, "kind": "transient",
                                   "failures": 7}])");
  ASSERT_EQ(disk.device(0).preferredReadBlock(), 127);
  WatchedDrive watch(*disk.machine().drives()[0]);
  for (const auto& [start, stop, coverage] :
       {std::tuple{50u, 100u, 20u}, {50u, 100u, 100u}, {0u, 100u, 100u}, {10u, 50u, 33u}}) {
    for (int round = 0; round < 25; ++round) {
      watch.forget();
      EXPECT_THAT(disk.run(ids::kLinearRead, {{"START_RANGE", std::to_string(start)},
                                              {"STOP_RANGE", std::to_string(stop)},
                                              {"COVERAGE_AREA", std::to_string(coverage)}}),
                  EndsWith(" = 0"));
      const std::uint64_t first = (kSectors - 1) * start / 100;
      const std::uint64_t last = (kSectors - 1) * stop / 100;
      std::uint64_t next = first;
      for (const auto& read : watch.reads) {
        ASSERT_GE(read.lba, first);
        ASSERT_LE(read.lba + read.count - 1, last);
        if (coverage == 100) {
          ASSERT_LE(read.lba, next) << "a gap";
          next = read.lba + read.count;
        }
      }
      if (coverage == 100) {
        EXPECT_EQ(next, last + 1);
      }
    }
  }
}

}  // namespace
}  // namespace ostria::storage::test
