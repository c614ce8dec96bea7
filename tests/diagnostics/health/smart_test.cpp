// The SMART tests before a fake protocol: verdicts, refusals, and SMART left as it was found.
#include <gtest/gtest.h>

#include "checks/message_keys.h"
#include "diagnostics/health/smart_health.h"
#include "diagnostics/health/smart_status.h"
#include "diagnostics/health/smart_wearout.h"
#include "tests/support/fake_protocol.h"
#include "tests/support/messages.h"

namespace ostria::storage::test {
namespace {

const Identifier kSomeTest(1, 1, 1);
const std::string kNotValid = std::string("100 ") + keys::kSmartDataNotValid + " / log 0 same";

SmartAttribute attribute(std::uint8_t id, std::uint32_t raw, std::uint8_t value = 100,
                         std::uint8_t threshold = 0) {
  return {id, value, value, raw, threshold};
}

TEST(SmartTests, RefuseWhatTheyCannotJudge) {
  SmartStatusTest status(kSomeTest);
  SmartWearoutTest wearout(kSomeTest);
  const std::string invalid = std::string("100 ") + keys::kInvalidProtocol + " / log 0 same = 3";
  const std::string noSmart = "100 SMART_NOT_SUPPORTED / log 3 same = 3";
  FakeDevice<> disk;
  EXPECT_TRUE(status.isApplicable(disk.component.get()));
  EXPECT_EQ(refusal(wearout, disk), "100 TEST_APPLICABLE_FOR_SSDs_ONLY / log 3 same = 3");
  disk.protocol->record().smartSupported = false;
  EXPECT_EQ(refusal(status, disk), noSmart);
  EXPECT_EQ(refusal(wearout, disk), noSmart);
  disk.component->setConnection(DeviceConnection::External);
  EXPECT_EQ(refusal(status, disk), "100 TEST_NOT_SUPPORTED_IN_EXTERNAL_DEVICE / log 3 same = 3");
  disk.component->setBusKind(StorageBusKind::Nvme);
  EXPECT_EQ(refusal(status, disk), invalid);
  disk.protocol->SetProtocolKind(ProtocolKind::NvmeScsi);
  EXPECT_EQ(refusal(wearout, disk), invalid);
}

TEST(SmartWearoutTest, FindingIsTheClosingLine) {
  const std::map<std::uint32_t, std::string> closings = {
      {0, "0 / 100 SSD_HAS_REACHED_WEAROUT_LIMIT = 0"},
      {1, "0 / 100 SSD_HAS_REACHED_WEAROUT_LIMIT = 0"},
      {2, "0 / 100 SSD_IS_CLOSE_TO_WEAROUT_LIMIT = 0"},
      {10, "0 / 100 SSD_IS_CLOSE_TO_WEAROUT_LIMIT = 0"},
      {11, "0 / 100 = 0"},
      {100, "0 / 100 = 0"},
      {101, "0 / " + kNotValid + " / 100 = 3"},
      {0xFFFFFFFF, "0 / " + kNotValid + " / 100 = 3"},
  };
  SmartWearoutTest test(kSomeTest);
  for (const ProtocolKind kind : {ProtocolKind::Ata, ProtocolKind::Nvme}) {
    FakeDevice<> disk(kind);
    disk.protocol->record().solidState = true;
    disk.protocol->record().smartEnabled = false;
    for (const auto& [remaining, closing] : closings) {
      disk.protocol->wearIndicator = remaining;
      EXPECT_EQ(runOn(test, disk), closing) << remaining;
      EXPECT_FALSE(disk.protocol->record().smartEnabled);
    }
    EXPECT_EQ(disk.protocol->count("SetSmartEnabled 1"), kind == ProtocolKind::Ata ? 8u : 0u);
  }
}

TEST(SmartHealthTest, HealthComesFromPenaltiesAndCriticalAttributes) {
  using Attributes = std::vector<SmartAttribute>;
  EXPECT_EQ(SmartHealthTest::healthPercent({attribute(9, 5), attribute(194, 40)}), -1);
  Attributes worked = {attribute(5, 10), attribute(197, 5)};
  EXPECT_EQ(SmartHealthTest::healthPercent(worked), 76);
  worked.push_back(attribute(1, 0, 9, 10));
  worked.push_back(attribute(2, 0, 10, 10));
  EXPECT_EQ(SmartHealthTest::healthPercent(worked), 68);
  EXPECT_EQ(SmartHealthTest::healthPercent({attribute(197, 30)}), 70);
  EXPECT_EQ(SmartHealthTest::healthPercent({attribute(197, 31)}), 69);
  EXPECT_EQ(SmartHealthTest::healthPercent({attribute(5, 0x80000000)}), 30)
      << "a huge raw value costs the most, it does not wrap to nothing";
  EXPECT_EQ(SmartHealthTest::healthPercent({attribute(184, 10, 9, 10)}), 81)
      << "an attribute of both tables counts in both";
  Attributes dying = {attribute(5, 0)};
  for (unsigned id = 0; id < 256; ++id) {
    dying.push_back(attribute(static_cast<std::uint8_t>(id), 0, 1, 2));
  }
  EXPECT_EQ(SmartHealthTest::healthPercent(dying), 0);
}

TEST(SmartHealthTest, RunsWhenConfiguredAndWarnsBelowSeventy) {
  FakeDevice<FakeAtaProtocol> disk;
  SmartHealthTest test(kSomeTest);
  const auto applicableWith = [&](const char* value) {
    EXPECT_TRUE(test.configure({{"STORAGE", {{"ENABLE_SMART_HEALTH_TEST", value}}}}, nullptr));
    return test.isApplicable(disk.component.get());
  };
  EXPECT_FALSE(test.isApplicable(disk.component.get()));
  EXPECT_FALSE(applicableWith("1 "));
  EXPECT_TRUE(applicableWith("1"));

  disk.protocol->record().smartEnabled = false;
  disk.protocol->attributes = {attribute(197, 31)};
  EXPECT_EQ(runOn(test, disk), std::string("0 / 100 ") + keys::kHealthDegraded +
                                   " / log 3 same / 100 DISK_HEALTH: 69% / log 0 same / 100 = 5");
  disk.protocol->attributes = {attribute(197, 30)};
  EXPECT_EQ(runOn(test, disk), "0 / 100 DISK_HEALTH: 70% / log 0 same / 100 = 0");
  disk.protocol->results["GetSmartAttributes"] = ProtocolResult::DeviceError;
  EXPECT_EQ(runOn(test, disk),
            std::string("0 / 100 ") + keys::kNoDeviceAttributes + " / log 0 same / 100 = 3");
  EXPECT_FALSE(disk.protocol->record().smartEnabled);
  disk.component->setBusKind(StorageBusKind::Usb);
  EXPECT_FALSE(test.isApplicable(disk.component.get()));
}

}  // namespace
}  // namespace ostria::storage::test
