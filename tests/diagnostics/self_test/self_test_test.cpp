// The self-tests before a fake protocol: start, polling, outcome, abort and time-out of a routine.
#include <gtest/gtest.h>

#include <functional>

#include "checks/message_keys.h"
#include "diagnostics/self_test/self_test_routine.h"
#include "services/sal.h"
#include "tests/support/fake_protocol.h"
#include "tests/support/messages.h"

namespace ostria::storage::test {
namespace {

const Identifier kSomeTest(1, 1, 5);

/// An ATA disk that can do every self-test, or a SCSI disk.
struct SelfTester : FakeDevice<> {
  explicit SelfTester(ProtocolKind kind = ProtocolKind::Ata) : FakeDevice(kind) {
    auto& record = protocol->record();
    record.smartDataValid = record.offlineImmediateSupported = true;
    record.selfTestSupported = record.conveyanceSupported = true;
    if (kind == ProtocolKind::Scsi) {
      component->setBusKind(StorageBusKind::Scsi);
    }
  }
};

TEST(SelfTest, WatchesTheRoutineToItsEnd) {
  SelfTester disk;
  disk.protocol->record().smartEnabled = false;
  disk.protocol->selfTestResults = {0, 15, 15, 15, 15, 0};
  disk.protocol->selfTestProgress = {40, 20, 100, 206};
  ShortSelfTest test(kSomeTest);
  const std::int64_t before = get_timer()->clock();
  EXPECT_EQ(runOn(test, disk), "0 / 40 / 40 / 100 / 100 = 0");
  EXPECT_NEAR(get_timer()->secondsBetween(before, get_timer()->clock()), 40, 2);
  EXPECT_EQ(disk.protocol->count("StartSelfTest 1 0"), 1u);
  EXPECT_EQ(disk.protocol->count("AbortSelfTest"), 0u);
  EXPECT_EQ(disk.protocol->calls.back(), "SetSmartEnabled 0");
  disk.protocol->selfTestResults = {9};  // reserved by the standard
  EXPECT_EQ(runOn(test, disk), "0 / log 0 INCONCLUSIVE_RESULT / 100 same / 100 = 5");
  disk.protocol->selfTestResults = {7};
  disk.protocol->results["GetFirstFailedLba"] = ProtocolResult::Failure;
  EXPECT_EQ(runOn(test, disk), "0 / log 2 READ_ERROR_DETECTED / 100 / 100 = 1");
}

TEST(QuickDriveSelfTest, ConfigurationChoosesTheRoutine) {
  QuickDriveSelfTest test(kSomeTest);
  const auto configure = [&](const char* key, const char* value) -> std::uint32_t {
    ConfigurationError error;
    const bool good = test.configure({{"STORAGE", {{key, value}}}}, &error);
    EXPECT_EQ(good, error.code == 0);
    return error.code;
  };
  const std::string noSsd = "100 TEST_NOT_SUPPORTED_IN_SSD / log 3 same = 3";
  SelfTester ssd;
  ssd.protocol->record().solidState = true;
  EXPECT_EQ(configure("SEC_NUM", "12x"), 1115u);
  EXPECT_EQ(configure("SEC_COUNT", "256"), 1116u);
  EXPECT_EQ(configure("SEC_COUNT", "7"), 0u);
  EXPECT_EQ(refusal(test, ssd), noSsd) << "no routine was chosen yet";
  EXPECT_EQ(configure("SEC_NUM", "255"), 0u);

  ssd.protocol->selfTestResults.assign(80, 15);  // outlives the 600 seconds
  ssd.protocol->selfTestResults.front() = 0;
  ssd.protocol->selfTestResults.push_back(0);
  FakeHost host(ssd.component.get());
  EXPECT_EQ(test.run(&host), TestResult::Passed);
  EXPECT_EQ(ssd.protocol->count("StartSelfTest 255 7"), 1u);
  ssd.protocol->results["StartSelfTest"] = ProtocolResult::SelfTestIdNotFound;
  EXPECT_EQ(runOn(test, ssd), "100 INVALID_PARAMETER_VALUE / log 2 same / 100 = 3");
  ShortSelfTest unconfigured(kSomeTest);
  EXPECT_EQ(runOn(unconfigured, ssd), "100 CANNOT_PERFORM_SELF_TEST / log 1 same / 100 = 3");
}

TEST(SelfTests, EachTakesItsDevicesOnly) {
  ShortSelfTest shortTest(kSomeTest);
  ExtendedSelfTest extended(kSomeTest);
  ConveyanceSelfTest conveyance(kSomeTest);
  QuickDriveSelfTest drive(kSomeTest);
  const auto because = [](const std::string& key, int severity) {
    return "100 " + key + " / log " + std::to_string(severity) + " same = 3";
  };
  const std::string notHere = because(keys::kNotSupportedInThisDevice, 0);
  const std::string noSmart = because(keys::kSmartNotSupported, 3);
  const std::string noOffline = because(keys::kNoOfflineExecution, 0);
  const std::string unexpected = because(keys::kUnexpectedEvent, 0);
  struct Case {
    std::function<void(SelfTester&)> change;
    std::string shortTest, conveyance, drive;
  };
  const std::vector<Case> ataCases = {
      {[](auto&) {}, "", "", ""},
      {[](auto& d) { d.component->setConnection(DeviceConnection::External); },
       because(keys::kNotSupportedInExternalDevice, 0),
       because(keys::kNotSupportedInExternalDevice, 0),
       because(keys::kNotSupportedInExternalDevice, 3)},
      {[](auto& d) { d.component->setConnection(DeviceConnection::RaidMember); }, notHere, notHere,
       ""},
      {[](auto& d) { d.protocol->record().selfTestSupported = false; }, noSmart, "", ""},
      {[](auto& d) { d.protocol->record().conveyanceSupported = false; }, "",
       because(keys::kConveyanceNotSupported, 3), ""},
      {[](auto& d) { d.protocol->record().smartSupported = false; }, noSmart, noSmart, noSmart},
      {[](auto& d) { d.protocol->record().offlineImmediateSupported = false; }, noOffline,
       noOffline, noOffline},
      {[](auto& d) { d.protocol->record().selfTestAbortSupported = true; }, unexpected, unexpected,
       unexpected},
  };
  for (const Case& c : ataCases) {
    SelfTester disk;
    c.change(disk);
    EXPECT_EQ(refusal(shortTest, disk), c.shortTest);
    EXPECT_EQ(refusal(conveyance, disk), c.conveyance);
    EXPECT_EQ(refusal(drive, disk), c.drive);
    EXPECT_FALSE(extended.isApplicable(disk.component.get()));
  }
  SelfTester scsi(ProtocolKind::Scsi);
  EXPECT_EQ(refusal(shortTest, scsi), "");
  EXPECT_EQ(refusal(extended, scsi), "");
  EXPECT_EQ(refusal(conveyance, scsi), notHere);
  EXPECT_EQ(refusal(drive, scsi), notHere);

  SelfTester excluded;
  EXPECT_TRUE(drive.isApplicable(excluded.component.get()));
  excluded.component->setNames("", "ST1000NM000A         00MX141 00MX141OST");
  EXPECT_FALSE(drive.isApplicable(excluded.component.get()));
  excluded.component->setOptaneVolume(true);
  EXPECT_FALSE(shortTest.isApplicable(excluded.component.get()));
}

}  // namespace
}  // namespace ostria::storage::test
