// Scan and repair of bad sectors: what is read, written, counted and left alone.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <windows.h>

#include <functional>
#include <sstream>
#include <stdexcept>
#include <tuple>

#include "tests/support/bench.h"
#include "tests/support/fake_protocol.h"
#include "tests/support/tool_host.h"
#include "tools/recover_bad_sectors.h"
#include "tools/scan_and_fix_tool.h"

namespace ostria::storage::test {
namespace {

using Lines = std::vector<std::string>;

/// One disk, without the brace that ends it.
std::string disk(const std::string& kind, std::uint64_t sectors, const std::string& badSectors) {
  return R"({"format": 1, "drives": [{"name": "d", "kind": ")" + kind +
         R"(", "model": "DISK", "serial": "1", "size_sectors": )" + std::to_string(sectors) +
         R"(, "bad_sectors": [)" + badSectors + "]";
}
/// One disk with a volume.
std::string diskInUse(const std::string& badSectors, std::uint64_t sectors = 20011,
                      bool lockable = true) {
  return disk("sata", sectors, badSectors) + R"(,
     "layout": {"style": "mbr", "partitions": [{"start_sector": 64, "sectors": 1000, "type": 7}]}}],
    "volumes": [{"letter": "D", "drive": "d", "partition": 1, "lockable": )" +
         (lockable ? "true" : "false") + "}]}";
}
/// A drive of 2600 sectors on the SCSI bus whose commands fail as planned.
std::string faultyDrive(const std::string& faults, const std::string& badSectors = "") {
  return disk("sas", 2600, badSectors) + R"(, "faults": [)" + faults + "]}]}";
}

/// A machine, the tool, and a host that listens.
struct Bench {
  explicit Bench(const std::string& machine) : pc(machine), host(tool) {
    device = pc.device("DISK");
    EXPECT_NE(device, nullptr);
    tool.setDevices({device});
  }
  Lines run(const std::string& operation) {
    host.received.clear();
    tool.setParameter("Operation", {operation});
    tool.run();
    // At most once per percent.
    const std::vector<int> progress = host.progress();
    EXPECT_EQ(std::adjacent_find(progress.begin(), progress.end(), std::greater_equal<>()),
              progress.end());
    return host.steps();
  }
  std::string status() { return tool.getParameter("DeviceFinish")->at(1); }
  Lines found() { return *tool.getParameter("BadSectorsList"); }
  Lines info() { return *tool.getParameter("SectorsInfo"); }
  /// "status scanned found fixed open :message" of a run.
  std::string outcome(const std::string& operation) {
    const std::string finish = run(operation)[3];
    std::string out = status();
    for (const std::string& number : info()) {
      out += " " + number;
    }
    const std::size_t message = finish.find(" :");
    return out + (message == std::string::npos ? "" : finish.substr(message));
  }
  /// The message of the latest run without its lines of progress.
  Lines lines() {
    const std::string& log = tool.runLog().text();
    std::istringstream text(log.substr(log.rfind(">>> LOG\n")));
    Lines out;
    for (std::string line; std::getline(text, line);) {
      if (line.find("PROGRESS") == std::string::npos && !line.empty()) {
        out.push_back(line);
      }
    }
    return out;
  }
  std::vector<std::vector<std::uint8_t>> content() {
    std::vector<std::vector<std::uint8_t>> all;
    for (std::uint64_t lba = 0; lba < medium().sectors(); ++lba) {
      medium().peek(lba, all.emplace_back(512).data());
    }
    return all;
  }
  /// The sectors that hold something else now.
  Lines written(const std::vector<std::vector<std::uint8_t>>& before) {
    const auto after = content();
    Lines changed;
    for (std::size_t lba = 0; lba < after.size(); ++lba) {
      if (after[lba] != before[lba]) {
        changed.push_back(std::to_string(lba));
      }
    }
    return changed;
  }
  virtual_pc::BlockMedium& medium() { return *pc.machine().drive("d")->medium; }

  ModuleBench pc;
  RecoverBadSectors tool;
  ToolHost host;
  StorageComponent* device;
};

TEST(ScanTest, WhatEndsAScanEarly) {
  EXPECT_EQ(Bench(faultyDrive("", R"({"lba": 700, "kind": "rejected"})")).outcome("scan"),
            "2 511 0 0 0")
      << "the blocks before it";
  Bench bench(diskInUse(""));
  const auto stopAtFirstProgress = [&](auto stop) {
    bench.host.abort.setAborted(false);
    bench.host.systemEvents = 0;
    bench.host.onEvent = [stop](Tool&, const std::string& event) {
      if (event == "OnProgress") {
        stop();
      }
    };
    const Lines steps = bench.run("scan");
    EXPECT_EQ(steps.back(), "OnRecoverFinish");
    return bench.status();
  };
  EXPECT_EQ(stopAtFirstProgress([&] { bench.host.abort.setAborted(true); }), "8");
  EXPECT_EQ(bench.host.progress(), (std::vector<int>{0, 100}));
  EXPECT_EQ(stopAtFirstProgress([&] { bench.host.systemEvents = 0x08; }), "13");
  EXPECT_EQ(stopAtFirstProgress([&] { bench.host.systemEvents = 0x04; }), "0");
  EXPECT_EQ(stopAtFirstProgress([] { throw std::runtime_error("host"); }), "6");
  EXPECT_EQ(stopAtFirstProgress([&] { bench.pc.machine().drive("d")->vanish(); }), "8");
}

TEST(RepairTest, EveryKindOfBadSector) {
  // Two in one block, some that no write reaches, the last of all; two that can be read after
  // all.
  Bench bench(diskInUse(
      R"({"lba": 300}, {"lba": 301, "on_write": "stays"}, {"lba": 700, "on_write": "fails"},
         {"lba": 1000, "kind": "transient"}, {"lba": 1500, "kind": "slow"}, {"lba": 2599})",
      2600));
  const auto before = bench.content();
  const Lines bad = {"300", "301", "700", "2599"};
  bench.run("scan");
  EXPECT_EQ(bench.status(), "9");
  EXPECT_EQ(bench.found(), bad);
  EXPECT_EQ(bench.info(), (Lines{"2600", "4", "0", "4"}));
  EXPECT_EQ(bench.lines(),
            (Lines{">>> LOG", "BAD_SECTOR_TOOL_STARTED SCAN_TOOL", "BAD_SECTOR_FOUND_AT 300",
                   "BAD_SECTOR_FOUND_AT 301", "BAD_SECTOR_FOUND_AT 700", "BAD_SECTOR_FOUND_AT 2599",
                   "BAD_SECTOR_TOOL_FINISHED SCAN_TOOL", "<<< LOG"}));
  EXPECT_EQ(bench.written(before), Lines{});

  EXPECT_EQ(bench.run("repair"),
            (Lines{"OnRecoverInit", "OnOperationInit SCAN_AND_FIX_TOOL", "OnDeviceInit 0",
                   "OnDeviceFinish 0|10", "OnRecoverFinish"}));
  EXPECT_EQ(bench.found(), bad);
  EXPECT_EQ(bench.info(), (Lines{"2600", "4", "2", "2"}));
  EXPECT_EQ(
      bench.lines(),
      (Lines{">>> LOG", "BAD_SECTOR_TOOL_STARTED SCAN_AND_FIX_TOOL", "BAD_SECTOR_FOUND_AT 300",
             "BAD_SECTOR_FIXED_AT 300", "BAD_SECTOR_FOUND_AT 301", "BAD_SECTOR_NOT_FIXED_AT 301",
             "BAD_SECTOR_FOUND_AT 700", "BAD_SECTOR_NOT_FIXED_AT 700", "BAD_SECTOR_FOUND_AT 2599",
             "BAD_SECTOR_FIXED_AT 2599", "BAD_SECTOR_TOOL_FINISHED SCAN_AND_FIX_TOOL", "<<< LOG"}));
  EXPECT_EQ(bench.written(before), (Lines{"300", "301", "2599"})) << "none that is good";
  const auto mended = bench.content()[300];
  for (std::size_t i = 0; i < 512; ++i) {
    ASSERT_EQ(mended[i], 1 - i % 2) << "what is written";
  }
  bench.run("scan");
  EXPECT_EQ(bench.found(), (Lines{"301", "700"}));
}

TEST(RepairTest, TimeOutsCallNoSectorMendedOrLost) {
  Bench hanging(diskInUse(R"({"lba": 600, "kind": "hang"})", 1300));
  const auto before = hanging.content();
  hanging.run("repair");
  EXPECT_EQ(hanging.status(), "14");
  EXPECT_TRUE(hanging.found().empty());
  EXPECT_LT(hanging.host.progress().back(), 100);
  EXPECT_EQ(hanging.lines(),
            (Lines{">>> LOG", "BAD_SECTOR_TOOL_STARTED SCAN_AND_FIX_TOOL", "<<< LOG"}));
  EXPECT_EQ(hanging.written(before), Lines{});

  // Neither mended nor known to stay bad: in the list, and in no other counter.
  using Result = ProtocolResult;
  const struct {
    Result confirmed;
    Result written;
    ToolStatus status;
    unsigned writes;
  } endings[] = {
      {Result::MediumError, Result::WriteTimeout, ToolStatus::WriteTimeout, 1},
      {Result::MediumError, Result::ReadTimeout, ToolStatus::ReadTimeout, 1},
      {Result::MediumError, Result::CommandRejected, ToolStatus::NotRepaired, 1},
      {Result::MediumError, Result::Success, ToolStatus::NotRepaired, 1},  // reads back badly
      // Without the protocol's own word for a medium error nothing is written.
      {Result::ReadTimeout, Result::Success, ToolStatus::ReadTimeout, 0},
      {Result::Success, Result::Success, ToolStatus::NotRepaired, 0},
      {Result::InterfaceCrcError, Result::Success, ToolStatus::NotRepaired, 0},
      {Result::TransportFailure, Result::Success, ToolStatus::NotRepaired, 0},
      {Result::CommandRejected, Result::Success, ToolStatus::NotRepaired, 0},
      {Result::DeviceError, Result::Success, ToolStatus::NotRepaired, 0},
  };
  for (const auto& ending : endings) {
    FakeDevice device;
    device.component->setConnection(DeviceConnection::RaidMember);
    RecoverBadSectors owner;
    ScanAndFixTool repair(&owner);
    repair.setComponent(device.component.get());
    EXPECT_EQ(repair.execute({}, 0), ToolStatus::CouldNotRun);
    device.protocol->results["Write"] = ending.written;
    device.protocol->results["Read"] = ending.confirmed;
    EXPECT_EQ(repair.handleBadSector(7), ending.status);
    EXPECT_EQ(device.protocol->count("Write 7 1"), ending.writes);
    const bool open = ending.status != ToolStatus::NotRepaired;
    // There is no fifth counter; the list of bad sectors lies behind the fourth.
    repair.addToStatistic(4, 1);
    EXPECT_EQ(*repair.getSectorStatistics(),
              (RecoverBadSectorsOperation::SectorStatistics{0, 1, 0, open ? 0u : 1u}));
    EXPECT_EQ(*repair.getBadSectorList(), std::list<std::uint64_t>{7});
  }
}

TEST(ScanTest, WhatCouldNotBeReadIsNeverNothingFound) {
  const std::string stepped =
      " :Sectors that could not be read, for reasons other than the medium: 2600.";
  const struct {
    const char* what;
    const char* fault;       ///< of every READ
    const char* unrepaired;  ///< null where nothing is known of the sectors
    bool rewritten = false;
  } rows[] = {
      {"refused", R"("transport", "error": 5)", nullptr},
      {"aborted", R"("device_error", "codes": [11, 0, 0])", nullptr},
      {"reserved", R"("device_error", "codes": [6, 41, 0])", nullptr},
      {"medium", R"("device_error", "codes": [3, 17, 0])", "", true},
      // Broken electronics answer so to every read; the sectors may be well.
      {"hardware", R"("device_error", "codes": [4, 68, 0])",
       " :Bad sectors that were not rewritten, as the device reported a hardware error: 2600."},
      {"cable", R"("device_error", "codes": [11, 71, 3])",
       " :Bad sectors that were not rewritten, as the device did not confirm them: 2600."},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    std::string faults;
    for (const char* command : {"8", "40", "136", "168"}) {
      faults += std::string(faults.empty() ? "" : ",") + R"({"times": 0, "command": )" + command +
                R"(, "action": )" + row.fault + "}";
    }
    Bench drive(faultyDrive(faults));
    const bool silent = row.unrepaired == nullptr;
    EXPECT_EQ(drive.outcome("scan"), silent ? "6 0 0 0 0" + stepped : "9 2600 2600 0 2600");
    const auto before = drive.content();
    EXPECT_EQ(drive.outcome("repair"),
              silent ? "6 0 0 0 0" + stepped : std::string("10 2600 2600 0 2600") + row.unrepaired);
    EXPECT_EQ(drive.content() != before, row.rewritten);
  }
  // Some of them only: the rest was read, and yet it is not "finished".
  Bench gaps(faultyDrive(
      R"({"action": "device_error", "codes": [11, 0, 0], "command": 40, "occurrence": 6, "times": 400},
         {"action": "device_error", "codes": [11, 0, 0], "command": 136, "times": 400})"));
  EXPECT_EQ(
      gaps.outcome("scan"),
      "8 2403 0 0 0 :Sectors that could not be read, for reasons other than the medium: 197.");
}

TEST(RepairTest, WhatHappensInTheMiddleCostsOneDeviceOnly) {
  ModuleBench pc(R"({"format": 1, "drives": [
    {"name": "a", "kind": "sata", "model": "A", "serial": "1", "size_sectors": 20011,
     "layout": {"style": "mbr", "partitions": [{"start_sector": 64, "sectors": 1000, "type": 7}]}},
    {"name": "b", "kind": "sata", "model": "B", "serial": "2", "size_sectors": 20011,
     "layout": {"style": "mbr", "partitions": [{"start_sector": 64, "sectors": 1000, "type": 7}]}}],
    "volumes": [{"letter": "D", "drive": "a", "partition": 1},
                {"letter": "E", "drive": "b", "partition": 1}]})");
  RecoverBadSectors tool;
  ToolHost host(tool);
  tool.setDevices({pc.device("A"), pc.device("B")});
  tool.setParameter("Operation", {"repair"});
  const std::size_t handles = virtual_pc::openHandles();
  bool stays = false;
  const auto repairWith = [&](const std::function<void()>& happens) {
    bool happened = false;
    host.received.clear();
    host.onEvent = [&](Tool& running, const std::string& event) {
      if (event == "OnDeviceFinish" && !stays) {
        host.abort.setAborted(false);
        host.systemEvents = 0;
      }
      if (!happened && event == "OnProgress" &&
          std::stoi(running.getParameter("Progress")->front()) >= 40) {
        happened = true;
        EXPECT_FALSE(pc.machine().volume('D')->mounted());
        EXPECT_TRUE(pc.machine().volume('E')->mounted());
        happens();
      }
    };
    tool.run();
    EXPECT_TRUE(pc.machine().volume('D')->mounted());
    EXPECT_TRUE(pc.machine().volume('E')->mounted());
    EXPECT_EQ(virtual_pc::openHandles(), handles);
    return host.steps().at(3) + " " + host.steps().at(5);
  };
  EXPECT_EQ(repairWith([&] { host.abort.setAborted(true); }),
            "OnDeviceFinish 0|8 OnDeviceFinish 1|0");
  stays = true;
  std::uint64_t calls = 0;
  EXPECT_EQ(repairWith([&] {
              host.abort.setAborted(true);
              calls = pc.machine().faults().calls();
            }),
            "OnDeviceFinish 0|8 OnDeviceFinish 1|8");
  EXPECT_LT(pc.machine().faults().calls() - calls, 20u) << "the second device was touched";
  stays = false;
  host.abort.setAborted(false);
  EXPECT_EQ(repairWith([&] { host.systemEvents = 0x40; }),
            "OnDeviceFinish 0|13 OnDeviceFinish 1|0");
  EXPECT_EQ(repairWith([&] { pc.machine().drive("a")->vanish(); }),
            "OnDeviceFinish 0|8 OnDeviceFinish 1|0");
}

TEST(ScanTest, ProgressGoesFromNothingToTheWhole) {
  for (const std::uint64_t sectors : {1ull, 50ull, 101ull, 12345ull, 600000ull}) {
    Bench bench(disk("sata", sectors, "") + "}]}");
    EXPECT_EQ(bench.run("scan")[3], "OnDeviceFinish 0|0") << sectors;
    EXPECT_EQ(bench.host.progress().front(), 0);
    EXPECT_EQ(bench.host.progress().back(), 100) << sectors;
  }
}

TEST(RepairTest, SectorsThatStayBadAreReported) {
  const std::string bad =
      R"({"lba": 100}, {"lba": 200, "on_write": "fails"}, {"lba": 300, "on_write": "stays"})";
  // A disk whose volume stays mounted is left alone, and so are the numbers of the run before.
  Bench inUse(diskInUse(bad, 20011, false));
  inUse.run("scan");
  EXPECT_EQ(inUse.run("repair")[3],
            "OnDeviceFinish 0|6 :Unable to unmount all partitions of the device|D:\\");
  EXPECT_EQ(inUse.info(), (Lines{"0", "0", "0", "0"}));
  EXPECT_TRUE(inUse.found().empty());
  EXPECT_EQ(inUse.medium().healedSectors(), 0u);
  EXPECT_TRUE(inUse.tool.getParameter("Message")->empty());

  // Forced, it is repaired below the volume, which is named all the same.
  inUse.tool.setParameter("ForceMounted", {"T"});
  EXPECT_EQ(inUse.run("repair")[3],
            "OnDeviceFinish 0|10 :Unable to unmount all partitions of the device|D:\\");
  EXPECT_EQ(*inUse.tool.getParameter("RepairedSectorsList"), Lines{"100"});
  EXPECT_TRUE(inUse.pc.machine().volume('D')->mounted());
}

/// Closes so many of the open handles, the latest first.
void closeLatestHandles(unsigned count) {
  HANDLE probe = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  auto value = reinterpret_cast<std::uintptr_t>(probe);
  for (CloseHandle(probe); count != 0 && value != 0; --value) {
    count -= CloseHandle(reinterpret_cast<HANDLE>(value)) != FALSE ? 1u : 0u;
  }
}

TEST(RepairTest, VolumesWithoutALetterAndOnSeveralDisksGoOffLineToo) {
  // Taken in the order of the list, given back in the reverse one.
  constexpr const char* kTaken = R"(\\?\Volume{5a5a0000-0000-0000-0000-000000000045}\)";
  const std::string lost = "The volume could not be mounted again: ";
  const struct {
    bool lockable;
    bool closed;  ///< somebody closes the handles that keep the volumes off line
    std::string finish;
    const char* mounted;  ///< in the middle
  } rows[] = {{true, false, "9", "---"},
              {false, false,
               std::string("6 :Unable to unmount all partitions of the device|") + kTaken, ""},
              {true, true, "9 :" + lost + kTaken + ".|" + lost + "S:\\.|" + lost + "D:\\.", "---"}};
  for (const auto& row : rows) {
    ModuleBench pc(std::string(R"({"format": 1, "drives": [
      {"name": "d", "kind": "sata", "model": "DISK", "serial": "1", "size_sectors": 2600,
       "bad_sectors": [{"lba": 100}, {"lba": 2100}],
       "layout": {"style": "gpt", "partitions": [{"start_sector": 64, "sectors": 1000},
         {"start_sector": 1064, "sectors": 1000}, {"start_sector": 2064, "sectors": 500}]}},
      {"name": "o", "kind": "sata", "model": "OTHER", "serial": "2", "size_sectors": 2600,
       "layout": {"style": "gpt", "partitions": [{"start_sector": 64, "sectors": 1000}]}}],
      "volumes": [{"letter": "D", "drive": "d", "partition": 1},
        {"letter": "S", "drive": "o", "partition": 1,
         "further_parts": [{"drive": "d", "partition": 3}]},
        {"letter": "E", "lettered": false, "drive": "d", "partition": 2, "lockable": )") +
                   (row.lockable ? "true" : "false") + "}]}");
    RecoverBadSectors tool;
    ToolHost host(tool);
    // The volumes are looked up anew: these may have been mounted since the disks were listed.
    pc.device("DISK")->partitionTable()->partitions.clear();
    tool.setDevices({pc.device("DISK")});
    tool.setParameter("Operation", {"repair"});
    std::string mounted;
    const auto look = [&] {
      mounted.clear();
      for (const char letter : {'D', 'E', 'S'}) {
        mounted += pc.machine().volume(letter)->mounted() ? letter : '-';
      }
    };
    host.onEvent = [&](Tool&, const std::string& event) {
      if (event == "OnProgress" && mounted.empty()) {
        look();
        if (row.closed) {
          closeLatestHandles(3);
        }
      }
    };
    tool.run();
    EXPECT_EQ(host.steps()[3], "OnDeviceFinish 0|" + row.finish);
    EXPECT_EQ(mounted, row.mounted);
    look();
    EXPECT_EQ(mounted, "DES");
  }
}

TEST(RepairTest, WhateverFailsNoGoodSectorIsWritten) {
  Bench bench(diskInUse(R"({"lba": 400, "on_write": "stays"})", 1300));
  virtual_pc::PlatformFaults& faults = bench.pc.machine().faults();
  const auto before = bench.content();
  unsigned unlisted = 0;
  const auto repair = [&](std::uint64_t failing, std::uint64_t gone) {
    faults.reset();
    faults.failCall(failing, 31);
    faults.goneFrom(gone);
    const Lines steps = bench.run("repair");
    EXPECT_NE(bench.status(), "0") << failing << " " << gone;
    // What is mounted is not known then, and the volume was not taken off line.
    if (steps.size() > 3 && steps[3].find("could not be listed") != std::string::npos) {
      ++unlisted;
      EXPECT_EQ(bench.status(), "6") << failing;
    }
    EXPECT_TRUE(bench.pc.machine().volume('D')->mounted()) << failing << " " << gone;
    const std::uint64_t calls = faults.calls();
    faults.reset();
    return calls;
  };
  const std::uint64_t calls = repair(0, 0);
  ASSERT_GT(calls, 20u);
  std::set<std::string> listed;
  for (std::uint64_t call = 1; call <= calls; ++call) {
    for (const bool gone : {false, true}) {
      repair(gone ? 0 : call, gone ? call : 0);
      const Lines found = bench.found();
      listed.insert(found.begin(), found.end());
    }
  }
  EXPECT_GT(unlisted, 0u);
  for (const std::string& lba : bench.written(before)) {
    EXPECT_TRUE(listed.contains(lba)) << "a sector that nobody called bad was written: " << lba;
  }
}

TEST(ScanTest, ADeviceWhoseSectorsChangeTheirSizeIsReadNoFurther) {
  Bench bench(diskInUse(""));
  FakeDevice device;
  unsigned looks = 0;
  device.protocol->onGetProperties = [&] {
    device.protocol->record().logicalSectorSize = ++looks == 1 ? 512 : 4096;
  };
  bench.tool.setDevices({device.component.get()});
  EXPECT_EQ(bench.run("scan").at(3), "OnDeviceFinish |8");
  EXPECT_TRUE(device.protocol->reads.empty());
  // Nor has it a table, of which a repair would have to know.
  EXPECT_THAT(bench.run("repair").at(3),
              testing::HasSubstr("The partition table of the device could not be read."));
}

TEST(ScanTest, AHandlerMayChangeAllThatItSees) {
  Bench bench(diskInUse(""));
  bench.host.onEvent = [&](Tool& running, const std::string& event) {
    running.setDevices({});
    if (event == "OnDeviceInit") {
      running.run();  // refused: one run at a time
      running.setParameter("Operation", {"repair"});
      bench.host.handlers.erase("OnProgress");
    }
  };
  EXPECT_EQ(bench.run("scan"), (Lines{"OnRecoverInit", "OnOperationInit SCAN_TOOL",
                                      "OnDeviceInit 0", "OnDeviceFinish 0|0", "OnRecoverFinish"}));
}

/// Records so many bad sectors for each that it meets, and counts none as mended or not.
template <typename Operation, std::uint64_t kSectors>
struct Recording final : Operation {
  using Operation::Operation;
  ToolStatus handleBadSector(std::uint64_t sector) override {
    for (std::uint64_t i = 0; i < kSectors; ++i) {
      this->recordBadSector(sector + i);
    }
    return ToolStatus::Recorded;
  }
};

TEST(ScanTest, SectorsThatWereNotMendedOrNotListedAreReported) {
  Bench bench(diskInUse(R"({"lba": 100})"));
  // As when a repair runs out of time.
  Recording<ScanAndFixTool, 1> repair(&bench.tool);
  repair.setComponent(bench.device);
  EXPECT_EQ(repair.execute({}, 0), ToolStatus::NotRepaired);
  // A dead disk: more than anybody could look at.
  Recording<ScanTool, 100500> scan(&bench.tool);
  scan.setComponent(bench.device);
  EXPECT_EQ(scan.execute({}, 0), ToolStatus::Repaired);
  EXPECT_EQ(scan.notices(), Lines{"Bad sectors that are counted but not listed: 500."});
  EXPECT_EQ(scan.getSectorStatistics()->at(1), 100500u);
  EXPECT_EQ(scan.getBadSectorList()->size(), 100000u);
  EXPECT_LT(scan.getMessage().size(), 4u << 20);
}

}  // namespace
}  // namespace ostria::storage::test
