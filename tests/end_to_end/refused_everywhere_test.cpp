// Every test on every kind of drive, with each class of commands that it sends refused in
// each way that its command set knows. The drives are sound: no refusal may come out as a passed
// test, unless the command has no part in the verdict, and none may come out as a defective drive.
#include <gtest/gtest.h>

#include <algorithm>
#include <iostream>
#include <string_view>

#include "tests/support/raid_bench.h"
#include "tests/support/refusing_drive.h"
#include "tests/support/sound_drives.h"

namespace ostria::storage::test {
namespace {

using Set = CommandClass::Set;

enum class Verdict { Good, Defective, None };

/// The module on a machine of its own, and one test or tool of it.
struct Bench : ModuleBench {
  explicit Bench(const DriveKind& drive, bool roomy = false)
      : ModuleBench(drive.controller == DriveKind::Behind::Lsi
                        ? withLibraryLoaded(machineWith(drive, roomy))
                        : machineWith(drive, roomy)) {
    scan(1);
    watched = std::make_unique<RefusingDrive>(*machine().drives()[0]);
  }

  bool applies(const Identifier& id) {
    ConfigurationError error;
    test(id).configure(
        {{"STORAGE",
          {{"ENABLE_SMART_HEALTH_TEST", "1"}, {"ENABLE_NVME_HEALTH_PREDICTION_TEST", "1"}}}},
        &error);
    return test(id).isApplicable(manager().component(0));
  }
  Verdict run(const Identifier& id) {
    FakeHost host(manager().component(0));
    host.answer = InputRequest::Yes;
    const TestResult result = test(id).run(&host);
    EXPECT_FALSE(host.messages.empty());
    return result == TestResult::Passed   ? Verdict::Good
           : result == TestResult::Failed ? Verdict::Defective
                                          : Verdict::None;
  }

  std::unique_ptr<RefusingDrive> watched;
};

bool isOneOf(int value, std::initializer_list<int> values) {
  return std::find(values.begin(), values.end(), value) != values.end();
}

bool isRead(const CommandClass& c) {
  switch (c.set) {
    case Set::Ata:
      return isOneOf(c.code, {0x20, 0x24, 0x25, 0x29, 0xC4, 0xC8});
    case Set::Scsi:
      return c.code == CommandClass::kScsiRead;
    default:
      return c.code == 0x02 && c.detail == CommandClass::kNoDetail;
  }
}

bool isWrite(const CommandClass& c) {
  return c.set == Set::Scsi
             ? isOneOf(c.code, {0x0A, 0x2A, 0x8A, 0xAA})
             : c.set == Set::Nvme && c.code == 0x01 && c.detail == CommandClass::kNoDetail;
}

/// Whether a test's verdict rests on what these commands answer.
bool decides(const DriveKind& drive, const Identifier& id, const CommandClass& c) {
  const bool smart = c.set == Set::Ata && c.code == 0xB0;
  const bool member = drive.controller != DriveKind::Behind::Nothing;
  if (id == ids::kSmartStatus) {
    // A SCSI drive has a second source, REQUEST SENSE, and firmware that speaks for a drive has its
    // own.
    return smart && c.detail == 0xDA && drive.controller != DriveKind::Behind::Lsi;
  }
  if (id == ids::kSmartWearout || id == ids::kSmartHealth) {
    return smart && isOneOf(c.detail, {0xD0, 0xD1});
  }
  if (isOneOf(static_cast<int>(id.item), {5, 6, 7, 10, 18})) {  // self-tests
    return (smart && isOneOf(c.detail, {0xD0, 0xD4})) ||
           (c.set == Set::Scsi && isOneOf(c.code, {0x1D, 0x4D}));
  }
  if (isOneOf(static_cast<int>(id.item), {19, 20, 21, 25})) {  // NVMe health log
    return c.set == Set::Nvme && c.code == 0x02 && c.detail == 0x02;
  }
  if (isOneOf(static_cast<int>(id.item), {2, 3, 4, 8, 9})) {
    // These read by the protocol; the SCSI side of a SATA disk serves the system.
    const bool ata =
        std::string(drive.kind) == "sata" && drive.controller != DriveKind::Behind::Lsi;
    return isRead(c) && (c.set == Set::Ata) == ata;
  }
  return (isRead(c) && (member || c.set == Set::Scsi)) || (id == ids::kDeviceWrite && isWrite(c));
}

/// Whether a refusal leaves something to judge by. A SATA disk has two ways to it, by the ATA and
/// by the SCSI requests of its port: what was lost on the first is answered on the second, and only
/// the drive's own verdict ends the walk. The newest entry of a SCSI self-test log stands in its
/// first half.
bool leavesAnAnswer(const DriveKind& drive, const CommandClass& c, const Refusal& how) {
  if (std::string(drive.kind) == "sata" && drive.controller == DriveKind::Behind::Nothing &&
      c.set == Set::Ata) {
    return how.kind != Refusal::Kind::AtaError || c.detail == 0xDA;
  }
  return c.set == Set::Scsi && c.code == 0x4D && how.kind == Refusal::Kind::HalfTheData;
}

/// Drives and commands of which a refusal still passes somewhere below the tests. A row that is
/// taken out makes the sweep stricter; none may come in.
struct StillAccepted {
  std::string_view drives;  ///< what the names begin with
  Set set;
};
constexpr StillAccepted kStillAccepted[] = {
    {"usb_", Set::Scsi},           {"sas", Set::Scsi},   {"nvme_intel_port", Set::Nvme},
    {"nvme_mini_port", Set::Nvme}, {"csmi_", Set::Scsi}, {"csmi_", Set::Nvme},
    {"lsi_", Set::Scsi},
};
bool isStillAccepted(const DriveKind& drive, const CommandClass& c) {
  return std::any_of(
      std::begin(kStillAccepted), std::end(kStillAccepted), [&](const StillAccepted& row) {
        return row.set == c.set && std::string_view(drive.name).starts_with(row.drives);
      });
}

/// A drive that says HARDWARE ERROR to a read, a write or a self-test calls itself defective, and
/// so does one that calls a read good and keeps the data.
bool admitsADefect(const CommandClass& c, const Refusal& how) {
  const bool transfer = isRead(c) || isWrite(c);
  const bool cut = how.kind == Refusal::Kind::NoData || how.kind == Refusal::Kind::HalfTheData;
  return (how.kind == Refusal::Kind::Sense && how.value == 4 && (transfer || c.code == 0x1D)) ||
         (cut && transfer);
}

bool isWriteTest(const Identifier& id) { return id == ids::kDeviceWrite; }

class RefusedEverywhere : public ::testing::Test {
 protected:
  template <typename Subject, typename Decides>
  void sweep(const DriveKind& drive, const Subject& subject, const Decides& decides) {
    const bool roomy = isWriteTest(subject);
    // What stands beside thousands of reads and does not bear on them would only cost time.
    constexpr unsigned kLongRun = 1000;
    std::set<CommandClass> classes;
    bool longRun = false;
    {
      Bench bench(drive, roomy);
      if (bench.run(subject) != Verdict::Good) {
        return;
      }
      classes = bench.watched->seen;
      longRun = bench.watched->commands > kLongRun;
    }
    for (const CommandClass& commands : classes) {
      if (longRun && !decides(commands)) {
        continue;
      }
      for (const Refusal& how : refusalsOf(commands.set)) {
        Bench bench(drive, roomy);
        bench.watched->refuse(commands, how);
        const Verdict verdict = bench.run(subject);
        if (bench.watched->refused == 0) {
          continue;
        }
        ++combinations_;
        SCOPED_TRACE(std::string(drive.name) + ", " + commands.name() + ": " + how.name);
        if (isStillAccepted(drive, commands)) {
          accepted_ += verdict == Verdict::Good && decides(commands) ? 1u : 0u;
          continue;
        }
        if (decides(commands) && !leavesAnAnswer(drive, commands, how)) {
          ++deciding_;
          EXPECT_NE(verdict, Verdict::Good) << "a refusal passed";
        }
        if (!admitsADefect(commands, how)) {
          EXPECT_NE(verdict, Verdict::Defective) << "a refusal is no defect";
        }
      }
    }
  }

  unsigned combinations_ = 0;
  unsigned deciding_ = 0;
  unsigned accepted_ = 0;  ///< refusals that passed where that is still accepted
};

TEST_F(RefusedEverywhere, NoTestPassesOrBlamesTheDrive) {
  for (const DriveKind& drive : kSoundDrives) {
    for (const Identifier& id : kAllTests) {
      if (!Bench(drive).applies(id)) {
        continue;
      }
      SCOPED_TRACE("test " + std::to_string(id.category) + "." + std::to_string(id.item));
      sweep(drive, id, [&](const CommandClass& c) { return decides(drive, id, c); });
    }
  }
  std::cout << "combinations: " << combinations_ << ", of which decide: " << deciding_
            << ", still accepted: " << accepted_ << "\n";
  // May only grow.
  EXPECT_GE(combinations_, 1500u);
}

}  // namespace
}  // namespace ostria::storage::test
