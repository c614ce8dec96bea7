// The NVMe protocol before a scripted bridge: exact commands, and pages short, empty or garbled.
#include "transport/nvme/nvme_protocol.h"

#include <gtest/gtest.h>

#include "base/byte_order.h"
#include "tests/support/scripted_nvme_bridge.h"

namespace ostria::storage::test {
namespace {

constexpr std::uint32_t kEveryNamespace = 0xFFFFFFFF;

/// A health log at 302 K that counts so many errors.
Bytes health(std::uint64_t mediaErrors = 0, std::uint64_t errorEntries = 0) {
  Bytes log(512);
  log[1] = 0x2E;
  log[2] = 0x01;
  storeLe64(&log[160], mediaErrors);
  storeLe64(&log[176], errorEntries);
  return log;
}

class NvmeProtocolTest : public ::testing::Test {
 protected:
  NvmeProtocolTest() { protocol.AddBridge(bridge); }

  /// Asks a drive of one namespace for its properties.
  ProtocolResult learn(Bytes geometry, Bytes vendorLog = {}) {
    bridge->identify(controllerData("SERIAL"));
    bridge->namespaceList({1});
    bridge->identifyNamespace(1, std::move(geometry));
    bridge->log(0xDF, 512, std::move(vendorLog));
    return protocol.GetProperties(&properties);
  }

  std::shared_ptr<ScriptedNvmeBridge> bridge = std::make_shared<ScriptedNvmeBridge>();
  NvmeProtocol protocol{DeviceHandle(3), ""};
  StorageProtocolProperties properties;
};

TEST_F(NvmeProtocolTest, GeometryComesFromTheFirstActiveNamespaceAndDirtyTextIsCleaned) {
  bridge->identify(controllerData("  S\x01N\xC3 7", std::string("A MODEL\0X", 9), 0x10));
  bridge->namespaceList({0, 0, 0, 0, 0, 0, 0, 0, 5, 0, 0, 0, 6});
  bridge->identifyNamespace(5, namespaceData(9000, 8000, 12, 0x13));
  Bytes vendor(512, '.');
  std::fill_n(vendor.begin() + 110, 30, std::uint8_t{'P'});
  bridge->log(0xDF, 512, vendor);

  EXPECT_EQ(protocol.GetProperties(&properties), ProtocolResult::Success);
  EXPECT_EQ(properties.serialNumber, "S?N? 7");
  EXPECT_EQ(properties.modelNumber, "A MODEL");
  EXPECT_EQ(properties.logicalSectorSize, 4096u);
  EXPECT_EQ(properties.totalSectors, 8000u);
  EXPECT_EQ(properties.physicalSectorSize, 4096u);
  EXPECT_EQ(properties.fruPartNumber, std::string(30, 'P'));
  EXPECT_TRUE(properties.selfTestSupported);
  EXPECT_TRUE(properties.smartEnabled);
}

TEST_F(NvmeProtocolTest, ANodeOfOneNamespaceIsThatNamespace) {
  NvmeProtocol second(DeviceHandle(3), "", 5);
  second.AddBridge(bridge);
  bridge->identify(controllerData("S", "M", 0x08));
  bridge->identifyNamespace(5, namespaceData(9000, 8000, 9));
  bridge->expect({2, kEveryNamespace, 0x007F00DF, {}, ProtocolResult::Failure});
  EXPECT_EQ(second.GetProperties(&properties), ProtocolResult::Success);
  EXPECT_EQ(properties.totalSectors, 8000u);
  std::vector<std::uint8_t> sector(512);
  bridge->expect({2, 5, 7, Bytes(512)});
  EXPECT_EQ(second.Read(7, 1, 10, sector.data(), 512), ProtocolResult::Success);
  bridge->expect({0x14, 5, 1, {}});
  EXPECT_EQ(second.StartSelfTest(1, 0), ProtocolResult::Success);
}

TEST_F(NvmeProtocolTest, NamespaceManagementAsksForTheCommonGeometryFirst) {
  bridge->identify(controllerData("S", "M", 0x08));
  bridge->identifyNamespace(kEveryNamespace, namespaceData(0, 0, 9));
  bridge->namespaceList({1});
  bridge->identifyNamespace(1, namespaceData(100, 100, 9));
  bridge->expect({2, kEveryNamespace, 0x007F00DF, {}, ProtocolResult::Failure});
  EXPECT_EQ(protocol.GetProperties(&properties), ProtocolResult::Success);
  EXPECT_EQ(properties.totalSectors, 100u);
  EXPECT_EQ(properties.fruPartNumber, "");
  EXPECT_FALSE(properties.selfTestSupported);
}

TEST_F(NvmeProtocolTest, UnusableGeometryIsAnErrorThatKeepsTheIdentity) {
  const std::vector<Bytes> namespaces{namespaceData(0, 500, 9), namespaceData(500, 0, 9)};
  for (const Bytes& data : namespaces) {
    bridge->identify(controllerData("SERIAL"));
    bridge->namespaceList({1});
    bridge->identifyNamespace(1, data);
    properties = {};
    EXPECT_EQ(protocol.GetProperties(&properties), ProtocolResult::DeviceError);
    EXPECT_EQ(properties.serialNumber, "SERIAL");
    EXPECT_EQ(properties.logicalSectorSize, 0u);
  }
  std::uint8_t buffer[512];
  EXPECT_EQ(protocol.Read(0, 1, 10, buffer, sizeof buffer), ProtocolResult::InvalidArgument);
}

TEST_F(NvmeProtocolTest, ASectorSizeThatNoDriveHasIsUnknown) {
  for (const unsigned power : {0u, 8u, 9u, 12u, 16u, 17u, 31u, 32u, 255u}) {
    EXPECT_EQ(learn(namespaceData(5, 5, static_cast<std::uint8_t>(power))),
              ProtocolResult::Success);
    EXPECT_EQ(properties.logicalSectorSize, power >= 9 && power <= 16 ? 1u << power : 0u);
  }
}

TEST_F(NvmeProtocolTest, ReadSendsTheWholeCommandAndKeepsToItsBuffer) {
  ASSERT_EQ(learn(namespaceData(1, 1, 9)), ProtocolResult::Success);

  Bytes buffer(1024);
  bridge->log(2, 512, health());
  bridge->expect({2, 1, 0x55667788, Bytes(1024, 0xAB)});
  EXPECT_EQ(protocol.Read(0x1122334455667788, 2, 10, buffer.data(), 1024), ProtocolResult::Success);
  EXPECT_EQ(buffer, Bytes(1024, 0xAB));
  const auto& image = bridge->sent.back();
  EXPECT_EQ(loadLe64(&image[24]), reinterpret_cast<std::uintptr_t>(buffer.data()));
  EXPECT_EQ(loadLe64(&image[40]), 0x1122334455667788u);
  EXPECT_EQ(loadLe32(&image[48]), 1u);  // sectors less one, no FUA

  EXPECT_EQ(protocol.Read(0, 3, 10, buffer.data(), 1024), ProtocolResult::InvalidArgument);
  EXPECT_EQ(protocol.Read(0, 0, 10, buffer.data(), 1024), ProtocolResult::InvalidArgument);
}

TEST_F(NvmeProtocolTest, ZerosAreBelievedOnlyWhileTheDriveCountsNoNewError) {
  ASSERT_EQ(learn(namespaceData(9, 9, 9)), ProtocolResult::Success);
  Bytes buffer(512);
  const auto read = [&] { return protocol.Read(0, 1, 10, buffer.data(), 512); };
  const Bytes zeros(512);
  const Bytes data(512, 7);
  const ScriptedNvmeBridge::Step noLog{2, kEveryNamespace, 0x007F0002, {}, ProtocolResult::Failure};

  bridge->log(2, 512, health(3, 40));  // the first look
  bridge->expect({2, 1, 0, data});
  EXPECT_EQ(read(), ProtocolResult::Success);
  bridge->expect({2, 1, 0, zeros});
  bridge->log(2, 512, health(3, 40));
  EXPECT_EQ(read(), ProtocolResult::Success);
  bridge->expect({2, 1, 0, zeros});
  bridge->log(2, 512, health(4, 41));
  EXPECT_EQ(read(), ProtocolResult::MediumError);
  bridge->expect({2, 1, 0, zeros});
  bridge->log(2, 512, health(4, 42));
  EXPECT_EQ(read(), ProtocolResult::DeviceError);
  bridge->expect({2, 1, 0, zeros});
  bridge->expect(noLog);
  EXPECT_EQ(read(), ProtocolResult::DeviceError) << "nothing to judge by";

  // A command of ours that the controller refuses moves the count of errors too.
  bridge->log(2, 512, health(4, 42));
  bridge->expect({2, 1, 0, data});
  EXPECT_EQ(read(), ProtocolResult::Success);
  Bytes log(512);
  bridge->log(9, 512, {});
  EXPECT_EQ(protocol.ReadLog(log.data(), 512, 9, 0), ProtocolResult::DeviceError);
  bridge->log(2, 512, health(4, 43));
  bridge->expect({2, 1, 0, zeros});
  bridge->log(2, 512, health(4, 43));
  EXPECT_EQ(read(), ProtocolResult::Success);
}

TEST_F(NvmeProtocolTest, AnAnswerOfNothingButZerosIsNone) {
  bridge->identify({});
  EXPECT_FALSE(NvmeProtocol::ProbeBridge(*bridge, 0));
  bridge->identify({});
  EXPECT_EQ(protocol.GetProperties(&properties), ProtocolResult::DeviceError);
  NvmeIdentifyRecord record;
  bridge->identify({});
  EXPECT_EQ(protocol.GetIdentifyRecord(&record), ProtocolResult::DeviceError);
  Bytes log(512, 1);
  bridge->log(2, 512, Bytes(512));
  EXPECT_EQ(protocol.GetHealthLog(log.data()), ProtocolResult::DeviceError);
  bridge->log(9, 512, {});  // leaves the caller's buffer alone
  EXPECT_EQ(protocol.GetLogPage(log.data(), 512, 9), ProtocolResult::DeviceError);
  std::uint8_t value = 7;
  bridge->log(6, 564, {});
  EXPECT_EQ(protocol.GetSelfTestResult(&value), ProtocolResult::DeviceError);
  EXPECT_EQ(protocol.GetLogPage(nullptr, 512, 2), ProtocolResult::DeviceError);
}

TEST_F(NvmeProtocolTest, ALabelIsTextOrNothing) {
  const std::pair<std::string, std::string> labels[] = {
      {std::string(30, 'L'), std::string(30, 'L')},
      {std::string("PN-1") + std::string(26, ' '), std::string("PN-1") + std::string(26, ' ')},
      {std::string("PN-1") + std::string(26, 0), "PN-1"},
      {std::string(30, ' '), ""},
      {std::string(30, 0), ""},
      {std::string(29, 'L') + "\xC3", ""}};
  for (const auto& [field, label] : labels) {
    Bytes vendor(512, '.');
    std::copy(field.begin(), field.end(), vendor.begin() + 110);
    ASSERT_EQ(learn(namespaceData(9, 9, 9), vendor), ProtocolResult::Success);
    EXPECT_EQ(properties.fruPartNumber, label);
  }
}

TEST_F(NvmeProtocolTest, WearIsWhatTheHealthLogLeavesOf100) {
  std::uint8_t celsius = 29;
  std::uint32_t left = 0xFFFFFFFF;
  for (const std::uint8_t used : Bytes{30, 120}) {
    Bytes page = health();
    page[1] = page[2] = 0;  // 0 K: not measured
    page[5] = used;
    bridge->log(2, 512, page);
    bridge->log(2, 512, page);
    EXPECT_EQ(protocol.GetTemperature(&celsius), ProtocolResult::Success);
    EXPECT_EQ(celsius, 29);
    EXPECT_EQ(protocol.GetWearIndicator(&left), ProtocolResult::Success);
    EXPECT_EQ(left, used == 30 ? 70u : 0u);
  }
  bridge->expect({2, kEveryNamespace, 0x007F0002, {}, ProtocolResult::TransportFailure});
  EXPECT_EQ(protocol.GetWearIndicator(&left), ProtocolResult::DeviceError);
  EXPECT_EQ(left, 0u);
}

TEST_F(NvmeProtocolTest, BridgeThatWorkedIsAskedFirstFromThenOn) {
  const auto second = std::make_shared<ScriptedNvmeBridge>();
  EXPECT_TRUE(protocol.AddBridge(second));
  EXPECT_FALSE(protocol.AddBridge(bridge));
  protocol.SetPathId(9);
  bridge->expect({0x14, kEveryNamespace, 1, {}, ProtocolResult::TransportFailure});
  second->expect({0x14, kEveryNamespace, 1, {}});
  second->expect({0x14, kEveryNamespace, 1, {}});
  EXPECT_EQ(protocol.StartSelfTest(1, 0), ProtocolResult::Success);
  EXPECT_EQ(protocol.StartSelfTest(1, 0), ProtocolResult::Success);
  EXPECT_EQ(second->pathIds, (Bytes{9, 9}));
  EXPECT_EQ(NvmeProtocol(DeviceHandle(3), "").StartSelfTest(1, 0), ProtocolResult::Failure);
}

TEST_F(NvmeProtocolTest, NewPathSkipsDeadEmptyAndKnownDrives) {
  bridge->expect({6, 0, 1, {}, ProtocolResult::Failure});
  bridge->identify(Bytes(4096));  // refused by the controller, carried by the bridge
  bridge->identify(controllerData("KNOWN"));
  bridge->identify(controllerData(std::string("NEW\0", 4)));
  std::uint8_t id = 0;
  std::string serial;
  const std::string known = "KNOWN" + std::string(15, ' ');
  EXPECT_TRUE(NvmeProtocol::FindNewPath(*bridge, {"OTHER", known}, &id, &serial));
  EXPECT_EQ(id, 3);
  EXPECT_EQ(serial, "NEW");
  EXPECT_EQ(bridge->pathIds, (Bytes{0, 1, 2, 3}));

  for (int i = 0; i < 256; ++i) {
    bridge->identify(controllerData("KNOWN"));
  }
  EXPECT_FALSE(NvmeProtocol::FindNewPath(*bridge, {known}, &id, &serial));
}

}  // namespace
}  // namespace ostria::storage::test
