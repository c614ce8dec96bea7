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

// Descriptor-format sense: an information descriptor, then the ATA status return with `registers`.
Bytes statusReturnSense() {
  return {0x72, 1, 0, 0x1D, 0, 0, 0,  26, 0x00, 10, 0,    0, 0,    0, 0,
          0,    0, 0, 0,    0, 9, 12, 0,  0x04, 0,  0x11, 0, 0x22, 0};
}

void expectNoRegisters(const AtaCmd& command) {
  EXPECT_EQ(command.features | command.featuresPrevious | command.sectorCount |
                command.sectorCountPrevious | command.lbaLow | command.lbaLowPrevious |
                command.lbaMid | command.lbaMidPrevious | command.lbaHigh |
                command.lbaHighPrevious | command.device | command.command,
            0);
}

TEST_F(WrappingBridges, CommandsBecomePassThroughBytesBySize) {
  scsi->expect({0x85, 9, 0x6E, 0, 0, 1, 2, 0x44, 0x11, 0x55, 0x22, 0x66, 0x33, 0x40, 0x24, 0})
      .in(0x102 * 512)
      .within(12);
  ReadSectorsExt readExt(0x665544332211, 0x102, 512, buffer.data(), 12);
  Bytes big(readExt.transferBytes);
  readExt.data = big.data();
  EXPECT_EQ(checking.Send(readExt), ProtocolResult::Success);

  scsi->expect({0xA1, 8, 0x4E, 0, 2, 0x11, 0x22, 0x33, 0x45, 0x20, 0, 0}).in(1024).within(5);
  ReadSectors read(0x5332211, 2, 512, buffer.data(), 5);
  EXPECT_EQ(asking.Send(read), ProtocolResult::Success);

  scsi->expect({0x85, 0x0B, 0x66, 0, 0, 0, 1, 0, 9, 0, 0, 0, 0, 0x40, 0x34, 0})
      .carries(Bytes(512, 0xAB));
  std::fill_n(buffer.begin(), 512, std::uint8_t{0xAB});
  WriteSectorsExt write(9, 1, 512, buffer.data());
  EXPECT_EQ(checking.Send(write), ProtocolResult::Success);

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
  Bytes sense = statusReturnSense();
  sense.resize(32);
  sense[29] = 0x4F;
  sense[31] = 0xC2;
  // A descriptor that runs over the end of the sense data is not taken.
  scsi->expect({0xA1, 6, 0x6C, 0xDA, 0, 0, 0x4F, 0xC2, 0, 0xB0, 0, 0}).senses(sense);
  SmartReturnStatus cut;
  EXPECT_EQ(checking.Send(cut), ProtocolResult::Success);
  expectNoRegisters(cut);

  sense = {0x72, 1,    0, 0x1D, 0, 0, 0, 18,   0x80, 2,    0,    0,    9, 12,
           0,    0x04, 0, 1,    0, 2, 0, 0x4F, 0,    0xC2, 0xA0, 0x51, 0, 0};
  scsi->expect({0xA1, 6, 0x6C, 0xDA, 0, 0, 0x4F, 0xC2, 0, 0xB0, 0, 0}).senses(sense);
  SmartReturnStatus status;
  EXPECT_EQ(checking.Send(status), ProtocolResult::Success);
  EXPECT_EQ(status.features, 0x04);
  EXPECT_EQ(status.sectorCount, 1);
  EXPECT_EQ(status.lbaLow, 2);
  EXPECT_EQ(status.lbaMid, 0x4F);
  EXPECT_EQ(status.lbaHigh, 0xC2);
  EXPECT_EQ(status.device, 0xA0);
  EXPECT_EQ(status.command, 0x51);

  scsi->expect({0xA1, 6, 0x4C, 0xDA, 0, 0, 0x4F, 0xC2, 0, 0xB0, 0, 0}).senses(fixedSense(1));
  scsi->expect({0xA1, 0x1E, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0})
      .in(14)
      .returns({9, 12, 0, 0, 0, 0, 0, 0, 0, 0xF4, 0, 0x2C, 0, 0x50});
  SmartReturnStatus asked;
  EXPECT_EQ(asking.Send(asked), ProtocolResult::Success);
  EXPECT_EQ(asked.lbaMid, 0xF4);
  EXPECT_EQ(asked.lbaHigh, 0x2C);
}

TEST_F(WrappingBridges, RegistersThatCannotBeHadStayZero) {
  Bytes endless(32, 0);
  endless[0] = 0x72;
  endless[7] = 255;
  Bytes fixedLookalike = fixedSense(1, 9, 12);
  Bytes tooShort = statusReturnSense();
  tooShort[7] = 1;
  for (const Bytes& sense : {endless, fixedLookalike, tooShort, Bytes()}) {
    scsi->expect(Bytes{0xA1, 6, 0x6C, 0, 0, 0, 0, 0, 0, 0xE5, 0, 0}).senses(sense);
    AtaCheckPowerMode mode;
    EXPECT_EQ(checking.Send(mode), ProtocolResult::Success);
    expectNoRegisters(mode);
  }
  const Bytes fetch = {0xA1, 0x1E, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
  for (int kind = 0; kind < 3; ++kind) {
    scsi->expect(Bytes{0xA1, 6, 0x4C, 0, 0, 0, 0, 0, 0, 0xE5, 0, 0}).senses(fixedSense(1));
    auto& step = scsi->expect(fetch).in(14).returns(Bytes(14, 9));
    if (kind == 1) {
      step.status(2);
    }
    if (kind == 2) {
      step.fails(ProtocolResult::TransportFailure);
    }
    AtaCheckPowerMode mode;
    EXPECT_EQ(asking.Send(mode), ProtocolResult::Success);
    expectNoRegisters(mode);
  }
}

TEST_F(WrappingBridges, AReadTellsItsErrorBySenseKeyWithoutASecondCommand) {
  struct Case {
    std::uint8_t key, error, status;
  };
  for (const Case& c : {Case{3, 0x40, 1}, {5, 0x10, 1}, {4, 0, 0x20}, {1, 0, 0}}) {
    ReadSectorsExt read(1, 1, 512, buffer.data(), 30);
    scsi->expect({0x85, 9, 0x4E, 0, 0, 0, 1, 0, 1, 0, 0, 0, 0, 0x40, 0x24, 0})
        .in(512)
        .returns(Bytes(100))
        .senses(fixedSense(c.key));
    EXPECT_EQ(asking.Send(read), ProtocolResult::Success);
    EXPECT_EQ(read.features, c.error);
    EXPECT_EQ(read.command, c.status);
    EXPECT_EQ(read.transferBytes, 100u);
  }
}

TEST_F(WrappingBridges, AReadThatFailsWithoutSenseDataIsAskedForItsRegisters) {
  ReadSectorsExt read(1, 1, 512, buffer.data(), 30);
  scsi->expect({0x85, 9, 0x4E, 0, 0, 0, 1, 0, 1, 0, 0, 0, 0, 0x40, 0x24, 0}).in(512).status(2);
  scsi->expect({0xA1, 0x1E, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0})
      .in(14)
      .returns({9, 12, 0, 0x40, 0, 1, 0, 1, 0, 0, 0, 0, 0x40, 0x51});
  EXPECT_EQ(asking.Send(read), ProtocolResult::Success);
  EXPECT_EQ(read.features, 0x40);
  EXPECT_EQ(read.command, 0x51);
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
    scsi->expect(cdb).in(512).status(2);
    IdentifyDevice refused(buffer.data());
    EXPECT_EQ(bridge->Send(refused), ProtocolResult::ScsiStatusNotGood);
  }
}

}  // namespace
}  // namespace ostria::storage::test
