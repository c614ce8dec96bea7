#include "diagnostics/targeted_read_test.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numeric>

#include "diagnostics/message_keys.h"
#include "tests/support/fake_host.h"
#include "tests/support/fake_protocol.h"
#include "transport/byte_order.h"
#include "transport/protocols/ata_protocol.h"

namespace ostria::storage {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using testing::FakeDevice;
using testing::FakeHost;
using testing::FakeProtocol;

const Identifier someTest(1, 1, 2);

using Page = std::array<std::uint8_t, 512>;

/// The logs of a drive, with the directories that name them.
class LogBridge final : public AtaBridge {
 public:
  LogBridge() : AtaBridge(DeviceHandle()) {}

  std::map<std::uint8_t, std::vector<Page>> logs;
  std::map<std::uint8_t, std::uint16_t> claimedPages;  ///< where the directory lies
  std::vector<std::uint8_t> asked;                     ///< addresses, the directory left out

  /// Bytes of the first page of a log, from `offset` on.
  void write(std::uint8_t log, std::size_t page, std::size_t offset,
             const std::vector<std::uint8_t>& bytes) {
    auto& pages = logs[log];
    while (pages.size() <= page) {
      pages.emplace_back();
      pages.back()[0] = 1;
    }
    std::copy(bytes.begin(), bytes.end(),
              pages[page].begin() + static_cast<std::ptrdiff_t>(offset));
  }

  ProtocolResult Send(AtaCmd& command) override {
    const bool general = command.command == 0x2F;
    if (!general && !(command.command == 0xB0 && command.features == 0xD5))
      return ProtocolResult::DeviceError;
    auto* data = static_cast<std::uint8_t*>(command.data);
    const std::uint8_t log = command.lbaLow;
    if (log == 0) {
      Page directory{};
      for (const auto& [address, pages] : logs)
        storeLe16(&directory[2U * address], static_cast<std::uint16_t>(pages.size()));
      for (const auto& [address, pages] : claimedPages) storeLe16(&directory[2U * address], pages);
      std::copy(directory.begin(), directory.end(), data);
    } else {
      asked.push_back(log);
      const std::size_t first = general ? command.lbaMid : 0U;
      for (std::size_t i = 0; i < command.sectorCount; ++i) {
        if (first + i >= logs[log].size()) return ProtocolResult::DeviceError;
        Page page = logs[log][first + i];
        page[511] = static_cast<std::uint8_t>(
            -std::accumulate(page.begin(), page.end() - 1, 0));  // sums up to 0
        std::copy(page.begin(), page.end(), data + i * page.size());
      }
    }
    command.command = 0x50;
    return ProtocolResult::Success;
  }
};

class TargetedRead : public ::testing::Test {
 protected:
  explicit TargetedRead(std::uint64_t totalSectors = 1'000'000)
      : disk_(ProtocolKind::Ata, totalSectors) {
    disk_.component->setConnection(DeviceConnection::RaidMember);
    disk_.protocol->record().lba48Supported = true;
    disk_.protocol->record().smartEnabled = false;
    disk_.protocol->AddBridge(logs_);
  }

  TestResult run() {
    TargetedReadTest test(someTest);
    disk_.protocol->reads.clear();
    host_.heard.clear();
    const TestResult result = test.run(&host_);
    EXPECT_FALSE(disk_.protocol->record().smartEnabled) << "SMART is left as it was";
    return result;
  }

  std::vector<std::uint64_t> readLbas() const {
    std::vector<std::uint64_t> lbas;
    for (const auto& read : disk_.protocol->reads) {
      EXPECT_EQ(read.sectors, 1U);
      lbas.push_back(read.lba);
    }
    return lbas;
  }

  /// The neighbourhoods of all targets, ascending.
  static std::vector<std::uint64_t> around(const std::vector<std::uint64_t>& targets,
                                           std::uint64_t last = 999'999) {
    std::set<std::uint64_t> lbas;
    for (const std::uint64_t target : targets) {
      for (std::uint64_t lba = target < 15 ? 0 : target - 15; lba <= std::min(target + 15, last);
           ++lba)
        lbas.insert(lba);
    }
    return {lbas.begin(), lbas.end()};
  }

  std::shared_ptr<LogBridge> logs_ = std::make_shared<LogBridge>();
  FakeDevice<FakeProtocol<AtaProtocol>> disk_;
  FakeHost host_{disk_.component.get()};
};

class TargetedReadOfHugeDisk : public TargetedRead {
 protected:
  TargetedReadOfHugeDisk() : TargetedRead(1ULL << 47) {}
};

TEST_F(TargetedRead, EmptyLogsStillNameTheFirstSector) {
  logs_->write(6, 0, 0, {1});
  EXPECT_EQ(run(), TestResult::Passed);
  EXPECT_EQ(readLbas(), around({0}));
  EXPECT_EQ(host_.heard.front(), "progress 0");
  EXPECT_EQ(host_.count("progress 50"), 1U);
  EXPECT_THAT(host_.heard, Contains("progress 6"));
  EXPECT_EQ(host_.heard.back(), "progress 100");
  EXPECT_EQ(host_.count("log"), 0U);
}

TEST_F(TargetedRead, EveryLogGivesItsEntriesFromTheirOwnPlaces) {
  // The last entry of each page; a short log is read in its first page alone.
  logs_->write(7, 1, 4 + 18 * 26 + 5, {0x10, 0x27, 0, 0, 0, 0});  // 10000
  logs_->write(6, 0, 2 + 20 * 24 + 5, {0x20, 0x4E, 0, 0});        // 20000
  logs_->write(2, 1, 2 + 4 * 90 + 51, {0x30, 0x75, 0, 0xFF});     // 30000
  logs_->write(1, 0, 2 + 4 * 90 + 51, {0x40, 0x9C, 0, 0xFF});     // 40000
  logs_->write(6, 1, 2 + 5, {0x50, 0xC3, 0, 0});                  // 50000, not read
  EXPECT_EQ(run(), TestResult::Passed);
  EXPECT_EQ(readLbas(), around({0, 10000, 20000, 30000, 40000}));
  EXPECT_THAT(logs_->asked, ElementsAre(7, 7, 6, 2, 1));

  logs_->asked.clear();
  disk_.protocol->record().lba48Supported = false;
  EXPECT_EQ(run(), TestResult::Passed);
  EXPECT_EQ(readLbas(), around({0, 20000, 30000, 40000}));
  EXPECT_THAT(logs_->asked, ElementsAre(6, 2, 1));
}

TEST_F(TargetedReadOfHugeDisk, ExtendedErrorLogIsReadInBothByteOrders) {
  logs_->write(3, 0, 4 + 3 * 124 + 77, {0x11, 0x22, 0x33, 0x44, 0x55, 0x66});
  EXPECT_EQ(run(), TestResult::Passed);
  EXPECT_EQ(readLbas(), around({0, 0x664422553311, 0x665544332211}, (1ULL << 47) - 1));
}

TEST_F(TargetedRead, NeighbourhoodsOverlapAndEndWithTheDisk) {
  logs_->write(6, 0, 2 + 5, {0x3F, 0x42, 0x0F, 0});       // 999999, the last
  logs_->write(6, 0, 2 + 24 + 5, {0x36, 0x42, 0x0F, 0});  // 999990
  logs_->write(6, 0, 2 + 48 + 5, {0x40, 0x42, 0x0F, 0});  // 1000000, beyond the end
  EXPECT_EQ(run(), TestResult::Passed);
  EXPECT_EQ(readLbas(), around({0, 999990, 999999}));
}

TEST_F(TargetedRead, FirstBadSectorFailsTheTest) {
  logs_->write(6, 0, 2 + 5, {0x10, 0x27, 0, 0});
  disk_.protocol->badSectors[10005] = ProtocolResult::MediumError;
  EXPECT_EQ(run(), TestResult::Failed);
  EXPECT_EQ(disk_.protocol->reads.back().lba, 10005U);
  EXPECT_THAT(host_.heard, Contains("log 2 READING_SECTOR 10005"));
  EXPECT_EQ(host_.count("log"), 1U);

  disk_.protocol->results["Read"] = ProtocolResult::CommandRejected;
  EXPECT_EQ(run(), TestResult::NotPerformed);
  EXPECT_THAT(host_.heard, Contains("log 2 CANNOT_ACCESS_DEVICE"));
}

TEST_F(TargetedRead, LogsThatClaimMoreThanTheyGiveAreTakenAsFarAsTheyGo) {
  logs_->write(7, 0, 4 + 5, {0x10, 0x27, 0, 0, 0, 0});
  logs_->claimedPages = {{3, 0xFFFF}, {7, 0xFFFF}, {2, 0x0100}, {1, 0xFFFF}};
  EXPECT_EQ(run(), TestResult::Passed);
  EXPECT_EQ(readLbas(), around({0, 10000}));
}

TEST_F(TargetedRead, WithoutAnyLogThereIsNothingToRead) {
  EXPECT_EQ(run(), TestResult::NotPerformed);
  EXPECT_THAT(host_.heard, ElementsAre("progress 0", "progress 100 CANNOT_READ_ANYTHING_FROM_LOGS",
                                       "log 0 CANNOT_READ_ANYTHING_FROM_LOGS", "progress 100"));
  logs_->write(6, 0, 0, {1});
  host_.polls = 0;
  host_.abortFromPoll = 3;
  EXPECT_EQ(run(), TestResult::Stopped);
  EXPECT_TRUE(disk_.protocol->reads.empty());
}

TEST_F(TargetedRead, RefusesWhatItCannotAsk) {
  TargetedReadTest test(someTest);
  EXPECT_TRUE(test.isApplicable(disk_.component.get()));
  disk_.protocol->record().securitySupported = disk_.protocol->record().securityLocked = true;
  EXPECT_EQ(run(), TestResult::NotPerformed);
  EXPECT_THAT(host_.heard, Contains("log 0 HARD_DISK_IS_PASSWORD_PROTECTED. "
                                    "|TRY_TO_DISABLE_THE_PASSWORD_PROTECTION"));
  const auto reason = [&] {
    EXPECT_EQ(run(), TestResult::NotPerformed);
    return host_.heard.at(1);
  };
  disk_.protocol->record().smartSupported = false;
  EXPECT_EQ(reason(), "log 3 SMART_NOT_SUPPORTED");
  disk_.protocol->SetProtocolKind(ProtocolKind::Scsi);
  EXPECT_EQ(reason(), "log 0 TEST_NOT_SUPPORTED_IN_THIS_DEVICE");
  disk_.component->setConnection(DeviceConnection::External);
  EXPECT_EQ(reason(), "log 3 TEST_NOT_SUPPORTED_IN_EXTERNAL_DEVICE");
}

}  // namespace
}  // namespace ostria::storage
