// The device read test before a fake protocol: stretches, lengths, time-outs and what a failed
// read says.
#include "diagnostics/device_io/device_read.h"

#include <gtest/gtest.h>

#include "tests/support/fake_host.h"
#include "tests/support/fake_protocol.h"

namespace ostria::storage::test {
namespace {

using Lines = std::vector<std::string>;
using Range = std::pair<std::uint64_t, std::uint64_t>;

constexpr std::uint64_t kPerGiB = 2'097'152;
constexpr char kBadRange[] = "BAD_SECTORS_WERE_FOUND BAD_SECTORS_IN_THE_FOLLOWING_RANGE ";

class StorageDeviceReadTestTest : public ::testing::Test {
 protected:
  explicit StorageDeviceReadTestTest(std::uint64_t sectors = 1000)
      : device(ProtocolKind::Nvme, sectors) {
    // A member of a set is read by its protocol, where the fake sees each read.
    device.component->setConnection(DeviceConnection::RaidMember);
    device.component->setBusKind(StorageBusKind::Nvme);
  }

  bool configure(std::map<std::string, std::string> values) {
    return test.configure({{"STORAGE", std::move(values)}}, &error);
  }
  TestResult run() {
    device.component->preferredReadBlock();
    device.protocol->reads.clear();
    return test.run(&host);
  }
  void resize(std::uint64_t sectors) { device.protocol->record().totalSectors = sectors; }
  /// What was read, joined where it is contiguous: first and last sector.
  std::vector<Range> ranges() const {
    std::vector<Range> joined;
    for (const auto& read : device.protocol->reads) {
      if (!joined.empty() && joined.back().second + 1 == read.lba) {
        joined.back().second += read.sectors;
      } else {
        joined.emplace_back(read.lba, read.lba + read.sectors - 1);
      }
    }
    return joined;
  }

  FakeDevice<> device;
  StorageDeviceReadTest test{Identifier{}};
  ConfigurationError error;
  FakeHost host{device.component.get()};
};

TEST_F(StorageDeviceReadTestTest, SmallDeviceIsReadInItsProportions) {
  device.protocol->largestRead = 127;
  EXPECT_EQ(run(), TestResult::Passed);
  // Stretches of 200, 500 and 300 sectors, without a gap.
  EXPECT_EQ(ranges(), (std::vector<Range>{{0, 999}}));
  EXPECT_EQ(host.messages, (Lines{"progress 0", "progress 0", "progress 0", "progress 33",
                                  "progress 66", "progress 100", "progress 100"}));
}

TEST_F(StorageDeviceReadTestTest, DefaultStretchesLieAtStartMiddleAndEnd) {
  const std::uint64_t total = 20 * kPerGiB;
  resize(total);
  EXPECT_EQ(run(), TestResult::Passed);
  const std::uint64_t mid = (total - 6'291'456 + 4'194'304) / 2;
  EXPECT_EQ(ranges(), (std::vector<Range>{{0, 4'194'303},
                                          {mid - 6'291'456, mid + 6'291'455},
                                          {total - 6'291'456, total - 1}}));
}

TEST_F(StorageDeviceReadTestTest, ConfigurationChoosesTheStretchesAndIsReported) {
  resize(kPerGiB);
  ASSERT_TRUE(configure({{"INITIAL_SIZE", "0"}, {"CENTRAL_SIZE", "0"}, {"FINAL_SIZE", "1"}}));
  EXPECT_EQ(run(), TestResult::Passed);
  EXPECT_EQ(ranges(), (std::vector<Range>{{0, kPerGiB - 1}}));
  EXPECT_EQ(host.messages[2], "progress 0 INITIAL_SIZE: 0");
  EXPECT_EQ(host.messages[3], "log 0 INITIAL_SIZE: 0");
  EXPECT_EQ(host.count("log 0 FINAL_SIZE: 1"), 1u);

  // The middle stretch would end behind the last sector.
  resize(2 * kPerGiB);
  ASSERT_TRUE(configure({{"INITIAL_SIZE", "1"}, {"CENTRAL_SIZE", "1"}, {"FINAL_SIZE", "0"}}));
  EXPECT_EQ(run(), TestResult::CouldNotStart);
  EXPECT_EQ(ranges(), (std::vector<Range>{{0, kPerGiB - 1}}));

  ASSERT_TRUE(configure({{"INITIAL_SIZE", "0"}, {"CENTRAL_SIZE", "0"}, {"FINAL_SIZE", "0"}}));
  EXPECT_EQ(run(), TestResult::NotPerformed) << "nothing was looked at";
  EXPECT_TRUE(ranges().empty());

  host.messages.clear();
  resize(100'000);
  ASSERT_TRUE(configure({{"WHOLE_DISK_READ", "1"}}));
  EXPECT_EQ(run(), TestResult::Passed);
  EXPECT_EQ(ranges(), (std::vector<Range>{{0, 99'999}}));
  EXPECT_EQ(host.messages[2], "progress 0 WHOLE_DISK_READ: 1");
  EXPECT_EQ(host.count("progress 65"), 1u);
  EXPECT_EQ(host.count("log"), 1u);
}

TEST_F(StorageDeviceReadTestTest, UnusableSettingsAreNamed) {
  const std::pair<const char*, std::uint32_t> refused[] = {
      {"", 1115}, {"x", 1115}, {"1x", 1115}, {"-1", 1116}, {"18446744073709551616", 1116}};
  for (const auto& [value, code] : refused) {
    error.reserved1 = error.reserved2 = 7;
    EXPECT_FALSE(configure({{"CENTRAL_SIZE", value}})) << value;
    EXPECT_EQ(error.code, code);
    EXPECT_EQ(error.key, "CENTRAL_SIZE");
    EXPECT_EQ(error.section, "STORAGE");
    EXPECT_EQ(error.reserved1 + error.reserved2, 0u);
  }
  EXPECT_FALSE(configure({{"WHOLE_DISK_READ", "2"}}));
  EXPECT_EQ(error.code, 1116u);
  // Beyond any disk: as too small a disk.
  EXPECT_TRUE(configure({{"INITIAL_SIZE", "18446744073709551615"}, {"FINAL_SIZE", "99999999999"}}));
  EXPECT_EQ(run(), TestResult::Passed);
  EXPECT_EQ(ranges().back().second, 999u);
}

TEST_F(StorageDeviceReadTestTest, BadBlockEndsTheTestWithItsRange) {
  device.protocol->badSectors[998] = ProtocolResult::MediumError;
  EXPECT_EQ(run(), TestResult::Failed);
  const Lines tail(host.messages.end() - 3, host.messages.end());
  EXPECT_EQ(tail, (Lines{std::string("progress 100 ") + kBadRange + "[700, 1000]",
                         std::string("log 2 ") + kBadRange + "700 and 1000", "progress 100"}));

  device.protocol->badSectors[0] = ProtocolResult::ReadTimeout;
  EXPECT_EQ(run(), TestResult::Failed);
  EXPECT_EQ(host.messages[host.messages.size() - 2], "log 2 READ_OPERATION_TIMEOUT");
}

TEST_F(StorageDeviceReadTestTest, ADeviceWhoseSectorsChangedTheirSizeHasNoBadBlock) {
  device.protocol->largestRead = 127;
  device.protocol->badSectors[500] = ProtocolResult::MediumError;
  device.protocol->onGetProperties = [&] { device.protocol->record().logicalSectorSize = 4096; };
  EXPECT_EQ(run(), TestResult::Stopped);
  EXPECT_EQ(host.count("log 2 DEVICE_COMMUNICATION_FAILURE"), 1u);
}

TEST_F(StorageDeviceReadTestTest, DeviceThatCannotBeReadAtAllEndsAtItsFirstSector) {
  for (const auto bad : {ProtocolResult::InterfaceCrcError, ProtocolResult::MediumError}) {
    device.protocol->results["Read"] = bad;
    EXPECT_EQ(run(), TestResult::Failed);
  }
  EXPECT_EQ(host.count(std::string("log 2 ") + kBadRange + "0 and 1"), 2u);
  // Neither a lost command nor a refusal is a bad sector.
  device.protocol->results["Read"] = ProtocolResult::TransportFailure;
  EXPECT_EQ(run(), TestResult::Stopped);
  device.protocol->results["Read"] = ProtocolResult::CommandRejected;
  EXPECT_EQ(run(), TestResult::NotPerformed);
  device.protocol->results["Read"] = ProtocolResult::MediumError;
  device.protocol->results["GetProperties"] = ProtocolResult::TransportFailure;
  EXPECT_EQ(run(), TestResult::Stopped);
  resize(0);
  EXPECT_EQ(run(), TestResult::CouldNotStart);
  device.protocol->record().logicalSectorSize = 0;
  EXPECT_EQ(run(), TestResult::NotPerformed);
}

TEST_F(StorageDeviceReadTestTest, PollsBetweenBlocksAndRefusesOtherBuses) {
  device.protocol->largestRead = 127;
  ASSERT_EQ(run(), TestResult::Passed);
  EXPECT_GE(host.polls, device.protocol->reads.size()) << "one between any two blocks";
  device.component->setBusKind(StorageBusKind::Ata);
  EXPECT_FALSE(test.isApplicable(device.component.get()));
}

}  // namespace
}  // namespace ostria::storage::test
