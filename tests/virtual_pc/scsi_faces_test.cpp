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

TEST(VirtualBridges, MakersOwnCommandsCarryIdentify) {
  const Bytes jmicron{0xDF, 0x10, 0, 2, 0, 0, 1, 0, 0, 0, 0xA0, 0xEC};
  const Bytes sunplus{0xF8, 0, 0x22, 0x10, 1, 0, 1, 0, 0, 0, 0, 0xEC};
  const Bytes sat{0xA1, 4 << 1, 0x0E, 0, 1, 0, 0, 0, 0, 0xEC, 0, 0};
  const struct {
    const char* kind;
    const Bytes* works;
  } bridges[] = {{"usb_jmicron", &jmicron}, {"usb_sunplus", &sunplus}, {"usb_sat", &sat}};
  for (const auto& bridge : bridges) {
    SCOPED_TRACE(bridge.kind);
    DriveBench drive = usb(bridge.kind);
    for (const Bytes* cdb : {&jmicron, &sunplus, &sat}) {
      const ScsiExchange identify = drive.scsi(*cdb, 512);
      if (cdb == bridge.works) {
        EXPECT_EQ(identify.status, 0);
        EXPECT_EQ(storage::loadLe16(&identify.data[54]), 0x4D4F) << "the model";
      } else {
        EXPECT_EQ(identify.status, 2);
        EXPECT_EQ(identify.sense[2], kSenseIllegalRequest);
      }
    }
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

TEST(VirtualScsiDrive, TellsIdentityAndCapacityBeyond32Bits) {
  DriveBench drive(R"("kind": "sas", "vendor": "VEND", "model": "MODEL", "serial": "SER7",
      "size_sectors": 5000000000, "sector_bytes": 4096, "rotation_rate": 10000,
      "scsi": {"read16": false, "standards": [96, 1120], "inquiry_bytes": 62})");
  const ScsiExchange inquiry = drive.scsi({0x12, 0, 0, 0, 252, 0}, 252);
  EXPECT_EQ(inquiry.transferred, 62u);
  EXPECT_EQ(std::string(inquiry.data.begin() + 8, inquiry.data.begin() + 21), "VEND    MODEL");
  EXPECT_EQ(loadBe16(&inquiry.data[60]), 1120);
  const ScsiExchange serial = drive.scsi({0x12, 1, 0x80, 0, 64, 0}, 64);
  EXPECT_EQ(std::string(serial.data.begin() + 4, serial.data.begin() + 8), "SER7");
  EXPECT_EQ(loadBe16(&drive.scsi({0x12, 1, 0xB1, 0, 64, 0}, 64).data[4]), 10000);
  const ScsiExchange capacity =
      drive.scsi({0x9E, 0x10, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 32, 0, 0}, 32);
  EXPECT_EQ(loadBe64(&capacity.data[0]), 4999999999u);
  EXPECT_EQ(loadBe32(&capacity.data[8]), 4096u);
  EXPECT_EQ(loadBe32(&drive.scsi({0x25, 0, 0, 0, 0, 0, 0, 0, 0, 0}, 8).data[0]), 0xFFFFFFFFu);

  Bytes read16{0x88, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0};
  EXPECT_EQ(drive.scsi(read16, 4096).sense[12], 0x20) << "READ(16) is refused";
  const Bytes read12{0xA8, 0, 0, 0, 0, 9, 0, 0, 0, 1, 0, 0};
  EXPECT_EQ(drive.scsi(read12, 4096).data, unwritten(9, 4096));
}

TEST(VirtualScsiDrive, RunsSelfTestsAndReportsThem) {
  DriveBench drive(R"("kind": "sas", "model": "MODEL", "size_sectors": 1000,
      "bad_sectors": [{"lba": 900}], "smart": {"self_tests": [{"code": 1, "seconds": 100},
      {"code": 2, "seconds": 1000}, {"code": 5, "seconds": 20, "outcome": 4}]})");
  const auto sense = [&] { return drive.scsi({0x03, 0, 0, 0, 252, 0}, 252).data; };
  const auto result = [&] { return drive.scsi({0x4D, 0, 0x50, 0, 0, 0, 0, 0, 252, 0}, 252).data; };
  drive.scsi({0x1D, 2 << 5, 0, 0, 0, 0});
  drive.clock.advance(500 * kMicrosecondsPerSecond);
  EXPECT_EQ(sense()[2], kSenseNotReady);
  EXPECT_EQ(loadBe16(&sense()[16]), 0x8000);
  EXPECT_EQ(result()[8], (2 << 5) | 15);
  drive.clock.advance(500 * kMicrosecondsPerSecond);
  EXPECT_EQ(sense()[2], 0);
  EXPECT_EQ(result()[8], (2 << 5) | 7);
  EXPECT_EQ(loadBe64(&result()[12]), 900u);

  drive.scsi({0x1D, 1 << 5, 0, 0, 0, 0});
  drive.scsi({0x1D, 4 << 5, 0, 0, 0, 0});
  EXPECT_EQ(result()[8], (1 << 5) | 1);
  const std::uint64_t before = drive.clock.now();
  const ScsiExchange foreground = drive.scsi({0x1D, 5 << 5, 0, 0, 0, 0});
  EXPECT_EQ(foreground.status, 2);
  EXPECT_EQ(foreground.sense[2], kSenseHardwareError);
  EXPECT_GE(drive.clock.now() - before, 20 * kMicrosecondsPerSecond);
}

TEST(VirtualScsiDrive, InformationalExceptionsFollowTheModePage) {
  DriveBench drive(R"("kind": "sas", "model": "MODEL", "size_sectors": 1000, "temperature": 47,
      "smart": {"failing": true, "enabled": false}, "scsi": {"mode_pages6": false})");
  EXPECT_EQ(drive.scsi({0x1A, 8, 0x1C, 0, 32, 0}, 32).sense[12], 0x20);
  ScsiExchange page = drive.scsi({0x5A, 8, 0x1C, 0, 0, 0, 0, 0, 32, 0}, 32);
  ASSERT_EQ(page.transferred, 20u);
  EXPECT_EQ(page.data[10] & 0x08, 0x08);
  const auto asc = [&] { return drive.scsi({0x4D, 0, 0x6F, 0, 0, 0, 0, 0, 252, 0}, 252).data[8]; };
  EXPECT_EQ(asc(), 0);
  page.data.resize(20);
  // Reserved in MODE SELECT: the mode data length, DPOFUA, and the bit that the page can be saved.
  page.data[0] = page.data[1] = page.data[3] = 0;
  page.data[8] &= 0x7F;
  page.data[10] = 0;
  page.data[11] = 6;
  EXPECT_EQ(drive.scsi({0x55, 0x10, 0, 0, 0, 0, 0, 0, 20, 0}, 0, page.data).status, 0);
  EXPECT_EQ(asc(), 0x5D);
  EXPECT_EQ(drive.scsi({0x03, 0, 0, 0, 252, 0}, 252).data[12], 0x5D);
  EXPECT_EQ(drive.scsi({0x4D, 0, 0x4D, 0, 0, 0, 0, 0, 252, 0}, 252).data[9], 47);
}

}  // namespace
}  // namespace ostria::virtual_pc::test
