// The targeted read before a fake protocol: the sectors that the drive's own logs name.
#include "diagnostics/surface/targeted_read.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <map>
#include <numeric>
#include <set>

#include "base/byte_order.h"
#include "tests/support/fake_protocol.h"
#include "tests/support/messages.h"

namespace ostria::storage::test {
namespace {

const Identifier kSomeTest(1, 1, 2);

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
    pages.resize(std::max(pages.size(), page + 1), Page{1});
    std::copy(bytes.begin(), bytes.end(),
              pages[page].begin() + static_cast<std::ptrdiff_t>(offset));
  }

  ProtocolResult Send(AtaCmd& command) override {
    const bool general = command.command == 0x2F;
    if (!general && !(command.command == 0xB0 && command.features == 0xD5)) {
      return ProtocolResult::DeviceError;
    }
    auto* data = static_cast<std::uint8_t*>(command.data);
    const std::uint8_t log = command.lbaLow;
    if (log == 0) {
      std::fill_n(data, 512, std::uint8_t{0});
      for (const auto& [address, pages] : logs) {
        storeLe16(data + 2 * address, static_cast<std::uint16_t>(pages.size()));
      }
      for (const auto& [address, pages] : claimedPages) {
        storeLe16(data + 2 * address, pages);
      }
    } else {
      asked.push_back(log);
      const std::size_t first = general ? command.lbaMid : 0u;
      for (std::size_t i = 0; i < command.sectorCount; ++i) {
        if (first + i >= logs[log].size()) {
          return ProtocolResult::DeviceError;
        }
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
  TargetedRead() {
    disk_.component->setConnection(DeviceConnection::RaidMember);
    disk_.protocol->record().lba48Supported = true;
    disk_.protocol->record().smartEnabled = false;
    disk_.protocol->AddBridge(logs_);
  }

  std::string run(unsigned abortFromPoll = FakeHost::kNever) {
    TargetedReadTest test(kSomeTest);
    disk_.protocol->reads.clear();
    std::string messages = runOn(test, disk_, abortFromPoll);
    EXPECT_FALSE(disk_.protocol->record().smartEnabled) << "SMART is left as it was";
    return messages;
  }

  /// Runs the test, and demands that it reads each sector around the targets once, ascending.
  void expectReadsAround(const std::vector<std::uint64_t>& targets) {
    const std::uint64_t last = disk_.protocol->record().totalSectors - 1;
    std::set<std::uint64_t> expected;
    for (const std::uint64_t target : targets) {
      for (std::uint64_t lba = target < 15 ? 0 : target - 15; lba <= std::min(target + 15, last);
           ++lba) {
        expected.insert(lba);
      }
    }
    const std::string messages = run();
    EXPECT_EQ(messages.find("log"), std::string::npos);
    EXPECT_EQ(messages.substr(messages.size() - 13), "100 / 100 = 0");
    EXPECT_TRUE(std::equal(expected.begin(), expected.end(), disk_.protocol->reads.begin(),
                           disk_.protocol->reads.end(),
                           [](std::uint64_t lba, const auto& read) { return lba == read.lba; }));
  }

  std::shared_ptr<LogBridge> logs_ = std::make_shared<LogBridge>();
  FakeDevice<FakeProtocol<AtaProtocol>> disk_;
};

TEST_F(TargetedRead, EmptyLogsStillNameTheFirstSector) {
  logs_->write(6, 0, 0, {1});
  expectReadsAround({0});
}

TEST_F(TargetedRead, EveryLogGivesItsEntriesFromTheirOwnPlaces) {
  // The last entry of each page; a short log is read in its first page alone.
  logs_->write(7, 1, 4 + 18 * 26 + 5, {0x10, 0x27, 0, 0, 0, 0});  // 10000
  logs_->write(6, 0, 2 + 20 * 24 + 5, {0x20, 0x4E, 0, 0});        // 20000
  logs_->write(2, 1, 2 + 4 * 90 + 51, {0x30, 0x75, 0, 0xFF});     // 30000
  logs_->write(1, 0, 2 + 4 * 90 + 51, {0x40, 0x9C, 0, 0xFF});     // 40000
  logs_->write(6, 1, 2 + 5, {0x50, 0xC3, 0, 0});                  // 50000, not read
  expectReadsAround({0, 10000, 20000, 30000, 40000});
  EXPECT_EQ(logs_->asked, (std::vector<std::uint8_t>{7, 7, 6, 2, 1}));

  logs_->asked.clear();
  disk_.protocol->record().lba48Supported = false;
  expectReadsAround({0, 20000, 30000, 40000});
  EXPECT_EQ(logs_->asked, (std::vector<std::uint8_t>{6, 2, 1}));
}

TEST_F(TargetedRead, ExtendedErrorLogIsReadInBothByteOrders) {
  disk_.protocol->record().totalSectors = 1ull << 47;
  logs_->write(3, 0, 4 + 3 * 124 + 77, {0x11, 0x22, 0x33, 0x44, 0x55, 0x66});
  expectReadsAround({0, 0x664422553311, 0x665544332211});
}

TEST_F(TargetedRead, LogsThatClaimMoreThanTheyGiveAreTakenAsFarAsTheyGo) {
  logs_->write(7, 0, 4 + 5, {0x10, 0x27, 0, 0, 0, 0});
  logs_->claimedPages = {{3, 0xFFFF}, {7, 0xFFFF}, {2, 0x0100}, {1, 0xFFFF}};
  expectReadsAround({0, 10000});
}

TEST_F(TargetedRead, WithoutAnyLogThereIsNothingToRead) {
  logs_->claimedPages = {{1, 1}, {3, 2}};
  EXPECT_EQ(run(), "0 / 100 CANNOT_READ_ANYTHING_FROM_LOGS / log 0 same / 100 = 3");
  logs_->write(6, 0, 0, {1});
  EXPECT_EQ(run(5), "0 / 100 / 100 / 100 = 4") << "reported at each of the last two checks";
  EXPECT_TRUE(disk_.protocol->reads.empty());
}

}  // namespace
}  // namespace ostria::storage::test
