// Each test, tool, report and scan on every kind of drive, with each call of the system failing in
// turn, the device gone from there, each allocation failing in turn, and a stop at each poll.
// Demanded: a documented result, no pass that was not looked at, no drive blamed for it, the
// closing report, SMART and volumes as found, handles and memory back, and the same answer as
// before once all is well.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <iostream>
#include <set>
#include <string_view>
#include <vector>

#include "tests/faults/allocation_faults.h"
#include "tests/support/quiet_host.h"
#include "tests/support/raid_bench.h"
#include "tests/support/refusing_drive.h"
#include "tests/support/sound_drives.h"
#include "tools/recover_bad_sectors.h"
#include "virtual_pc/drives/ata_drive.h"
#include "virtual_pc/system/volume.h"

namespace ostria::storage::test {
namespace {

struct Fault {
  enum class Kind { None, Call, Gone, Memory, Abort, Event };
  Kind kind = Kind::None;
  std::uint64_t at = 0;
};
const char* const kNames[] = {"none", "call", "gone", "memory", "abort", "event"};

/// What one run came to.
struct Outcome {
  std::string text;  ///< result, status or answer, as one text
  bool passed = false;
  bool blamed = false;  ///< the drive is called defective
  std::uint64_t calls = 0;
  std::uint64_t allocations = 0;
  std::uint64_t polls = 0;
  unsigned commands = 0;  ///< that reached the drive
};

class Sweep {
 public:
  Sweep(const DriveKind& drive, const std::string& machine) : bench_(machine) {
    bench_.scan(1);
    ata_ = dynamic_cast<virtual_pc::AtaDrive*>(bench_.machine().drives()[0]->ata.get());
    // One of them had SMART switched off, and has it so afterwards.
    if (drive.more == kSoundSsd) {
      EXPECT_EQ(bench_.device(0).storageProtocol()->SetSmartEnabled(0), ProtocolResult::Success);
    }
    smartFound_ = smart();
    watched_ = std::make_unique<RefusingDrive>(*bench_.machine().drives()[0]);
  }

  unsigned injected = 0;
  std::function<void()> before = [] {};  ///< called ahead of each run
  unsigned stopped = 0;                  ///< polls answered with a stop; part of the former
  ModuleBench& bench() { return bench_; }

  using Act = std::function<void(const Fault&, Outcome&)>;

  /// Goes through the faults of one subject.
  void go(const std::string& name, const Act& act) {
    SCOPED_TRACE(name);
    run(act, {});
    const Outcome sound = run(act, {});
    const std::int64_t alive = AllocationFaults::alive();
    for (const std::uint64_t at : chosen(sound.calls)) {
      each(act, {Fault::Kind::Call, at}, sound);
      each(act, {Fault::Kind::Gone, at}, sound);
    }
    for (const std::uint64_t at : chosen(sound.allocations)) {
      each(act, {Fault::Kind::Memory, at}, sound);
    }
    for (const std::uint64_t at : chosen(sound.polls)) {
      each(act, {Fault::Kind::Abort, at - 1}, sound);
      each(act, {Fault::Kind::Event, at - 1}, sound);
    }
    const Outcome after = run(act, {});
    EXPECT_EQ(after.text, sound.text) << "not as before once all is well";
    constexpr std::int64_t kLonger = 8;  // texts that are kept for the next run may be longer ones
    EXPECT_LE(AllocationFaults::alive(), alive + kLonger) << "memory was kept";
  }

 private:
  // All of them at both ends, where something is prepared and closed; of thousands of like ones a
  // few.
  static std::set<std::uint64_t> chosen(std::uint64_t count) {
    std::set<std::uint64_t> out;
    for (std::uint64_t i = 1; i <= std::min<std::uint64_t>(count, kAtTheStart); ++i) {
      out.insert({i, count + 1 - std::min(i, kAtTheEnd)});
    }
    for (std::uint64_t i = 1; i < kBetween; ++i) {
      if (count >= kBetween) {
        out.insert(count * i / kBetween);
      }
    }
    return out;
  }

  void each(const Act& act, const Fault& fault, const Outcome& sound) {
    SCOPED_TRACE(std::string(kNames[static_cast<int>(fault.kind)]) + " " +
                 std::to_string(fault.at));
    ++injected;
    stopped += fault.kind == Fault::Kind::Abort || fault.kind == Fault::Kind::Event ? 1 : 0;
    const Outcome outcome = run(act, fault);
    // A lost call or our own memory is no defect, and a stop is none.
    EXPECT_FALSE(outcome.blamed && fault.kind != Fault::Kind::Gone) << outcome.text;
    if (outcome.passed && sound.passed) {
      constexpr unsigned kSpared = 12;  // what is asked beside that which the verdict rests on
      EXPECT_GE(outcome.commands + kSpared, sound.commands) << "a pass that was not looked at";
    }
  }

  Outcome run(const Act& act, const Fault& fault) {
    constexpr std::uint32_t kDeviceNotConnected = 1167;
    Outcome outcome;
    const std::size_t handles = settledHandles();
    // A routine that was left running, since its drive was lost, has ended by then.
    constexpr std::uint64_t kHour = 3'600'000'000;
    bench_.machine().clock().advance(kHour);
    bench_.faults().reset();
    before();
    if (fault.kind == Fault::Kind::Call) {
      bench_.faults().failCall(fault.at, kDeviceNotConnected);
    }
    if (fault.kind == Fault::Kind::Gone) {
      bench_.faults().goneFrom(fault.at);
    }
    watched_->commands = 0;
    act(fault, outcome);
    outcome.calls = bench_.faults().calls();
    outcome.commands = watched_->commands;
    bench_.faults().reset();
    // After a scan that found less there may be more again.
    handlesWhenSound_ =
        std::max(handlesWhenSound_, fault.kind == Fault::Kind::None ? settledHandles() : 0);
    EXPECT_LE(settledHandles(), std::max(handles, handlesWhenSound_)) << "handles were kept";
    for (const auto& volume : bench_.machine().volumes()) {
      EXPECT_TRUE(volume->mounted()) << "a volume is off line";
    }
    if (smart() != smartFound_) {
      // A drive that was lost cannot be given its state back.
      EXPECT_EQ(fault.kind, Fault::Kind::Gone) << "SMART is not as it was found";
      EXPECT_EQ(bench_.device(0).storageProtocol()->SetSmartEnabled(smartFound_ ? 1 : 0),
                ProtocolResult::Success);
    }
    return outcome;
  }
  /// Whether SMART is enabled on the ATA drive; the others have no such state.
  bool smart() const { return ata_ != nullptr && ata_->smart().enabled(); }

  static constexpr std::uint64_t kAtTheStart = 64;
  static constexpr std::uint64_t kAtTheEnd = 16;
  static constexpr std::uint64_t kBetween = 6;

  ModuleBench bench_;
  std::unique_ptr<RefusingDrive> watched_;
  std::size_t handlesWhenSound_ = 0;
  virtual_pc::AtaDrive* ata_ = nullptr;
  bool smartFound_ = false;
};

std::uint64_t memoryFault(const Fault& fault) {
  return fault.kind == Fault::Kind::Memory ? fault.at : 0;
}

Sweep::Act actOf(Sweep& sweep, const Identifier& id) {
  return [&sweep, id, &test = sweep.bench().test(id)](const Fault& fault, Outcome& outcome) {
    QuietHost host(sweep.bench().manager().component(0));
    if (fault.kind == Fault::Kind::Abort) {
      host.abortFrom = fault.at;
    }
    if (fault.kind == Fault::Kind::Event) {
      host.eventFrom = fault.at;
    }
    TestResult result = TestResult::Passed;
    {
      const AllocationFaults memory(memoryFault(fault));
      result = test.run(&host);
      outcome.allocations = memory.count();
    }
    const auto number = static_cast<std::uint32_t>(result);
    EXPECT_TRUE(number <= 6 && number != 2) << number;
    EXPECT_EQ(host.lastPercent, 100) << "no closing report";
    if (fault.kind == Fault::Kind::Abort) {
      EXPECT_EQ(result, TestResult::Stopped) << "the user's abort";
    }
    outcome.polls = host.polls;
    outcome.passed = result == TestResult::Passed;
    // These report what became of each transfer, and say why in their messages.
    const bool perTransfer = id == ids::kFullDiskScan || id == ids::kLinearRead ||
                             id == ids::kDeviceRead || id == ids::kDeviceWrite;
    outcome.blamed =
        result == TestResult::Failed && (!perTransfer || fault.kind != Fault::Kind::Call);
    outcome.text = std::to_string(number);
  };
}

Sweep::Act actOf(Sweep& sweep, Tool& tool, const char* operation) {
  tool.setParameter("Operation", {operation});
  return [&sweep, &tool](const Fault& fault, Outcome& outcome) {
    QuietToolHost host(tool);
    if (fault.kind == Fault::Kind::Abort) {
      host.abortFrom = fault.at;
    }
    if (fault.kind == Fault::Kind::Event) {
      host.eventFrom = fault.at;
    }
    SystemComponent* const device = sweep.bench().manager().component(0);
    tool.setDevices({device});
    tool.setParameter("DeviceFinish", {});  // what an earlier run left there is not of this one
    {
      const AllocationFaults memory(memoryFault(fault));
      tool.run();
      outcome.allocations = memory.count();
    }
    outcome.polls = host.polls;
    const auto* const values = tool.getParameter("DeviceFinish");
    const std::string status = values != nullptr && values->size() > 1 ? (*values)[1] : "none";
    static const std::set<std::string> kDocumented = {"none", "0", "1", "2",  "3",  "4",
                                                      "6",    "8", "9", "10", "13", "14"};
    EXPECT_TRUE(kDocumented.contains(status)) << status;
    EXPECT_EQ(host.finished, host.begun) << "no closing event";
    if (fault.kind == Fault::Kind::Abort) {
      EXPECT_EQ(status, "8") << "the user's abort";
    }
    if (fault.kind == Fault::Kind::Event && tool.isApplicable(device)) {
      EXPECT_EQ(status, "13") << "the system's event";
    }
    outcome.passed = status == "0";
    outcome.blamed = status == "10" || status == "9";
    outcome.text = status;
  };
}

/// The fewest faults for each drive, into its tests and into all else. They may only grow.
struct Floor {
  unsigned tests;
  unsigned others;
};
constexpr Floor kFloors[] = {
    {1980, 1292},  // sata
    {1433, 1238},  // sata_ssd
    {869, 1391},   // usb_sat
    {869, 1443},   // usb_sat_no_ck
    {869, 1224},   // usb_jmicron
    {869, 1232},   // usb_sunplus
    {869, 1219},   // usb_stick
    {2166, 1216},  // sas
    {201, 1131},   // nvme_query
    {201, 1177},   // nvme_intel_port
    {201, 1172},   // nvme_mini_port
    {123, 1130},   // nvme_scsi
    {89, 770},     // emmc
    {89, 770},     // sd
    {1407, 1392},  // csmi_sata
    {2139, 1284},  // csmi_sas
    {271, 1313},   // csmi_nvme
    {541, 722},    // lsi_sata
    {1390, 716},   // lsi_sas
};
static_assert(std::size(kFloors) == std::size(kSoundDrives));

class FaultSweep : public ::testing::TestWithParam<std::size_t> {
 protected:
  const DriveKind& drive() const { return kSoundDrives[GetParam()]; }
  void counted(const char* what, const Sweep& sweep, unsigned atLeast) {
    std::cout << "faults injected into " << what << " of " << drive().name << ": " << sweep.injected
              << ", polls stopped: " << sweep.stopped << "\n";
    EXPECT_GE(sweep.injected, atLeast) << "may only grow";
  }
};

TEST_P(FaultSweep, Tests) {
  Sweep plain(drive(), soundMachine(drive()));
  for (const Identifier& id : kAllTests) {
    if (id == ids::kDeviceWrite) {
      continue;
    }
    ConfigurationError error;
    storage::Test& test = plain.bench().test(id);
    test.configure(
        {{"STORAGE",
          {{"ENABLE_SMART_HEALTH_TEST", "1"}, {"ENABLE_NVME_HEALTH_PREDICTION_TEST", "1"}}}},
        &error);
    if (test.isApplicable(plain.bench().manager().component(0))) {
      plain.go("test " + std::to_string(id.category) + "." + std::to_string(id.item),
               actOf(plain, id));
    }
  }
  counted("tests", plain, kFloors[GetParam()].tests);
}

class WriteTestFaultSweep : public FaultSweep {};

TEST_P(WriteTestFaultSweep, TheWriteTest) {
  Sweep roomy(drive(), soundMachine(drive(), true));
  ASSERT_TRUE(
      roomy.bench().test(ids::kDeviceWrite).isApplicable(roomy.bench().manager().component(0)));
  roomy.go("write test", actOf(roomy, ids::kDeviceWrite));
  // The volume of this machine is read as well.
  roomy.go("scan", [&](const Fault& fault, Outcome& outcome) {
    const AllocationFaults memory(memoryFault(fault));
    roomy.bench().manager().scan();
    outcome.text = std::to_string(roomy.bench().manager().componentCount());
    outcome.allocations = memory.count();
  });
  counted("the write test", roomy, 440);
}

TEST_P(FaultSweep, ToolsReportsAndScans) {
  Sweep sweep(drive(), soundMachine(drive()));
  ModuleBench& bench = sweep.bench();
  for (std::uint32_t i = 0; i < bench.module().toolCount(); ++i) {
    Tool& tool = *bench.module().tool(i);
    for (const char* operation : {"scan", "repair", "filesystem", "filterDevices", "nonsense"}) {
      if (tool.getCommandName() == "recover") {
        sweep.go(operation, actOf(sweep, tool, operation));
      }
    }
    if (tool.getCommandName() == "smart") {
      sweep.go("smart", actOf(sweep, tool, ""));
    }
  }
  SystemComponentManager& manager = bench.manager();
  const auto plain = [&](const std::function<std::string()>& ask) {
    return [&, ask](const Fault& fault, Outcome& outcome) {
      const AllocationFaults memory(memoryFault(fault));
      outcome.text = ask();
      outcome.allocations = memory.count();
    };
  };
  const char* const reports[] = {
      "SMART",           "HEALTH",           "IDENTITY",   "OSTRIA_LOG_PAGE", "protocol_type",
      "SELF_TEST_TIMES", "RAID_SETS",        "READ_TIMES", "POWER",           "WAKE",
      "RECORDING",       "RECORDING_MASKED", "nonsense"};
  for (const char* report : reports) {
    std::string value;
    sweep.go(report, plain([&, key = std::string(report)] {
               return manager.component(0)->getReport(key, value) ? "yes" : "no";
             }));
  }
  sweep.go("hasDevices", plain([&] { return manager.hasDevices() ? "yes" : "no"; }));
  sweep.go("refresh", plain([&] { return manager.refreshComponent(0) != nullptr ? "yes" : "no"; }));
  sweep.go("scan", plain([&] {
             manager.scan();
             return std::to_string(manager.componentCount());
           }));
  const ScanDemand demand{.count = 1, .ids = {"d"}, .details = false};
  sweep.go("scanFor", plain([&] {
             manager.scanFor(demand);
             return std::to_string(manager.componentCount());
           }));
  counted("tools, reports and scans", sweep, kFloors[GetParam()].others);
}

class RepairFaultSweep : public FaultSweep {};

TEST_P(RepairFaultSweep, GivesTheVolumeBack) {
  Json machine = Json::parse(soundMachine(drive()));
  machine["drives"][0]["layout"] = Json::parse(
      R"({"style": "mbr", "partitions": [{"start_sector": 64, "sectors": 1000, "type": 7},
                                         {"start_sector": 1064, "sectors": 1000, "type": 7}]})");
  machine["volumes"] = Json::parse(R"([{"letter": "V", "drive": "d", "partition": 1},
                                       {"letter": "W", "drive": "d", "partition": 2}])");
  Sweep sweep(drive(), machine.dump());
  RecoverBadSectors tool(ids::kRecoverBadSectors);
  // A component that has had volumes off line has room to note them.
  sweep.before = [&] { sweep.bench().scan(1); };
  sweep.go("repair", actOf(sweep, tool, "repair"));
  counted("repairs", sweep, 240);
}

TEST(ModuleCatalogue, IsReleasedInTheOrderThatHostsHaveSeen) {
  ModuleBench bench(machineOf({driveOf("sata", "ONE")}));
  bench.scan(1);
  ModuleInterface& module = bench.module();
  std::vector<const void*> objects = {module.resource(), &bench.device(0), &bench.manager()};
  for (std::uint32_t group = 0; group < module.diagnosticCount(); ++group) {
    Diagnostic& diagnostic = *module.diagnostic(group);
    for (std::uint32_t i = 0; i < diagnostic.testCount(); ++i) {
      objects.push_back(diagnostic.test(i));
    }
    objects.push_back(&diagnostic);
  }
  for (std::uint32_t i = 0; i < module.toolCount(); ++i) {
    objects.push_back(module.tool(i));
  }
  objects.push_back(&module);
  std::vector<unsigned> freed(objects.size());
  AllocationFaults::watch(objects, freed);
  ReleaseModuleInterfaceInstance();
  AllocationFaults::watch({}, {});
  for (std::size_t i = 0; i < freed.size(); ++i) {
    EXPECT_EQ(freed[i], i + 1) << "object " << i;
  }
}

std::string nameOfDrive(const ::testing::TestParamInfo<std::size_t>& info) {
  return kSoundDrives[info.param].name;
}

/// The test is for these kinds alone, and a member of an array has no volumes.
std::vector<std::size_t> drivesWithAWriteTest() {
  static const std::set<std::string_view> kKinds = {"nvme", "emmc", "sd"};
  std::vector<std::size_t> found;
  for (std::size_t i = 0; i < std::size(kSoundDrives); ++i) {
    if (kSoundDrives[i].controller == DriveKind::Behind::Nothing &&
        kKinds.contains(kSoundDrives[i].kind)) {
      found.push_back(i);
    }
  }
  return found;
}

INSTANTIATE_TEST_SUITE_P(Drives, FaultSweep,
                         ::testing::Range<std::size_t>(0, std::size(kSoundDrives)), nameOfDrive);
/// The tool is for the system's own disks of these kinds.
std::vector<std::size_t> drivesThatAreRepaired() {
  std::vector<std::size_t> found;
  for (std::size_t i = 0; i < std::size(kSoundDrives); ++i) {
    const std::string_view kind = kSoundDrives[i].kind;
    if (kSoundDrives[i].controller == DriveKind::Behind::Nothing &&
        (kind == "sata" || kind == "sas" || kind.starts_with("usb"))) {
      found.push_back(i);
    }
  }
  return found;
}

INSTANTIATE_TEST_SUITE_P(Drives, RepairFaultSweep, ::testing::ValuesIn(drivesThatAreRepaired()),
                         nameOfDrive);
INSTANTIATE_TEST_SUITE_P(Drives, WriteTestFaultSweep, ::testing::ValuesIn(drivesWithAWriteTest()),
                         nameOfDrive);

}  // namespace
}  // namespace ostria::storage::test
