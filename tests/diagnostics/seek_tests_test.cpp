#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "diagnostics/funnel_seek_test.h"
#include "diagnostics/message_keys.h"
#include "diagnostics/random_seek_test.h"
#include "tests/support/fake_host.h"
#include "tests/support/fake_protocol.h"

namespace ostria::storage {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using testing::FakeDevice;
using testing::FakeHost;

const Identifier someTest(1, 1, 3);

/// A disk whose every access is seen by the protocol.
FakeDevice<> raidMember(std::uint64_t totalSectors) {
  FakeDevice<> disk(ProtocolKind::Ata, totalSectors);
  disk.component->setConnection(DeviceConnection::RaidMember);
  return disk;
}

FakeDevice<> scsiMember(std::uint64_t totalSectors) {
  FakeDevice<> disk(ProtocolKind::Scsi, totalSectors);
  disk.component->setConnection(DeviceConnection::RaidMember);
  disk.component->setBusKind(StorageBusKind::Scsi);
  return disk;
}

std::vector<std::uint64_t> lbasOf(const FakeDevice<>& disk) {
  std::vector<std::uint64_t> lbas;
  for (const auto& read : disk.protocol->reads) lbas.push_back(read.lba);
  return lbas;
}

TEST(RandomSeekTest, ReadsAllOverTheDiskAndReportsEachPercentOnce) {
  FakeDevice<> disk = raidMember(20'000'000'000);
  FakeHost host(disk.component.get());
  QuickRandomSeekTest test(someTest);
  EXPECT_EQ(test.run(&host), TestResult::Passed);
  const std::vector<std::uint64_t> lbas = lbasOf(disk);
  ASSERT_EQ(lbas.size(), 4001U);
  EXPECT_EQ(host.polls, 4002U) << "one check at the start and one before each read";
  EXPECT_GT(*std::max_element(lbas.begin(), lbas.end()), 19'000'000'000U);
  EXPECT_LT(*std::min_element(lbas.begin(), lbas.end()), 1'000'000'000U);
  for (const auto& read : disk.protocol->reads) {
    EXPECT_EQ(read.sectors, 1U);
    EXPECT_EQ(read.timeoutSeconds, 30U);
  }
  std::vector<std::string> expected;
  for (int percent = 0; percent <= 100; ++percent)
    expected.push_back("progress " + std::to_string(percent));
  expected.push_back("progress 100");
  EXPECT_EQ(host.heard, expected);

  FakeDevice<> scsi = scsiMember(50'000);
  FakeHost longer(scsi.component.get());
  ExtendedRandomSeekTest extended(someTest);
  EXPECT_EQ(extended.run(&longer), TestResult::Passed);
  EXPECT_EQ(scsi.protocol->reads.size(), 40001U);
  EXPECT_EQ(longer.heard, expected);
}

TEST(RandomSeekTest, TellsABadSectorFromALostDisk) {
  FakeDevice<> disk = raidMember(2);  // sector 0 is the only one that is drawn
  disk.protocol->badSectors[0] = ProtocolResult::MediumError;
  FakeHost host(disk.component.get());
  QuickRandomSeekTest test(someTest);
  EXPECT_EQ(test.run(&host), TestResult::Failed);
  EXPECT_THAT(host.heard,
              ElementsAre("progress 0", "log 2 READING_SECTOR 0", "progress 100 READING_SECTOR 0",
                          "progress 100", "progress 100"));
  disk.protocol->results["GetProperties"] = ProtocolResult::TransportFailure;
  FakeHost lost(disk.component.get());
  EXPECT_EQ(test.run(&lost), TestResult::Stopped);
  EXPECT_THAT(lost.heard,
              ElementsAre("progress 0", "log 2 READING_SECTOR 0", "progress 100 READING_SECTOR 0",
                          "progress 100", "progress 100 DEVICE_COMMUNICATION_FAILURE",
                          "log 3 DEVICE_COMMUNICATION_FAILURE"));
}

TEST(SeekTests, StopBetweenTwoReads) {
  for (const unsigned poll : {0U, 1U, 40U}) {
    FakeDevice<> disk = raidMember(1'000'000);
    FakeHost host(disk.component.get());
    host.abortFromPoll = poll;
    QuickRandomSeekTest random(someTest);
    EXPECT_EQ(random.run(&host), TestResult::Stopped);
    EXPECT_EQ(disk.protocol->reads.size(), poll == 0 ? 0 : poll - 1);
    EXPECT_EQ(host.heard.back(), "progress 100");

    FakeDevice<> other = raidMember(1'000'000);
    FakeHost otherHost(other.component.get());
    otherHost.abortFromPoll = poll;
    QuickFunnelSeekTest funnel(someTest);
    EXPECT_EQ(funnel.run(&otherHost), TestResult::Stopped);
    EXPECT_EQ(other.protocol->reads.size(), poll == 0 ? 0 : 100 + 2 * (poll - 1));
  }
}

TEST(FunnelSeekTest, HeadThenTwoSlicesThatCrossThenTail) {
  constexpr std::uint64_t total = 20'000'000'000;
  FakeDevice<> disk = raidMember(total);
  FakeHost host(disk.component.get());
  QuickFunnelSeekTest test(someTest);
  EXPECT_EQ(test.run(&host), TestResult::Passed);
  const std::vector<std::uint64_t> lbas = lbasOf(disk);
  const auto slice = static_cast<std::uint64_t>(static_cast<float>(total) * 0.0007F);
  const std::size_t pairs = (lbas.size() - 201) / 2;
  EXPECT_NEAR(static_cast<double>(pairs), 1429, 1);
  EXPECT_EQ(host.polls, pairs + 1);
  for (std::uint64_t i = 0; i < 100; ++i) ASSERT_EQ(lbas[i], i);
  for (std::uint64_t i = 0; i < 101; ++i) ASSERT_EQ(lbas[lbas.size() - 1 - i], total - 1 - i);
  for (std::uint64_t step = 0; step < pairs; ++step) {
    const std::uint64_t high = total - 1 - step * slice;
    const std::uint64_t fromEnd = lbas[100 + 2 * step];
    const std::uint64_t fromStart = lbas[101 + 2 * step];
    ASSERT_TRUE(fromEnd < high && (high < slice || fromEnd >= high - slice)) << step;
    ASSERT_TRUE(fromStart >= step * slice && fromStart < (step + 1) * slice) << step;
  }
  ASSERT_EQ(host.heard.front(), "progress 0");
  EXPECT_THAT(host.heard, Contains("progress 98"));
  EXPECT_EQ(host.count("progress 50"), 1U);
  EXPECT_EQ(host.heard.back(), "progress 100");
}

TEST(FunnelSeekTest, BadSectorInTheHeadEndsItBeforeAnySeek) {
  FakeDevice<> disk = raidMember(1'000'000);
  disk.protocol->badSectors[50] = ProtocolResult::MediumError;
  FakeHost host(disk.component.get());
  QuickFunnelSeekTest test(someTest);
  EXPECT_EQ(test.run(&host), TestResult::Failed);
  EXPECT_EQ(disk.protocol->reads.size(), 51U);
  EXPECT_THAT(host.heard,
              ElementsAre("progress 0", "log 2 READING_SECTOR 50", "progress 100 READING_SECTOR 50",
                          "progress 100", "progress 100", "progress 100"));

  FakeDevice<> vanishing = raidMember(1'000'000);
  vanishing.protocol->readsUntilGone = 500;
  FakeHost lost(vanishing.component.get());
  EXPECT_EQ(test.run(&lost), TestResult::Stopped);
  EXPECT_EQ(vanishing.protocol->reads.size(), 501U);
  EXPECT_THAT(lost.heard, Contains("log 2 DEVICE_COMMUNICATION_FAILURE"));
}

TEST(SeekTests, SmallDisksAreReadWithinTheirEnds) {
  for (const std::uint64_t total : {1U, 2U, 3U, 50U, 100U, 101U, 2000U}) {
    FakeDevice<> disk = raidMember(total);
    FakeHost host(disk.component.get());
    QuickFunnelSeekTest funnel(someTest);
    EXPECT_EQ(funnel.run(&host), TestResult::Passed) << total;
    std::set<std::uint64_t> seen;
    for (const std::uint64_t lba : lbasOf(disk)) seen.insert(lba);
    EXPECT_EQ(*seen.rbegin(), total - 1) << total;
    if (total <= 100) {
      EXPECT_EQ(seen.size(), total);
    }
    QuickRandomSeekTest random(someTest);
    EXPECT_EQ(random.run(&host), TestResult::Passed) << total;
  }
}

TEST(SeekTests, VariantsChooseTheirDevices) {
  QuickRandomSeekTest quickRandom(someTest);
  QuickFunnelSeekTest quickFunnel(someTest);
  ExtendedRandomSeekTest extendedRandom(someTest);
  ExtendedFunnelSeekTest extendedFunnel(someTest);
  const auto heard = [](StorageTest& test, FakeDevice<>& disk, TestResult expected) {
    FakeHost host(disk.component.get());
    EXPECT_EQ(test.check(disk.component.get(), host.listener(), host.messageLog()), expected);
    EXPECT_EQ(test.isApplicable(disk.component.get()), expected == TestResult::Passed);
    return host.heard;
  };
  const std::string invalid = std::string("log 0 ") + keys::InvalidProtocol;
  FakeDevice<> sata;
  FakeDevice<> nvme(ProtocolKind::Nvme);
  nvme.component->setBusKind(StorageBusKind::Nvme);
  FakeDevice<> scsi = scsiMember(1000);
  for (StorageTest* quick :
       {static_cast<StorageTest*>(&quickRandom), static_cast<StorageTest*>(&quickFunnel)}) {
    heard(*quick, sata, TestResult::Passed);
    heard(*quick, scsi, TestResult::Passed);
    EXPECT_THAT(heard(*quick, nvme, TestResult::NotPerformed), Contains(invalid));
    EXPECT_EQ(quick->check(nullptr, nullptr, nullptr), TestResult::CouldNotStart);
  }
  for (StorageTest* extended :
       {static_cast<StorageTest*>(&extendedRandom), static_cast<StorageTest*>(&extendedFunnel)}) {
    heard(*extended, scsi, TestResult::Passed);
    for (FakeDevice<>* other : {&sata, &nvme}) {
      EXPECT_THAT(heard(*extended, *other, TestResult::NotPerformed),
                  ElementsAre("progress 100 TEST_NOT_SUPPORTED_IN_THIS_DEVICE",
                              "log 0 TEST_NOT_SUPPORTED_IN_THIS_DEVICE"));
    }
  }
  scsi.component->setSecuritySupported(true);
  scsi.component->setSecurityLocked(true);
  heard(extendedRandom, scsi, TestResult::NotPerformed);
  heard(extendedFunnel, scsi, TestResult::Passed);
  scsi.component->setConnection(DeviceConnection::External);
  EXPECT_THAT(heard(extendedFunnel, scsi, TestResult::NotPerformed),
              Contains("log 3 TEST_NOT_SUPPORTED_IN_EXTERNAL_DEVICE"));
}

}  // namespace
}  // namespace ostria::storage
