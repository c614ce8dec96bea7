// Planned faults: what shows of them at the drive.
#include <gtest/gtest.h>

#include "base/byte_order.h"
#include "tests/support/drive_bench.h"
#include "virtual_pc/drives/scsi_block.h"

namespace ostria::virtual_pc::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

TEST(VirtualFaults, EachActionShowsAtTheDevice) {
  DriveBench drive(R"("kind": "sata", "model": "M", "size_sectors": 1000, "faults": [
      {"command": 37, "occurrence": 1, "action": "device_error", "codes": [64]},
      {"command": 37, "occurrence": 2, "action": "transport", "error": 31},
      {"command": 37, "occurrence": 3, "action": "short", "bytes": 100},
      {"command": 37, "occurrence": 4, "action": "garbage"},
      {"command": 37, "occurrence": 5, "action": "hang"},
      {"command": 37, "occurrence": 6, "action": "slow", "milliseconds": 5000},
      {"command": 37, "occurrence": 7, "action": "vanish"}])");
  AtaExchange read = drive.readExt(1);
  EXPECT_EQ(read.out.command, 0x51);
  EXPECT_EQ(read.out.features, 0x40);
  read = drive.readExt(1);
  EXPECT_EQ(read.delivery, Delivery::TransportError);
  EXPECT_EQ(read.transportError, 31u);
  EXPECT_EQ(drive.readExt(1).transferred, 100u);
  read = drive.readExt(1);
  EXPECT_EQ(read.transferred, 512u);
  EXPECT_NE(read.data, unwritten(1));
  EXPECT_EQ(drive.readExt(1).durationMicroseconds, kNever);
  EXPECT_GE(drive.readExt(1).durationMicroseconds, 5'000'000u);
  EXPECT_EQ(drive.readExt(1).delivery, Delivery::Gone);
  EXPECT_EQ(drive.smart(0xDA).delivery, Delivery::Gone);
  drive->ata->comeBack();
  EXPECT_EQ(drive.readExt(1).data, unwritten(1));
}

TEST(VirtualFaults, ScsiCommandsEndWithEveryStatusAndSense) {
  const struct {
    const char* fault;
    std::uint8_t status;
    Bytes sense;  ///< response code, key, ASC, ASCQ
    bool data;
  } cases[] = {
      {R"("action": "scsi_status", "status": 8)", 8, {}, false},
      {R"("action": "scsi_status", "status": 24)", 24, {}, false},
      {R"("action": "scsi_status", "status": 40)", 40, {}, false},
      {R"("action": "scsi_status", "status": 2)", 2, {}, false},
      {R"("action": "scsi_status", "status": 0, "codes": [1, 23, 1])", 0, {0x70, 1, 23, 1}, true},
      {R"("action": "scsi_status", "status": 2, "codes": [1, 23, 1], "descriptor": true)",
       2,
       {0x72, 1, 23, 1},
       true},
      {R"("action": "scsi_status", "status": 2, "codes": [6, 41])", 2, {0x70, 6, 41, 0}, false},
      {R"("action": "device_error", "codes": [11, 71, 3])", 2, {0x70, 11, 71, 3}, false},
      {R"("action": "short", "bytes": 100)", 0, {}, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.fault);
    DriveBench drive(
        R"("kind": "sas", "model": "M", "size_sectors": 1000, "faults": [{"command": 40, )" +
        std::string(c.fault) + "}]");
    const ScsiExchange read = drive.read10(7);
    EXPECT_EQ(read.status, c.status);
    const bool descriptor = !read.sense.empty() && read.sense[0] == 0x72;
    const Bytes sense = read.sense.empty() ? Bytes()
                        : descriptor
                            ? Bytes(read.sense.begin(), read.sense.begin() + 4)
                            : Bytes{read.sense[0], read.sense[2], read.sense[12], read.sense[13]};
    EXPECT_EQ(sense, c.sense);
    EXPECT_EQ(read.transferred, !c.data ? 0u : c.sense.empty() ? 100u : 512u);
    EXPECT_EQ(drive.read10(7).data, unwritten(7)) << "once only";
  }
}

TEST(VirtualFaults, SenseInDescriptorFormatNamesTheSector) {
  DriveBench drive(R"("kind": "sas", "model": "M", "size_sectors": 5000000000,
      "bad_sectors": [{"lba": 4999999000}], "scsi": {"descriptor_sense": true})");
  Bytes read16{0x88, 0, 0, 0, 0, 1, 0x2A, 0x05, 0xEE, 0x18, 0, 0, 0, 1, 0, 0};
  const ScsiExchange read = drive.scsi(read16, 512);
  ASSERT_EQ(read.sense.size(), 20u);
  EXPECT_EQ(Bytes(read.sense.begin(), read.sense.begin() + 4), (Bytes{0x72, 3, 0x11, 0}));
  EXPECT_EQ(storage::loadBe64(&read.sense[12]), 4999999000u);
}

TEST(VirtualFaults, DeviceFaultAndBusyOfAnAtaDriveAreNoSuccessThroughSat) {
  DriveBench drive(R"("kind": "usb_sat", "model": "M", "size_sectors": 1000, "faults": [
      {"command": 37, "occurrence": 1, "action": "device_error", "codes": [0, 112]},
      {"command": 37, "occurrence": 2, "action": "device_error", "codes": [0, 208]},
      {"command": 236, "action": "device_error", "codes": [0, 112]}])");
  EXPECT_EQ(drive.read10(1).sense[2], kSenseHardwareError);
  EXPECT_EQ(drive.read10(1).sense[2], kSenseNotReady);
  EXPECT_EQ(drive.read10(1).status, 0);
  const ScsiExchange identify = drive.scsi({0xA1, 4 << 1, 0x0E, 0, 1, 0, 0, 0, 0, 0xEC, 0, 0}, 512);
  EXPECT_EQ(identify.sense[1], kSenseHardwareError);
  EXPECT_EQ(identify.sense[8 + 13], 0x70);
}

TEST(VirtualFaults, OpcodesOfTheTwoNvmeQueuesAreNotMistaken) {
  DriveBench drive(R"("kind": "nvme", "model": "M", "size_sectors": 1000, "faults": [
      {"command": 2, "detail": 2, "queue": "admin", "times": 0, "action": "device_error",
       "codes": [1, 9]}])");
  const auto send = [&](bool admin, std::uint32_t dword10) {
    NvmeExchange exchange;
    exchange.admin = admin;
    exchange.opcode = 2;
    exchange.namespaceId = admin ? 0xFFFFFFFF : 1;
    exchange.cdw[0] = dword10;
    exchange.direction = DataDirection::In;
    exchange.data.resize(512);
    drive->nvme->execute(exchange);
    return exchange;
  };
  const NvmeExchange log = send(true, 0x007F0002);
  EXPECT_EQ(log.statusType, 1);
  EXPECT_EQ(log.statusCode, 9);
  EXPECT_EQ(send(true, 0x007F0006).statusCode, 0);
  EXPECT_EQ(send(false, 2).data, unwritten(2));
}

}  // namespace
}  // namespace ostria::virtual_pc::test
