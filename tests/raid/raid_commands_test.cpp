// Commands to RAID members: the blocks of both families, byte for byte.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <numeric>

#include "base/byte_order.h"
#include "raid/csmi/csmi_bridges.h"
#include "raid/lsi/lsi_bridges.h"
#include "transport/ata/ata_cmd.h"
#include "transport/scsi/scsi_cmd.h"

namespace ostria::storage::test {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using Bytes = std::vector<std::uint8_t>;

/// A miniport that keeps the request and answers by a script.
class ScriptedMiniport : public CsmiSend {
 public:
  ProtocolResult send(DeviceHandle, CsmiCmd& command) override {
    command.finishHeader();
    request = command.buffer();
    if (answer) {
      answer(command.buffer());
    }
    return result;
  }
  Bytes request;
  std::function<void(Bytes&)> answer;
  ProtocolResult result = ProtocolResult::Success;
};

/// A vendor library that keeps the request and answers by a script.
class ScriptedLibrary : public LsiSender {
 public:
  std::uint32_t execute(LsiCmd& command) override {
    request = command.buffer();
    record = command.record;
    if (answer) {
      answer(command.buffer());
    }
    return result;
  }
  Bytes request;
  LsiRecord record;
  std::function<void(Bytes&)> answer;
  std::uint32_t result = 0;
};

Bytes part(const Bytes& bytes, std::size_t at, std::size_t count) {
  return Bytes(bytes.begin() + static_cast<std::ptrdiff_t>(at),
               bytes.begin() + static_cast<std::ptrdiff_t>(at + count));
}

/// An ATA command in which no two registers are alike.
AtaCmd distinct(DataDirection direction, Bytes& data) {
  AtaCmd command;
  command.command = 1;
  command.features = 2;
  command.lbaLow = 3;
  command.lbaMid = 4;
  command.lbaHigh = 5;
  command.device = 6;
  command.lbaLowPrevious = 7;
  command.lbaMidPrevious = 8;
  command.lbaHighPrevious = 9;
  command.featuresPrevious = 10;
  command.sectorCount = 11;
  command.sectorCountPrevious = 12;
  command.dataDirection = direction;
  command.data = data.empty() ? nullptr : data.data();
  command.transferBytes = data.size();
  return command;
}

AtaCmd sent(AtaBridge& bridge, DataDirection direction, Bytes& data) {
  AtaCmd command = distinct(direction, data);
  EXPECT_EQ(bridge.Send(command), ProtocolResult::Success);
  return command;
}

/// A frame that counts up from 50h came back.
void expectFrame(const AtaCmd& read) {
  EXPECT_THAT((Bytes{read.command, read.features, read.lbaLow, read.lbaMid, read.lbaHigh,
                     read.device, read.sectorCount}),
              ElementsAre(0x52, 0x53, 0x54, 0x55, 0x56, 0x57, 0x5C));
}

CsmiPhyEntry phyEntry() {
  Bytes record(CsmiPhyEntry::kBytes);
  std::iota(record.begin(), record.end(), std::uint8_t{100});
  return CsmiPhyEntry(std::span<const std::uint8_t, CsmiPhyEntry::kBytes>(record));
}

TEST(CsmiCommands, WantTheDataOfAReadBack) {
  Bytes data(8);
  CsmiSspPassthrough ssp(Inquiry(data.data(), 8), phyEntry());
  storeLe32(&ssp.buffer()[364], 8);
  EXPECT_EQ(ssp.replyBytes(), 368u + 8);
  CsmiStpPassthrough stp(distinct(DataDirection::FromDevice, data), phyEntry());
  storeLe32(&stp.buffer()[160], 8);
  EXPECT_EQ(stp.replyBytes(), 164u + 8);
  CsmiSspPassthrough write(Write10(data.data(), 0, 1, 8), phyEntry());
  EXPECT_EQ(write.replyBytes(), 368u);
  EXPECT_EQ(loadLe32(&CsmiGetRaidConfig(0x01020304, 3).buffer()[28]), 0x01020304u);
}

TEST(CsmiCommands, CarryAtaRegistersBothWays) {
  ScriptedMiniport port;
  port.answer = [](Bytes& buffer) {
    std::iota(buffer.begin() + 76, buffer.begin() + 96, std::uint8_t{0x50});
    buffer[76] = 0x34;
    storeLe32(&buffer[160], loadLe32(&buffer[68]));
    std::fill(buffer.begin() + 164, buffer.end(), std::uint8_t{0xAB});
  };
  CsmiStpBridge bridge(DeviceHandle(), &port, phyEntry());
  Bytes data(512);
  expectFrame(sent(bridge, DataDirection::FromDevice, data));
  EXPECT_THAT(part(port.request, 28, 4), ElementsAre(120, 128, 0, 0));
  EXPECT_THAT(part(port.request, 32, 8), ElementsAre(148, 149, 150, 151, 152, 153, 154, 155));
  EXPECT_THAT(part(port.request, 44, 20),
              ElementsAre(0x27, 0x80, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 0, 0, 0, 0, 0, 0));
  EXPECT_EQ(loadLe32(&port.request[64]), 17u);
  EXPECT_EQ(loadLe32(&port.request[68]), 512u);
  EXPECT_EQ(data, Bytes(512, 0xAB));

  data.assign(512, 0xCD);
  sent(bridge, DataDirection::ToDevice, data);
  EXPECT_EQ(loadLe32(&port.request[64]), 18u);
  EXPECT_EQ(part(port.request, 164, 512), data);
  Bytes none;
  sent(bridge, DataDirection::None, none);
  EXPECT_EQ(loadLe32(&port.request[64]), 20u);
  EXPECT_EQ(loadLe32(&port.request[68]), 0u);
  EXPECT_EQ(port.request.size(), 168u);
}

TEST(CsmiCommands, CarryScsiCommandsAndTheirSense) {
  ScriptedMiniport port;
  CsmiSspBridge bridge(DeviceHandle(), &port, phyEntry());
  Bytes data(512);
  port.answer = [](Bytes& buffer) {
    storeLe32(&buffer[364], 512);
    std::fill(buffer.begin() + 368, buffer.begin() + 368 + 512, std::uint8_t{0xAB});
  };
  Read10 read(data.data(), 0x01020304, 1, 512);
  read.scsiStatus = 9;
  ASSERT_EQ(bridge.Send(read), ProtocolResult::Success);
  EXPECT_THAT(part(port.request, 28, 4), ElementsAre(120, 128, 0, 0));
  EXPECT_THAT(part(port.request, 32, 8), ElementsAre(148, 149, 150, 151, 152, 153, 154, 155));
  EXPECT_EQ(loadLe32(&port.request[48]), 10u);
  EXPECT_THAT(part(port.request, 52, 16), ElementsAreArray(read.cdb));
  EXPECT_EQ(loadLe32(&port.request[68]), 1u);
  EXPECT_EQ(loadLe32(&port.request[96]), 512u);
  EXPECT_EQ(data, Bytes(512, 0xAB));
  EXPECT_EQ(read.scsiStatus, 0);
  EXPECT_EQ(read.senseLength, 0u);
  port.answer = [](Bytes& buffer) { storeLe32(&buffer[364], 100); };
  read.Fill(data.data(), 0x01020304, 1, 512);
  ASSERT_EQ(bridge.Send(read), ProtocolResult::Success);
  EXPECT_EQ(read.transferBytes, 100u) << "what moved, not what was asked";

  // Either byte order of the length, 256 in the other one, and one beyond the room for it.
  for (const Bytes& length : {Bytes{18, 0}, Bytes{0, 18}, Bytes{1, 0}, Bytes{255, 255}}) {
    port.answer = [&](Bytes& buffer) {
      buffer[104] = 2;
      buffer[105] = 2;
      std::copy(length.begin(), length.end(), buffer.begin() + 106);
      std::iota(buffer.begin() + 108, buffer.begin() + 126, std::uint8_t{0x70});
    };
    Write10 write(data.data(), 0, 1, 512);
    ASSERT_EQ(bridge.Send(write), ProtocolResult::Success);
    EXPECT_EQ(loadLe32(&port.request[68]), 2u);
    EXPECT_EQ(part(port.request, 368, 512), data);
    EXPECT_EQ(write.scsiStatus, 2);
    EXPECT_EQ(write.senseLength, sizeof(write.sense));
    EXPECT_EQ(write.sense[17], 0x81);
  }
  port.answer = nullptr;
  SendDiagnostic plain(1);
  ASSERT_EQ(bridge.Send(plain), ProtocolResult::Success);
  EXPECT_EQ(loadLe32(&port.request[68]), 4u);
  EXPECT_EQ(port.request.size(), 372u);
}

/// What a drive behind CSMI answers to a read, and what the protocol above makes of it.
struct CsmiReadReply {
  const char* name;
  std::vector<std::pair<std::size_t, std::uint8_t>> bytes;
  std::uint32_t moved;
  ProtocolResult result;
};

TEST(CsmiCommands, AReadCountsOnlyIfAllItsDataCame) {
  ScriptedMiniport port;
  const auto bridge = std::make_shared<CsmiStpBridge>(DeviceHandle(), &port, phyEntry());
  Bytes data(1024);
  for (const CsmiReadReply& reply :
       {CsmiReadReply{"good", {{76, 0x34}, {78, 0x50}}, 1024, ProtocolResult::Success},
        CsmiReadReply{"PIO frame", {{76, 0x5F}, {78, 0x50}}, 1024, ProtocolResult::Success},
        CsmiReadReply{"half", {{76, 0x34}, {78, 0x50}}, 512, ProtocolResult::DeviceError},
        CsmiReadReply{"none", {{76, 0x34}, {78, 0x50}}, 0, ProtocolResult::DeviceError},
        CsmiReadReply{"error", {{76, 0x34}, {78, 0x51}, {79, 0x40}}, 0, ProtocolResult::Success},
        CsmiReadReply{"fault", {{76, 0x34}, {78, 0x70}}, 0, ProtocolResult::Success},
        CsmiReadReply{"no frame", {{78, 0x50}}, 1024, ProtocolResult::TransportFailure}}) {
    SCOPED_TRACE(reply.name);
    port.answer = [&](Bytes& buffer) {
      for (const auto& [at, byte] : reply.bytes) {
        buffer[at] = byte;
      }
      storeLe32(&buffer[160], reply.moved);
    };
    AtaCmd read = distinct(DataDirection::FromDevice, data);
    EXPECT_EQ(bridge->Send(read), reply.result);
    if (reply.result == ProtocolResult::Success) {
      EXPECT_EQ(read.transferBytes, reply.moved);
    }
  }
}

TEST(LsiCommands, CarryAtaRegistersBothWays) {
  ScriptedLibrary library;
  library.answer = [](Bytes& buffer) {
    std::iota(buffer.begin() + 40, buffer.begin() + 60, std::uint8_t{0x50});
    std::fill(buffer.begin() + 60, buffer.end(), std::uint8_t{0xAB});
  };
  LsiStpBridge bridge(0x01020304, 0x0105, &library);
  Bytes data(512);
  expectFrame(sent(bridge, DataDirection::FromDevice, data));
  EXPECT_EQ(library.record.command, 0x06);
  EXPECT_EQ(library.record.group, 0x02);
  EXPECT_EQ(library.record.controllerId, 0x01020304u);
  EXPECT_EQ(library.record.deviceId, 0x0105);
  EXPECT_EQ(library.record.dataSize, 60u + 512u);
  EXPECT_THAT(part(library.request, 0, 40),
              ElementsAre(5, 2, 30, 0, 1, 0, 0, 0, 0x27, 0x80, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11,
                          12, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 20, 0, 0, 0, 0, 2, 0, 0));
  EXPECT_EQ(data, Bytes(512, 0xAB));

  Bytes none;
  AtaCmd plain = distinct(DataDirection::None, none);
  plain.features = 0xD4;
  ASSERT_EQ(bridge.Send(plain), ProtocolResult::Success);
  EXPECT_EQ(library.request[1], 0);
  EXPECT_EQ(loadLe32(&library.request[4]), 0x104u);
  EXPECT_EQ(plain.command, 0x52);
  IdentifyDevice identify(data.data());
  ASSERT_EQ(bridge.Send(identify), ProtocolResult::Success);
  EXPECT_EQ(loadLe32(&library.request[4]), 17u);
  data.assign(512, 0xCD);
  sent(bridge, DataDirection::ToDevice, data);
  EXPECT_EQ(library.request[1], 1);
  EXPECT_EQ(loadLe32(&library.request[4]), 2u);
  EXPECT_EQ(part(library.request, 60, 512), data);

  library.answer = [](Bytes& buffer) { buffer[31] = 1; };
  EXPECT_EQ(bridge.Send(plain), ProtocolResult::TransportFailure);
  library.answer = nullptr;
  library.result = 45;
  EXPECT_EQ(bridge.Send(plain), ProtocolResult::TransportFailure);
  EXPECT_EQ(LsiStpBridge(0, 0, nullptr).Send(plain), ProtocolResult::Failure);
}

TEST(LsiCommands, CarryScsiCommandsAndTheirSense) {
  ScriptedLibrary library;
  LsiSspBridge bridge(0x01020304, 0x0105, &library);
  Bytes data(512);
  Read10 read(data.data(), 0x01020304, 1, 512);
  // The library tells of more bytes than were asked for.
  for (const std::uint32_t claimed : {512u, 100u, 0xFFFFFFFFu}) {
    data.assign(512, 0);
    read.Fill(data.data(), 0x01020304, 1, 512);
    library.answer = [&](Bytes& buffer) {
      storeLe32(&buffer[60], claimed);
      std::fill(buffer.begin() + 64, buffer.end(), std::uint8_t{0xAB});
    };
    ASSERT_EQ(bridge.Send(read), ProtocolResult::Success);
    EXPECT_EQ(read.transferBytes, std::min(claimed, 512u));
    EXPECT_EQ(std::count(data.begin(), data.end(), 0xAB), std::min(claimed, 512u));
  }
  EXPECT_EQ(library.record.command, 6);
  EXPECT_EQ(library.record.group, 0);
  EXPECT_EQ(library.record.deviceId, 0x0105);
  EXPECT_EQ(library.record.dataSize, 64u + 512u);
  EXPECT_THAT(part(library.request, 0, 12), ElementsAre(5, 1, 1, 0, 2, 0, 0, 0, 30, 0, 0, 10));
  EXPECT_THAT(part(library.request, 12, 16), ElementsAreArray(read.cdb));
  EXPECT_EQ(loadLe32(&library.request[60]), 512u);

  // A failed command leaves its sense data; so does a check condition that the library calls good.
  for (const std::uint32_t result : {45u, 0u}) {
    library.result = result;
    library.answer = [](Bytes& buffer) {
      buffer[10] = 2;
      std::iota(buffer.begin() + 28, buffer.begin() + 60, std::uint8_t{0x70});
    };
    read.Fill(data.data(), 0, 1, 512);
    EXPECT_EQ(bridge.Send(read), ProtocolResult::Success);
    EXPECT_EQ(read.scsiStatus, 2);
    EXPECT_EQ(read.senseLength, 32u);
    EXPECT_EQ(read.sense[31], 0x8F);
  }
  // The library's numbers are its own: those of a medium error, a CRC error, a read time-out and a
  // refused command among them.
  library.answer = nullptr;
  for (const std::uint32_t result : {1u, 74u, 75u, 78u, 134u}) {
    library.result = result;
    read.Fill(data.data(), 0, 1, 512);
    EXPECT_EQ(bridge.Send(read), ProtocolResult::TransportFailure) << result;
    EXPECT_EQ(read.transferBytes, 0u);
  }
  // Data that the drive recovered came; those of any other failure did not.
  for (const std::uint8_t key : {std::uint8_t{1}, std::uint8_t{3}}) {
    library.answer = [&](Bytes& buffer) {
      buffer[28] = 0x70;
      buffer[30] = key;
    };
    read.Fill(data.data(), 0, 1, 512);
    EXPECT_EQ(bridge.Send(read), ProtocolResult::Success);
    EXPECT_EQ(read.transferBytes, key == 1 ? 512u : 0u);
  }
  EXPECT_EQ(LsiSspBridge(0, 0, nullptr).Send(read), ProtocolResult::Failure);
}

}  // namespace
}  // namespace ostria::storage::test
