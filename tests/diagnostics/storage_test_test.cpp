#include "diagnostics/storage_test.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>

#include "diagnostics/message_keys.h"
#include "diagnostics/test_with_device_hint.h"
#include "tests/support/fake_host.h"
#include "tests/support/fake_protocol.h"

namespace ostria::storage {
namespace {

using ::testing::ElementsAre;
using testing::FakeDevice;
using testing::FakeHost;
using ::testing::IsEmpty;

const std::string eventText = keys::SystemEventHappened;

/// Opens the base's tools to the test, and does in `run` what it is told.
class OpenTest : public StorageTest {
 public:
  using StorageTest::begin;
  using StorageTest::bind;
  using StorageTest::checkStop;
  using StorageTest::checkStopNoted;
  using StorageTest::StorageTest;

  TestResult run(TestRunContext* context) override {
    const TestResult bound = bind(context);
    return bound == TestResult::Passed ? work() : bound;
  }
  TestResult check(StorageComponent*, TestListener*, MessageLog*) override { return work(); }
  std::uint32_t readTimeout() const { return readTimeoutSeconds_; }

  static inline std::function<TestResult()> work = [] { return TestResult::Passed; };
};

const Identifier someTest(1, 1, 1);

TEST(StorageTestBase, ReadTimeoutFollowsWhatTheDiskMayHaveToSpinUp) {
  struct Case {
    StorageBusKind bus;
    DeviceConnection connection;
    const char* nonRotating;  // null: the attribute is missing
    std::uint32_t mode;
    bool modeAnswers;
    std::uint32_t timeout;
    std::vector<std::string> calls;
  };
  using Bus = StorageBusKind;
  using Place = DeviceConnection;
  const std::vector<Case> cases = {
      {Bus::Ata, Place::Internal, "F", 0, true, 30, {"GetPowerMode", "IdleImmediate"}},
      {Bus::Ata, Place::Internal, "F", 1, true, 10, {"GetPowerMode"}},
      {Bus::Ata, Place::Internal, "F", 2, true, 10, {"GetPowerMode"}},
      {Bus::Ata, Place::Internal, "F", 3, true, 30, {"GetPowerMode"}},
      {Bus::Ata, Place::Internal, "F", 2, false, 30, {"GetPowerMode"}},
      {Bus::Ata, Place::Internal, "T", 0, true, 10, {}},
      {Bus::Ata, Place::Internal, nullptr, 0, true, 10, {}},
      {Bus::Usb, Place::External, "F", 0, true, 10, {}},
      {Bus::Ata, Place::RaidMember, "F", 0, true, 30, {}},
  };
  for (const Case& c : cases) {
    FakeDevice<> disk;
    disk.component->setBusKind(c.bus);
    disk.component->setConnection(c.connection);
    if (c.nonRotating != nullptr)
      disk.component->attributeMap()["NonRotatingMedia"] = c.nonRotating;
    disk.protocol->powerMode = c.mode;
    if (!c.modeAnswers) disk.protocol->results["GetPowerMode"] = ProtocolResult::DeviceError;
    FakeHost host(disk.component.get());
    OpenTest test(someTest);
    EXPECT_EQ(test.bind(&host), TestResult::Passed);
    EXPECT_EQ(test.readTimeout(), c.timeout);
    EXPECT_EQ(disk.protocol->calls, c.calls);
  }
}

TEST(StorageTestBase, MissingObjectEndsTheRunInSilence) {
  FakeDevice<> disk;
  StorageComponent withoutProtocol(nullptr);
  OpenTest test(someTest);
  EXPECT_EQ(test.bind(nullptr), TestResult::CouldNotStart);
  for (SystemComponent* component :
       {static_cast<SystemComponent*>(nullptr), static_cast<SystemComponent*>(&withoutProtocol)}) {
    FakeHost host(component);
    EXPECT_EQ(test.bind(&host), TestResult::CouldNotStart);
    EXPECT_THAT(host.heard, IsEmpty());
  }
  FakeHost deaf(disk.component.get());
  deaf.hasListener = false;
  EXPECT_EQ(test.bind(&deaf), TestResult::CouldNotStart);
  deaf.hasListener = true;
  deaf.hasLog = false;
  EXPECT_EQ(test.bind(&deaf), TestResult::CouldNotStart);
  EXPECT_FALSE(test.isApplicable(nullptr));
}

TEST(StorageTestBase, SystemEventIsToldAtTheFirstCheckOfARunOnly) {
  FakeDevice<> disk;
  OpenTest test(someTest);
  FakeHost early(disk.component.get());
  early.eventFromPoll = 0;
  EXPECT_EQ(test.begin(&early), TestResult::Stopped);
  EXPECT_THAT(early.heard, ElementsAre("progress 100 " + eventText, "log 0 " + eventText));
  EXPECT_TRUE(test.checkStop(&early));
  EXPECT_EQ(early.heard.size(), 2U);
  EXPECT_EQ(test.begin(&early), TestResult::Stopped) << "a new run tells it again";
  EXPECT_EQ(early.heard.size(), 4U);

  FakeHost late(disk.component.get());
  late.eventFromPoll = 1;
  EXPECT_EQ(test.begin(&late), TestResult::Passed);
  EXPECT_TRUE(test.checkStop(&late));
  EXPECT_TRUE(OpenTest::checkStopNoted(&late, false));
  EXPECT_THAT(late.heard, IsEmpty());
  EXPECT_TRUE(OpenTest::checkStopNoted(&late, true));
  EXPECT_THAT(late.heard, ElementsAre("progress 100 " + eventText, "log 0 " + eventText));

  FakeHost harmless(disk.component.get());
  harmless.eventFromPoll = 0;
  harmless.eventFlags = 0x94;
  EXPECT_EQ(test.begin(&harmless), TestResult::Passed);
  harmless.eventFlags = 0xFF;
  harmless.hasEventByte = false;
  EXPECT_FALSE(test.checkStop(&harmless));
  harmless.abortFromPoll = 0;
  EXPECT_TRUE(test.checkStop(&harmless));
  EXPECT_TRUE(OpenTest::checkStopNoted(&harmless, true));
  EXPECT_THAT(harmless.heard, ElementsAre("progress 100", "progress 100"));
}

TEST(StorageTestBase, ReadErrorsBecomeMessagesAndAResult) {
  FakeHost host(nullptr);
  std::set<std::uint64_t> bad;
  const auto report = [&](std::uint64_t lba, ProtocolResult error, std::uint32_t limit) {
    host.heard.clear();
    return reportReadError(lba, error, 42, limit, bad, host.listener(), host.messageLog());
  };
  EXPECT_EQ(report(6000000000, ProtocolResult::MediumError, 2), TestResult::Passed);
  EXPECT_THAT(host.heard, ElementsAre("log 2 READING_SECTOR 6000000000",
                                      "progress 42 READING_SECTOR 6000000000"));
  EXPECT_EQ(report(6000000000, ProtocolResult::InterfaceCrcError, 2), TestResult::Passed)
      << "a sector that fails twice is one bad sector";
  EXPECT_EQ(report(7, ProtocolResult::MediumError, 2), TestResult::Failed);
  EXPECT_THAT(host.heard, ElementsAre("log 2 READING_SECTOR 7", "progress 42 READING_SECTOR 7",
                                      "log 2 TOO_MANY_BAD_SECTORS_FOUND: 2",
                                      "progress 100 TOO_MANY_BAD_SECTORS_FOUND: 2"));
  EXPECT_EQ(report(8, ProtocolResult::MediumError, 1), TestResult::Failed);
  EXPECT_THAT(host.heard, ElementsAre("log 2 READING_SECTOR 8", "progress 100 READING_SECTOR 8"));

  EXPECT_EQ(report(9, ProtocolResult::CommandRejected, 1), TestResult::NotPerformed);
  EXPECT_THAT(host.heard,
              ElementsAre("log 2 CANNOT_ACCESS_DEVICE", "progress 100 CANNOT_ACCESS_DEVICE"));
  EXPECT_EQ(report(9, ProtocolResult::ReadTimeout, 1), TestResult::Failed);
  EXPECT_EQ(report(9, ProtocolResult::TransportFailure, 1), TestResult::Stopped);
  EXPECT_THAT(host.heard, ElementsAre("log 2 DEVICE_COMMUNICATION_FAILURE",
                                      "progress 100 DEVICE_COMMUNICATION_FAILURE"));
  EXPECT_EQ(bad.size(), 3U);
}

TEST(StorageTestBase, DeviceMustBeKnownAndUnlockedToBeRead) {
  const std::string locked =
      "HARD_DISK_IS_PASSWORD_PROTECTED. |TRY_TO_DISABLE_THE_PASSWORD_PROTECTION";
  FakeDevice<> disk;
  FakeHost host(nullptr);
  const auto ready = [&] {
    host.heard.clear();
    return checkReadyToRead(disk.component.get(), host.listener(), host.messageLog());
  };
  disk.component->setConnection(DeviceConnection::RaidMember);
  EXPECT_TRUE(ready());
  EXPECT_THAT(host.heard, IsEmpty());

  disk.protocol->record().securitySupported = disk.protocol->record().securityLocked = true;
  EXPECT_FALSE(ready());
  EXPECT_THAT(host.heard, ElementsAre("log 0 " + locked, "progress 100 " + locked));
  disk.component->setConnection(DeviceConnection::External);
  EXPECT_TRUE(ready()) << "an external device is judged by what its ATA probe said";
  disk.component->setSecuritySupported(true);
  disk.component->setSecurityLocked(true);
  EXPECT_FALSE(ready());

  disk.protocol->record().logicalSectorSize = 256;
  EXPECT_FALSE(ready());
  EXPECT_THAT(host.heard, ElementsAre("log 2 DEVICE_COMMUNICATION_FAILURE",
                                      "progress 100 DEVICE_COMMUNICATION_FAILURE"));
  EXPECT_FALSE(checkReadyToRead(nullptr, nullptr, nullptr));
  EXPECT_FALSE(checkSeekable(disk.component.get(), host.listener(), nullptr));
  disk.component->setBusKind(StorageBusKind::Nvme);
  EXPECT_FALSE(checkSeekable(disk.component.get(), host.listener(), host.messageLog()));
}

TEST(StorageTestBase, ReadCountEndsWithTheLastSector) {
  EXPECT_EQ(clampReadCount(99, 10, 90), 10U);
  EXPECT_EQ(clampReadCount(99, 10, 91), 9U);
  EXPECT_EQ(clampReadCount(99, 10, 99), 1U);
  EXPECT_EQ(clampReadCount(~0ULL, 65535, ~0ULL - 3), 4U);
}

TEST(TestWithDeviceHint, HintFollowsAFailedRunAndNoExceptionLeaves) {
  FakeDevice<> disk;
  FakeHost host(disk.component.get());
  TestWithDeviceHint<OpenTest> test(someTest, "D: STORAGE_DEVICE");
  EXPECT_EQ(test.identifier(), someTest);
  for (const TestResult result : {TestResult::Passed, TestResult::NotPerformed, TestResult::Stopped,
                                  TestResult::Warning, TestResult::CouldNotStart}) {
    OpenTest::work = [&] { return result; };
    EXPECT_EQ(test.run(&host), result);
  }
  EXPECT_THAT(host.heard, IsEmpty());
  OpenTest::work = [] { return TestResult::Failed; };
  EXPECT_EQ(test.run(&host), TestResult::Failed);
  EXPECT_THAT(host.heard, ElementsAre("log 0 D: STORAGE_DEVICE", "progress 100 D: STORAGE_DEVICE"));

  OpenTest::work = []() -> TestResult { throw std::bad_alloc(); };
  EXPECT_EQ(test.run(&host), TestResult::CouldNotStart);
  EXPECT_FALSE(test.isApplicable(disk.component.get()));
  EXPECT_EQ(test.run(nullptr), TestResult::CouldNotStart);
  OpenTest::work = [] { return TestResult::Passed; };
  EXPECT_TRUE(test.isApplicable(disk.component.get()));
}

}  // namespace
}  // namespace ostria::storage
