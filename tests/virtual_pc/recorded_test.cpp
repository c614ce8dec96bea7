// Answers of a real drive in a machine file: they come out byte for byte, until the host changes
// what they say.
#include <gtest/gtest.h>

#include <numeric>

#include "tests/support/drive_bench.h"

namespace ostria::virtual_pc::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes firstOf(const Exchange& exchange) {
  return {exchange.data.begin(),
          exchange.data.begin() + static_cast<std::ptrdiff_t>(exchange.transferred)};
}

/// A page of so many bytes with these first.
Bytes page(Bytes head, std::size_t bytes) {
  head.resize(bytes);
  return head;
}

TEST(RecordedDrive, AtaPagesAndRefusalsComeOutAsTheyWere) {
  DriveBench drive(R"("kind": "sata", "model": "M", "size_sectors": 1000,
      "smart": {"self_tests": [{"code": 1, "seconds": 60}]}, "recorded": {"ata": [
      {"command": 236, "data": ["4000ff3f", "AA"], "bytes": 512},
      {"command": 47, "lba_low": 223, "lba_mid": 1, "data": ["01"], "bytes": 512},
      {"command": 47, "lba_low": 7, "error": 4, "status": 81},
      {"command": 176, "features": 208, "data": ["10"], "bytes": 512},
      {"command": 176, "features": 209, "data": ["11"]},
      {"command": 176, "features": 213, "lba_low": 6, "data": ["06"], "bytes": 512},
      {"command": 176, "features": 218, "signature": 11508},
      {"command": 229, "transport_error": 1117}]})");
  EXPECT_EQ(firstOf(drive.ata({0, 1, 0, 0, 0, 0, 0xEC}, 512)),
            page({0x40, 0, 0xFF, 0x3F, 0xAA}, 512));
  EXPECT_EQ(firstOf(drive.logExt(0xDF, 1)), page({1}, 512));
  EXPECT_EQ(drive.logExt(0xDF, 0).out.command & 1, 1) << "another page is another answer";
  EXPECT_EQ(drive.logExt(7).out.features, 4);
  EXPECT_EQ(firstOf(drive.smart(0xD1, 0, 512)), page({0x11}, 1)) << "a short answer stays short";
  EXPECT_EQ(drive.smart(0xDA).out.lbaHigh, 0x2C);
  EXPECT_EQ(drive.smart(0xDA).out.lbaMid, 0xF4);
  EXPECT_EQ(drive.ata({0, 0, 0, 0, 0, 0, 0xE5}).transportError, 1117u);

  // A self-test shows in the page, whose checksum (here a wrong one) is as right as before.
  ASSERT_EQ(firstOf(drive.smart(0xD0, 0, 512)), page({0x10}, 512));
  ASSERT_EQ(drive.smart(0xD4, 1).out.command, 0x50);
  const Bytes running = firstOf(drive.smart(0xD0, 0, 512));
  EXPECT_EQ(running[363] >> 4, 15);
  EXPECT_EQ(std::accumulate(running.begin(), running.end(), 0u) & 0xFF, 0x10u);
  EXPECT_EQ(firstOf(drive.smart(0xD5, 6, 512))[0], 1) << "the log has a test of its own";

  drive.smart(0xD9);
  EXPECT_EQ(firstOf(drive.ata({0, 1, 0, 0, 0, 0, 0xEC}, 512))[170], 1) << "SMART was switched";
  EXPECT_EQ(drive.smart(0xDA).out.features, 4);
}

TEST(RecordedDrive, ScsiAnswersAreNamedByWhatTheyAreAbout) {
  DriveBench drive(R"("kind": "sas", "model": "M", "size_sectors": 1000, "recorded": {"scsi": [
      {"cdb": "120000004000", "data": ["00000602", "1f"], "bytes": 36},
      {"cdb": "120180004000", "data": ["0080000153"]},
      {"cdb": "4d006f00000000001000", "status": 2, "sense": "7000050000000018000000002400"},
      {"cdb": "1a081c0020", "data": ["1700"], "bytes": 24},
      {"cdb": "03000000fc", "data": ["70000600"]},
      {"cdb": "9e10", "transport_error": 1117}]})");
  EXPECT_EQ(firstOf(drive.scsi({0x12, 0, 0, 0, 5, 0}, 5)), (Bytes{0, 0, 6, 2, 0x1F}));
  EXPECT_EQ(firstOf(drive.scsi({0x12, 0, 0, 0, 96, 0}, 96)), page({0, 0, 6, 2, 0x1F}, 36));
  EXPECT_EQ(firstOf(drive.scsi({0x12, 1, 0x80, 0, 64, 0}, 64)), (Bytes{0, 0x80, 0, 1, 0x53}));
  const ScsiExchange log = drive.scsi({0x4D, 0, 0x6F, 0, 0, 0, 0, 0, 252, 0}, 252);
  EXPECT_EQ(log.status, 2);
  EXPECT_EQ(log.sense.size(), 14u);
  EXPECT_EQ(log.transferred, 0u);
  EXPECT_EQ(drive.scsi({0x9E, 0x10, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 32, 0, 0}, 32).transportError,
            1117u);

  const Bytes mode = page({0x17}, 24);
  ASSERT_EQ(firstOf(drive.scsi({0x1A, 8, 0x1C, 0, 32, 0}, 32)), mode);
  ASSERT_EQ(firstOf(drive.scsi({3, 0, 0, 0, 252, 0}, 252)), (Bytes{0x70, 0, 6, 0}));
  Bytes exceptions(16);
  drive.scsi({0x15, 0x11, 0, 0, 16, 0}, 0, exceptions);
  EXPECT_EQ(firstOf(drive.scsi({0x1A, 8, 0x1C, 0, 32, 0}, 32)), mode) << "refused";
  exceptions = {0, 0, 0, 0, 0x1C, 0x0A, 8, 6, 0, 0, 0, 0, 0, 0, 0, 1};
  ASSERT_EQ(drive.scsi({0x15, 0x11, 0, 0, 16, 0}, 0, exceptions).status, 0);
  EXPECT_NE(firstOf(drive.scsi({0x1A, 8, 0x1C, 0, 32, 0}, 32)), mode);
  EXPECT_EQ(firstOf(drive.scsi({3, 0, 0, 0, 252, 0}, 252)).size(), 18u);
}

TEST(RecordedDrive, NvmePagesAreNamedBySelectorAndNamespace) {
  DriveBench drive(R"("kind": "nvme", "model": "M", "size_sectors": 1000, "recorded": {"nvme": [
      {"opcode": 6, "select": 1, "data": ["3412"], "bytes": 4096},
      {"opcode": 6, "select": 0, "namespace": 7, "data": ["07"], "bytes": 4096},
      {"opcode": 2, "select": 2, "data": ["01", "02"], "bytes": 512},
      {"opcode": 2, "select": 9, "identifier": 1, "status_type": 1, "status_code": 9},
      {"opcode": 2, "select": 6, "data": ["ff"], "bytes": 564}]})");
  const auto send = [&](std::uint8_t opcode, std::uint32_t nsid, std::uint32_t cdw10,
                        std::uint32_t cdw11, std::size_t bytes) {
    NvmeExchange exchange;
    exchange.opcode = opcode;
    exchange.namespaceId = nsid;
    exchange.cdw = {cdw10, cdw11};
    exchange.direction = bytes != 0 ? DataDirection::In : DataDirection::None;
    exchange.data.resize(bytes);
    drive->nvme->execute(exchange);
    return exchange;
  };
  EXPECT_EQ(firstOf(send(6, 0, 1, 0, 4096)), page({0x34, 0x12}, 4096));
  EXPECT_EQ(firstOf(send(6, 7, 0, 0, 4096)), page({7}, 4096));
  EXPECT_NE(firstOf(send(6, 1, 0, 0, 4096)), page({7}, 4096)) << "another namespace";
  EXPECT_EQ(firstOf(send(2, ~0u, 0x007F0002, 0, 512)), page({1, 2}, 512));
  EXPECT_EQ(send(2, ~0u, 0x007F0009, 0x00010000, 512).statusCode, 9);
  ASSERT_EQ(firstOf(send(2, ~0u, 0x008C0006, 0, 564)), page({0xFF}, 564));
  ASSERT_EQ(send(0x14, ~0u, 1, 0, 0).statusCode, 0);
  EXPECT_EQ(firstOf(send(2, ~0u, 0x008C0006, 0, 564))[0], 1) << "the log has a test of its own";
}

}  // namespace
}  // namespace ostria::virtual_pc::test
