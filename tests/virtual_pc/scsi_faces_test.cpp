// SCSI drives and USB bridges: what SAT and vendor layers let through.
#include <gtest/gtest.h>

#include "base/byte_order.h"
#include "tests/support/drive_bench.h"
#include "virtual_pc/drives/scsi_block.h"

namespace ostria::virtual_pc::test {
namespace {

using storage::loadBe16;
using storage::loadBe32;
using storage::loadBe64;
using Bytes = std::vector<std::uint8_t>;

DriveBench usb(const std::string& kind) {
  return DriveBench(R"("kind": ")" + kind + R"(", "vendor": "V", "model": "MODEL", "serial": "S",
      "size_sectors": 100000, "bad_sectors": [{"lba": 5000}, {"lba": 6000, "kind": "interface"},
      {"lba": 7000, "kind": "rejected"}], "smart": {"failing": true})");
}

/// ATA PASS-THROUGH (12) of SMART RETURN STATUS, with and without CK_COND.
Bytes returnStatus(bool check) {
  return {
      0xA1, 3 << 1, static_cast<std::uint8_t>(check ? 0x2C : 0x0C), 0xDA, 0, 0, 0x4F, 0xC2, 0, 0xB0,
      0,    0};
}

TEST(VirtualBridges, SatGivesTheRegistersInTheSenseData) {
  DriveBench drive = usb("usb_sat");
  const ScsiExchange status = drive.scsi(returnStatus(true));
  EXPECT_EQ(status.status, 2);
  ASSERT_EQ(status.sense.size(), 22u);
  EXPECT_EQ(status.sense[0], 0x72);
  EXPECT_EQ(status.sense[1], kSenseRecovered);
  EXPECT_EQ(status.sense[8], 0x09);
  EXPECT_EQ(status.sense[8 + 9], 0xF4);
  EXPECT_EQ(status.sense[8 + 11], 0x2C);
  EXPECT_EQ(status.sense[8 + 13], 0x50);
  EXPECT_EQ(drive.scsi(returnStatus(false)).status, 0);

  // A 48-bit read in 16 bytes: the high bytes of the address come through.
  Bytes read{0x85, (4 << 1) | 1, 0x0E, 0, 0, 0, 1, 0, 0x71, 0, 0x17, 0, 0, 0x40, 0x24, 0};
  EXPECT_EQ(drive.scsi(read, 512).data, unwritten(0x1771));
  read[7] = 1;
  const ScsiExchange beyond = drive.scsi(read, 512);
  EXPECT_EQ(beyond.sense[1], kSenseIllegalRequest);
  EXPECT_EQ(beyond.sense[8 + 3], 0x10);
}

TEST(VirtualBridges, SatWithoutCheckConditionKeepsTheRegistersForTheAsking) {
  DriveBench drive = usb("usb_sat_no_ck");
  for (const bool check : {false, true}) {
    const ScsiExchange status = drive.scsi(returnStatus(check));
    EXPECT_EQ(status.status, 2);
    EXPECT_EQ(status.sense[0], 0x70) << "no descriptor in this one";
    const ScsiExchange registers = drive.scsi({0xA1, 0x1E, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}, 14);
    ASSERT_EQ(registers.transferred, 14u);
    EXPECT_EQ(registers.data[0], 0x09);
    EXPECT_EQ(registers.data[1], 0x0C);
    EXPECT_EQ(registers.data[9], 0xF4);
    EXPECT_EQ(registers.data[11], 0x2C);
  }
}

TEST(VirtualBridges, BlockCommandsBecomeAtaCommands) {
  for (const char* kind : {"sata", "usb_sat", "usb_jmicron"}) {
    SCOPED_TRACE(kind);
    DriveBench drive = usb(kind);
    EXPECT_EQ(drive.read10(99999).data, unwritten(99999));
    const Bytes data(512, 9);
    EXPECT_EQ(drive.scsi({0x2A, 0, 0, 0, 0, 8, 0, 0, 1, 0}, 0, data).status, 0);
    EXPECT_EQ(drive.read10(8).data, data);
    const struct {
      std::uint32_t lba;
      std::uint8_t key, asc;
    } bad[] = {{5000, 3, 0x11}, {6000, 0x0B, 0x47}, {7000, 0x0B, 0x00}, {100000, 5, 0x21}};
    for (const auto& sector : bad) {
      const ScsiExchange read = drive.read10(sector.lba);
      EXPECT_EQ(read.status, 2);
      EXPECT_EQ(read.sense[2], sector.key) << sector.lba;
      EXPECT_EQ(read.sense[12], sector.asc) << sector.lba;
    }
    const ScsiExchange capacity = drive.scsi({0x25, 0, 0, 0, 0, 0, 0, 0, 0, 0}, 8);
    EXPECT_EQ(loadBe32(&capacity.data[0]), 99999u);
  }
}

}  // namespace
}  // namespace ostria::virtual_pc::test
