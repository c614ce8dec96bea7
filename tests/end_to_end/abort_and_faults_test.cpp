// Whatever interrupts the tests that read and the self-tests: the user, the system, a call that
// fails, a drive that goes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <set>
#include <string_view>

#include "ostria/storage/test_ids.h"
#include "tests/support/bench.h"
#include "tests/support/watched_drive.h"

namespace ostria::storage::test {
namespace {

const std::string kEventKey =
    "TEST_ABORTED_BECAUSE_A_SYSTEM_EVENT_THAT_COULD_COMPROMISE_THE_OUTCOME_HAS_HAPPENED";

/// A test, a drive for it, and how it may be interrupted.
struct Subject {
  std::string_view name;
  std::string_view kind;
  Identifier test;
  /// The command during which the user aborts; 0 for a test that ends before its first one.
  unsigned abortAtCommand = 0;
  /// Commands that may follow it, those that stop the drive's routine included.
  unsigned commandsAfter = 0;
  /// Whether it notes each bad block, whatever the reason, and reports an event whenever it comes.
  bool scans = false;
  bool swept = false;

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
         (subject.scans ? R"("bad_sectors": [{"lba": 200, "kind": "transient", "failures": 7}], )"
                        : "") +
         R"("smart": {"enabled": )" + (subject.smartEnabled() ? "true" : "false") +
         R"(, "self_tests": [{"code": 0, "seconds": 5}, {"code": 1, "seconds": 45},
         {"code": 2, "seconds": 45}, {"code": 3, "seconds": 45}, {"code": 80, "seconds": 45}]})";
}

constexpr Subject kSubjects[] = {
    {.name = "Targeted",
     .kind = "sata",
     .test = ids::kTargetedRead,
     .abortAtCommand = 30,
     .commandsAfter = 1,
     .swept = true},
    {.name = "Random",
     .kind = "sata",
     .test = ids::kQuickRandomSeek,
     .abortAtCommand = 30,
     .swept = true},
    {.name = "Funnel",
     .kind = "sata",
     .test = ids::kQuickFunnelSeek,
     .abortAtCommand = 150,
     .commandsAfter = 1},
    {.name = "RandomOfSas", .kind = "sas", .test = ids::kQuickRandomSeek, .abortAtCommand = 30},
    {.name = "FunnelOfSas",
     .kind = "sas",
     .test = ids::kQuickFunnelSeek,
     .abortAtCommand = 150,
     .commandsAfter = 1,
     .swept = true},
    {.name = "Short",
     .kind = "sata",
     .test = ids::kShortSelfTest,
     .abortAtCommand = 12,
     .commandsAfter = 3,
     .swept = true},
    {.name = "ShortOfSas",
     .kind = "sas",
     .test = ids::kShortSelfTest,
     .abortAtCommand = 7,
     .commandsAfter = 2,
     .swept = true},
    {.name = "Drive",
     .kind = "sata",
     .test = ids::kDriveSelfTest,
     .abortAtCommand = 12,
     .commandsAfter = 3},
    {.name = "Default", .kind = "sas", .test = ids::kDefaultSelfTest, .swept = true},
    {.name = "ExtendedRandom",
     .kind = "sas",
     .test = ids::kExtendedRandomSeek,
     .abortAtCommand = 30},
    {.name = "ExtendedFunnel",
     .kind = "sas",
     .test = ids::kExtendedFunnelSeek,
     .abortAtCommand = 150,
     .commandsAfter = 1},
    {.name = "Extended",
     .kind = "sas",
     .test = ids::kExtendedSelfTest,
     .abortAtCommand = 7,
     .commandsAfter = 2},
    {.name = "Conveyance",
     .kind = "sata",
     .test = ids::kConveyanceSelfTest,
     .abortAtCommand = 12,
     .commandsAfter = 3,
     .swept = true},
    {.name = "Linear",
     .kind = "sas",
     .test = ids::kLinearRead,
     .abortAtCommand = 5,
     .scans = true,
     .swept = true},
    {.name = "Scan",
     .kind = "sata",
     .test = ids::kFullDiskScan,
     .abortAtCommand = 5,
     .scans = true,
     .swept = true},
};

class Interrupted : public ::testing::TestWithParam<Subject> {
 protected:
  struct Bench : ModuleBench {
    explicit Bench(const Subject& subject) : ModuleBench(machineOf({smallDrive(subject)})) {
      scan(1);
      // The search for a block size is no part of what is watched.
      if (subject.scans) {
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
    if (subject.abortAtCommand == 0) {
      continue;
    }

    FakeHost host = bench.host();
    WatchedDrive watch(*bench.machine().drives()[0]);
    watch.onCommand = [&] {
      if (watch.commands == subject.abortAtCommand) {
        (byEvent ? host.eventFromPoll : host.abortFromPoll) = host.polls;
      }
    };
    EXPECT_EQ(bench.run(host), TestResult::Stopped);
    EXPECT_GE(watch.commands, subject.abortAtCommand);
    EXPECT_LE(watch.commands, subject.abortAtCommand + subject.commandsAfter);
    EXPECT_EQ(lastProgress(host), "100");
    EXPECT_EQ(host.count("log 0 " + kEventKey), byEvent && subject.scans ? 1u : 0u);
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

class ReadingFaultSweep : public Interrupted {
 protected:
  /// @return the calls into the system that the test made
  std::uint64_t runOnce(std::uint64_t failAt, std::uint64_t goneFrom) {
    // What the scans do leaves nothing behind, and the search for their block size is long.
    if (bench_ == nullptr || !GetParam().scans) {
      bench_.reset();
      bench_ = std::make_unique<Bench>(GetParam());
    }
    return runOnce(*bench_, failAt, goneFrom);
  }
  std::uint64_t runOnce(Bench& bench, std::uint64_t failAt, std::uint64_t goneFrom) {
    constexpr std::uint32_t kDeviceNotConnected = 1167;
    FakeHost host = bench.host();
    const std::size_t handles = settledHandles();
    bench.faults().reset();
    bench.faults().failCall(failAt, kDeviceNotConnected);
    bench.faults().goneFrom(goneFrom);
    const TestResult result = bench.run(host);
    const std::uint64_t calls = bench.faults().calls();
    bench.faults().reset();
    const auto number = static_cast<std::uint32_t>(result);
    EXPECT_TRUE(number <= 6 && number != 2) << number;
    if (!host.messages.empty()) {
      EXPECT_EQ(lastProgress(host), "100");
    }
    if (failAt == 0 && goneFrom == 0) {
      EXPECT_EQ(result, TestResult::Passed);
    }
    if (goneFrom != 0 && goneFrom + 8 < calls_) {
      EXPECT_NE(result, TestResult::Passed) << "the drive was gone";
    }
    if (!GetParam().scans) {
      EXPECT_NE(result, TestResult::Failed) << "a lost call is no fault of the drive";
    }
    EXPECT_EQ(settledHandles(), handles);
    if (goneFrom == 0) {
      EXPECT_EQ(bench.smartEnabled(0), GetParam().smartEnabled());
    }
    return calls;
  }

  std::uint64_t calls_ = 0;  ///< of a run without a fault

 private:
  std::unique_ptr<Bench> bench_;
};

TEST_P(ReadingFaultSweep, EveryFailingCallHasADocumentedEnd) {
  const std::uint64_t calls = calls_ = runOnce(0, 0);
  // All calls at both ends, where a test prepares and closes; of thousands of like ones a few.
  std::set<std::uint64_t> chosen;
  for (std::uint64_t i = 1; i <= std::min<std::uint64_t>(calls, 24); ++i) {
    chosen.insert({i, calls + 1 - std::min<std::uint64_t>(i, 8)});
  }
  for (std::uint64_t i = 1; i < 6; ++i) {
    chosen.insert(std::max<std::uint64_t>(calls * i / 6, 1));
  }
  for (const std::uint64_t call : chosen) {
    SCOPED_TRACE("call " + std::to_string(call) + " of " + std::to_string(calls));
    runOnce(call, 0);
    runOnce(0, call);
  }
}

std::vector<Subject> sweptSubjects() {
  std::vector<Subject> swept;
  std::copy_if(std::begin(kSubjects), std::end(kSubjects), std::back_inserter(swept),
               [](const Subject& subject) { return subject.swept; });
  return swept;
}
INSTANTIATE_TEST_SUITE_P(Tests, ReadingFaultSweep, ::testing::ValuesIn(sweptSubjects()),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace ostria::storage::test
