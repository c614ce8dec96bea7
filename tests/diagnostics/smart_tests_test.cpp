#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "diagnostics/message_keys.h"
#include "diagnostics/smart_health_test.h"
#include "diagnostics/smart_status_test.h"
#include "diagnostics/smart_wearout_test.h"
#include "tests/support/fake_host.h"
#include "tests/support/fake_protocol.h"
#include "transport/protocols/ata_protocol.h"

namespace ostria::storage {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using testing::FakeDevice;
using testing::FakeHost;
using testing::FakeProtocol;
using ::testing::Not;

const Identifier someTest(1, 1, 1);

/// An ATA disk with the given attributes.
struct AtaDisk : FakeProtocol<AtaProtocol> {
  using FakeProtocol::FakeProtocol;
  std::vector<SmartAttribute> attributes;
  ProtocolResult GetSmartAttributes(std::vector<SmartAttribute>* out) override {
    *out = attributes;
    return answer("GetSmartAttributes");
  }
};

SmartAttribute attribute(std::uint8_t id, std::uint32_t raw, std::uint8_t value = 100,
                         std::uint8_t threshold = 0) {
  return {id, value, value, raw, threshold};
}

template <typename Test, typename Device>
TestResult refusal(Device& disk, std::vector<std::string>& heard) {
  FakeHost host(disk.component.get());
  Test test(someTest);
  const TestResult result = test.check(disk.component.get(), host.listener(), host.messageLog());
  heard = host.heard;
  EXPECT_EQ(test.isApplicable(disk.component.get()), result == TestResult::Passed);
  return result;
}

TEST(SmartStatusTest, TellsTheDeviceVerdictAndLeavesSmartAsItWas) {
  for (const bool enabled : {true, false}) {
    for (const std::uint8_t healthy : std::initializer_list<std::uint8_t>{1, 0}) {
      FakeDevice<> disk;
      disk.protocol->record().smartEnabled = enabled;
      disk.protocol->smartStatus = healthy;
      FakeHost host(disk.component.get());
      SmartStatusTest test(someTest);
      EXPECT_EQ(test.run(&host), healthy != 0 ? TestResult::Passed : TestResult::Failed);
      EXPECT_THAT(host.heard,
                  ElementsAre("progress 0", "progress 50", "progress 100", "progress 100"));
      EXPECT_EQ(disk.protocol->record().smartEnabled, enabled);
      EXPECT_EQ(disk.protocol->count("SetSmartEnabled 0"), enabled ? 0U : 1U);
    }
  }
}

TEST(SmartStatusTest, DataThatDoNotComeAreNoVerdict) {
  const std::string notValid = keys::SmartDataNotValid;
  FakeDevice<> disk;
  disk.protocol->record().smartEnabled = false;
  disk.protocol->results["GetSmartStatus"] = ProtocolResult::TransportFailure;
  FakeHost host(disk.component.get());
  SmartStatusTest test(someTest);
  EXPECT_EQ(test.run(&host), TestResult::NotPerformed);
  EXPECT_THAT(host.heard, ElementsAre("progress 0", "progress 100 " + notValid, "log 0 " + notValid,
                                      "progress 100"));
  EXPECT_FALSE(disk.protocol->record().smartEnabled);

  FakeHost stopping(disk.component.get());
  stopping.abortFromPoll = 1;
  EXPECT_EQ(test.run(&stopping), TestResult::Stopped);
  EXPECT_FALSE(disk.protocol->record().smartEnabled) << "a stop leaves SMART as it was, too";

  disk.protocol->results["SetSmartEnabled"] = ProtocolResult::DeviceError;
  FakeHost refused(disk.component.get());
  EXPECT_EQ(test.run(&refused), TestResult::NotPerformed);
  EXPECT_THAT(refused.heard, ElementsAre("progress 100 CANNOT_ENABLE_SMART",
                                         "log 3 CANNOT_ENABLE_SMART", "progress 100"));
}

TEST(SmartTests, RefuseWhatTheyCannotJudge) {
  const std::string invalid = keys::InvalidProtocol;
  std::vector<std::string> heard;
  FakeDevice<> disk;
  EXPECT_EQ(refusal<SmartStatusTest>(disk, heard), TestResult::Passed);
  EXPECT_EQ(refusal<SmartWearoutTest>(disk, heard), TestResult::NotPerformed);
  EXPECT_THAT(heard, ElementsAre("progress 100 TEST_APPLICABLE_FOR_SSDs_ONLY",
                                 "log 3 TEST_APPLICABLE_FOR_SSDs_ONLY"));
  disk.protocol->record().solidState = true;
  EXPECT_EQ(refusal<SmartWearoutTest>(disk, heard), TestResult::Passed);

  disk.protocol->record().smartSupported = false;
  for (const auto& check :
       {refusal<SmartStatusTest, FakeDevice<>>, refusal<SmartWearoutTest, FakeDevice<>>}) {
    EXPECT_EQ(check(disk, heard), TestResult::NotPerformed);
    EXPECT_THAT(heard,
                ElementsAre("progress 100 SMART_NOT_SUPPORTED", "log 3 SMART_NOT_SUPPORTED"));
  }
  disk.component->setConnection(DeviceConnection::External);
  EXPECT_EQ(refusal<SmartStatusTest>(disk, heard), TestResult::NotPerformed);
  EXPECT_THAT(heard, Contains("log 3 TEST_NOT_SUPPORTED_IN_EXTERNAL_DEVICE"));
  disk.component->setBusKind(StorageBusKind::Nvme);
  EXPECT_EQ(refusal<SmartStatusTest>(disk, heard), TestResult::NotPerformed);
  EXPECT_THAT(heard, ElementsAre("progress 100 " + invalid, "log 0 " + invalid));

  FakeDevice<> scsi(ProtocolKind::Scsi);
  EXPECT_EQ(refusal<SmartWearoutTest>(scsi, heard), TestResult::NotPerformed);
  EXPECT_THAT(heard, Contains("log 0 " + invalid));
}

TEST(SmartWearoutTest, FindingIsTheClosingLine) {
  const std::string notValid = keys::SmartDataNotValid;
  struct Case {
    std::uint32_t remaining;
    TestResult result;
    std::string closing;
  };
  const std::vector<Case> cases = {
      {0, TestResult::Passed, "progress 100 SSD_HAS_REACHED_WEAROUT_LIMIT"},
      {1, TestResult::Passed, "progress 100 SSD_HAS_REACHED_WEAROUT_LIMIT"},
      {2, TestResult::Passed, "progress 100 SSD_IS_CLOSE_TO_WEAROUT_LIMIT"},
      {10, TestResult::Passed, "progress 100 SSD_IS_CLOSE_TO_WEAROUT_LIMIT"},
      {11, TestResult::Passed, "progress 100"},
      {100, TestResult::Passed, "progress 100"},
      {101, TestResult::NotPerformed, "progress 100"},
      {0xFFFFFFFF, TestResult::NotPerformed, "progress 100"},
  };
  for (const ProtocolKind kind : {ProtocolKind::Ata, ProtocolKind::Nvme}) {
    for (const Case& c : cases) {
      FakeDevice<> disk(kind);
      disk.protocol->record().solidState = true;
      disk.protocol->record().smartEnabled = false;
      disk.protocol->wearIndicator = c.remaining;
      FakeHost host(disk.component.get());
      SmartWearoutTest test(someTest);
      EXPECT_EQ(test.run(&host), c.result) << c.remaining;
      EXPECT_EQ(host.heard.back(), c.closing) << c.remaining;
      EXPECT_EQ(host.count("log 0 " + notValid), c.result == TestResult::Passed ? 0U : 1U);
      EXPECT_EQ(disk.protocol->count("SetSmartEnabled 1"), kind == ProtocolKind::Ata ? 1U : 0U);
      EXPECT_FALSE(disk.protocol->record().smartEnabled);
    }
  }
}

TEST(SmartHealthTest, HealthComesFromPenaltiesAndCriticalAttributes) {
  using Attributes = std::vector<SmartAttribute>;
  EXPECT_EQ(SmartHealthTest::healthPercent({}), -1);
  EXPECT_EQ(SmartHealthTest::healthPercent({attribute(9, 5), attribute(194, 40)}), -1);
  EXPECT_EQ(SmartHealthTest::healthPercent({attribute(5, 0)}), 100);
  Attributes worked = {attribute(5, 10), attribute(197, 5)};
  EXPECT_EQ(SmartHealthTest::healthPercent(worked), 76);
  worked.push_back(attribute(1, 0, 9, 10));
  EXPECT_EQ(SmartHealthTest::healthPercent(worked), 68);
  EXPECT_EQ(SmartHealthTest::healthPercent({attribute(197, 30)}), 70);
  EXPECT_EQ(SmartHealthTest::healthPercent({attribute(197, 31)}), 69);
  EXPECT_EQ(SmartHealthTest::healthPercent({attribute(5, 0x80000000)}), 30)
      << "a huge raw value costs the most, it does not wrap to nothing";
  EXPECT_EQ(SmartHealthTest::healthPercent({attribute(184, 10, 9, 10)}), 81)
      << "an attribute of both tables counts in both";
  Attributes dying = {attribute(5, 0)};
  for (const std::uint8_t id :
       std::initializer_list<std::uint8_t>{1, 2, 3, 4, 7, 8, 9, 12, 184, 225, 194, 199, 193})
    dying.push_back(attribute(id, 0, 1, 2));
  EXPECT_EQ(SmartHealthTest::healthPercent(dying), 0);
}

TEST(SmartHealthTest, RunsWhenConfiguredAndWarnsBelowSeventy) {
  FakeDevice<AtaDisk> disk;
  SmartHealthTest test(someTest);
  EXPECT_FALSE(test.isApplicable(disk.component.get()));
  for (const char* value : {"0", "1 ", "true", "11"}) {
    EXPECT_TRUE(test.configure({{"STORAGE", {{"ENABLE_SMART_HEALTH_TEST", value}}}}, nullptr));
    EXPECT_FALSE(test.isApplicable(disk.component.get()));
  }
  EXPECT_TRUE(test.configure({{"STORAGE", {{"ENABLE_SMART_HEALTH_TEST", "1"}}}}, nullptr));
  EXPECT_TRUE(test.isApplicable(disk.component.get()));

  disk.protocol->attributes = {attribute(197, 31)};
  FakeHost degraded(disk.component.get());
  EXPECT_EQ(test.run(&degraded), TestResult::Warning);
  const std::string warning = keys::HealthDegraded;
  EXPECT_THAT(degraded.heard, ElementsAre("progress 0", "progress 100 " + warning,
                                          "log 3 " + warning, "progress 100 DISK_HEALTH: 69%",
                                          "log 0 DISK_HEALTH: 69%", "progress 100"));
  disk.protocol->attributes = {attribute(197, 30)};
  FakeHost fine(disk.component.get());
  EXPECT_EQ(test.run(&fine), TestResult::Passed);
  EXPECT_THAT(fine.heard, ElementsAre("progress 0", "progress 100 DISK_HEALTH: 70%",
                                      "log 0 DISK_HEALTH: 70%", "progress 100"));

  const std::string unable = keys::NoDeviceAttributes;
  disk.protocol->record().smartEnabled = false;
  disk.protocol->results["GetSmartAttributes"] = ProtocolResult::DeviceError;
  FakeHost mute(disk.component.get());
  EXPECT_EQ(test.run(&mute), TestResult::NotPerformed);
  EXPECT_THAT(mute.heard, ElementsAre("progress 0", "progress 100 " + unable, "log 0 " + unable,
                                      "progress 100"));
  EXPECT_FALSE(disk.protocol->record().smartEnabled);
  disk.component->setBusKind(StorageBusKind::Usb);
  EXPECT_FALSE(test.isApplicable(disk.component.get()));
}

}  // namespace
}  // namespace ostria::storage
