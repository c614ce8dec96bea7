// What a drive refuses as the standards have it: a command whose direction, length or reserved bits
// contradict it. Each row changes one thing of a command that is right.
#include <gtest/gtest.h>

#include "base/byte_order.h"
#include "tests/support/drive_bench.h"
#include "virtual_pc/drives/scsi_block.h"

namespace ostria::virtual_pc::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

TEST(StrictDrives, SatChecksTheCdbAgainstTheCommandAndTheHost) {
  const Bytes right{0x85, (4 << 1) | 1, 0x0E, 0, 0, 0, 1, 0, 7, 0, 0, 0, 0, 0x40, 0x24, 0};
  const struct {
    const char* what;
    std::size_t at;
    std::uint8_t value;
    std::size_t bytes = 512;
  } cases[] = {
      {"protocol PIO out", 1, (5 << 1) | 1},
      {"protocol DMA", 1, (6 << 1) | 1},
      {"protocol non-data", 1, (3 << 1) | 1},
      {"without EXTEND", 1, 4 << 1},
      {"T_LENGTH 0", 2, 0x0C},
      {"T_LENGTH in features", 2, 0x0D},
      {"T_DIR to the device", 2, 0x06},
      {"BYT_BLOK bytes", 2, 0x0A},
      {"count of two, room for one", 6, 2},
      {"count of one, room for two", 6, 1, 1024},
  };
  DriveBench drive(R"("kind": "usb_sat", "model": "M", "size_sectors": 1000)");
  EXPECT_EQ(drive.scsi(right, 512).data, unwritten(7));
  for (const auto& c : cases) {
    Bytes cdb = right;
    cdb[c.at] = c.value;
    const ScsiExchange answer = drive.scsi(cdb, c.bytes);
    EXPECT_EQ(answer.status, 2) << c.what;
    EXPECT_EQ(answer.sense.size() > 2 ? answer.sense[2] : 0, kSenseIllegalRequest) << c.what;
  }
  // Blocks are of 512 bytes unless T_TYPE says that they are sectors.
  DriveBench large(
      R"("kind": "usb_sat", "model": "M", "size_sectors": 1000, "sector_bytes": 4096)");
  Bytes cdb = right;
  EXPECT_EQ(large.scsi(cdb, 4096).status, 2);
  cdb[2] |= 0x10;
  EXPECT_EQ(large.scsi(cdb, 4096).data, unwritten(7, 4096));
}

TEST(StrictDrives, AtaCommandsGoInTheirDirectionOrNowhere) {
  DriveBench drive(R"("kind": "sata", "model": "M", "size_sectors": 1000)");
  AtaTaskFile write{0, 1, 5, 0, 0, 0x40, 0x34};
  EXPECT_EQ(drive.ata(write, 512).delivery, Delivery::TransportError);
  EXPECT_EQ(drive.readExt(5).data, unwritten(5)) << "a write as a read changes nothing";
  const AtaTaskFile read{0, 2, 5, 0, 0, 0x40, 0x24};
  EXPECT_EQ(drive.ata(read, 512).delivery, Delivery::TransportError) << "room for one of two";
  EXPECT_EQ(drive.ata(read).delivery, Delivery::TransportError) << "no room at all";
  EXPECT_EQ(drive.ata({0, 0, 0, 0, 0, 0, 0xE5}, 512).delivery, Delivery::TransportError);
  EXPECT_EQ(drive.ata({0, 1, 5, 0, 0, 0x00, 0x20}, 512).out.features, 0x04) << "no LBA bit";
}

TEST(StrictDrives, AnAtaDriveRefusesWhatIsOffOrNotThere) {
  DriveBench drive(R"("kind": "sata", "model": "M", "size_sectors": 1000, "lba48": false,
      "smart": {"enabled": false})");
  constexpr std::uint8_t kAborted = 0x04;
  EXPECT_EQ(drive.smart(0xD0, 0, 512).out.features, kAborted);
  EXPECT_EQ(drive.ata({0xD8, 0, 0, 0, 0, 0, 0xB0}).out.features, kAborted) << "no signature";
  EXPECT_EQ(drive.smart(0xD8).out.command, 0x50);
  EXPECT_EQ(drive.smart(0xD0, 0, 512).out.command, 0x50);
  EXPECT_EQ(drive.smart(0xD4, 99).out.features, kAborted) << "no such routine";
  EXPECT_EQ(drive.readExt(1).out.features, kAborted) << "a command of 48 bits";
  EXPECT_EQ(drive.logExt(7).out.features, kAborted);
  EXPECT_EQ(drive.ata({0, 1, 1, 0, 0, 0x40, 0x20}, 512).data, unwritten(1));
}

TEST(StrictDrives, ScsiCommandsAreRefusedForOneWrongBit) {
  Bytes select(20);
  select[8] = 0x1C;
  select[9] = 0x0A;
  select[19] = 1;
  const auto page = [&](std::size_t at, std::uint8_t value) {
    Bytes changed = select;
    changed[at] = value;
    return changed;
  };
  const Bytes select10{0x55, 0x10, 0, 0, 0, 0, 0, 0, 20, 0};
  const struct {
    const char* what;
    Bytes cdb;
    std::size_t in;
    Bytes out;
    int asc;  ///< with ILLEGAL REQUEST; 0 good, -1 the transport fails
  } cases[] = {
      {"read", {0x28, 0, 0, 0, 0, 7, 0, 0, 1, 0}, 512, {}, 0},
      {"read with data out", {0x28, 0, 0, 0, 0, 7, 0, 0, 1, 0}, 0, Bytes(512), -1},
      {"read in a CDB of 6", {0x28, 0, 0, 0, 0, 7}, 512, {}, 0x24},
      {"read with RDPROTECT", {0x28, 0x20, 0, 0, 0, 7, 0, 0, 1, 0}, 512, {}, 0x24},
      {"write with data in", {0x2A, 0, 0, 0, 0, 7, 0, 0, 1, 0}, 512, {}, -1},
      {"test unit ready with data", {0, 0, 0, 0, 0, 0}, 8, {}, -1},
      {"log sense", {0x4D, 0, 0x50, 0, 0, 0, 0, 1, 0, 0}, 256, {}, 0},
      {"log sense of thresholds", {0x4D, 0, 0x10, 0, 0, 0, 0, 1, 0, 0}, 256, {}, 0x24},
      {"log sense of a subpage", {0x4D, 0, 0x50, 1, 0, 0, 0, 1, 0, 0}, 256, {}, 0x24},
      {"log sense that saves", {0x4D, 1, 0x50, 0, 0, 0, 0, 1, 0, 0}, 256, {}, 0x24},
      {"mode select", select10, 0, select, 0},
      {"mode select without PF", {0x55, 0, 0, 0, 0, 0, 0, 0, 20, 0}, 0, select, 0x24},
      {"mode select of what stays", select10, 0, page(10, 0x80), 0x26},
      {"mode select of the interval", select10, 0, page(15, 1), 0x26},
      {"mode select with MODE DATA LENGTH", select10, 0, page(1, 18), 0x26},
      {"mode select with DPOFUA", select10, 0, page(3, 0x10), 0x26},
      {"mode select with PS", select10, 0, page(8, 0x9C), 0x26},
      {"abort with none running", {0x1D, 4 << 5, 0, 0, 0, 0}, 0, {}, 0x24},
      {"default and short at once", {0x1D, (1 << 5) | 4, 0, 0, 0, 0}, 0, {}, 0x24},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    DriveBench drive(R"("kind": "sas", "model": "M", "size_sectors": 1000,
        "smart": {"self_tests": [{"code": 1, "seconds": 60}, {"code": 2, "seconds": 600}]})");
    const ScsiExchange answer = drive.scsi(c.cdb, c.in, c.out);
    EXPECT_EQ(answer.delivery == Delivery::TransportError, c.asc == -1);
    EXPECT_EQ(answer.status, c.asc > 0 ? 2 : 0);
    if (c.asc > 0) {
      EXPECT_EQ(answer.sense[2], kSenseIllegalRequest);
      EXPECT_EQ(answer.sense[12], c.asc);
    }
  }
}

TEST(StrictDrives, OneSelfTestAtATime) {
  DriveBench drive(R"("kind": "sas", "model": "M", "size_sectors": 1000,
      "smart": {"self_tests": [{"code": 1, "seconds": 60}, {"code": 2, "seconds": 600}]})");
  EXPECT_EQ(drive.scsi({0x1D, 2 << 5, 0, 0, 0, 0}).status, 0);
  const ScsiExchange second = drive.scsi({0x1D, 1 << 5, 0, 0, 0, 0});
  EXPECT_EQ(second.sense[2], kSenseNotReady);
  EXPECT_EQ(second.sense[12], 0x04);
  EXPECT_EQ(second.sense[13], 0x09);
  EXPECT_EQ(drive.scsi({0x03, 0, 0, 0, 18, 0}, 18).data[2], kSenseNotReady) << "the first runs on";
}

TEST(StrictDrives, NvmeControllersHaveLimitsAndNamespaces) {
  MachineDescription machine;
  std::string error;
  ASSERT_TRUE(parseMachine(R"({"format": 1, "drives": [
      {"name": "a", "kind": "nvme", "model": "M", "size_sectors": 1000,
       "nvme": {"namespace": 2, "namespace_management": true, "endurance_estimate": 5}},
      {"name": "b", "kind": "nvme", "model": "M", "size_sectors": 500,
       "nvme": {"namespace": 5, "controller_of": "a"}},
      {"name": "c", "kind": "nvme", "model": "M", "size_sectors": 500}]})",
                           &machine, &error))
      << error;
  Clock clock;
  const auto first = makeDrive(machine.drives[0], clock);
  const auto second = makeDrive(machine.drives[1], clock, first.get());
  const struct {
    const char* what;
    bool admin;
    std::uint8_t opcode;
    std::uint32_t id;
    std::array<std::uint32_t, 3> dwords;
    std::size_t bytes;
    int status;  ///< status code type and code
  } cases[] = {
      {"identify", true, 6, 0, {1}, 4096, 0},
      {"identify in 512 bytes", true, 6, 0, {1}, 512, 0x002},
      {"namespace 2", true, 6, 2, {0}, 4096, 0},
      {"namespace 3, which has none", true, 6, 3, {0}, 4096, 0},
      {"namespace 6, beyond the last", true, 6, 6, {0}, 4096, 0x00B},
      {"health log", true, 2, 0xFFFFFFFF, {0x007F0002}, 512, 0},
      {"health log, more than there is room for", true, 2, 0xFFFFFFFF, {0x00FF0002}, 512, 0x002},
      {"endurance group 0", true, 2, 0xFFFFFFFF, {0x007F0009}, 512, 0x109},
      {"endurance group 1", true, 2, 0xFFFFFFFF, {0x007F0009, 1 << 16}, 512, 0},
      {"self-test of namespace 7", true, 0x14, 7, {1}, 0, 0x00B},
      {"self-test of namespace 5", true, 0x14, 5, {1}, 0, 0},
      {"read of 128 KiB", false, 2, 2, {0, 0, 255}, 128 << 10, 0},
      {"read above MDTS", false, 2, 2, {0, 0, 256}, 129 << 10, 0x002},
      {"read of namespace 1", false, 2, 1, {0, 0, 0}, 512, 0x00B},
      {"read of all namespaces", false, 2, 0xFFFFFFFF, {0, 0, 0}, 512, 0x00B},
      {"read of the end of namespace 5", false, 2, 5, {499, 0, 0}, 512, 0},
      {"read behind the end of namespace 5", false, 2, 5, {500, 0, 0}, 512, 0x080},
  };
  std::uint64_t refused = 0;
  for (const auto& c : cases) {
    NvmeExchange exchange;
    exchange.admin = c.admin;
    exchange.opcode = c.opcode;
    exchange.namespaceId = c.id;
    std::copy(c.dwords.begin(), c.dwords.end(), exchange.cdw.begin());
    exchange.direction = c.bytes != 0 ? DataDirection::In : DataDirection::None;
    exchange.data.resize(c.bytes);
    (c.id == 5 ? second : first)->nvme->execute(exchange);
    EXPECT_EQ((exchange.statusType << 8) | exchange.statusCode, c.status) << c.what;
    refused += c.status != 0 ? 1 : 0;
  }
  // Every refusal stands in the error log's counter; what is common to all namespaces has no size.
  NvmeExchange health;
  health.opcode = 2;
  health.namespaceId = 0xFFFFFFFF;
  health.cdw = {0x007F0002};
  health.direction = DataDirection::In;
  health.data.resize(512);
  second->nvme->execute(health);
  EXPECT_EQ(storage::loadLe64(&health.data[176]), refused);
  NvmeExchange common;
  common.opcode = 6;
  common.namespaceId = 0xFFFFFFFF;
  common.direction = DataDirection::In;
  common.data.resize(4096);
  first->nvme->execute(common);
  EXPECT_EQ(storage::loadLe64(common.data.data()), 0u);
  makeDrive(machine.drives[2], clock)->nvme->execute(common);
  EXPECT_EQ(common.statusCode, 0x0B) << "without namespace management nothing is common";
}

}  // namespace
}  // namespace ostria::virtual_pc::test
