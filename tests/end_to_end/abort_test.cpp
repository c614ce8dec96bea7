// What interrupts the tests that read and the self-tests: the user and the system.
#include <gtest/gtest.h>

#include <algorithm>
#include <string_view>

#include "ostria/storage/test_ids.h"
#include "tests/support/bench.h"
#include "tests/support/watched_drive.h"

namespace ostria::storage::test {
namespace {

const std::string kEventKey =
    "TEST_ABORTED_BECAUSE_A_SYSTEM_EVENT_THAT_COULD_COMPROMISE_THE_OUTCOME_HAS_HAPPENED";

struct Interruption {
  /// The command during which the user aborts; 0 for a test that ends before its first one.
  unsigned atCommand = 0;
  /// Commands that may follow it, those that stop the drive's routine included.
  unsigned commandsAfter = 0;
  /// Whether the test notes each bad block, whatever the reason, and reports an event whenever it
  /// comes.
  bool scans = false;
};

/// A test, a drive for it, and how it may be interrupted.
struct Subject {
  std::string_view name;
  std::string_view kind;
  Identifier test;
  Interruption stop = {};

  /// A SATA drive whose SMART data cannot be read takes no self-test.
  bool smartEnabled() const {
    return kind == "sata" && (test == ids::kShortSelfTest || test == ids::kDriveSelfTest ||
                              test == ids::kConveyanceSelfTest);
  }
};
/// A small drive that the test takes; for a scan it is one that is read in blocks of 127 sectors.
std::string smallDrive(const Subject& subject) {
  return R"("kind": ")" + std::string(subject.kind) + R"(", "model": "SMALL", "serial": "SMALL1",
      "size_sectors": 20000, "rotation_rate": 7200, )" +
         (subject.stop.scans
              ? R"("bad_sectors": [{"lba": 200, "kind": "transient", "failures": 7}], )"
              : "") +
         R"("smart": {"enabled": )" + (subject.smartEnabled() ? "true" : "false") +
         R"(, "self_tests": [{"code": 0, "seconds": 5}, {"code": 1, "seconds": 45},
         {"code": 2, "seconds": 45}, {"code": 3, "seconds": 45}, {"code": 80, "seconds": 45}]})";
}

constexpr Subject kSubjects[] = {
    {"Targeted", "sata", ids::kTargetedRead, {.atCommand = 30, .commandsAfter = 1}},
    {"Random", "sata", ids::kQuickRandomSeek, {.atCommand = 30}},
    {"Funnel", "sata", ids::kQuickFunnelSeek, {.atCommand = 150, .commandsAfter = 1}},
    {"RandomOfSas", "sas", ids::kQuickRandomSeek, {.atCommand = 30}},
    {"FunnelOfSas", "sas", ids::kQuickFunnelSeek, {.atCommand = 150, .commandsAfter = 1}},
    {"Short", "sata", ids::kShortSelfTest, {.atCommand = 12, .commandsAfter = 3}},
    {"ShortOfSas", "sas", ids::kShortSelfTest, {.atCommand = 7, .commandsAfter = 2}},
    {"Drive", "sata", ids::kDriveSelfTest, {.atCommand = 12, .commandsAfter = 3}},
    {"Default", "sas", ids::kDefaultSelfTest},
    {"ExtendedRandom", "sas", ids::kExtendedRandomSeek, {.atCommand = 30}},
    {"ExtendedFunnel", "sas", ids::kExtendedFunnelSeek, {.atCommand = 150, .commandsAfter = 1}},
    {"Extended", "sas", ids::kExtendedSelfTest, {.atCommand = 7, .commandsAfter = 2}},
    {"Conveyance", "sata", ids::kConveyanceSelfTest, {.atCommand = 12, .commandsAfter = 3}},
    {"Linear", "sas", ids::kLinearRead, {.atCommand = 5, .scans = true}},
    {"Scan", "sata", ids::kFullDiskScan, {.atCommand = 5, .scans = true}},
};

class Interrupted : public ::testing::TestWithParam<Subject> {
 protected:
  struct Bench : ModuleBench {
    explicit Bench(const Subject& subject) : ModuleBench(machineOf({smallDrive(subject)})) {
      scan(1);
      // The search for a block size is no part of what is watched.
      if (subject.stop.scans) {
        EXPECT_EQ(device(0).preferredReadBlock(), 127);
      }
    }
    TestResult run(FakeHost& host) { return test(GetParam().test).run(&host); }
    FakeHost host() { return FakeHost(manager().component(0)); }
  };
  /// What the last progress report says.
  static std::string lastProgress(const FakeHost& host) {
    const auto line =
        std::find_if(host.messages.rbegin(), host.messages.rend(),
                     [](const auto& messages) { return messages.starts_with("progress"); });
    return line == host.messages.rend() ? "" : line->substr(9, 3);
  }
};

TEST_P(Interrupted, StopsWithinACommandAndTellsTheReason) {
  const Subject& subject = GetParam();
  for (const bool byEvent : {false, true}) {
    Bench bench(subject);
    FakeHost atOnce = bench.host();
    (byEvent ? atOnce.eventFromPoll : atOnce.abortFromPoll) = 0;
    EXPECT_EQ(bench.run(atOnce), TestResult::Stopped);
    EXPECT_EQ(atOnce.count("log 0 " + kEventKey), byEvent ? 1u : 0u);
    if (subject.stop.atCommand == 0) {
      continue;
    }

    FakeHost host = bench.host();
    WatchedDrive watch(*bench.machine().drives()[0]);
    watch.onCommand = [&] {
      if (watch.commands == subject.stop.atCommand) {
        (byEvent ? host.eventFromPoll : host.abortFromPoll) = host.polls;
      }
    };
    EXPECT_EQ(bench.run(host), TestResult::Stopped);
    EXPECT_GE(watch.commands, subject.stop.atCommand);
    EXPECT_LE(watch.commands, subject.stop.atCommand + subject.stop.commandsAfter);
    EXPECT_EQ(lastProgress(host), "100");
    EXPECT_EQ(host.count("log 0 " + kEventKey), byEvent && subject.stop.scans ? 1u : 0u);
    watch.onCommand = {};
    EXPECT_EQ(bench.smartEnabled(0), GetParam().smartEnabled());
    std::uint8_t status = 0;
    StorageProtocol& protocol = *bench.device(0).storageProtocol();
    if (subject.kind == "sata") {
      EXPECT_EQ(protocol.SetSmartEnabled(1), ProtocolResult::Success);
    }
    EXPECT_EQ(protocol.GetSelfTestResult(&status), ProtocolResult::Success);
    EXPECT_NE(status, 15) << "the drive's routine was stopped";
  }
}

INSTANTIATE_TEST_SUITE_P(Tests, Interrupted, ::testing::ValuesIn(kSubjects),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace ostria::storage::test
