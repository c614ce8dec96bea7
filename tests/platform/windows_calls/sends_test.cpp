// The pass-through sends before a scripted system: the exact blocks, and what a driver may break.
#include <gtest/gtest.h>
#include <windows.h>
// The pass-through headers need windows.h first.
#include <ntddscsi.h>
#include <winioctl.h>

#include <array>

#include "base/byte_order.h"
#include "scripted_win32.h"
#include "transport/ata/ata_cmd.h"
#include "transport/hal/hal_ata_send.h"
#include "transport/hal/hal_nvme_intel_send.h"
#include "transport/hal/hal_nvme_mini_intel_send.h"
#include "transport/hal/hal_scsi_send.h"
#include "transport/hal/predict_failure.h"
#include "transport/nvme/nvme_cmd.h"
#include "transport/scsi/scsi_cmd.h"

namespace ostria::storage::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

class SendsTest : public testing::Test {
 protected:
  SendsTest() { kernel = {}; }
  ~SendsTest() override { EXPECT_EQ(kernel.openHandles, 0); }

  std::uint32_t sent32(std::size_t at) { return loadLe32(&kernel.sent.at(at)); }
  Bytes sentBytes(std::size_t at, std::size_t count) {
    return {kernel.sent.begin() + static_cast<std::ptrdiff_t>(at),
            kernel.sent.begin() + static_cast<std::ptrdiff_t>(at + count)};
  }

  /// A request to a miniport: the head that all have, and zeros.
  static Bytes miniportBlock(const std::string& signature, std::uint32_t seconds,
                             std::uint32_t code, std::uint32_t bytes) {
    Bytes block(bytes);
    storeLe32(&block[0], 28);
    std::copy(signature.begin(), signature.end(), block.begin() + 4);
    storeLe32(&block[12], seconds);
    storeLe32(&block[16], code);
    storeLe32(&block[24], bytes - 28);
    return block;
  }

  ScriptedWin32& kernel = scriptedWin32();
  std::array<std::uint8_t, 1024> data{};
};

TEST_F(SendsTest, AtaBlockCarriesTheTaskFile) {
  ReadLogExt command(0x04, 2, data.data(), 0x0102);
  command.timeoutSeconds = 17;
  kernel.driver = [&](DWORD code, Bytes& block, DWORD&) {
    EXPECT_EQ(code, 0x4D02Cu);
    EXPECT_EQ(block.size(), 48u + 1024);
    block[48] = 0x5A;
    const Bytes registers = {0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x51};
    std::copy(registers.begin(), registers.end(), block.begin() + 40);
    return 0u;
  };
  const AtaCmd before = command;
  EXPECT_EQ(halAtaSend().Send(kScriptedDevice, command), ProtocolResult::Success);
  EXPECT_EQ(loadLe16(&kernel.sent[0]), 48);
  EXPECT_EQ(loadLe16(&kernel.sent[2]), 0x01 | 0x02 | 0x08);
  EXPECT_EQ(sent32(8), 1024u);
  EXPECT_EQ(sent32(12), 17u);
  EXPECT_EQ(loadLe64(&kernel.sent[24]), 48u);
  EXPECT_EQ(sentBytes(32, 8), (Bytes{0, before.sectorCountPrevious, before.lbaLowPrevious,
                                     before.lbaMidPrevious, before.lbaHighPrevious, 0, 0, 0}));
  EXPECT_EQ(sentBytes(40, 8), (Bytes{before.features, before.sectorCount, before.lbaLow,
                                     before.lbaMid, before.lbaHigh, before.device, 0x2F, 0}));
  EXPECT_EQ(data[0], 0x5A);
  EXPECT_EQ(command.transferBytes, 1024u);
  EXPECT_EQ((Bytes{command.features, command.sectorCount, command.lbaLow, command.lbaMid,
                   command.lbaHigh, command.device, command.command}),
            (Bytes{0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x51}));
  EXPECT_EQ(command.lbaMidPrevious, before.lbaMidPrevious);

  kernel.driver = [](DWORD, Bytes&, DWORD&) { return 0u; };
  SmartReadLog pages(0x06, 2, data.data());
  EXPECT_EQ(halAtaSend().Send(kScriptedDevice, pages), ProtocolResult::Success);
  EXPECT_EQ(loadLe16(&kernel.sent[2]), 0x01 | 0x02 | 0x20);
  data[3] = 0x77;
  WriteSectors write(5, 1, 512, data.data());
  EXPECT_EQ(halAtaSend().Send(kScriptedDevice, write), ProtocolResult::Success);
  EXPECT_EQ(loadLe16(&kernel.sent[2]), 0x01 | 0x04);
  EXPECT_EQ(kernel.sent[48 + 3], 0x77);
}

TEST_F(SendsTest, AtaAnswersAreNotTrusted) {
  struct Row {
    const char* name;
    DWORD error = 0;
    std::uint32_t length = 512;
    std::uint64_t offset = 48;
    DWORD returned = 0;
    ProtocolResult result = ProtocolResult::TransportFailure;
    std::uint64_t bytes = 512;
    std::uint8_t status = 0x50;
  };
  using enum ProtocolResult;
  const Row rows[] = {
      {.name = "short", .length = 100, .returned = 148, .result = Success, .bytes = 100},
      {.name = "more than asked", .length = 0xFFFFFFFF, .returned = 560, .result = Success},
      {.name = "more than returned", .returned = 148, .result = Success, .bytes = 100},
      {.name = "nothing came", .length = 0, .returned = 48, .result = NoDataReturned},
      {.name = "data before the header's end", .offset = 8, .returned = 560},
      {.name = "data outside", .offset = UINT64_MAX, .returned = 560},
      {.name = "error, header alone", .returned = 48, .result = NoDataReturned, .status = 0x51},
      {.name = "no header", .returned = 47},
      {.name = "no rights", .error = ERROR_ACCESS_DENIED, .result = AccessDenied},
      {.name = "refused", .error = ERROR_INVALID_PARAMETER},
  };
  for (const auto wait : {ScriptedWin32::Transfer::AtOnce, ScriptedWin32::Transfer::Pending}) {
    kernel.transfer = wait;
    for (const Row& row : rows) {
      SCOPED_TRACE(row.name);
      IdentifyDevice command(data.data());
      kernel.driver = [&](DWORD, Bytes& block, DWORD& returned) {
        storeLe32(&block[8], row.length);
        storeLe64(&block[24], row.offset);
        block[46] = row.status;
        returned = row.returned;
        return row.error;
      };
      EXPECT_EQ(halAtaSend().Send(kScriptedDevice, command), row.result);
      EXPECT_EQ(command.transferBytes, row.bytes);
      const bool registers =
          row.result == ProtocolResult::Success || row.result == ProtocolResult::NoDataReturned;
      EXPECT_EQ(command.command, registers ? row.status : 0xEC);
    }
  }
}

TEST_F(SendsTest, ScsiBlockAndItsAnswer) {
  Inquiry command(data.data(), 64);
  kernel.driver = [](DWORD code, Bytes& block, DWORD& returned) {
    EXPECT_EQ(code, 0x4D004u);
    EXPECT_EQ(block.size(), 88u + 64);
    block[2] = 2;   // CHECK CONDITION
    block[7] = 18;  // sense length
    block[56] = 0x70;
    block[87] = 0x99;  // the last sense byte
    block[88] = 0x05;
    storeLe32(&block[12], 36);
    returned = 88 + 36;
    return 0u;
  };
  EXPECT_EQ(halScsiSend().Send(kScriptedDevice, 1, command), ProtocolResult::Success);
  EXPECT_EQ(sentBytes(0, 9), (Bytes{56, 0, 0, 0, 0, 0, 6, 32, 1}));
  EXPECT_EQ(sent32(12), 64u);
  EXPECT_EQ(sent32(16), 30u);
  EXPECT_EQ(loadLe64(&kernel.sent[24]), 88u);
  EXPECT_EQ(sent32(32), 56u);
  EXPECT_EQ(kernel.sent[36], 0x12);
  EXPECT_EQ(command.transferBytes, 36u);
  EXPECT_EQ(command.scsiStatus, 2);
  EXPECT_EQ(command.senseLength, 18u);
  EXPECT_EQ(command.sense[31], 0x99);
  EXPECT_EQ(data[0], 0x05);

  data[9] = 0x42;
  Write10 write(data.data(), 1, 1, 512);
  kernel.driver = [](DWORD, Bytes&, DWORD& returned) { return returned = 88, 0u; };
  EXPECT_EQ(halScsiSend().Send(kScriptedDevice, 1, write), ProtocolResult::Success);
  EXPECT_EQ(kernel.sent[8], 0);
  EXPECT_EQ(kernel.sent[88 + 9], 0x42);
  EXPECT_EQ(write.transferBytes, 512u);
}

TEST_F(SendsTest, ScsiAnswersAreNotTrusted) {
  struct Row {
    const char* name;
    std::uint32_t length = 64;
    std::uint64_t offset = 88;
    std::uint32_t sense = 56;
    DWORD returned = 152;
    ProtocolResult result = ProtocolResult::Success;
    std::uint64_t bytes = 64;
  };
  constexpr auto kBad = ProtocolResult::TransportFailure;
  for (const Row& row :
       {Row{.name = "good"}, Row{.name = "more than asked", .length = 0xFFFFFFFF},
        Row{.name = "more than returned", .length = 0xFFFFFFFF, .returned = 98, .bytes = 10},
        Row{.name = "header alone", .length = 0xFFFFFFFF, .returned = 60, .bytes = 0},
        Row{.name = "no header", .returned = 55, .result = kBad},
        Row{.name = "data outside", .offset = 0xFFFFFFFFFF, .result = kBad},
        Row{.name = "sense outside", .sense = 0xFFFFFFF0, .result = kBad}}) {
    SCOPED_TRACE(row.name);
    kernel.driver = [&](DWORD, Bytes& block, DWORD& returned) {
      storeLe32(&block[12], row.length);
      storeLe64(&block[24], row.offset);
      storeLe32(&block[32], row.sense);
      returned = row.returned;
      return 0u;
    };
    Inquiry command(data.data(), 64);
    EXPECT_EQ(halScsiSend().Send(kScriptedDevice, 1, command), row.result);
    EXPECT_EQ(command.transferBytes, row.bytes);
  }
}

TEST_F(SendsTest, IntelMiniportBlock) {
  NvmeGetLog command(data.data(), 512, 2, 0x01020304);
  command.pathId = 3;
  command.ioQueue = 1;
  command.metadataPointer = 0x1122334455667788;
  DWORD came = 168 + 512;
  std::uint32_t at = 168;
  std::uint32_t returnCode = 0;
  kernel.driver = [&](DWORD code, Bytes& block, DWORD& returned) {
    EXPECT_EQ(code, 0x4D008u);
    block[168] = 0x5C;
    storeLe32(&block[20], returnCode);
    storeLe32(&block[116], at);
    returned = came;
    return 0u;
  };
  EXPECT_EQ(halNvmeIntelSend().Send(kScriptedDevice, 1, command), ProtocolResult::Success);
  EXPECT_EQ(data[0], 0x5C);
  const auto image = command.image();
  Bytes expected = miniportBlock("IntelNvm", 30, 0xF0002808, 168 + 512);
  expected[28] = 1;
  expected[29] = 3;
  expected[32] = 2;  // GET LOG PAGE
  storeLe32(&expected[36], 0x01020304);
  storeLe64(&expected[48], 0x1122334455667788);
  std::copy(image.begin() + 40, image.end(), expected.begin() + 72);
  expected[96] = 1;
  storeLe32(&expected[116], 168);
  storeLe32(&expected[120], 512);
  EXPECT_EQ(kernel.sent, expected);

  // A driver that refuses, an answer that is too short, data outside of it.
  const auto send = [&] { return halNvmeIntelSend().Send(kScriptedDevice, 1, command); };
  returnCode = 1;
  EXPECT_EQ(send(), ProtocolResult::Failure);
  returnCode = 0;
  came = 168 + 511;
  EXPECT_EQ(send(), ProtocolResult::Failure);
  came = 168 + 512;
  for (const std::uint32_t bad : {169u, 0u, 0xFFFFFFFFu}) {
    at = bad;
    EXPECT_EQ(send(), ProtocolResult::Failure);
  }
}

TEST_F(SendsTest, MiniMiniportBlock) {
  Bytes page(4096);
  NvmeIdentifyDevice command;
  command.fillNamespace(page.data(), 7);
  DWORD came = 4248;
  std::uint16_t status = 1;  // the phase bit alone
  kernel.driver = [&](DWORD, Bytes& block, DWORD& returned) {
    block[152 + 4095] = 0x5D;
    storeLe16(&block[130], status);
    returned = came;
    return 0u;
  };
  EXPECT_EQ(halNvmeMiniIntelSend().Send(kScriptedDevice, 1, command), ProtocolResult::Success);
  EXPECT_EQ(page[4095], 0x5D);
  const auto image = command.image();
  Bytes expected = miniportBlock("NvmeMini", 40, 0xE0002000, 4248);
  expected[52] = 6;  // IDENTIFY
  expected[56] = 7;
  std::copy(image.begin() + 16, image.end(), expected.begin() + 68);
  expected[132] = 2;
  storeLe32(&expected[140], 4096);
  storeLe32(&expected[148], 4248);
  EXPECT_EQ(kernel.sent, expected);

  const auto send = [&] { return halNvmeMiniIntelSend().Send(kScriptedDevice, 1, command); };
  came = 4247;
  EXPECT_EQ(send(), ProtocolResult::Failure);
  // The controller's own refusal, with and without data.
  came = 4248;
  for (const unsigned refusal : {0x0002u, 0x0201u, 0x8000u}) {
    status = static_cast<std::uint16_t>(refusal);
    EXPECT_EQ(send(), ProtocolResult::Failure) << refusal;
  }
  NvmeSelfTestCmd start(1, 1);
  EXPECT_EQ(halNvmeMiniIntelSend().Send(kScriptedDevice, 1, start), ProtocolResult::Failure);
  status = 0;
  EXPECT_EQ(halNvmeMiniIntelSend().Send(kScriptedDevice, 1, start), ProtocolResult::Success);
  came = 131;  // no completion entry
  EXPECT_EQ(halNvmeMiniIntelSend().Send(kScriptedDevice, 1, start), ProtocolResult::Failure);
  came = 4248;
  command.transferBytes = 4097;
  EXPECT_EQ(send(), ProtocolResult::Failure);
  // In the admin queue the opcode of a read is GET LOG PAGE.
  NvmeRead read(page.data(), 2, 8, 1, false);
  read.transferBytes = 4096;
  kernel.sent.clear();
  EXPECT_EQ(halNvmeMiniIntelSend().Send(kScriptedDevice, 1, read), ProtocolResult::Failure);
  EXPECT_TRUE(kernel.sent.empty());
}

TEST_F(SendsTest, PredictedFailure) {
  struct Row {
    DWORD prediction, error;
    ProtocolResult result;
    bool failing;
  };
  bool failing = true;
  // Without an answer it stays as it was.
  for (const Row& row :
       {Row{0, 0, ProtocolResult::Success, false}, Row{0x100, 0, ProtocolResult::Success, true},
        Row{0, ERROR_INVALID_FUNCTION, ProtocolResult::TransportFailure, true}}) {
    kernel.driver = [&](DWORD, Bytes& block, DWORD&) {
      EXPECT_EQ(block.size(), 516u);
      storeLe32(block.data(), row.prediction);
      return row.error;
    };
    EXPECT_EQ(queryPredictedFailure(kScriptedDevice, &failing), row.result);
    EXPECT_EQ(failing, row.failing);
  }
}

}  // namespace
}  // namespace ostria::storage::test
