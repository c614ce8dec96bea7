// ATA inside SCSI, by SAT and two vendor tunnels: exact CDBs, and registers on their way back.
#include <gtest/gtest.h>

#include "tests/support/scripted_scsi_bridge.h"
#include "transport/tunnels/jmicron_bridge.h"
#include "transport/tunnels/sat_bridge.h"
#include "transport/tunnels/sunplus_bridge.h"

namespace ostria::storage::test {
namespace {

class WrappingBridges : public testing::Test {
 protected:
  std::shared_ptr<ScriptedScsiBridge> scsi = std::make_shared<ScriptedScsiBridge>();
  SatBridgeWithCkCondition checking{scsi};
  SatBridgeWithoutCkCond asking{scsi};
  Bytes buffer = Bytes(4096);
};

/// Error, count, LBA low to high, device and status.
Bytes registersOf(const AtaCmd& command) {
  return {command.features, command.sectorCount, command.lbaLow, command.lbaMid,
          command.lbaHigh,  command.device,      command.command};
}

void expectNoRegisters(const AtaCmd& command) {
  EXPECT_EQ(registersOf(command), Bytes(7));
  EXPECT_EQ(command.featuresPrevious | command.sectorCountPrevious | command.lbaLowPrevious |
                command.lbaMidPrevious | command.lbaHighPrevious,
            0);
}

TEST_F(WrappingBridges, CommandsBecomePassThroughBytesBySize) {
  scsi->expect({0x85, 9, 0x6E, 0, 0, 1, 2, 0x44, 0x11, 0x55, 0x22, 0x66, 0x33, 0x40, 0x24, 0})
      .in(0x102 * 512)
      .moves(0x102 * 512)
      .within(12);
  ReadSectorsExt readExt(0x665544332211, 0x102, 512, buffer.data(), 12);
  Bytes big(readExt.transferBytes);
  readExt.data = big.data();
  EXPECT_EQ(checking.Send(readExt), ProtocolResult::Success);

  scsi->expect({0xA1, 8, 0x4E, 0, 2, 0x11, 0x22, 0x33, 0x45, 0x20, 0, 0})
      .in(1024)
      .moves(1024)
      .within(5);
  ReadSectors read(0x5332211, 2, 512, buffer.data(), 5);
  EXPECT_EQ(asking.Send(read), ProtocolResult::Success);

  scsi->expect({0x85, 0x0B, 0x66, 0, 0, 0, 1, 0, 9, 0, 0, 0, 0, 0x40, 0x34, 0})
      .carries(Bytes(512, 0xAB));
  std::fill_n(buffer.begin(), 512, std::uint8_t{0xAB});
  WriteSectorsExt write(9, 1, 512, buffer.data());
  EXPECT_EQ(checking.Send(write), ProtocolResult::Success);

  // Sectors of another size than 512 bytes are what the count counts.
  scsi->expect({0x85, 9, 0x5E, 0, 0, 0, 2, 0, 9, 0, 0, 0, 0, 0x40, 0x24, 0}).in(8192).moves(8192);
  ReadSectorsExt large(9, 2, 4096, big.data(), 30);
  EXPECT_EQ(asking.Send(large), ProtocolResult::Success);

  scsi->expect({0x85, 9, 0x4E, 0, 0, 0, 1, 0, 7, 1, 0x2C, 0, 0, 0, 0x2F, 0}).in(512);
  ReadLogExt log(7, 1, buffer.data(), 300);
  EXPECT_EQ(asking.Send(log), ProtocolResult::Success);

  scsi->expect({0x85, 7, 0x6C, 0, 0x55, 0, 1, 0, 5, 0, 0, 0, 0, 0x40, 0x45, 0});
  WriteUncorrectableExt mark(5, 1, true);
  EXPECT_EQ(checking.Send(mark), ProtocolResult::Success);

  scsi->expect({0xA1, 6, 0x4C, 0xD9, 0, 0, 0x4F, 0xC2, 0, 0xB0, 0, 0});
  SmartEnable disable(false);
  EXPECT_EQ(asking.Send(disable), ProtocolResult::Success);
}

TEST_F(WrappingBridges, RegistersComeFromTheSenseDataOrFromASecondCommand) {
  const Bytes described = {0x72, 1, 0,    0x1D, 0, 0, 0, 18, 0x80, 2, 0,    0,    9,
                           12,   0, 0x04, 0,    1, 0, 2, 0,  0x4F, 0, 0xC2, 0xA0, 0x51};
  Bytes fixed = fixedSense(1, 0, 0x1D);
  const Bytes head = {0x04, 0x51, 0xA0, 1, 10, 0, 2, 0x4F, 0xC2};
  std::copy(head.begin(), head.end(), fixed.begin() + 3);
  for (const Bytes& sense : {described, fixed}) {
    scsi->expect({0xA1, 6, 0x6C, 0xDA, 0, 0, 0x4F, 0xC2, 0, 0xB0, 0, 0}).senses(sense);
    SmartReturnStatus status;
    EXPECT_EQ(checking.Send(status), ProtocolResult::Success);
    EXPECT_EQ(registersOf(status), (Bytes{0x04, 1, 2, 0x4F, 0xC2, 0xA0, 0x51}));
  }

  scsi->expect({0xA1, 6, 0x4C, 0xDA, 0, 0, 0x4F, 0xC2, 0, 0xB0, 0, 0}).senses(fixedSense(1));
  scsi->expect({0xA1, 0x1E, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0})
      .in(14)
      .returns({9, 12, 0, 0, 0, 0, 0, 0, 0, 0xF4, 0, 0x2C, 0, 0x50});
  SmartReturnStatus asked;
  EXPECT_EQ(asking.Send(asked), ProtocolResult::Success);
  EXPECT_EQ(asked.lbaMid, 0xF4);
  EXPECT_EQ(asked.lbaHigh, 0x2C);
}

TEST_F(WrappingBridges, RegistersThatCannotBeHadAreNoAnswer) {
  const Bytes good = {0x72, 1, 0, 0x1D, 0, 0, 0, 14, 9,    12,   0,
                      0,    0, 1, 0,    2, 0, 0, 0,  0xA0, 0xA0, 0x50};
  Bytes endless(32, 0);
  endless[0] = 0x72;
  endless[7] = 255;
  Bytes claimsLess = good;
  claimsLess[7] = 13;
  Bytes shortDescriptor = good;
  shortDescriptor[9] = 11;
  Bytes lost = good;  // sense of an error, and registers without one
  lost[1] = 0x0B;
  lost[3] = 0;
  struct Case {
    const char* name;
    std::uint8_t status;
    Bytes sense;
    std::uint64_t claimed;
  };
  const Bytes marked = fixedSense(1, 0, 0x1D);
  const Bytes lookalike = fixedSense(1, 9, 12);
  for (const Case& c :
       {Case{"no descriptor", 2, endless, 32}, Case{"fixed format", 2, lookalike, 18},
        Case{"the mark without registers", 2, marked, 18},
        Case{"fewer bytes came than stand there", 2, good, 21},
        Case{"the length ends in the descriptor", 2, claimsLess, 22},
        Case{"a cut descriptor", 2, shortDescriptor, 22}, Case{"lost on the way", 2, lost, 22},
        Case{"no sense", 2, {}, 0}, Case{"busy", 8, {}, 0}, Case{"reserved", 0x18, {}, 0},
        Case{"an error behind GOOD", 0, fixedSense(0x0B), 18}}) {
    scsi->expect(Bytes{0xA1, 6, 0x6C, 0, 0, 0, 0, 0, 0, 0xE5, 0, 0})
        .senses(c.sense)
        .claimsSense(c.claimed)
        .status(c.status);
    AtaCheckPowerMode mode;
    EXPECT_EQ(checking.Send(mode), ProtocolResult::RegistersUnavailable) << c.name;
    expectNoRegisters(mode);
  }

  const Bytes fetch = {0xA1, 0x1E, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
  const Bytes registers = {9, 12, 0, 0, 0, 1, 0, 2, 0, 3, 0, 4, 0xA0, 0x50};
  const auto refuse = [&](auto&& change, std::uint8_t key) {
    scsi->expect(Bytes{0xA1, 6, 0x4C, 0, 0, 0, 0, 0, 0, 0xE5, 0, 0}).senses(fixedSense(key));
    change(scsi->expect(fetch).in(14).returns(registers));
    AtaCheckPowerMode mode;
    EXPECT_EQ(asking.Send(mode), ProtocolResult::RegistersUnavailable);
    expectNoRegisters(mode);
  };
  refuse([](auto& step) { step.returns(Bytes(14, 9)); }, 1);
  refuse([](auto& step) { step.status(2); }, 1);
  refuse([](auto& step) { step.moves(13); }, 1);
  refuse([](auto& step) { step.fails(ProtocolResult::TransportFailure); }, 1);
  refuse([](auto&) {}, 0x0B);
}

TEST_F(WrappingBridges, AReadReportsItsErrorBySenseKeyWithoutASecondCommand) {
  constexpr auto kGood = ProtocolResult::Success;
  constexpr auto kNoVerdict = ProtocolResult::RegistersUnavailable;
  struct Case {
    std::uint8_t key;
    ProtocolResult result;
    std::uint8_t error, status;
  };
  std::vector<Case> cases = {{3, kGood, 0x40, 1},
                             {5, kGood, 0x10, 1},
                             {4, kGood, 0, 0x20},
                             {0, kGood, 0, 0},
                             {1, kGood, 0, 0}};
  for (std::uint8_t key = 0; key < 16; ++key) {
    if (key != 0 && key != 1 && key != 3 && key != 4 && key != 5) {
      cases.push_back({key, kNoVerdict, 0, 0});
    }
  }
  const Bytes cdb = {0x85, 9, 0x4E, 0, 0, 0, 1, 0, 1, 0, 0, 0, 0, 0x40, 0x24, 0};
  for (const Case& c : cases) {
    for (const std::uint8_t status : Bytes{2, 0}) {
      ReadSectorsExt read(1, 1, 512, buffer.data(), 30);
      scsi->expect(cdb).in(512).returns(Bytes(512)).senses(fixedSense(c.key)).status(status);
      EXPECT_EQ(asking.Send(read), c.result) << int{c.key};
      EXPECT_EQ(read.features, c.error) << int{c.key};
      EXPECT_EQ(read.command, c.status) << int{c.key};
      EXPECT_EQ(read.transferBytes, 512u);
    }
  }
  // Data that did not come whole were not read, and no sense that can be read excuses that.
  struct Short {
    std::uint8_t status;
    Bytes sense;
    std::size_t moved;
  };
  for (const Short& c : {Short{0, {}, 511}, Short{0, {}, 0}, Short{2, fixedSense(1), 511},
                         Short{2, Bytes(18), 512}, Short{2, Bytes{0x70, 0, 3}, 512},
                         Short{8, {}, 512}, Short{0x18, {}, 512}, Short{0x28, {}, 512}}) {
    ReadSectorsExt read(1, 1, 512, buffer.data(), 30);
    scsi->expect(cdb).in(512).returns(Bytes(c.moved)).senses(c.sense).status(c.status);
    EXPECT_EQ(asking.Send(read), kNoVerdict) << int{c.status} << " " << c.moved;
  }
  // A length of sense without any sense behind GOOD is a habit of some drivers.
  ReadSectorsExt read(1, 1, 512, buffer.data(), 30);
  scsi->expect(cdb).in(512).returns(Bytes(512)).senses(Bytes(32)).status(0);
  EXPECT_EQ(asking.Send(read), kGood);
}

TEST_F(WrappingBridges, ARefusalIsNoSuccessWithoutWantedRegistersEither) {
  struct Case {
    std::uint8_t status;
    Bytes sense;
    ProtocolResult result;
  };
  constexpr auto kRefused = ProtocolResult::ScsiStatusNotGood;
  for (const Case& c : {Case{0, {}, ProtocolResult::Success},
                        Case{2, fixedSense(1, 0, 0x1D), ProtocolResult::Success},
                        Case{2, fixedSense(0), ProtocolResult::Success},
                        Case{2, fixedSense(0x0B), kRefused}, Case{2, fixedSense(5, 0x20), kRefused},
                        Case{2, {}, kRefused}, Case{8, {}, kRefused}, Case{0x18, {}, kRefused}}) {
    scsi->expect({0xA1, 6, 0x6C, 0xD8, 0, 0, 0x4F, 0xC2, 0, 0xB0, 0, 0})
        .senses(c.sense)
        .status(c.status);
    SmartEnable enable(true);
    EXPECT_EQ(checking.Send(enable), c.result) << int{c.status};
  }
}

TEST_F(WrappingBridges, AReadThatFailsWithoutSenseDataIsAskedForItsRegisters) {
  // Registers without an error do not make a good read of it.
  for (const std::uint8_t error : Bytes{0x40, 0}) {
    ReadSectorsExt read(1, 1, 512, buffer.data(), 30);
    scsi->expect({0x85, 9, 0x4E, 0, 0, 0, 1, 0, 1, 0, 0, 0, 0, 0x40, 0x24, 0})
        .in(512)
        .returns(Bytes(error == 0 ? 512 : 0))
        .status(2);
    const std::uint8_t status = error == 0 ? 0x50 : 0x51;
    scsi->expect({0xA1, 0x1E, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0})
        .in(14)
        .returns({9, 12, 0, error, 0, 1, 0, 1, 0, 0, 0, 0, 0x40, status});
    EXPECT_EQ(asking.Send(read),
              error == 0 ? ProtocolResult::RegistersUnavailable : ProtocolResult::Success);
    EXPECT_EQ(read.features, error);
    EXPECT_EQ(read.command, status);
  }
}

TEST_F(WrappingBridges, AFailedSendClearsRegistersAndCountAndKeepsItsResult) {
  scsi->expect({0xA1, 8, 0x6E, 0, 1, 0, 0, 0, 0, 0xEC, 0, 0})
      .in(512)
      .fails(ProtocolResult::AccessDenied);
  IdentifyDevice identify(buffer.data());
  EXPECT_EQ(checking.Send(identify), ProtocolResult::AccessDenied);
  expectNoRegisters(identify);
  EXPECT_EQ(identify.transferBytes, 0u);
  EXPECT_EQ(checking.GetDeviceHandle(), DeviceHandle(7));
}

TEST_F(WrappingBridges, UsbAdaptersCarryIdentifyAlone) {
  JMicronBridge jmicron(scsi);
  SunplusBridge sunplus(scsi);
  SmartReadData other(buffer.data());
  EXPECT_EQ(jmicron.Send(other), ProtocolResult::NotSupported);
  EXPECT_EQ(sunplus.Send(other), ProtocolResult::NotSupported);

  const Bytes jmicronCdb = {0xDF, 0x10, 0, 2, 0, 0, 1, 0, 0, 0, 0xA0, 0xEC};
  const Bytes sunplusCdb = {0xF8, 0, 0x22, 0x10, 1, 0, 1, 0, 0, 0, 0, 0xEC};
  for (AtaBridge* bridge : {static_cast<AtaBridge*>(&jmicron), static_cast<AtaBridge*>(&sunplus)}) {
    const Bytes& cdb = bridge == &jmicron ? jmicronCdb : sunplusCdb;
    scsi->expect(cdb).in(512).returns(Bytes(300, 3));
    IdentifyDevice identify(buffer.data());
    EXPECT_EQ(bridge->Send(identify), ProtocolResult::Success);
    EXPECT_EQ(identify.transferBytes, 300u);
    EXPECT_EQ(buffer[299], 3);
    expectNoRegisters(identify);
    scsi->expect(cdb).in(512).status(2);
    IdentifyDevice refused(buffer.data());
    EXPECT_EQ(bridge->Send(refused), ProtocolResult::ScsiStatusNotGood);
  }
}

}  // namespace
}  // namespace ostria::storage::test
