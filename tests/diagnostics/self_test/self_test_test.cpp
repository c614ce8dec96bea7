// The self-tests before a fake protocol: start, polling, outcome, abort and time-out of a routine.
#include <gtest/gtest.h>

#include <functional>

#include "checks/message_keys.h"
#include "diagnostics/self_test/default_routine.h"
#include "diagnostics/self_test/self_test_routine.h"
#include "services/sal.h"
#include "tests/support/fake_protocol.h"
#include "tests/support/messages.h"
#include "transport/scsi/scsi_protocol.h"

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

/// A drive that leaves the bus while its routine runs.
struct LostAtFirstPoll : FakeProtocol<> {
  using FakeProtocol::FakeProtocol;
  ProtocolResult GetSelfTestProgress(std::uint8_t* /*percent*/) override {
    results["GetSelfTestResult"] = results["GetProperties"] = ProtocolResult::TransportFailure;
    return ProtocolResult::TransportFailure;
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

TEST(SelfTest, EndsTheRoutineOnAbortAndTimeoutButNotAfterALoss) {
  SelfTester disk(ProtocolKind::Scsi);
  ShortSelfTest test(kSomeTest);
  disk.protocol->selfTestResults = {0, 15};
  EXPECT_EQ(runOn(test, disk, 20), "0 / 100 / 100 = 4");
  EXPECT_EQ(disk.protocol->count("AbortSelfTest"), 1u);

  std::string polls = "0";  // at the start
  for (int i = 0; i < 60; ++i) {
    polls += " / 0";
  }
  disk.protocol->selfTestResults = {0, 15};
  EXPECT_EQ(runOn(test, disk),
            polls + " / 100 TEST_FINISHED_WITH_TIMEOUT: 600 s / log 3 same / 100 = 5");
  EXPECT_EQ(disk.protocol->count("AbortSelfTest"), 2u);

  FakeDevice<LostAtFirstPoll> lost(ProtocolKind::Scsi);
  lost.component->setBusKind(StorageBusKind::Scsi);
  lost.protocol->selfTestResults = {0, 15};
  EXPECT_EQ(runOn(test, lost), "0 / 100 DEVICE_COMMUNICATION_FAILURE / log 3 same / 100 = 4");
  EXPECT_EQ(lost.protocol->count("AbortSelfTest"), 0u);
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
  for (const char* text : {"abc", "", "12x"}) {
    EXPECT_EQ(configure("SEC_NUM", text), 1115u);
  }
  for (const char* text : {"256", "-1", "99999999999999999999"}) {
    EXPECT_EQ(configure("SEC_COUNT", text), 1116u);
  }
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

/// A SCSI bridge that answers SEND DIAGNOSTIC with a status.
class DiagnosticBridge final : public ScsiBridge {
 public:
  DiagnosticBridge() : ScsiBridge(DeviceHandle()) {}
  ProtocolResult Send(ScsiCmd& command) override {
    command.scsiStatus = status;
    if (senseKey != 0) {
      command.sense[0] = 0x70;
      command.sense[2] = senseKey;
      command.senseLength = 18;
    }
    return result;
  }
  std::uint8_t status = 0;
  std::uint8_t senseKey = 0;
  ProtocolResult result = ProtocolResult::Success;
};

struct ScsiDisk : ScsiProtocol {
  ScsiDisk(ProtocolKind kind, std::uint64_t) { SetProtocolKind(kind); }
};

TEST(DefaultSelfTest, JudgesByTheStatusOfItsOneCommand) {
  FakeDevice<ScsiDisk> disk(ProtocolKind::Scsi);
  const auto bridge = std::make_shared<DiagnosticBridge>();
  disk.protocol->AddBridge(bridge);
  DefaultSelfTest test(kSomeTest);
  EXPECT_FALSE(test.isApplicable(disk.component.get()));
  disk.component->setBusKind(StorageBusKind::Scsi);
  EXPECT_TRUE(test.isApplicable(disk.component.get()));

  EXPECT_EQ(runOn(test, disk), "100 / 100 = 0");
  EXPECT_EQ(runOn(test, disk, 1), "100 / 100 = 4");
  bridge->status = 2;
  EXPECT_EQ(runOn(test, disk), "100 CANNOT_PERFORM_SELF_TEST / log 1 same / 100 = 3");
  bridge->senseKey = 4;  // the drive's own finding
  EXPECT_EQ(runOn(test, disk), "100 / 100 = 1");
  bridge->result = ProtocolResult::TransportFailure;
  EXPECT_EQ(runOn(test, disk), "100 CANNOT_PERFORM_SELF_TEST / log 1 same / 100 = 3");
}

}  // namespace
}  // namespace ostria::storage::test
