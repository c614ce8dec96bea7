#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <functional>

#include "diagnostics/default_self_test.h"
#include "diagnostics/message_keys.h"
#include "diagnostics/self_test.h"
#include "services/sal.h"
#include "tests/support/fake_host.h"
#include "tests/support/fake_protocol.h"
#include "transport/protocols/scsi_protocol.h"

namespace ostria::storage {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using testing::FakeDevice;
using testing::FakeHost;
using testing::FakeProtocol;

const Identifier someTest(1, 1, 5);

/// An ATA disk that can do every self-test, or a SCSI disk.
FakeDevice<> selfTester(ProtocolKind kind = ProtocolKind::Ata) {
  FakeDevice<> disk(kind);
  auto& record = disk.protocol->record();
  record.smartDataValid = record.offlineImmediateSupported = true;
  record.selfTestSupported = record.conveyanceSupported = true;
  if (kind == ProtocolKind::Scsi) disk.component->setBusKind(StorageBusKind::Scsi);
  return disk;
}

std::string refusalOf(StorageTest& test, FakeDevice<>& disk) {
  FakeHost host(disk.component.get());
  const TestResult result = test.check(disk.component.get(), host.listener(), host.messageLog());
  if (result == TestResult::Passed) return {};
  EXPECT_EQ(result, TestResult::NotPerformed);
  return host.heard.at(1);
}

TEST(SelfTest, WatchesTheRoutineToItsEnd) {
  FakeDevice<> disk = selfTester();
  disk.protocol->record().smartEnabled = false;
  disk.protocol->selfTestResults = {0, 15, 15, 15, 15, 0};
  disk.protocol->selfTestProgress = {40, 20, 100, 206};
  FakeHost host(disk.component.get());
  ShortSelfTest test(someTest);
  const std::int64_t before = get_timer()->clock();
  EXPECT_EQ(test.run(&host), TestResult::Passed);
  EXPECT_NEAR(get_timer()->secondsBetween(before, get_timer()->clock()), 40, 2);
  EXPECT_THAT(host.heard, ElementsAre("progress 0", "progress 40", "progress 40", "progress 100",
                                      "progress 100"));
  EXPECT_EQ(disk.protocol->count("StartSelfTest 1 0"), 1U);
  EXPECT_EQ(disk.protocol->count("AbortSelfTest"), 0U);
  EXPECT_EQ(disk.protocol->calls.back(), "SetSmartEnabled 0");
}

TEST(SelfTest, DriveStatusBecomesMessageAndResult) {
  struct Case {
    std::uint8_t status;
    TestResult result;
    std::vector<std::string> ata;
    std::vector<std::string> scsi;
  };
  const std::vector<std::string> aborted = {"log 0 SELF_TEST_ABORTED_BY_EXTERNAL_FACTOR",
                                            "progress 100 SELF_TEST_ABORTED_BY_EXTERNAL_FACTOR"};
  const std::vector<std::string> unclear = {"log 0 INCONCLUSIVE_RESULT",
                                            "progress 100 INCONCLUSIVE_RESULT"};
  const std::vector<std::string> readError = {"log 2 READ_ERROR_DETECTED",
                                              "log 2 READING_SECTOR 5000000000",
                                              "progress 100 READING_SECTOR 5000000000"};
  const auto fault = [](const std::string& key) {
    return std::vector<std::string>{"log 2 " + key, "progress 100 " + key};
  };
  const std::vector<Case> cases = {
      {0, TestResult::Passed, {"progress 100"}, {"progress 100"}},
      {1, TestResult::Warning, aborted, aborted},
      {2, TestResult::Warning, aborted, aborted},
      {3, TestResult::Failed, fault("CRITICAL_INTERRUPTION_DETECTED"), readError},
      {4, TestResult::Failed, fault("UNKNOWN_ERROR_DETECTED"), readError},
      {5, TestResult::Failed, fault("ELECTRICAL_ERROR_DETECTED"), readError},
      {6, TestResult::Failed, fault("SEEK_ERROR_DETECTED"), readError},
      {7, TestResult::Failed, readError, readError},
      {8, TestResult::Failed, fault("HANDLING_DAMAGE_DETECTED"), unclear},
      {9, TestResult::Warning, unclear, unclear},
  };
  for (const Case& c : cases) {
    for (const ProtocolKind kind : {ProtocolKind::Ata, ProtocolKind::Scsi}) {
      FakeDevice<> disk = selfTester(kind);
      disk.protocol->selfTestResults = {c.status};
      disk.protocol->firstFailedLba = 5'000'000'000;
      FakeHost host(disk.component.get());
      ShortSelfTest test(someTest);
      const TestResult result = test.run(&host);
      if (kind == ProtocolKind::Ata || c.status != 8) {
        EXPECT_EQ(result, c.result) << int{c.status};
      } else {
        EXPECT_EQ(result, TestResult::Warning);
      }
      std::vector<std::string> expected = {"progress 0"};
      const auto& lines = kind == ProtocolKind::Ata ? c.ata : c.scsi;
      expected.insert(expected.end(), lines.begin(), lines.end());
      expected.push_back("progress 100");
      EXPECT_EQ(host.heard, expected) << int{c.status};
    }
  }
  FakeDevice<> disk = selfTester();
  disk.protocol->selfTestResults = {7};
  disk.protocol->results["GetFirstFailedLba"] = ProtocolResult::Failure;
  FakeHost host(disk.component.get());
  ShortSelfTest test(someTest);
  EXPECT_EQ(test.run(&host), TestResult::Failed);
  EXPECT_THAT(host.heard, ElementsAre("progress 0", "log 2 READ_ERROR_DETECTED", "progress 100",
                                      "progress 100"));
}

TEST(SelfTest, StopsWhatElseIsRunning) {
  FakeDevice<> disk = selfTester();
  disk.protocol->selfTestResults = {15, 1, 0};
  FakeHost host(disk.component.get());
  ShortSelfTest test(someTest);
  EXPECT_EQ(test.run(&host), TestResult::Passed);
  EXPECT_THAT(host.heard, ElementsAre("progress 0 OTHER_SELF_TEST_ALREADY_IN_PROGRESS",
                                      "log 1 OTHER_SELF_TEST_ALREADY_IN_PROGRESS",
                                      "progress 0 OTHER_SELF_TEST_ALREADY_IN_PROGRESS_WAS_ABORTED",
                                      "log 1 OTHER_SELF_TEST_ALREADY_IN_PROGRESS_WAS_ABORTED",
                                      "progress 0", "progress 100", "progress 100"));
  EXPECT_EQ(disk.protocol->count("AbortSelfTest"), 1U);

  disk.protocol->selfTestResults = {15};
  FakeHost stubborn(disk.component.get());
  EXPECT_EQ(test.run(&stubborn), TestResult::Warning);
  EXPECT_THAT(stubborn.heard, Contains("log 3 CANNOT_ABORT_OTHER_SELF_TEST_ALREADY_IN_PROGRESS"));
  EXPECT_EQ(disk.protocol->count("StartSelfTest 1 0"), 1U) << "none was started beside it";
}

TEST(SelfTest, EndsTheRoutineOnAbortAndTimeoutButNotAfterALoss) {
  FakeDevice<> disk = selfTester(ProtocolKind::Scsi);
  disk.protocol->selfTestResults = {0, 15};
  FakeHost aborting(disk.component.get());
  aborting.abortFromPoll = 20;
  ShortSelfTest test(someTest);
  EXPECT_EQ(test.run(&aborting), TestResult::Stopped);
  EXPECT_EQ(disk.protocol->count("AbortSelfTest"), 1U);

  disk.protocol->selfTestResults = {0, 15};
  FakeHost waiting(disk.component.get());
  EXPECT_EQ(test.run(&waiting), TestResult::Warning);
  EXPECT_THAT(waiting.heard, Contains("log 3 TEST_FINISHED_WITH_TIMEOUT: 600 s"));
  EXPECT_EQ(waiting.count("progress 0"), 61U) << "one at the start and one for each of 60 polls";
  EXPECT_EQ(disk.protocol->count("AbortSelfTest"), 2U);

  disk.protocol->selfTestResults = {0, 15};
  disk.protocol->results["GetSelfTestProgress"] = ProtocolResult::TransportFailure;
  disk.protocol->results["GetProperties"] = ProtocolResult::TransportFailure;
  FakeHost lost(disk.component.get());
  EXPECT_EQ(test.run(&lost), TestResult::Stopped);
  EXPECT_THAT(lost.heard, ElementsAre("progress 0", "progress 100 DEVICE_COMMUNICATION_FAILURE",
                                      "log 3 DEVICE_COMMUNICATION_FAILURE", "progress 100"));
  EXPECT_EQ(disk.protocol->count("AbortSelfTest"), 2U);
}

TEST(SelfTest, RoutineThatDoesNotStart) {
  for (const char* operation : {"GetSelfTestResult", "StartSelfTest"}) {
    FakeDevice<> disk = selfTester();
    disk.protocol->results[operation] = ProtocolResult::SelfTestAbortedByDevice;
    FakeHost host(disk.component.get());
    QuickDriveSelfTest test(someTest);
    EXPECT_EQ(test.run(&host), TestResult::NotPerformed);
    EXPECT_THAT(host.heard, ElementsAre("progress 100 CANNOT_PERFORM_SELF_TEST",
                                        "log 1 CANNOT_PERFORM_SELF_TEST", "progress 100"));
  }
}

TEST(QuickDriveSelfTest, ConfigurationChoosesTheRoutine) {
  QuickDriveSelfTest test(someTest);
  const auto configure = [&](const char* key, const char* value) -> std::uint32_t {
    ConfigurationError error;
    const bool good = test.configure({{"STORAGE", {{key, value}}}}, &error);
    EXPECT_EQ(good, error.code == 0);
    if (!good) {
      EXPECT_EQ(error.key + error.section, std::string(key) + "STORAGE");
    }
    return error.code;
  };
  FakeDevice<> ssd = selfTester();
  ssd.protocol->record().solidState = true;
  EXPECT_EQ(refusalOf(test, ssd), "log 3 TEST_NOT_SUPPORTED_IN_SSD");
  for (const char* text : {"abc", "", "12x", " 5"}) EXPECT_EQ(configure("SEC_NUM", text), 1115U);
  for (const char* text : {"256", "-1", "99999999999999999999"})
    EXPECT_EQ(configure("SEC_COUNT", text), 1116U);
  EXPECT_EQ(configure("SEC_COUNT", "7"), 0U);
  EXPECT_EQ(refusalOf(test, ssd), "log 3 TEST_NOT_SUPPORTED_IN_SSD") << "no routine was chosen yet";
  EXPECT_EQ(configure("SEC_NUM", "255"), 0U);
  EXPECT_EQ(refusalOf(test, ssd), "");

  // No time-out: the routine outlives the 600 seconds.
  ssd.protocol->selfTestResults.assign(80, 15);
  ssd.protocol->selfTestResults.front() = 0;
  ssd.protocol->selfTestResults.push_back(0);
  FakeHost host(ssd.component.get());
  EXPECT_EQ(test.run(&host), TestResult::Passed);
  EXPECT_EQ(ssd.protocol->count("StartSelfTest 255 7"), 1U);

  ssd.protocol->results["StartSelfTest"] = ProtocolResult::SelfTestIdNotFound;
  FakeHost refused(ssd.component.get());
  EXPECT_EQ(test.run(&refused), TestResult::NotPerformed);
  EXPECT_THAT(refused.heard, ElementsAre("progress 100 INVALID_PARAMETER_VALUE",
                                         "log 2 INVALID_PARAMETER_VALUE", "progress 100"));
}

TEST(SelfTests, EachTakesItsDevicesOnly) {
  ShortSelfTest shortTest(someTest);
  ExtendedSelfTest extended(someTest);
  ConveyanceSelfTest conveyance(someTest);
  QuickDriveSelfTest drive(someTest);
  const std::string notHere = "log 0 TEST_NOT_SUPPORTED_IN_THIS_DEVICE";
  const std::string notOutside = "TEST_NOT_SUPPORTED_IN_EXTERNAL_DEVICE";
  struct Case {
    std::function<void(FakeDevice<>&)> change;
    std::string shortTest, extended, conveyance, drive;
  };
  const std::string noCache = std::string("log 0 ") + keys::SmartDataNotCached;
  const std::string noOffline = std::string("log 0 ") + keys::NoOfflineExecution;
  const std::string unexpected = std::string("log 0 ") + keys::UnexpectedEvent;
  const std::string noSmart = "log 3 SMART_NOT_SUPPORTED";
  const std::vector<Case> ataCases = {
      {[](FakeDevice<>&) {}, "", notHere, "", ""},
      {[](auto& d) { d.component->setConnection(DeviceConnection::External); },
       "log 0 " + notOutside, "log 3 " + notOutside, "log 0 " + notOutside, "log 3 " + notOutside},
      {[](auto& d) { d.component->setConnection(DeviceConnection::RaidMember); }, notHere, notHere,
       notHere, ""},
      {[](auto& d) { d.protocol->record().selfTestSupported = false; }, noSmart, noSmart, "", ""},
      {[](auto& d) { d.protocol->record().conveyanceSupported = false; }, "", notHere,
       "log 3 CONVEYANCE_TEST_NOT_SUPPORTED", ""},
      {[](auto& d) { d.protocol->record().smartSupported = false; }, noSmart, notHere, noSmart,
       noSmart},
      {[](auto& d) { d.protocol->record().smartDataValid = false; }, noCache, notHere, noCache,
       noCache},
      {[](auto& d) { d.protocol->record().offlineImmediateSupported = false; }, noOffline, notHere,
       noOffline, noOffline},
      {[](auto& d) { d.protocol->record().selfTestAbortSupported = true; }, unexpected, notHere,
       unexpected, unexpected},
  };
  for (const Case& c : ataCases) {
    FakeDevice<> disk = selfTester();
    c.change(disk);
    EXPECT_EQ(refusalOf(shortTest, disk), c.shortTest);
    EXPECT_EQ(refusalOf(extended, disk), c.extended);
    EXPECT_EQ(refusalOf(conveyance, disk), c.conveyance);
    EXPECT_EQ(refusalOf(drive, disk), c.drive);
  }
  FakeDevice<> scsi = selfTester(ProtocolKind::Scsi);
  EXPECT_EQ(refusalOf(shortTest, scsi), "");
  EXPECT_EQ(refusalOf(extended, scsi), "");
  EXPECT_EQ(refusalOf(conveyance, scsi), notHere);
  EXPECT_EQ(refusalOf(drive, scsi), notHere);

  FakeDevice<> excluded = selfTester();
  EXPECT_TRUE(drive.isApplicable(excluded.component.get()));
  excluded.component->setNames("", "ST1000NM000A         00MX141 00MX141OST");
  EXPECT_FALSE(drive.isApplicable(excluded.component.get()));
  excluded.component->setOptaneVolume(true);
  EXPECT_FALSE(shortTest.isApplicable(excluded.component.get()));
  EXPECT_FALSE(conveyance.isApplicable(excluded.component.get()));
}

/// A SCSI road that answers SEND DIAGNOSTIC with a status.
class DiagnosticBridge final : public ScsiBridge {
 public:
  DiagnosticBridge() : ScsiBridge(DeviceHandle()) {}
  ProtocolResult Send(ScsiCmd& command) override {
    command.scsiStatus = status;
    return result;
  }
  std::uint8_t status = 0;
  ProtocolResult result = ProtocolResult::Success;
};

TEST(DefaultSelfTest, JudgesByTheStatusOfItsOneCommand) {
  auto protocol = std::make_unique<ScsiProtocol>();
  protocol->SetProtocolKind(ProtocolKind::Scsi);
  const auto bridge = std::make_shared<DiagnosticBridge>();
  protocol->AddBridge(bridge);
  StorageComponent component(std::move(protocol));
  component.setBusKind(StorageBusKind::Scsi);
  DefaultSelfTest test(someTest);
  EXPECT_TRUE(test.isApplicable(&component));

  FakeHost good(&component);
  EXPECT_EQ(test.run(&good), TestResult::Passed);
  EXPECT_THAT(good.heard, ElementsAre("progress 100", "progress 100"));
  FakeHost stopping(&component);
  stopping.abortFromPoll = 1;
  EXPECT_EQ(test.run(&stopping), TestResult::Stopped);
  bridge->result = ProtocolResult::TransportFailure;
  FakeHost mute(&component);
  EXPECT_EQ(test.run(&mute), TestResult::NotPerformed);
  EXPECT_THAT(mute.heard, ElementsAre("progress 100 CANNOT_PERFORM_SELF_TEST",
                                      "log 1 CANNOT_PERFORM_SELF_TEST", "progress 100"));
  bridge->result = ProtocolResult::Success;
  bridge->status = 2;
  FakeHost failing(&component);
  EXPECT_EQ(test.run(&failing), TestResult::Failed);
  component.setConnection(DeviceConnection::External);
  EXPECT_FALSE(test.isApplicable(&component));
}

}  // namespace
}  // namespace ostria::storage
