// The ATA drive model: a real drive refuses what it refuses, and answers what it answers.
#include <gtest/gtest.h>

#include <numeric>

#include "base/byte_order.h"
#include "tests/support/drive_bench.h"

namespace ostria::virtual_pc::test {
namespace {

using storage::loadLe16;

constexpr char kPlain[] = R"("kind": "sata", "model": "M", "size_sectors": 500000000)";

unsigned sum(const std::vector<std::uint8_t>& page) {
  return std::accumulate(page.begin(), page.end(), 0u) & 0xFF;
}

TEST(VirtualAtaDrive, IdentifiesItself) {
  DriveBench drive(R"("kind": "sata", "model": "AB", "serial": "S1", "size_sectors": 6000000000,
      "sector_bytes": 4096, "rotation_rate": 5400, "security": {"locked": true},
      "smart": {"enabled": false}, "identify_words": [{"word": 81, "value": 66}])");
  const AtaExchange id = drive.ata({0, 1, 0, 0, 0, 0, 0xEC}, 512);
  ASSERT_EQ(id.transferred, 512u);
  EXPECT_EQ(sum(id.data), 0u);
  const auto word = [&](unsigned n) { return loadLe16(&id.data[2 * n]); };
  EXPECT_EQ(word(27), 0x4142);
  EXPECT_EQ(word(10), 0x5331);
  EXPECT_EQ(storage::loadLe64(&id.data[200]), 6000000000u);
  EXPECT_EQ(word(60) | (word(61) << 16), 0x0FFFFFFF);
  EXPECT_EQ(word(106) & 0xD000, 0x5000);
  EXPECT_EQ(word(117), 2048);
  EXPECT_EQ(word(217), 5400);
  EXPECT_EQ(word(82) & 3, 3);
  EXPECT_EQ(word(85) & 3, 2);
  EXPECT_EQ(word(128) & 4, 4);
  EXPECT_EQ(word(81), 66);
  // A locked drive moves no user data.
  EXPECT_EQ(drive.readExt(0).out.features, 0x04);
}

TEST(VirtualAtaDrive, ReadsAndWritesByBothAddressForms) {
  DriveBench drive(kPlain);
  const std::vector<std::uint8_t> data(1024, 0x3C);
  AtaTaskFile write{0, 2, 0, 0, 0, 0x40, 0x34};
  write.setLba48(400000001);
  EXPECT_EQ(drive.ata(write, 0, data).out.command, 0x50);
  const AtaExchange read = drive.readExt(400000000, 4);
  EXPECT_EQ(read.transferred, 2048u);
  EXPECT_TRUE(std::equal(data.begin(), data.end(), read.data.begin() + 512));
  EXPECT_TRUE(std::equal(read.data.end() - 512, read.data.end(), unwritten(400000003).begin()));
  // 28-bit: the high nibble of the address lies in the device register.
  const AtaExchange low = drive.ata({0, 1, 0x01, 0x02, 0x03, 0x45, 0x20}, 512);
  EXPECT_EQ(low.data, unwritten(0x5030201));
  const AtaExchange beyond = drive.readExt(499999999, 2);
  EXPECT_EQ(beyond.out.features, 0x10);
  EXPECT_EQ(beyond.out.command & 1, 1);

  AtaTaskFile mark{0x55, 1, 77, 0, 0, 0x40, 0x45};
  EXPECT_EQ(drive.ata(mark).out.command, 0x50);
  const AtaExchange bad = drive.readExt(70, 16);
  EXPECT_EQ(bad.out.features, 0x40);
  EXPECT_EQ(bad.out.lba48(), 77u);
  EXPECT_EQ(bad.transferred, 7u * 512);
}

TEST(VirtualAtaDrive, WithoutLongAddressesRefusesTheirCommands) {
  DriveBench drive(R"("kind": "sata", "model": "M", "size_sectors": 1000, "lba48": false)");
  EXPECT_EQ(drive.readExt(1).out.features, 0x04);
  EXPECT_EQ(drive.logExt(7).out.features, 0x04);
  EXPECT_EQ(drive.ata({0, 1, 1, 0, 0, 0x40, 0xC8}, 512).data, unwritten(1));
}

TEST(VirtualAtaDrive, SmartIsOffUntilItIsSwitchedOn) {
  DriveBench drive(R"("kind": "sata", "model": "M", "size_sectors": 1000, "temperature": 44,
      "smart": {"enabled": false, "failing": true, "attributes": [{"id": 5, "value": 3,
      "threshold": 36, "raw": 258}, {"id": 194}]})");
  EXPECT_EQ(drive.smart(0xD0, 0, 512).out.features, 0x04);
  EXPECT_EQ(drive.smart(0xD8).out.command, 0x50);
  const AtaExchange page = drive.smart(0xD0, 0, 512);
  EXPECT_EQ(sum(page.data), 0u);
  EXPECT_EQ(page.data[2], 5);
  EXPECT_EQ(page.data[5], 3);
  EXPECT_EQ(loadLe16(&page.data[7]), 258);
  EXPECT_EQ(page.data[14 + 5], 44) << "attribute 194 tells the temperature";
  const AtaExchange thresholds = drive.smart(0xD1, 0, 512);
  EXPECT_EQ(sum(thresholds.data), 0u);
  EXPECT_EQ(thresholds.data[3], 36);
  const AtaExchange status = drive.smart(0xDA);
  EXPECT_EQ(status.out.lbaMid, 0xF4);
  EXPECT_EQ(status.out.lbaHigh, 0x2C);
  EXPECT_EQ(drive.smart(0xD9).out.command, 0x50);
  EXPECT_EQ(drive.smart(0xDA).out.features, 0x04);
  // Without the signature it is no SMART command.
  EXPECT_EQ(drive.ata({0xD8, 0, 0, 0, 0, 0, 0xB0}).out.features, 0x04);
}

constexpr char kWithTests[] = R"("kind": "sata", "model": "M", "size_sectors": 1000,
    "bad_sectors": [{"lba": 500}],
    "smart": {"self_tests": [{"code": 1, "seconds": 100}, {"code": 2, "seconds": 7200}]})";

TEST(VirtualAtaDrive, SelfTestsRunInTheirTimeAndFindTheBadSector) {
  DriveBench drive(kWithTests);
  const auto status = [&] { return drive.smart(0xD0, 0, 512).data[363]; };
  EXPECT_EQ(status(), 0x00);
  EXPECT_EQ(drive.smart(0xD4, 1).out.command, 0x50);
  EXPECT_EQ(status() >> 4, 15);
  EXPECT_EQ(status() & 15, 9);
  drive.clock.advance(45 * kMicrosecondsPerSecond);
  EXPECT_EQ(status(), 0xF6) << "45 percent done leave six tenths";
  drive.clock.advance(60 * kMicrosecondsPerSecond);
  EXPECT_EQ(status(), 0x00);

  drive.smart(0xD4, 2);
  drive.clock.advance(3700 * kMicrosecondsPerSecond);
  EXPECT_EQ(status() >> 4, 7) << "the routine that reads everything stops at the bad sector";
  const AtaExchange extended = drive.logExt(7);
  EXPECT_EQ(sum(extended.data), 0u);
  EXPECT_EQ(loadLe16(&extended.data[2]), 2);
  EXPECT_EQ(loadLe16(&extended.data[4 + 26 + 5]), 500);
  const AtaExchange shortLog = drive.smart(0xD5, 6, 512);
  EXPECT_EQ(shortLog.data[508], 2);
  EXPECT_EQ(storage::loadLe32(&shortLog.data[2 + 24 + 5]), 500u);

  drive.smart(0xD4, 1);
  EXPECT_EQ(drive.smart(0xD4, 0x7F).out.command, 0x50);
  EXPECT_EQ(status() >> 4, 1);
  EXPECT_EQ(drive.smart(0xD4, 99).out.features, 0x04);
}

TEST(VirtualAtaDrive, ErrorsOfReadsStandInItsLogs) {
  DriveBench drive(kWithTests);
  drive.readExt(500);
  EXPECT_EQ(loadLe16(&drive.smart(0xD5, 0, 512).data[4]), 2) << "pages of log 2";
  EXPECT_EQ(loadLe16(&drive.logExt(0).data[6]), 2);
  for (const std::uint8_t log : {std::uint8_t{1}, std::uint8_t{2}}) {
    const AtaExchange page = drive.smart(0xD5, log, 512);
    EXPECT_EQ(sum(page.data), 0u);
    EXPECT_EQ(page.data[1], 1);
    EXPECT_EQ(loadLe16(&page.data[2 + 51]), 500);
  }
  const AtaExchange extended = drive.logExt(3);
  EXPECT_EQ(extended.data[4 + 77] | (extended.data[4 + 79] << 8), 500);
  // More errors than there is room for: the oldest give way.
  for (int i = 0; i < 10; ++i) {
    drive.readExt(500);
  }
  EXPECT_EQ(drive.smart(0xD5, 1, 512).data[1], 1);
  EXPECT_EQ(loadLe16(&drive.smart(0xD5, 1, 512).data[452]), 11);
  EXPECT_EQ(drive.logExt(3, 2).out.features, 0x04) << "there is no third page";
}

TEST(VirtualAtaDrive, SpinsUpWhenTheMediumIsNeeded) {
  DriveBench drive(R"("kind": "sata", "model": "M", "size_sectors": 1000, "power": "standby",
      "spin_up_seconds": 9)");
  const AtaTaskFile check{0, 0, 0, 0, 0, 0, 0xE5};
  EXPECT_EQ(drive.ata(check).out.count, 0x00);
  EXPECT_LT(drive.clock.now(), kMicrosecondsPerSecond);
  drive.ata({0, 0, 0, 0, 0, 0, 0xE1});
  EXPECT_GE(drive.clock.now(), 9 * kMicrosecondsPerSecond);
  EXPECT_EQ(drive.ata(check).out.count, 0x80);
  drive.readExt(3);
  EXPECT_EQ(drive.ata(check).out.count, 0xFF);
  EXPECT_LT(drive.clock.now(), 10 * kMicrosecondsPerSecond);
}

}  // namespace
}  // namespace ostria::virtual_pc::test
