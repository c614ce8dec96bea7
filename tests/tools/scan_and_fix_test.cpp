// Scan and repair of bad sectors: what is read, written, counted and left alone.
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

std::string machineWith(const std::string& badSectors, std::uint64_t sectors, bool lockable) {
  return R"({"format": 1, "drives": [
    {"name": "disk", "kind": "sata", "model": "DISK", "serial": "1", "size_sectors": )" +
         std::to_string(sectors) + R"(, "bad_sectors": [)" + badSectors + R"(],
     "layout": {"style": "mbr", "partitions": [{"start_sector": 64, "sectors": 1000, "type": 7}]}}],
    "volumes": [{"letter": "D", "drive": "disk", "partition": 1, "lockable": )" +
         (lockable ? "true" : "false") + "}]}";
}

/// A machine, the tool, and a host that listens.
struct ToolBench {
  explicit ToolBench(const std::string& machine) : pc(machine), host(tool) {
    device = pc.device("DISK");
    EXPECT_NE(device, nullptr);
    tool.setDevices({device});
  }
  Lines run(const std::string& operation) {
    host.received.clear();
    tool.setParameter("Operation", {operation});
    tool.run();
    return host.steps();
  }

  ModuleBench pc;
  RecoverBadSectors tool;
  ToolHost host;
  StorageComponent* device;
};

/// One disk with a volume.
struct Bench : ToolBench {
  explicit Bench(const std::string& badSectors, std::uint64_t sectors = 20011, bool lockable = true)
      : ToolBench(machineWith(badSectors, sectors, lockable)) {}

  std::string status() { return tool.getParameter("DeviceFinish")->at(1); }
  Lines found() { return *tool.getParameter("BadSectorsList"); }
  Lines info() { return *tool.getParameter("SectorsInfo"); }
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
      all.push_back(sector(lba));
    }
    return all;
  }
  virtual_pc::BlockMedium& medium() { return *pc.machine().drive("disk")->medium; }
  std::vector<std::uint8_t> sector(std::uint64_t lba) {
    std::vector<std::uint8_t> bytes(512);
    medium().peek(lba, bytes.data());
    return bytes;
  }
};

/// A drive of 2600 sectors on the SCSI bus whose commands fail as planned.
struct FaultyDrive : ToolBench {
  explicit FaultyDrive(const std::string& faults, const std::string& badSectors = "")
      : ToolBench(R"({"format": 1, "drives": [{"name": "d", "kind": "sas", "model": "DISK",
           "serial": "1", "size_sectors": 2600, "bad_sectors": [)" +
                  badSectors + R"(], "faults": [)" + faults + "]}]}") {}
  /// "status scanned found fixed open :message".
  std::string outcome(const std::string& operation) {
    std::string message;
    host.onEvent = [&](Tool& running, const std::string& event) {
      if (event == "OnDeviceFinish") {
        for (const std::string& text : *running.getParameter("Message")) {
          message += " :" + text;
        }
      }
    };
    run(operation);
    std::string out = tool.getParameter("DeviceFinish")->at(1);
    for (const std::string& number : *tool.getParameter("SectorsInfo")) {
      out += " " + number;
    }
    return out + message;
  }
};

TEST(ScanTest, WhatEndsAScanEarly) {
  {
    Bench hanging(R"({"lba": 10000, "kind": "hang"})");
    hanging.run("scan");
    EXPECT_EQ(hanging.status(), "14");
    EXPECT_LT(hanging.host.progress().back(), 100);
  }
  {
    FaultyDrive refusing("", R"({"lba": 700, "kind": "rejected"})");
    EXPECT_EQ(refusing.outcome("scan"), "2 511 0 0 0") << "the blocks before it";
  }
  Bench bench("");
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
  EXPECT_EQ(stopAtFirstProgress([&] { bench.pc.machine().drive("disk")->vanish(); }), "8");
}

TEST(RepairTest, EveryKindOfBadSector) {
  // Two in one block, some that no write reaches, the last of all; two that can be read after
  // all.
  Bench bench(
      R"({"lba": 300}, {"lba": 301, "on_write": "stays"}, {"lba": 700, "on_write": "fails"},
                 {"lba": 1000, "kind": "transient"}, {"lba": 1500, "kind": "slow"}, {"lba": 2599})",
      2600);
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
  EXPECT_EQ(bench.content(), before);

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
  const auto after = bench.content();
  for (std::size_t i = 0; i < 512; ++i) {
    ASSERT_EQ(after[300][i], 1 - i % 2) << "what is written";
  }
  for (std::size_t lba = 0; lba < after.size(); ++lba) {
    if (std::find(bad.begin(), bad.end(), std::to_string(lba)) == bad.end()) {
      EXPECT_EQ(after[lba], before[lba]) << "a good sector was written: " << lba;
    }
  }
  bench.run("scan");
  EXPECT_EQ(bench.found(), (Lines{"301", "700"}));
}

TEST(RepairTest, TimeOutsCallNoSectorMendedOrLost) {
  Bench hanging(R"({"lba": 600, "kind": "hang"})", 1300);
  const auto before = hanging.content();
  hanging.run("repair");
  EXPECT_EQ(hanging.status(), "14");
  EXPECT_TRUE(hanging.found().empty());
  EXPECT_LT(hanging.host.progress().back(), 100);
  EXPECT_EQ(hanging.lines(),
            (Lines{">>> LOG", "BAD_SECTOR_TOOL_STARTED SCAN_AND_FIX_TOOL", "<<< LOG"}));
  EXPECT_EQ(hanging.content(), before);

  // Neither mended nor known to stay bad: in the list, and in no other counter.
  struct Ending {
    ProtocolResult confirmed;
    ProtocolResult written;
    ToolStatus status;
    unsigned writes;
  };
  using Result = ProtocolResult;
  const Ending endings[] = {
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
  for (const Ending& ending : endings) {
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
    EXPECT_EQ(*repair.getSectorStatistics(),
              (RecoverBadSectorsOperation::SectorStatistics{0, 1, 0, open ? 0u : 1u}));
    EXPECT_EQ(*repair.getBadSectorList(), std::list<std::uint64_t>{7});
  }
}

/// A repair whose write runs out of time.
class SlowRepair final : public ScanAndFixTool {
 public:
  using ScanAndFixTool::ScanAndFixTool;
  ToolStatus handleBadSector(std::uint64_t sector) override {
    recordBadSector(sector);
    return ToolStatus::WriteTimeout;
  }
};

TEST(RepairTest, ARepairThatTimedOutIsNotAllRepaired) {
  Bench bench(R"({"lba": 100})");
  SlowRepair repair(&bench.tool);
  repair.setComponent(bench.device);
  EXPECT_EQ(repair.execute({}, 0), ToolStatus::NotRepaired);
  const RecoverBadSectorsOperation::SectorStatistics wanted{20011, 1, 0, 0};
  EXPECT_EQ(*repair.getSectorStatistics(), wanted);
  // There is no fifth counter; the list of bad sectors lies behind the fourth.
  repair.addToStatistic(4, 1);
  EXPECT_EQ(*repair.getSectorStatistics(), wanted);
  EXPECT_EQ(repair.getBadSectorList()->front(), 100u);
}

TEST(ScanTest, WhatCouldNotBeReadIsNeverNothingFound) {
  struct Row {
    const char* what;
    const char* faults;  ///< of READ(10) and READ(16)
    const char* scan;
    const char* repair;
    bool rewritten = false;
  };
  const std::string stepped =
      " :Sectors that could not be read, for reasons other than the medium: ";
  const Row rows[] = {
      {"refused", R"({"action": "transport", "error": 5, "times": 0)", "6 0 0 0 0", "6 0 0 0 0"},
      {"aborted", R"({"action": "device_error", "codes": [11, 0, 0], "times": 0)", "6 0 0 0 0",
       "6 0 0 0 0"},
      {"reserved", R"({"action": "device_error", "codes": [6, 41, 0], "times": 0)", "6 0 0 0 0",
       "6 0 0 0 0"},
      {"medium", R"({"action": "device_error", "codes": [3, 17, 0], "times": 0)",
       "9 2600 2600 0 2600", "10 2600 2600 0 2600", true},
      // Broken electronics answer so to every read; the sectors may be well.
      {"hardware", R"({"action": "device_error", "codes": [4, 68, 0], "times": 0)",
       "9 2600 2600 0 2600",
       "10 2600 2600 0 2600 :Bad sectors that were not rewritten, as the device reported a "
       "hardware "
       "error: 2600."},
      {"cable", R"({"action": "device_error", "codes": [11, 71, 3], "times": 0)",
       "9 2600 2600 0 2600",
       "10 2600 2600 0 2600 :Bad sectors that were not rewritten, as the device did not confirm "
       "them: 2600."},
  };
  for (const Row& row : rows) {
    const auto faults = [&](const char* command) {
      return std::string(row.faults) + ", \"command\": " + command + "}";
    };
    FaultyDrive drive(faults("8") + "," + faults("40") + "," + faults("136") + "," + faults("168"));
    const bool silent = std::string(row.scan).substr(0, 1) == "6";
    EXPECT_EQ(drive.outcome("scan"), row.scan + (silent ? stepped + "2600." : "")) << row.what;
    const auto sector = [&] {
      std::vector<std::uint8_t> bytes(512);
      drive.pc.machine().drive("d")->medium->peek(1000, bytes.data());
      return bytes;
    };
    const auto before = sector();
    EXPECT_EQ(drive.outcome("repair"), row.repair + (silent ? stepped + "2600." : "")) << row.what;
    EXPECT_EQ(sector() != before, row.rewritten) << row.what;
  }
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
      if (happened || event != "OnProgress" ||
          std::stoi(running.getParameter("Progress")->front()) < 40) {
        return;
      }
      happened = true;
      EXPECT_FALSE(pc.machine().volume('D')->mounted());
      EXPECT_TRUE(pc.machine().volume('E')->mounted());
      happens();
    };
    tool.run();
    EXPECT_TRUE(pc.machine().volume('D')->mounted());
    EXPECT_TRUE(pc.machine().volume('E')->mounted());
    EXPECT_EQ(virtual_pc::openHandles(), handles);
    Lines finished;
    for (const std::string& line : host.steps()) {
      if (line.find("OnDeviceFinish") == 0) {
        finished.push_back(line);
      }
    }
    return finished;
  };
  EXPECT_EQ(repairWith([&] { host.abort.setAborted(true); }),
            (Lines{"OnDeviceFinish 0|8", "OnDeviceFinish 1|0"}));
  stays = true;
  std::uint64_t calls = 0;
  EXPECT_EQ(repairWith([&] {
              host.abort.setAborted(true);
              calls = pc.machine().faults().calls();
            }),
            (Lines{"OnDeviceFinish 0|8", "OnDeviceFinish 1|8"}));
  EXPECT_LT(pc.machine().faults().calls() - calls, 20u) << "the second device was touched";
  stays = false;
  host.abort.setAborted(false);
  EXPECT_EQ(repairWith([&] { host.systemEvents = 0x40; }),
            (Lines{"OnDeviceFinish 0|13", "OnDeviceFinish 1|0"}));
  EXPECT_EQ(repairWith([&] { pc.machine().drive("a")->vanish(); }),
            (Lines{"OnDeviceFinish 0|8", "OnDeviceFinish 1|0"}));
}

TEST(ScanTest, ProgressComesAtMostOncePerPercent) {
  for (const std::uint64_t sectors : {1ull, 50ull, 101ull, 12345ull, 600000ull}) {
    ToolBench bench(R"({"format": 1, "drives": [{"name": "d", "kind": "sata", "model": "DISK",
                        "serial": "1", "size_sectors": )" +
                    std::to_string(sectors) + "}]}");
    EXPECT_EQ(bench.run("scan")[3], "OnDeviceFinish 0|0") << sectors;
    const std::vector<int> progress = bench.host.progress();
    ASSERT_FALSE(progress.empty());
    EXPECT_EQ(progress.front(), 0);
    EXPECT_EQ(progress.back(), 100) << sectors;
    EXPECT_EQ(std::adjacent_find(progress.begin(), progress.end(), std::greater_equal<>()),
              progress.end())
        << sectors;
  }
}

TEST(RepairTest, SectorsThatStayBadAreReported) {
  const std::string bad =
      R"({"lba": 100}, {"lba": 200, "on_write": "fails"}, {"lba": 300, "on_write": "stays"})";
  // A disk whose volume stays mounted is left alone, and so are the numbers of the run before.
  Bench inUse(bad, 20011, false);
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
  Bench bench(R"({"lba": 400, "on_write": "stays"})", 1300);
  virtual_pc::PlatformFaults& faults = bench.pc.machine().faults();
  const auto before = bench.content();
  const auto repair = [&](std::uint64_t failing, std::uint64_t gone) {
    faults.reset();
    faults.failCall(failing, 31);
    faults.goneFrom(gone);
    bench.run("repair");
    EXPECT_NE(bench.status(), "0") << failing << " " << gone;
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
  for (std::uint64_t lba = 0; lba < 1300; ++lba) {
    if (!listed.contains(std::to_string(lba))) {
      EXPECT_EQ(bench.sector(lba), before[lba]) << "a sector that nobody called bad was written";
    }
  }
}

TEST(ScanTest, ADeviceWhoseSectorsChangeTheirSizeIsReadNoFurther) {
  ModuleBench pc(R"({"format": 1})");
  FakeDevice device;
  unsigned looks = 0;
  device.protocol->onGetProperties = [&] {
    device.protocol->record().logicalSectorSize = ++looks == 1 ? 512 : 4096;
  };
  RecoverBadSectors tool;
  ToolHost host(tool);
  tool.setDevices({device.component.get()});
  tool.setParameter("Operation", {"scan"});
  tool.run();
  EXPECT_EQ(tool.getParameter("DeviceFinish")->at(1), "8");
  EXPECT_TRUE(device.protocol->reads.empty());
}

TEST(ScanTest, AHandlerMayChangeAllThatItSees) {
  Bench bench("");
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

/// A scan that meets more bad sectors than anybody could look at.
class DeadDiskScan final : public ScanTool {
 public:
  using ScanTool::ScanTool;
  ToolStatus handleBadSector(std::uint64_t sector) override {
    for (std::uint64_t i = 0; i < 100500; ++i) {
      recordBadSector(sector + i);
    }
    return ToolStatus::Recorded;
  }
};

TEST(ScanTest, ADeadDiskIsCountedToItsEndAndListedInPart) {
  Bench bench(R"({"lba": 100})");
  DeadDiskScan scan(&bench.tool);
  scan.setComponent(bench.device);
  EXPECT_EQ(scan.execute({}, 0), ToolStatus::Repaired);
  EXPECT_EQ(scan.notices(), Lines{"Bad sectors that are counted but not listed: 500."});
  EXPECT_EQ(scan.getSectorStatistics()->at(1), 100500u);
  EXPECT_EQ(scan.getBadSectorList()->size(), 100000u);
  EXPECT_LT(scan.getMessage().size(), 4u << 20);
}

}  // namespace
}  // namespace ostria::storage::test
