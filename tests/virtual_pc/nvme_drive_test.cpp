// The NVMe drive model and its SCSI translation.
#include "virtual_pc/drives/nvme_drive.h"

#include <gtest/gtest.h>

#include "tests/support/nvme_bench.h"
#include "virtual_pc/drives/nvme_scsi_translation.h"

namespace ostria::virtual_pc::test {
namespace {

using storage::ProtocolResult;
using storage::test::NvmeBench;

TEST(NvmeDrive, SelfTestRunsAndEndsInVirtualTime) {
  NvmeBench bench({}, 1000);
  std::uint8_t value = 0xFF;
  EXPECT_EQ(bench.protocol->GetSelfTestProgress(&value), ProtocolResult::Failure);
  ASSERT_EQ(bench.protocol->StartSelfTest(1, 0), ProtocolResult::Success);
  bench.clock.advance(60 * kMicrosecondsPerSecond);
  EXPECT_EQ(bench.protocol->GetSelfTestProgress(&value), ProtocolResult::Success);
  EXPECT_EQ(value, 50);
  EXPECT_EQ(bench.protocol->GetSelfTestOperation(&value), ProtocolResult::Success);
  EXPECT_EQ(value, 1);
  bench.clock.advance(61 * kMicrosecondsPerSecond);
  EXPECT_EQ(bench.protocol->GetSelfTestProgress(&value), ProtocolResult::Failure);
  EXPECT_EQ(bench.protocol->GetSelfTestResult(&value), ProtocolResult::Success);
  EXPECT_EQ(value, 0);

  // The extended test meets the bad sector half way; an abort is an outcome of its own.
  bench.medium.addBadSectors({500, 1, BadSectorKind::Medium, WriteEffect::Heals, 1, 0});
  ASSERT_EQ(bench.protocol->StartSelfTest(2, 0), ProtocolResult::Success);
  bench.clock.advance(16 * 60 * kMicrosecondsPerSecond);
  EXPECT_EQ(bench.protocol->GetSelfTestResult(&value), ProtocolResult::Success);
  EXPECT_EQ(value, 7);
  ASSERT_EQ(bench.protocol->StartSelfTest(1, 0), ProtocolResult::Success);
  ASSERT_EQ(bench.protocol->AbortSelfTest(), ProtocolResult::Success);
  EXPECT_EQ(bench.protocol->GetSelfTestResult(&value), ProtocolResult::Success);
  EXPECT_EQ(value, 1);
}

TEST(NvmeDrive, ScsiFaceReadsWhatTheDriveHoldsAndTellsItsBadSectors) {
  Clock clock;
  BlockMedium medium(1000, 512);
  medium.addBadSectors({9, 1, BadSectorKind::Medium, WriteEffect::Heals, 1, 0});
  NvmeDrive drive({}, medium, clock);
  NvmeTranslation face(drive, 1, medium);
  const auto transfer = [&](std::uint8_t opcode, std::uint8_t lba, DataDirection direction,
                            std::vector<std::uint8_t> data) {
    ScsiExchange exchange;
    exchange.cdb = {opcode, 0, 0, 0, 0, lba, 0, 0, static_cast<std::uint8_t>(data.size() / 512)};
    exchange.cdbLength = 10;
    exchange.direction = direction;
    exchange.data = std::move(data);
    face.execute(exchange);
    return exchange;
  };
  const std::vector<std::uint8_t> content(1024, 0x5A);
  EXPECT_EQ(transfer(0x2A, 4, DataDirection::Out, content).status, 0);
  EXPECT_EQ(transfer(0x28, 4, DataDirection::In, std::vector<std::uint8_t>(1024)).data, content);

  const ScsiExchange failed = transfer(0x28, 8, DataDirection::In, std::vector<std::uint8_t>(1024));
  EXPECT_EQ(failed.status, 2);
  EXPECT_EQ(failed.sense[2] & 0x0F, 3);
  EXPECT_EQ(failed.sense[12], 0x11);
  EXPECT_EQ(transfer(0x2A, 9, DataDirection::Out, std::vector<std::uint8_t>(512)).status, 0);
  EXPECT_EQ(transfer(0x28, 8, DataDirection::In, std::vector<std::uint8_t>(1024)).status, 0);

  // Room for one sector only: the drive must not write two.
  ScsiExchange cut;
  cut.cdb = {0x28, 0, 0, 0, 0, 0, 0, 0, 2};
  cut.direction = DataDirection::In;
  cut.data.resize(512);
  face.execute(cut);
  EXPECT_EQ(cut.status, 2);
}

}  // namespace
}  // namespace ostria::virtual_pc::test
