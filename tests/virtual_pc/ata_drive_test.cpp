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

}  // namespace
}  // namespace ostria::virtual_pc::test
