// Every test and tool on every kind of drive by every way that leads to it, with each class of
// commands that it sends refused in each way that its command set or its controller knows. The
// drives are sound: no refusal may come out as a passed test or as "nothing found", unless the
// command has no part in the verdict, none as a defective drive, and no repair may write.
//
// Six sentences rest on it, each shown for every drive to which it applies (`kExpected`):
// 1 a read counts only if the data came, 2 a command is done only if the device says so, 3 a page
// counts only if the device sent it, 4 what was not looked at never passes, 5 only what the device
// did makes it defective, 6 a repair writes only to what the device confirms as unreadable.
#include <gtest/gtest.h>

#include <algorithm>
#include <iostream>
#include <string_view>

#include "tests/support/raid_bench.h"
#include "tests/support/refusing_drive.h"
#include "tests/support/sound_drives.h"
#include "tests/support/tool_host.h"
#include "tools/recover_bad_sectors.h"

namespace ostria::storage::test {
namespace {

using Set = CommandClass::Set;

/// What is run on a drive: a test by its identifier, or an operation of the recovery tool.
struct Subject {
  // NOLINTNEXTLINE(google-explicit-constructor): a list of tests is one of subjects
  Subject(const Identifier& test, const char* toolOperation = nullptr)
      : id(test), operation(toolOperation) {}

  Identifier id;
  const char* operation;

  bool isTool() const { return operation != nullptr; }
  std::string name() const {
    return isTool() ? operation
                    : "test " + std::to_string(id.category) + "." + std::to_string(id.item);
  }
};

std::vector<Subject> allSubjects() {
  std::vector<Subject> all(std::begin(kAllTests), std::end(kAllTests));
  all.push_back({ids::kRecoverBadSectors, "scan"});
  all.push_back({ids::kRecoverBadSectors, "repair"});
  return all;
}

/// What the sweep over a drive has to show: the sentences, and how many combinations of test,
/// command and refusal, which may only grow. A sentence that is missing has nothing to rest on:
/// external disks and cards are offered no self-test (2) and no test of a log (3), NVMe drives no
/// self-test, and the recovery tool (6) is for the system's own ATA and SCSI disks. Firmware
/// answers for the SMART commands of a SATA drive behind an LSI controller.
struct Expected {
  std::string_view drive;
  std::string_view sentences;
  unsigned combinations;
};
constexpr Expected kExpected[] = {
    {"sata", "123456", 304},
    {"sata_ssd", "123456", 199},
    {"usb_sat", "1456", 154},
    {"usb_sat_no_ck", "1456", 154},
    {"usb_jmicron", "1456", 154},
    {"usb_sunplus", "1456", 154},
    {"usb_stick", "1456", 154},
    {"sas", "123456", 343},
    {"nvme_query", "1345", 94},
    {"nvme_intel_port", "1345", 94},
    {"nvme_mini_port", "1345", 94},
    {"nvme_scsi", "145", 52},
    {"emmc", "145", 52},
    {"sd", "145", 52},
    {"csmi_sata", "12345", 206},
    {"csmi_sas", "12345", 281},
    {"csmi_nvme", "1345", 78},
    {"lsi_sata", "145", 133},
    {"lsi_sas", "12345", 261},
};

enum class Verdict { Good, Defective, None };

/// The module on a machine of its own, and one test or tool of it.
struct Bench : ModuleBench {
  explicit Bench(const DriveKind& drive, bool roomy = false)
      : ModuleBench(soundMachine(drive, roomy)) {
    scan(1);
    watched = std::make_unique<RefusingDrive>(*machine().drives()[0]);
  }

  bool applies(const Subject& subject) {
    if (subject.isTool()) {
      return RecoverBadSectors(subject.id).isApplicable(manager().component(0));
    }
    ConfigurationError error;
    test(subject.id)
        .configure(
            {{"STORAGE",
              {{"ENABLE_SMART_HEALTH_TEST", "1"}, {"ENABLE_NVME_HEALTH_PREDICTION_TEST", "1"}}}},
            &error);
    return test(subject.id).isApplicable(manager().component(0));
  }
  Verdict run(const Subject& subject) {
    if (subject.isTool()) {
      return runTool(subject.operation);
    }
    FakeHost host(manager().component(0));
    host.answer = InputRequest::Yes;
    const TestResult result = test(subject.id).run(&host);
    EXPECT_FALSE(host.messages.empty());
    return result == TestResult::Passed   ? Verdict::Good
           : result == TestResult::Failed ? Verdict::Defective
                                          : Verdict::None;
  }
  Verdict runTool(const char* operation) {
    RecoverBadSectors tool(ids::kRecoverBadSectors);
    ToolHost host(tool);
    tool.setDevices({manager().component(0)});
    tool.setParameter("Operation", {operation});
    tool.run();
    const std::string status = tool.getParameter("DeviceFinish")->back();
    return status == "0"                     ? Verdict::Good
           : status == "9" || status == "10" ? Verdict::Defective
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

/// Starts and switches: SMART ENABLE, EXECUTE OFF-LINE IMMEDIATE, SEND DIAGNOSTIC.
bool isOrder(const CommandClass& c) {
  return c.set == Set::Ata ? c.code == 0xB0 && isOneOf(c.detail, {0xD4, 0xD8})
                           : c.set == Set::Scsi && c.code == 0x1D;
}

/// Whether a test's verdict rests on what these commands answer.
bool decides(const DriveKind& drive, const Subject& subject, const CommandClass& c) {
  const Identifier& id = subject.id;
  if (subject.isTool()) {
    return isRead(c) && c.set == Set::Scsi;  // they read by the system
  }
  const bool smart = c.set == Set::Ata && c.code == 0xB0;
  const bool member = drive.controller != DriveKind::Behind::Nothing;
  if (id == ids::kSmartStatus) {
    // A SCSI drive has a second source, REQUEST SENSE, and firmware that speaks for a drive has its
    // own.
    return smart && isOneOf(c.detail, {0xD8, 0xDA}) && drive.controller != DriveKind::Behind::Lsi;
  }
  const bool healthLog = c.set == Set::Nvme && c.code == 0x02 && c.detail == 0x02;
  if (id == ids::kSmartWearout || id == ids::kSmartHealth) {
    return healthLog || (smart && isOneOf(c.detail, {0xD0, 0xD1, 0xD8}));
  }
  if (isOneOf(static_cast<int>(id.item), {5, 6, 7, 10, 18})) {  // self-tests
    return (smart && isOneOf(c.detail, {0xD0, 0xD4, 0xD8})) ||
           (c.set == Set::Scsi && isOneOf(c.code, {0x1D, 0x4D}));
  }
  if (isOneOf(static_cast<int>(id.item), {19, 20, 21, 25})) {
    return healthLog;
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
/// first half. An NVMe controller that ends a read well has moved its data, and the pass-through of
/// a member hands on nothing but them: zeros that no counter of errors speaks against are content.
/// Miniports do not say how much came, either, and all that decides is in the first half of the
/// health log. Zeros that were read are what the medium holds.
bool leavesAnAnswer(const DriveKind& drive, const CommandClass& c, const Refusal& how) {
  if (how.kind == Refusal::Kind::Zeros && isRead(c)) {
    return true;
  }
  if (how.kind != Refusal::Kind::Zeros && std::string(drive.kind) == "sata" &&
      drive.controller == DriveKind::Behind::Nothing && c.set == Set::Ata) {
    return how.kind != Refusal::Kind::AtaError || c.detail == 0xDA;
  }
  if (c.set == Set::Nvme && isRead(c) && how.kind == Refusal::Kind::NoData) {
    return drive.controller == DriveKind::Behind::Csmi;
  }
  if (c.set == Set::Nvme && how.kind == Refusal::Kind::HalfTheData) {
    return std::string_view(drive.name) != "nvme_query";
  }
  return c.set == Set::Scsi && c.code == 0x4D && how.kind == Refusal::Kind::HalfTheData;
}

/// A drive that says HARDWARE ERROR to a read, a write or a self-test calls itself defective, and
/// so does one that calls a read good and keeps the data or has lost what was written.
bool admitsADefect(const CommandClass& c, const Refusal& how) {
  const bool transfer = isRead(c) || isWrite(c);
  const bool cut = how.kind == Refusal::Kind::NoData || how.kind == Refusal::Kind::HalfTheData ||
                   how.kind == Refusal::Kind::Zeros;
  return (how.kind == Refusal::Kind::Sense && how.value == 4 && (transfer || c.code == 0x1D)) ||
         (cut && transfer);
}

/// What a controller or its library makes of every pass-through to its drives.
struct LinkRefusal {
  const char* name;
  virtual_pc::RequestFault fault;
};
std::vector<LinkRefusal> linkRefusals(DriveKind::Behind controller) {
  namespace vpc = virtual_pc;
  using Action = vpc::RequestFaultAction;
  constexpr std::uint32_t kCsmiSsp = 24, kCsmiStp = 25, kLsiSsp = 0x0006, kLsiStp = 0x0206;
  const auto every = [](std::uint32_t code, Action action) {
    vpc::RequestFault fault;
    fault.code = code;
    fault.action = std::move(action);
    return fault;
  };
  const auto bytes = [](std::uint32_t at, std::vector<std::uint8_t> values) {
    return Action(vpc::RequestPatch{at, std::move(values)});
  };
  switch (controller) {
    case DriveKind::Behind::Csmi: {
      std::vector<LinkRefusal> all = {
          {"SSP: BUSY", every(kCsmiSsp, bytes(105, {0x08}))},
          {"SSP: CHECK CONDITION without sense data", every(kCsmiSsp, bytes(104, {0, 2}))},
          {"STP: no register frame", every(kCsmiStp, bytes(76, {0}))},
          {"STP: device fault", every(kCsmiStp, bytes(78, {0x70}))}};
      for (const std::uint32_t code : {kCsmiSsp, kCsmiStp}) {
        all.push_back({"system error", every(code, vpc::RequestError{1117})});
        all.push_back({"return code", every(code, vpc::RequestReturnCode{1})});
        all.push_back({"nothing came back", every(code, vpc::RequestShort{0})});
        all.push_back({"a part came back", every(code, vpc::RequestShort{100})});
        all.push_back({"no connection", every(code, vpc::RequestConnectionStatus{1})});
      }
      return all;
    }
    case DriveKind::Behind::Lsi:
      // Results 74 and 75 are numbers of the module's own, too.
      return {{"SSP: BUSY", every(kLsiSsp, bytes(10, {0x08}))},
              {"SSP: result 3", every(kLsiSsp, vpc::RequestError{3})},
              {"SSP: result 45", every(kLsiSsp, vpc::RequestError{45})},
              {"SSP: result 74", every(kLsiSsp, vpc::RequestError{74})},
              {"SSP: result 75", every(kLsiSsp, vpc::RequestError{75})},
              {"STP: result 3", every(kLsiStp, vpc::RequestError{3})}};
    default:
      return {};
  }
}

class RefusedEverywhere : public ::testing::TestWithParam<DriveKind> {
 protected:
  void sweep(const Subject& subject) {
    const DriveKind& drive = GetParam();
    const bool roomy = subject.id == ids::kDeviceWrite;
    // What stands beside thousands of reads and does not bear on them would only cost time.
    constexpr unsigned kLongRun = 1000;
    std::set<CommandClass> classes;
    bool longRun = false;
    if (roomy && !Bench(drive).applies(subject)) {
      return;  // the system may have no disk for it, and so no volume
    }
    {
      Bench bench(drive, roomy);
      if (!bench.applies(subject) || bench.run(subject) != Verdict::Good) {
        return;
      }
      classes = bench.watched->seen;
      longRun = bench.watched->commands > kLongRun;
    }
    for (const CommandClass& commands : classes) {
      const bool deciding = decides(drive, subject, commands);
      if (longRun && !deciding) {
        continue;
      }
      for (const Refusal& how : refusalsOf(commands.set)) {
        Bench bench(drive, roomy);
        bench.watched->refuse(commands, how);
        SCOPED_TRACE(commands.name() + ": " + how.name);
        const Verdict verdict = bench.run(subject);
        if (bench.watched->refused == 0) {
          continue;
        }
        const bool decided = deciding && !leavesAnAnswer(drive, commands, how);
        judge(subject, verdict, decided, admitsADefect(commands, how), bench);
        if (decided) {
          show(isRead(commands) ? 1 : isOrder(commands) ? 2 : isWrite(commands) ? 4 : 3);
        }
      }
    }
    for (const LinkRefusal& how : linkRefusals(drive.controller)) {
      Bench bench(drive, roomy);
      auto& planned = bench.machine().requestRefusal();
      planned = virtual_pc::Machine::RequestRefusal{};
      auto& refusal = *planned;
      refusal.fault = how.fault;
      SCOPED_TRACE(how.name);
      const Verdict verdict = bench.run(subject);
      if (refusal.hits != 0) {
        judge(subject, verdict, true, false, bench);
      }
    }
  }

  void judge(const Subject& subject, Verdict verdict, bool decided, bool admitted, Bench& bench) {
    ++combinations_;
    if (decided) {
      ++deciding_;
      show(4);
      EXPECT_NE(verdict, Verdict::Good) << "a refusal passed";
    }
    if (!admitted) {
      show(5);
      EXPECT_NE(verdict, Verdict::Defective) << "a refusal is no defect";
    }
    if (subject.isTool()) {
      show(6);
      EXPECT_EQ(bench.watched->writes, 0u) << "nothing was confirmed as unreadable";
    }
  }
  void show(int sentence) { shown_.insert(sentence); }

  unsigned combinations_ = 0;
  unsigned deciding_ = 0;
  std::set<int> shown_;
};

TEST_P(RefusedEverywhere, NothingPassesAndNoDriveIsBlamed) {
  for (const Subject& subject : allSubjects()) {
    SCOPED_TRACE(subject.name());
    sweep(subject);
  }
  std::string shown;
  for (const int sentence : shown_) {
    shown += std::to_string(sentence);
  }
  std::cout << "combinations: " << combinations_ << ", of which decide: " << deciding_ << "\n";
  const auto* const expected = std::find_if(
      std::begin(kExpected), std::end(kExpected),
      [](const Expected& row) { return row.drive == std::string_view(GetParam().name); });
  ASSERT_NE(expected, std::end(kExpected));
  EXPECT_EQ(shown, expected->sentences);
  EXPECT_GE(combinations_, expected->combinations);
}

INSTANTIATE_TEST_SUITE_P(Drives, RefusedEverywhere, ::testing::ValuesIn(kSoundDrives),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace ostria::storage::test
