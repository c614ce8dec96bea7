// Every class of commands that a test sends to an ATA drive, refused in each way that a drive and
// its link know: no test passes without what its verdict rests on, and none calls the drive
// defective.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "base/byte_order.h"
#include "ostria/storage/test_ids.h"
#include "tests/support/messages.h"
#include "tests/support/module_bench.h"
#include "virtual_pc/drives/drive.h"

namespace ostria::storage::test {
namespace {

using ::testing::AnyOf;
using ::testing::EndsWith;
using ::testing::Not;
using virtual_pc::AtaDeviceModel;
using virtual_pc::AtaExchange;

/// An ATA command; of SMART the subcommand too.
struct CommandClass {
  std::uint8_t command;
  std::optional<std::uint8_t> subcommand;
  bool movesData;
  auto operator<=>(const CommandClass&) const = default;
};

constexpr std::uint8_t kReadLogExt = 0x2F;
constexpr std::uint8_t kCheckPowerMode = 0xE5;
constexpr std::uint8_t kSmart = 0xB0;
constexpr std::uint8_t kSmartReadData = 0xD0;
constexpr std::uint8_t kSmartReadLog = 0xD5;
constexpr std::uint8_t kSmartDisable = 0xD9;

/// Stands before the drive and notes the classes of the commands that come.
class Recorder final : public AtaDeviceModel {
 public:
  Recorder(std::unique_ptr<AtaDeviceModel> drive, std::set<CommandClass>& seen)
      : drive_(std::move(drive)), seen_(seen) {}

 private:
  void perform(AtaExchange& exchange) override {
    const std::uint8_t command = exchange.in.command;
    std::optional<std::uint8_t> subcommand;
    if (command == kSmart) {
      subcommand = byteOf(exchange.in.features, 0);
    }
    seen_.insert({command, subcommand, !exchange.data.empty()});
    drive_->execute(exchange);
  }

  std::unique_ptr<AtaDeviceModel> drive_;
  std::set<CommandClass>& seen_;
};

struct Refusal {
  const char* name;
  virtual_pc::FaultAction action;
  bool ofDataOnly = false;
};

const Refusal kRefusals[] = {{"aborted", virtual_pc::AtaFault{4, 0x51}},
                             {"device fault", virtual_pc::AtaFault{0, 0x60}},
                             {"busy", virtual_pc::AtaFault{0xFF, 0xFF}},
                             {"no data", virtual_pc::ShortFault{0}, true},
                             {"lost on the way", virtual_pc::TransportFault{}}};

/// Whether a test can have its verdict without these commands.
bool hasNoPart(const Identifier& test, const CommandClass& kind) {
  const bool targeted = test == ids::kTargetedRead;
  if (kind.command == kCheckPowerMode) {
    return true;  // chooses a time-out
  }
  if (kind.command == kReadLogExt) {
    return true;  // the vendor log; of the error logs those of SMART READ LOG are left
  }
  if (kind.subcommand == kSmartDisable) {
    return true;  // puts back what the test found, behind its verdict
  }
  if (kind.subcommand == kSmartReadData) {
    return targeted || test == ids::kSmartStatus;  // capabilities of self-tests
  }
  // The error logs of READ LOG EXT are left.
  return kind.subcommand == kSmartReadLog && targeted;
}

struct RefusingDisk : ModuleBench {
  RefusingDisk()
      : ModuleBench(machineOf({R"("kind": "sata", "model": "REFUSER", "serial": "REF1",
            "size_sectors": 20000, "rotation_rate": 7200,
            "smart": {"enabled": false, "error_log": [{"lba": 500}],
                      "self_tests": [{"code": 1, "seconds": 5}, {"code": 3, "seconds": 5},
                                     {"code": 80, "seconds": 5}]})"})) {
    scan(1);
  }
  virtual_pc::Drive& drive() { return *machine().drives()[0]; }
  std::string run(const Identifier& id) {
    FakeHost host(manager().component(0));
    return messages(host, test(id).run(&host));
  }
};

std::set<CommandClass> commandsOf(const Identifier& id) {
  std::set<CommandClass> seen;
  RefusingDisk disk;
  disk.drive().ata = std::make_unique<Recorder>(std::move(disk.drive().ata), seen);
  EXPECT_THAT(disk.run(id), EndsWith(" = 0")) << "the sound drive, test " << id.item;
  return seen;
}

TEST(Refusals, NoTestPassesWithoutWhatItsVerdictRestsOn) {
  unsigned combinations = 0;
  for (const Identifier& id :
       {ids::kSmartStatus, ids::kTargetedRead, ids::kQuickRandomSeek, ids::kQuickFunnelSeek,
        ids::kShortSelfTest, ids::kDriveSelfTest, ids::kConveyanceSelfTest}) {
    for (const CommandClass& kind : commandsOf(id)) {
      for (const Refusal& refusal : kRefusals) {
        if (refusal.ofDataOnly && !kind.movesData) {
          continue;
        }
        RefusingDisk disk;
        virtual_pc::FaultRule rule;
        rule.command = kind.command;
        rule.detail = kind.subcommand;
        rule.times = 0;
        rule.action = refusal.action;
        disk.drive().ata->faults().add(rule);
        const std::string ended = disk.run(id);
        ++combinations;
        const auto where = [&] {
          return "test " + std::to_string(id.item) + ", command " + std::to_string(kind.command) +
                 " " + std::to_string(kind.subcommand.value_or(0)) + " " + refusal.name;
        };
        EXPECT_THAT(ended, Not(EndsWith(" = 1"))) << where();
        if (!hasNoPart(id, kind)) {
          EXPECT_THAT(ended, Not(EndsWith(" = 0"))) << where();
        }
      }
    }
  }
  RecordProperty("combinations", static_cast<int>(combinations));
  EXPECT_GE(combinations, 179u) << "may only grow";
}

}  // namespace
}  // namespace ostria::storage::test
