#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/support/tool_host.h"
#include "tests/support/virtual_bench.h"
#include "tools/recover_bad_sectors.h"

namespace ostria::storage {
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

/// One disk, the tool, and a host that listens.
struct Bench {
  explicit Bench(const std::string& badSectors, std::uint64_t sectors = 20011, bool lockable = true)
      : pc(machineWith(badSectors, sectors, lockable)), host(tool) {
    device = pc.device("DISK");
    EXPECT_NE(device, nullptr);
    tool.setDevices({device});
  }

  Lines run(const std::string& operation) {
    host.heard.clear();
    tool.setParameter("Operation", {operation});
    tool.run();
    return host.steps();
  }
  std::string status() { return tool.getParameter("DeviceFinish")->at(1); }
  Lines found() { return *tool.getParameter("BadSectorsList"); }
  Lines info() { return *tool.getParameter("SectorsInfo"); }
  virtual_pc::BlockMedium& medium() { return *pc.pc().drive("disk")->medium; }
  std::vector<std::uint8_t> sector(std::uint64_t lba) {
    std::vector<std::uint8_t> bytes(512);
    medium().peek(lba, bytes.data());
    return bytes;
  }

  testing::VirtualBench pc;
  RecoverBadSectors tool;
  testing::ToolHost host;
  StorageComponent* device;
};

TEST(ScanTest, GoodDiskIsReadToItsEnd) {
  Bench bench("");
  EXPECT_EQ(bench.run("scan"), (Lines{"OnRecoverInit", "OnOperationInit SCAN_TOOL",
                                      "OnDeviceInit 0", "OnDeviceFinish 0|0", "OnRecoverFinish"}));
  EXPECT_EQ(bench.info(), (Lines{"20011", "0", "0", "0"}));
  EXPECT_TRUE(bench.found().empty());
  const std::vector<int> progress = bench.host.progress();
  EXPECT_EQ(progress.front(), 0);
  EXPECT_EQ(progress.back(), 100);
  EXPECT_TRUE(std::is_sorted(progress.begin(), progress.end()));
}

TEST(ScanTest, EveryBadSectorIsFoundAndNothingIsWritten) {
  Bench bench(R"({"lba": 0}, {"lba": 4000, "count": 2}, {"lba": 20010, "kind": "interface"},
                 {"lba": 9000, "kind": "transient", "failures": 1})");
  bench.run("scan");
  EXPECT_EQ(bench.status(), "9");
  EXPECT_EQ(bench.found(), (Lines{"0", "4000", "4001", "20010"}));
  EXPECT_EQ(bench.info(), (Lines{"20011", "4", "0", "4"}));
  EXPECT_EQ(bench.medium().healedSectors(), 0U);
  EXPECT_NE(bench.tool.runLog().text().find(
                ">>> LOG\nBAD_SECTOR_TOOL_STARTED SCAN_TOOL\nBAD_SECTOR_FOUND_AT 0\n"),
            std::string::npos);
}

TEST(ScanTest, WhatEndsAScanEarly) {
  Bench hanging(R"({"lba": 10000, "kind": "hang"})");
  hanging.run("scan");
  EXPECT_EQ(hanging.status(), "14");
  EXPECT_LT(hanging.host.progress().back(), 100);

  Bench bench("");
  const auto stopAtFirstProgress = [&](auto stop) {
    bench.host.abort.setAborted(false);
    bench.host.systemEvents = 0;
    bench.host.onEvent = [stop](Tool&, const std::string& event) {
      if (event == "OnProgress") stop();
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
  EXPECT_EQ(stopAtFirstProgress([&] { bench.pc.pc().drive("disk")->vanish(); }), "8");
}

TEST(RepairTest, SecondPassFindsNothingAndOnlyBadSectorsWereWritten) {
  Bench bench(R"({"lba": 0}, {"lba": 4000, "count": 2}, {"lba": 20010})");
  const auto before = bench.sector(3999);
  bool offline = false;
  bench.host.onEvent = [&](Tool&, const std::string& event) {
    if (event == "OnProgress") offline = !bench.pc.pc().volume('D')->mounted();
  };
  bench.run("repair");
  EXPECT_TRUE(offline);
  EXPECT_TRUE(bench.pc.pc().volume('D')->mounted());
  EXPECT_EQ(bench.status(), "9");
  EXPECT_EQ(bench.found(), (Lines{"0", "4000", "4001", "20010"}));
  EXPECT_EQ(bench.info(), (Lines{"20011", "4", "4", "0"}));
  EXPECT_EQ(bench.medium().healedSectors(), 4U);
  std::vector<std::uint8_t> pattern(512);
  for (std::size_t i = 0; i < pattern.size(); i += 2) pattern[i] = 1;
  EXPECT_EQ(bench.sector(4000), pattern);
  EXPECT_EQ(bench.sector(3999), before);
  EXPECT_NE(bench.sector(4002), pattern);

  bench.run("repair");
  EXPECT_EQ(bench.status(), "0");
  EXPECT_EQ(bench.info(), (Lines{"20011", "0", "0", "0"}));
}

TEST(RepairTest, SectorsThatStayBadAreTold) {
  Bench bench(
      R"({"lba": 100}, {"lba": 200, "on_write": "fails"}, {"lba": 300, "on_write": "stays"})",
      20011, false);
  const Lines steps = bench.run("repair");
  EXPECT_EQ(steps[3], "OnDeviceFinish 0|10 :Unable to unmount all partitions of the device: D:\\");
  EXPECT_EQ(bench.info(), (Lines{"20011", "3", "1", "2"}));
  EXPECT_TRUE(bench.tool.getParameter("Message")->empty());
}

TEST(RepairTest, AnyCallMayFailAndTheDeviceMayGo) {
  Bench bench(R"({"lba": 400, "on_write": "stays"})", 1300);
  virtual_pc::PlatformFaults& faults = bench.pc.pc().faults();
  faults.reset();
  bench.run("repair");
  ASSERT_EQ(bench.status(), "10");
  const std::uint64_t calls = faults.calls();
  const std::size_t handles = virtual_pc::openHandles();
  const std::set<std::string> documented = {"0", "2", "6", "8", "9", "10", "14"};
  const auto check = [&](const std::string& what) {
    EXPECT_EQ(bench.host.heard.back(), "OnRecoverFinish") << what;
    EXPECT_EQ(documented.count(bench.status()), 1U) << what << " gives " << bench.status();
    EXPECT_EQ(virtual_pc::openHandles(), handles) << what;
    EXPECT_TRUE(bench.pc.pc().volume('D')->mounted()) << what;
  };
  ASSERT_GT(calls, 20U);
  std::vector<std::vector<std::uint8_t>> before;
  for (std::uint64_t lba = 0; lba < 1300; ++lba) before.push_back(bench.sector(lba));
  std::set<std::string> listed;
  for (std::uint64_t call = 1; call <= calls; ++call) {
    faults.reset();
    faults.failCall(call, 31);
    bench.run("repair");
    for (const std::string& sector : bench.found()) listed.insert(sector);
    check("call " + std::to_string(call) + " failing");
    faults.reset();
    faults.goneFrom(call);
    bench.run("repair");
    for (const std::string& sector : bench.found()) listed.insert(sector);
    faults.reset();
    check("gone from call " + std::to_string(call));
  }
  for (std::uint64_t lba = 0; lba < 1300; ++lba) {
    if (listed.count(std::to_string(lba)) == 0) {
      EXPECT_EQ(bench.sector(lba), before[lba]) << "a sector that nobody called bad was written";
    }
  }
}

}  // namespace
}  // namespace ostria::storage
