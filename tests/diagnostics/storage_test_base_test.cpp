// What all tests share: the checks before a run, the polls during it, and its messages.
#include "diagnostics/storage_test_base.h"

#include <gtest/gtest.h>

#include <functional>

#include "checks/message_keys.h"
#include "diagnostics/device_hint.h"
#include "tests/support/fake_protocol.h"
#include "tests/support/messages.h"

namespace ostria::storage::test {
namespace {

const std::string kEvent = keys::kSystemEventHappened;
const std::string kEventReported = "100 " + kEvent + " / log 0 same";

/// Opens the base's tools to the test, and does in `run` and `check` what a test asks for.
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

const Identifier kSomeTest(1, 1, 1);

TEST(StorageTestBase, ReadTimeoutFollowsWhatTheDiskMayHaveToSpinUp) {
  struct Case {
    const char* nonRotating;  // null: the attribute is missing
    std::uint32_t mode;       // 4: no answer
    std::uint32_t timeout;
    std::vector<std::string> calls;
    StorageBusKind bus = StorageBusKind::Ata;
    DeviceConnection connection = DeviceConnection::Internal;
  };
  const std::vector<Case> cases = {
      {"F", 0, 30, {"GetPowerMode", "IdleImmediate"}},
      {"F", 1, 10, {"GetPowerMode"}},
      {"F", 2, 10, {"GetPowerMode"}},
      {"F", 3, 30, {"GetPowerMode"}},
      {"F", 4, 30, {"GetPowerMode"}},
      {"T", 0, 10, {}},
      {nullptr, 0, 10, {}},
      {"F", 0, 10, {}, StorageBusKind::Usb},
      {"F", 0, 30, {}, StorageBusKind::Ata, DeviceConnection::RaidMember},
  };
  for (const Case& c : cases) {
    FakeDevice<> disk;
    disk.component->setBusKind(c.bus);
    disk.component->setConnection(c.connection);
    if (c.nonRotating != nullptr) {
      disk.component->attributeMap()["NonRotatingMedia"] = c.nonRotating;
    }
    disk.protocol->powerMode = c.mode;
    if (c.mode == 4) {
      disk.protocol->results["GetPowerMode"] = ProtocolResult::DeviceError;
    }
    FakeHost host(disk.component.get());
    OpenTest test(kSomeTest);
    EXPECT_EQ(test.bind(&host), TestResult::Passed);
    EXPECT_EQ(test.readTimeout(), c.timeout);
    EXPECT_EQ(disk.protocol->calls, c.calls);
  }
}

TEST(StorageTestBase, SystemEventIsReportedAtTheFirstCheckOfARunOnly) {
  FakeDevice<> disk;
  OpenTest test(kSomeTest);
  FakeHost early(disk.component.get());
  early.eventFromPoll = 0;
  EXPECT_EQ(messages(early, test.begin(&early)), kEventReported + " = 4");
  EXPECT_TRUE(test.checkStop(&early));
  EXPECT_EQ(early.messages.size(), 2u);
  EXPECT_EQ(test.begin(&early), TestResult::Stopped);
  EXPECT_EQ(early.messages.size(), 4u) << "a new run tells it again";

  FakeHost late(disk.component.get());
  late.eventFromPoll = 1;
  EXPECT_EQ(messages(late, test.begin(&late)), " = 0");
  EXPECT_TRUE(test.checkStop(&late));
  EXPECT_TRUE(OpenTest::checkStopNoted(&late, false));
  EXPECT_TRUE(late.messages.empty());
  EXPECT_TRUE(OpenTest::checkStopNoted(&late, true));
  EXPECT_EQ(late.messages.size(), 2u);

  FakeHost harmless(disk.component.get());
  harmless.eventFromPoll = 0;
  harmless.eventFlags = 0x94;
  EXPECT_EQ(test.begin(&harmless), TestResult::Passed);
  harmless.hasEventByte = false;
  EXPECT_FALSE(test.checkStop(&harmless));
  harmless.abortFromPoll = 0;
  EXPECT_TRUE(test.checkStop(&harmless));
  EXPECT_TRUE(OpenTest::checkStopNoted(&harmless, true));
  EXPECT_EQ(messages(harmless, TestResult::Stopped), "100 / 100 = 4");
}

TEST(StorageTestBase, ReadErrorsBecomeMessagesAndAResult) {
  std::set<std::uint64_t> bad;
  const auto report = [&](std::uint64_t lba, ProtocolResult error, std::uint32_t limit) {
    FakeHost host(nullptr);
    const TestResult result =
        reportReadError(lba, error, 42, limit, bad, host.listener(), host.messageLog());
    return messages(host, result);
  };
  EXPECT_EQ(report(6000000000, ProtocolResult::MediumError, 2),
            "log 2 READING_SECTOR 6000000000 / 42 same = 0");
  EXPECT_EQ(report(6000000000, ProtocolResult::InterfaceCrcError, 2),
            "log 2 READING_SECTOR 6000000000 / 42 same = 0")
      << "a sector that fails twice is one bad sector";
  EXPECT_EQ(
      report(7, ProtocolResult::MediumError, 2),
      "log 2 READING_SECTOR 7 / 42 same / log 2 TOO_MANY_BAD_SECTORS_FOUND: 2 / 100 same = 1");
  EXPECT_EQ(report(8, ProtocolResult::MediumError, 1), "log 2 READING_SECTOR 8 / 100 same = 1");
  EXPECT_EQ(bad.size(), 3u);
  EXPECT_EQ(report(9, ProtocolResult::CommandRejected, 1),
            "log 2 CANNOT_ACCESS_DEVICE / 100 same = 3");
  EXPECT_EQ(report(9, ProtocolResult::ReadTimeout, 1),
            "log 2 READ_OPERATION_TIMEOUT / 100 same = 1");
  EXPECT_EQ(report(9, ProtocolResult::TransportFailure, 1),
            "log 2 DEVICE_COMMUNICATION_FAILURE / 100 same = 4");
}

TEST(StorageTestBase, DeviceMustBeKnownAndUnlockedToBeRead) {
  const std::string locked =
      "log 0 HARD_DISK_IS_PASSWORD_PROTECTED. |TRY_TO_DISABLE_THE_PASSWORD_PROTECTION / 100 same = "
      "0";
  FakeDevice<> disk;
  const auto ready = [&] {
    FakeHost host(nullptr);
    return messages(host, checkReadyToRead(disk.component.get(), host.listener(), host.messageLog())
                              ? TestResult::Failed
                              : TestResult::Passed);
  };
  disk.component->setConnection(DeviceConnection::RaidMember);
  EXPECT_EQ(ready(), " = 1");
  disk.protocol->record().securitySupported = disk.protocol->record().securityLocked = true;
  EXPECT_EQ(ready(), locked);
  disk.component->setConnection(DeviceConnection::External);
  EXPECT_EQ(ready(), " = 1") << "an external device is judged by what its ATA probe said";
  disk.protocol->record().securityLocked = false;
  disk.component->setSecuritySupported(true);
  disk.component->setSecurityLocked(true);
  EXPECT_EQ(ready(), locked);
  disk.protocol->record().logicalSectorSize = 256;
  EXPECT_EQ(ready(), "log 2 DEVICE_COMMUNICATION_FAILURE / 100 same = 0");
  EXPECT_FALSE(checkReadyToRead(nullptr, nullptr, nullptr));
  FakeHost host(nullptr);
  EXPECT_TRUE(checkSeekable(disk.component.get(), host.listener(), host.messageLog()));
  EXPECT_FALSE(checkSeekable(disk.component.get(), host.listener(), nullptr));
  EXPECT_FALSE(checkSeekable(disk.component.get(), nullptr, host.messageLog()));
}

TEST(TestWithDeviceHint, HintFollowsAFailedRunAndNoExceptionLeaves) {
  FakeDevice<> disk;
  TestWithDeviceHint<OpenTest> test(kSomeTest, "D: STORAGE_DEVICE");
  for (const TestResult result : {TestResult::Passed, TestResult::NotPerformed, TestResult::Stopped,
                                  TestResult::Warning, TestResult::CouldNotStart}) {
    OpenTest::work = [&] { return result; };
    EXPECT_EQ(runOn(test, disk), " = " + std::to_string(static_cast<unsigned>(result)));
  }
  OpenTest::work = [] { return TestResult::Failed; };
  EXPECT_EQ(runOn(test, disk), "log 0 D: STORAGE_DEVICE / 100 same = 1");
  OpenTest::work = []() -> TestResult { throw std::bad_alloc(); };
  EXPECT_EQ(runOn(test, disk), "100 = 6");
  EXPECT_FALSE(test.isApplicable(disk.component.get()));
  OpenTest::work = [] { return TestResult::Passed; };
  EXPECT_TRUE(test.isApplicable(disk.component.get()));
  EXPECT_FALSE(test.isApplicable(nullptr));

  EXPECT_EQ(test.run(nullptr), TestResult::CouldNotStart);
  FakeHost deaf(disk.component.get());
  deaf.hasListener = false;
  EXPECT_EQ(test.run(&deaf), TestResult::CouldNotStart);
  StorageComponent withoutProtocol(nullptr);
  FakeHost host(&withoutProtocol);
  EXPECT_EQ(messages(host, test.run(&host)), " = 6");
}

}  // namespace
}  // namespace ostria::storage::test
