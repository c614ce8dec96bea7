// The seek tests before a fake protocol: which sectors are read, and what ends them.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "checks/message_keys.h"
#include "diagnostics/surface/funnel_seek.h"
#include "diagnostics/surface/random_seek.h"
#include "tests/support/fake_protocol.h"
#include "tests/support/messages.h"

namespace ostria::storage::test {
namespace {

const Identifier kSomeTest(1, 1, 3);

/// A disk whose every access is seen by the protocol, and that all seek tests take.
struct SeekDisk : FakeDevice<> {
  explicit SeekDisk(std::uint64_t totalSectors) : FakeDevice(ProtocolKind::Scsi, totalSectors) {
    component->setConnection(DeviceConnection::RaidMember);
    component->setBusKind(StorageBusKind::Scsi);
  }
  std::vector<std::uint64_t> lbas() const {
    std::vector<std::uint64_t> lbas;
    for (const auto& read : protocol->reads) {
      EXPECT_EQ(read.sectors, 1u);
      lbas.push_back(read.lba);
    }
    return lbas;
  }
};

TEST(RandomSeekTest, ReadsAllOverTheDiskAndReportsEachPercentOnce) {
  std::string expected;
  for (int percent = 0; percent <= 100; ++percent) {
    expected += std::to_string(percent) + " / ";
  }
  expected += "100 = 0";
  SeekDisk disk(20'000'000'000);
  QuickRandomSeekTest quick(kSomeTest);
  EXPECT_EQ(runOn(quick, disk), expected);
  const std::vector<std::uint64_t> lbas = disk.lbas();
  EXPECT_EQ(lbas.size(), 4001u);
  EXPECT_GT(*std::max_element(lbas.begin(), lbas.end()), 19'000'000'000u);
  EXPECT_LT(*std::min_element(lbas.begin(), lbas.end()), 1'000'000'000u);

  SeekDisk other(50'000);
  ExtendedRandomSeekTest extended(kSomeTest);
  EXPECT_EQ(runOn(extended, other), expected);
  EXPECT_EQ(other.lbas().size(), 40001u);
}

TEST(FunnelSeekTest, HeadThenTwoSlicesThatCrossThenTail) {
  constexpr std::uint64_t kTotal = 20'000'000'000;
  SeekDisk disk(kTotal);
  QuickFunnelSeekTest test(kSomeTest);
  const std::string messages = runOn(test, disk);
  EXPECT_NE(messages.find(" / 50 / 51 / "), std::string::npos);
  EXPECT_EQ(messages.substr(messages.size() - 24), " 98 / 99 / 100 / 100 = 0");
  const std::vector<std::uint64_t> lbas = disk.lbas();
  const auto slice = static_cast<std::uint64_t>(static_cast<float>(kTotal) * 0.0007f);
  const std::size_t steps = (lbas.size() - 201) / 2;
  EXPECT_NEAR(static_cast<double>(steps), 1429, 1);
  for (std::uint64_t i = 0; i < 100; ++i) {
    ASSERT_EQ(lbas[i], i);
  }
  for (std::uint64_t i = 0; i < 101; ++i) {
    ASSERT_EQ(lbas[lbas.size() - 1 - i], kTotal - 1 - i);
  }
  for (std::uint64_t step = 0; step < steps; ++step) {
    const std::uint64_t high = kTotal - 1 - step * slice;
    const std::uint64_t fromEnd = lbas[100 + 2 * step];
    const std::uint64_t fromStart = lbas[101 + 2 * step];
    ASSERT_TRUE(fromEnd < high && (high < slice || fromEnd >= high - slice)) << step;
    ASSERT_TRUE(fromStart >= step * slice && fromStart < (step + 1) * slice) << step;
  }
}

TEST(SeekTests, SmallDisksAreReadWithinTheirEnds) {
  for (const std::uint64_t total : {1u, 2u, 50u, 100u, 101u, 2000u}) {
    SeekDisk disk(total);
    FakeHost host(disk.component.get());
    QuickFunnelSeekTest funnel(kSomeTest);
    EXPECT_EQ(funnel.run(&host), TestResult::Passed) << total;
    const std::vector<std::uint64_t> lbas = disk.lbas();
    const std::set<std::uint64_t> seen(lbas.begin(), lbas.end());
    EXPECT_EQ(*seen.rbegin(), total - 1);
    EXPECT_GE(seen.size(), std::min<std::uint64_t>(total, 100));
    disk.protocol->reads.clear();
    QuickRandomSeekTest random(kSomeTest);
    EXPECT_EQ(random.run(&host), TestResult::Passed) << total;
    for (const std::uint64_t lba : disk.lbas()) {
      ASSERT_LT(lba, std::max<std::uint64_t>(total - 1, 1));
    }
  }
}

// A slice is cut to whole sectors: two of them begin with the 2858th sector.
TEST(FunnelSeekTest, ASliceIsNoLargerThanItsShare) {
  for (const auto& [total, steps] : {std::pair(2857u, 2857u), std::pair(2858u, 1429u)}) {
    SeekDisk disk(total);
    QuickFunnelSeekTest funnel(kSomeTest);
    runOn(funnel, disk);
    EXPECT_NEAR(static_cast<double>(disk.lbas().size()), 201 + 2 * steps, 4);
  }
}

TEST(SeekTests, VariantsChooseTheirDevices) {
  const std::string notHere = "100 TEST_NOT_SUPPORTED_IN_THIS_DEVICE / log 0 same = 3";
  QuickFunnelSeekTest quick(kSomeTest);
  ExtendedRandomSeekTest random(kSomeTest);
  ExtendedFunnelSeekTest funnel(kSomeTest);
  FakeDevice<> sata;
  EXPECT_EQ(refusal(quick, sata), "");
  EXPECT_EQ(refusal(random, sata), notHere);
  sata.component->setBusKind(StorageBusKind::Nvme);
  EXPECT_EQ(refusal(quick, sata),
            std::string("100 ") + keys::kInvalidProtocol + " / log 0 same = 3");
  EXPECT_EQ(refusal(funnel, sata), notHere);
  SeekDisk scsi(1000);
  EXPECT_TRUE(random.isApplicable(scsi.component.get()));
  scsi.component->setSecuritySupported(true);
  scsi.component->setSecurityLocked(true);
  EXPECT_FALSE(random.isApplicable(scsi.component.get()));
  EXPECT_TRUE(funnel.isApplicable(scsi.component.get()));
  scsi.component->setConnection(DeviceConnection::External);
  EXPECT_EQ(refusal(funnel, scsi), "100 TEST_NOT_SUPPORTED_IN_EXTERNAL_DEVICE / log 3 same = 3");
}

TEST(SeekTests, TellABadSectorFromALostDisk) {
  QuickRandomSeekTest random(kSomeTest);
  SeekDisk two(2);  // sector 0 is the only one that is drawn
  two.protocol->badSectors[0] = ProtocolResult::MediumError;
  const std::string found = "0 / log 2 READING_SECTOR 0 / 100 same / 100 / ";
  EXPECT_EQ(runOn(random, two), found + "100 = 1");
  two.protocol->results["GetProperties"] = ProtocolResult::TransportFailure;
  EXPECT_EQ(runOn(random, two), found + "100 DEVICE_COMMUNICATION_FAILURE / log 3 same = 4");

  QuickFunnelSeekTest funnel(kSomeTest);
  SeekDisk disk(1'000'000);
  disk.protocol->badSectors[50] = ProtocolResult::MediumError;
  EXPECT_EQ(runOn(funnel, disk), "0 / log 2 READING_SECTOR 50 / 100 same / 100 / 100 / 100 = 1");
  EXPECT_EQ(disk.lbas().size(), 51u) << "the head comes before any seek";
  disk.protocol->results["GetProperties"] = ProtocolResult::TransportFailure;
  EXPECT_EQ(runOn(funnel, disk),
            "0 / log 2 READING_SECTOR 50 / 100 same / 100 / 100 / "
            "100 DEVICE_COMMUNICATION_FAILURE / log 3 same = 4");
}

}  // namespace
}  // namespace ostria::storage::test
