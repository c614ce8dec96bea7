// NVMe by the storage queries before a scripted system: blocks, and answers that lie about sizes.
#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>
#include <utility>

#include "base/byte_order.h"
#include "platform/windows/passthrough/win_nvme_system_call_protocol.h"
#include "scripted_win32.h"
#include "transport/nvme/nvme_cmd.h"

namespace ostria::storage::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr DWORD kQuery = 0x2D1400;
constexpr DWORD kCapacity = 0x2D5140;
constexpr DWORD kCommand = 0x2DD3C0;

/// The question in a block, by 32-bit field.
std::vector<std::uint32_t> fields(const Bytes& block, std::size_t count) {
  std::vector<std::uint32_t> out;
  for (std::size_t i = 0; i < count; ++i) {
    out.push_back(loadLe32(&block[4 * i]));
  }
  return out;
}

class NvmeQueriesTest : public testing::Test {
 protected:
  NvmeQueriesTest() {
    kernel = {};
    kernel.driver = [this](DWORD code, Bytes& block, DWORD& returned) -> DWORD {
      codes.push_back(code);
      if (code == kCapacity) {
        EXPECT_EQ(block.size(), 32u);
        storeLe32(&block[8], 4096);
        storeLe64(&block[16], 777);
        return capacityError;
      }
      if (code == kCommand) {
        return commandError;
      }
      const bool identify = loadLe32(&block[0]) == 49;
      if (!identify && loadLe32(&block[16]) == refusedLog) {
        return ERROR_INVALID_FUNCTION;
      }
      storeLe32(&block[0], version);
      storeLe32(&block[4], 48);
      storeLe32(&block[24], dataOffset);
      if (dataLength) {
        storeLe32(&block[28], dataLength);
      }
      const Bytes& data = identify ? controller : log;
      std::copy_n(data.begin(), std::min(data.size(), block.size() - 48), block.begin() + 48);
      returned = std::min(returned, most);
      return 0;
    };
    controller[0] = 0x86;
    controller[1] = 0x80;
    controller[516] = 1;
    controller[256] = 0x10;
    controller[318] = 1;
    controller[316] = 0x2C;
    controller[317] = 0x01;
    std::fill_n(controller.begin() + 4, 68, std::uint8_t{' '});
    controller[4] = 'S';
    controller[5] = 0x07;
    controller[24] = 'M';
    controller[64] = 'F';
    log[300] = 1;
  }

  ScriptedWin32& kernel = scriptedWin32();
  WinNvmeSystemCallProtocol protocol{kScriptedDevice, ""};
  std::vector<DWORD> codes;
  Bytes controller = Bytes(4096);
  Bytes log = Bytes(4096);
  DWORD capacityError = 0;
  DWORD commandError = 0;
  std::uint32_t refusedLog = 0xFFFFFFFF;
  std::uint32_t version = 48;
  std::uint32_t dataOffset = 40;
  std::uint32_t dataLength = 0;  ///< claimed; 0 as asked
  DWORD most = 0xFFFFFFFF;       ///< bytes that come back
};

TEST_F(NvmeQueriesTest, IdentifyAndCapacityMakeTheProperties) {
  std::copy_n("PART", 4, log.begin() + 110);
  StorageProtocolProperties p;
  EXPECT_EQ(protocol.GetProperties(&p), ProtocolResult::Success);
  EXPECT_EQ(codes, (std::vector<DWORD>{kQuery, kCapacity, kQuery}));
  EXPECT_EQ(p.serialNumber, "S?");
  EXPECT_EQ(p.modelNumber, "M");
  EXPECT_EQ(p.logicalSectorSize, 4096u);
  EXPECT_EQ(p.totalSectors, 777u);
  EXPECT_TRUE(p.selfTestSupported);
  EXPECT_EQ(p.physicalSectorSize, 4096u);
  EXPECT_EQ(p.fruPartNumber, "PART");

  NvmeIdentifyRecord record;
  EXPECT_TRUE(protocol.GetIdentifyRecord(&record));
  EXPECT_EQ(record.vendorId, "32902");
  EXPECT_EQ(record.extendedSelfTestMinutes, 300);

  refusedLog = 0xDF;
  EXPECT_EQ(protocol.GetProperties(&p), ProtocolResult::Success);
  capacityError = ERROR_NOT_READY;
  p = {};
  EXPECT_EQ(protocol.GetProperties(&p), ProtocolResult::DeviceError);
  EXPECT_EQ(p.protocolName, "");
  capacityError = 0;
  controller[0] = 0;  // vendor 8000h has a low byte of 0
  EXPECT_TRUE(WinNvmeSystemCallProtocol::ProbeHandle(kScriptedDevice));
  controller[1] = 0;
  EXPECT_FALSE(WinNvmeSystemCallProtocol::ProbeHandle(kScriptedDevice));
  controller[0] = 1;
  controller[516] = 0;
  EXPECT_FALSE(WinNvmeSystemCallProtocol::ProbeHandle(kScriptedDevice));
  controller[516] = 1;
  EXPECT_TRUE(WinNvmeSystemCallProtocol::ProbeHandle(kScriptedDevice));
  most = 48 + 10;  // the number of namespaces did not come back
  kernel.driver = [&](DWORD, Bytes& block, DWORD& returned) -> DWORD {
    std::copy(controller.begin(), controller.end(), block.begin() + 48);
    returned = most;
    return 0;
  };
  EXPECT_FALSE(WinNvmeSystemCallProtocol::ProbeHandle(kScriptedDevice));
}

TEST_F(NvmeQueriesTest, QuestionsAreLaidOutByteForByte) {
  StorageProtocolProperties p;
  refusedLog = 0xDF;
  std::ignore = protocol.GetProperties(&p);
  EXPECT_EQ(kernel.sent.size(), 560u);
  EXPECT_EQ(fields(kernel.sent, 9), (std::vector<std::uint32_t>{50, 0, 3, 2, 0xDF, 0, 40, 512, 0}));
  EXPECT_TRUE(WinNvmeSystemCallProtocol::ProbeHandle(kScriptedDevice));

  Bytes buffer(1024);
  EXPECT_EQ(protocol.GetLogPage(buffer.data(), 1024, 9, 7), ProtocolResult::Success);
  EXPECT_EQ(kernel.sent.size(), 1072u);
  EXPECT_EQ(fields(kernel.sent, 9), (std::vector<std::uint32_t>{50, 0, 3, 2, 9, 7, 40, 1024, 0}));
  EXPECT_EQ(protocol.ReadLog(buffer.data(), 1024, 9, 1), ProtocolResult::Success);
  EXPECT_EQ(fields(kernel.sent, 12),
            (std::vector<std::uint32_t>{50, 0, 3, 2, 9, 0, 40, 1024, 0, 0, 1, 0}));

  kernel.driver = [](DWORD, Bytes&, DWORD&) -> DWORD { return ERROR_INVALID_FUNCTION; };
  EXPECT_FALSE(WinNvmeSystemCallProtocol::ProbeHandle(kScriptedDevice));
  EXPECT_EQ(kernel.sent.size(), 4144u);
  EXPECT_EQ(fields(kernel.sent, 9), (std::vector<std::uint32_t>{49, 0, 3, 1, 1, 0, 40, 4096, 0}));
}

TEST_F(NvmeQueriesTest, LogAnswerThatIsNotWholeIsRefused) {
  Bytes buffer(512, 0x77);
  const auto read = [&] { return protocol.GetHealthLog(buffer.data()); };
  const auto refusedWith = [&](std::uint32_t& field, std::uint32_t bad) {
    const std::uint32_t good = std::exchange(field, bad);
    EXPECT_EQ(read(), ProtocolResult::Failure) << bad;
    field = good;
  };
  for (const std::uint32_t offset : {0u, 39u, 41u, 552u, 0xFFFFFFF8u}) {
    refusedWith(dataOffset, offset);
  }
  refusedWith(version, 40);
  refusedWith(dataLength, 511);
  for (const DWORD came : {0u, 47u, 48u, 559u}) {
    most = came;
    EXPECT_EQ(read(), ProtocolResult::Failure) << came;
  }
  EXPECT_EQ(buffer, Bytes(512, 0x77));
  most = 560;
  dataLength = 4096;
  EXPECT_EQ(read(), ProtocolResult::Success);

  std::uint8_t celsius = 9;
  EXPECT_EQ(protocol.GetTemperature(&celsius), ProtocolResult::Failure) << "0 K is no temperature";
  log[300] = 0;
  EXPECT_EQ(read(), ProtocolResult::Failure) << "nothing but zeros";

  refusedLog = 2;
  std::uint32_t left = 9;
  EXPECT_EQ(protocol.GetTemperature(&celsius), ProtocolResult::Failure);
  EXPECT_EQ(protocol.GetWearIndicator(&left), ProtocolResult::Failure);
  EXPECT_EQ(celsius + left, 18u);
}

TEST_F(NvmeQueriesTest, SelfTestGoesOutAsAProtocolCommand) {
  EXPECT_EQ(protocol.StartSelfTest(2, 0), ProtocolResult::Success);
  EXPECT_EQ(codes, (std::vector<DWORD>{kQuery, kCapacity, kQuery, kCommand}));
  EXPECT_EQ(kernel.sent.size(), 4096u + 208u);
  EXPECT_EQ(fields(kernel.sent, 20),
            (std::vector<std::uint32_t>{1,  84,  3,   0x80000000, 0, 0, 64, 64, 0, 0,
                                        30, 144, 208, 0,          1, 0, 0,  0,  0, 0}));
  EXPECT_EQ(kernel.sent[80], 0x14);
  EXPECT_EQ(loadLe32(&kernel.sent[84]), 0u);
  EXPECT_EQ(loadLe32(&kernel.sent[120]), 2u);

  EXPECT_EQ(protocol.AbortSelfTest(), ProtocolResult::Success);
  EXPECT_EQ(loadLe32(&kernel.sent[120]), 15u);
  commandError = ERROR_IO_DEVICE;
  capacityError = ERROR_IO_DEVICE;
  EXPECT_EQ(protocol.StartSelfTest(1, 0), ProtocolResult::TransportFailure);

  // A command that brings data.
  Bytes data(8192);
  NvmeGetLog read(data.data(), 8192, 2);
  commandError = 0;
  kernel.driver = [](DWORD, Bytes& block, DWORD&) -> DWORD {
    EXPECT_EQ(block.size(), 8192u + 208u);
    EXPECT_EQ(loadLe32(&block[36]), 8192u);
    EXPECT_EQ(loadLe32(&block[52]), 208u);
    std::fill(block.begin() + 208, block.end(), std::uint8_t{0x3C});
    return 0;
  };
  EXPECT_EQ(protocol.SendProtocolCommand(read), ProtocolResult::Success);
  EXPECT_EQ(data, Bytes(8192, 0x3C));
  kernel.driver = [](DWORD, Bytes& block, DWORD& returned) -> DWORD {
    returned = static_cast<DWORD>(block.size() - 1);
    return 0;
  };
  EXPECT_EQ(protocol.SendProtocolCommand(read), ProtocolResult::TransportFailure);
  read.transferBytes = 1ull << 32;
  EXPECT_EQ(protocol.SendProtocolCommand(read), ProtocolResult::InvalidArgument);
}

TEST_F(NvmeQueriesTest, AnyRunningOperationHasAProgress) {
  std::uint8_t value = 0xFF;
  log[1] = 0x80 | 40;
  log[4] = 0x25;
  EXPECT_EQ(protocol.GetSelfTestProgress(&value), ProtocolResult::Failure);
  log[0] = 0x1C;  // a vendor's own test
  EXPECT_EQ(protocol.GetSelfTestProgress(&value), ProtocolResult::Success);
  EXPECT_EQ(value, 40);
  EXPECT_EQ(protocol.GetSelfTestResult(&value), ProtocolResult::Success);
  EXPECT_EQ(value, 5);
  EXPECT_EQ(protocol.GetSelfTestOperation(&value), ProtocolResult::Success);
  EXPECT_EQ(value, 0x0C);
}

}  // namespace
}  // namespace ostria::storage::test
