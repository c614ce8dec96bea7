// RAID controllers of the virtual PC: what is listed, in which order, and what a bad answer costs.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/windows/raid/win_lsi_sender.h"
#include "raid/csmi/csmi_raid_component.h"
#include "raid/lsi/lsi_raid_component.h"
#include "tests/support/raid_bench.h"

namespace ostria::storage::test {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

const std::vector<std::string> kChipsetMembers = {"RPC-MIR-01", "RPC-MIR-02", "RPC-SAS-01",
                                                  "RPC-NVM-01"};
const std::vector<std::string> kAdapterMembers = {"RPC-STR-01", "RPC-STR-02", "RPC-STR-03",
                                                  "RPC-SPA-01"};

/// Compilers differ in what a list of one braced element is.
Json listed(Json faults) { return faults.is_array() ? faults : Json::array({std::move(faults)}); }

Json chipsetFaults(Json faults) {
  Json machine = raidMachine();
  machine["controllers"][0]["csmi"]["faults"] = listed(std::move(faults));
  return machine;
}
Json libraryFaults(Json faults) {
  Json machine = raidMachine();
  machine["storelib"]["faults"] = listed(std::move(faults));
  return machine;
}

std::vector<std::string> lines(const std::vector<PropertyEntry>& entries) {
  std::vector<std::string> out;
  for (const PropertyEntry& entry : entries) {
    out.push_back(entry.key + "=" + entry.value);
  }
  return out;
}

/// The controllers that are listed, each with its lines: the properties, then title and lines of
/// each group.
std::vector<std::vector<std::string>> controllers() {
  RaidComponentManager manager(Identifier(0, 0, 0));
  manager.scan();
  std::vector<std::vector<std::string>> out;
  for (std::uint32_t i = 0; i < manager.componentCount(); ++i) {
    RaidComponent& controller = *manager.raidComponent(i);
    const ComponentDescription description = controller.description();
    std::vector<std::string> all = {controller.id() + ": " + description.displayName};
    for (const std::string& line : lines(description.properties)) {
      all.push_back(line);
    }
    for (const PropertySection& section : controller.sections()) {
      std::string text = section.title;
      for (const std::string& line : lines(section.entries)) {
        text += " " + line;
      }
      all.push_back(text);
    }
    out.push_back(all);
  }
  return out;
}

TEST(RaidControllers, TellEverythingInOrder) {
  RaidBench bench(raidMachine());
  EXPECT_TRUE(RaidComponentManager(Identifier(0, 0, 0)).hasDevices());
  const auto found = controllers();
  ASSERT_THAT(found, SizeIs(2));
  EXPECT_THAT(
      found[0],
      ElementsAre("0: RAID Adapter 9000 - SN0042", "UDI=RAID Adapter 9000-SN0042",
                  "MODEL=RAID Adapter 9000", "SERIAL=SN0042", "BIOS_VERSION=5.39.00",
                  "NUM_LOGICAL_DEVICES=1", "SUPPORTED_INTERFACES=SAS 3G, SAS 6G, SATA 3G",
                  "SUPPORTED_RAID_LEVELS=RAID 0, RAID 1, RAID 10, RAID 5, RAID 50, RAID 6",
                  "NUM_PHYSICAL_DEVICES=4", "DRIVER_VERSION=6.714.5.0",
                  "LOGICAL_DISK INDEX=0 RAID_LEVEL=RAID 5 NUM_PHYSICAL_DEVICES=3 SIZE=40.00 MBs",
                  "PHYSICAL_DISK INDEX=0 MANUFACTURER=VIRTUAL MODEL=SAS STRIPE SIZE=20.00 MBs "
                  "SERIAL=RPC-STR-01",
                  "PHYSICAL_DISK INDEX=1 MANUFACTURER=VIRTUAL MODEL=SAS STRIPE SIZE=20.00 MBs "
                  "SERIAL=RPC-STR-02",
                  "PHYSICAL_DISK INDEX=2 MANUFACTURER=VIRTUAL MODEL=SAS STRIPE SIZE=20.00 MBs "
                  "SERIAL=RPC-STR-03",
                  "PHYSICAL_DISK INDEX=3 MANUFACTURER=ATA MODEL=VIRTUAL SPARE SIZE=20.00 MBs "
                  "SERIAL=RPC-SPA-01"));
  EXPECT_THAT(
      found[1],
      ElementsAre("PCI\\VEN_8086&DEV_2822&SUBSYS_00000001&REV_04: Chipset RAID Controller",
                  "UDI=PCI\\VEN_8086&DEV_2822&SUBSYS_00000001&REV_04",
                  "MODEL=Chipset RAID Controller", "BIOS_VERSION=17.8.0.4507",
                  "NUM_LOGICAL_DEVICES=1", "NUM_PHYSICAL_DEVICES=4", "DRIVER_VERSION=17.8.1.4",
                  "LOGICAL_DISK INDEX=0 RAID_LEVEL=RAID 1 NUM_PHYSICAL_DEVICES=2 SIZE=19.00 MBs",
                  "PHYSICAL_DISK INDEX=0 MANUFACTURER=Virtual MODEL=VIRTUAL MIRROR SIZE=20.00 MBs "
                  "SERIAL=RPC-MIR-01",
                  "PHYSICAL_DISK INDEX=1 MANUFACTURER=Virtual MODEL=VIRTUAL MIRROR SIZE=20.00 MBs "
                  "SERIAL=RPC-MIR-02",
                  "PHYSICAL_DISK INDEX=2 MANUFACTURER=VIRTUAL MODEL=SAS SINGLE SIZE=20.00 MBs "
                  "SERIAL=RPC-SAS-01",
                  "PHYSICAL_DISK INDEX=3 MODEL=nvme SIZE=20.00 MBs SERIAL=RPC-NVM-01"));
}

TEST(RaidControllers, WithoutSetsOrNumbersStillListTheirDrives) {
  Json machine = raidMachine();
  machine["controllers"][0]["csmi"].erase("raid_sets");
  machine["controllers"][0]["csmi"].erase("bios_version");
  machine["controllers"][0]["driver_provider"] = "Microsoft";
  machine["controllers"][0]["friendly_name"] = false;  // its description is shown instead
  machine["controllers"][1]["lsi"].erase("logical_drives");
  machine["controllers"][1]["lsi"].erase("serial");
  RaidBench bench(machine);
  const auto found = controllers();
  ASSERT_THAT(found, SizeIs(2));
  EXPECT_EQ(found[0][0], "0: RAID Adapter 9000");
  EXPECT_EQ(found[0][4], "NUM_LOGICAL_DEVICES=0");
  EXPECT_EQ(found[0][9].substr(0, 13), "PHYSICAL_DISK");
  EXPECT_THAT(
      std::vector<std::string>(found[1].begin() + 2, found[1].begin() + 5),
      ElementsAre("MODEL=" + kChipsetName, "NUM_LOGICAL_DEVICES=0", "NUM_PHYSICAL_DEVICES=4"));
  EXPECT_THAT(found[1], SizeIs(9));
  EXPECT_EQ(bench.members(kChipsetName), kChipsetMembers);
  EXPECT_EQ(bench.members("RAID Adapter 9000"), kAdapterMembers);
}

TEST(RaidControllers, TwoLogicalDrivesOfOneArrayAreBothDescribed) {
  Json machine = raidMachine();
  Json& sets = machine["controllers"][1]["lsi"]["logical_drives"];
  sets[0]["number"] = 2;
  sets[0]["array"] = 1;
  sets.push_back(sets[0]);
  sets[1]["number"] = 7;
  sets[1]["primary"] = 0;
  sets[1]["blocks"] = 2048;
  RaidBench bench(machine);
  const auto found = controllers();
  ASSERT_THAT(found, SizeIs(2));
  EXPECT_THAT(
      found[0],
      Contains("LOGICAL_DISK INDEX=0 RAID_LEVEL=RAID 5 NUM_PHYSICAL_DEVICES=3 SIZE=40.00 MBs"));
  EXPECT_THAT(
      found[0],
      Contains("LOGICAL_DISK INDEX=1 RAID_LEVEL=RAID 0 NUM_PHYSICAL_DEVICES=3 SIZE=1.00 MB"));
  RaidComponentManager manager(Identifier(0, 0, 0));
  manager.scan();
  std::vector<RaidLogicalDevice> described;
  ASSERT_EQ(manager.raidComponent(0)->getLogicalDevices(&described), ProtocolResult::Success);
  ASSERT_THAT(described, SizeIs(2));
  EXPECT_THAT(described[1].memberIndexes, SizeIs(3));
}

TEST(RaidControllers, OfOtherFamiliesAreNotAsked) {
  Json machine = raidMachine();
  machine["controllers"][1].erase("lsi");  // and no library
  for (const unsigned drive : {6u, 7u, 8u, 9u}) {
    machine["drives"][drive].erase("controller");
  }
  const auto listed = [&] {
    RaidBench bench(machine);
    EXPECT_EQ(RaidComponentManager(Identifier(0, 0, 0)).hasDevices(), !controllers().empty());
    return bench.members(kChipsetName);
  };
  // NVMe members are looked for behind one of the two vendors alone.
  machine["controllers"][0]["hardware_id"] = "pci\\ven_1000&dev_ad0b";
  EXPECT_THAT(listed(), ElementsAre("RPC-MIR-01", "RPC-MIR-02", "RPC-SAS-01"));
  machine["controllers"][0]["hardware_id"] = "pci\\ven_8086&dev_ad0b";
  EXPECT_EQ(listed(), kChipsetMembers);
  for (const char* other : {"PCI\\VEN_8087&DEV_2822", "PCI\\VEN_8086&DEV_2823", "PCI\\VEN_8086",
                            "PCI\\VEN_8086&DEV_282", "x"}) {
    machine["controllers"][0]["hardware_id"] = other;
    EXPECT_THAT(listed(), IsEmpty()) << other;
  }
  machine["controllers"][0]["hardware_id"] = "PCI\\VEN_8086&DEV_2822";
  for (const unsigned flags : {0x02u, 0x08u, 0xF5u}) {
    machine["controllers"][0]["csmi"]["flags"] = flags;
    EXPECT_THAT(listed(), SizeIs((flags & 0x0A) != 0 ? 4 : 0)) << flags;
  }

  Json adapterAlone = raidMachine();
  adapterAlone["controllers"][0]["hardware_id"] = "x";
  RaidBench bench(adapterAlone);
  EXPECT_TRUE(RaidComponentManager(Identifier(0, 0, 0)).hasDevices());
}

TEST(RaidControllers, HaveThePropertiesOfOneLookAtTheSystem) {
  Json machine = raidMachine();
  machine["controllers"].push_back(machine["controllers"][0]);
  machine["controllers"][2]["name"] = "second";
  machine["controllers"][2]["csmi"].erase("raid_sets");
  RaidBench bench(machine);
  // While the first is asked, the system comes to see another device where the last was.
  bench.faults().onAnswer = [&](const auto&) {
    bench.machine().ports()[2]->exchange("PCI\\VEN_1AF4&DEV_1004");
  };
  EXPECT_THAT(controllers(), SizeIs(3));
}

/// A request that fails each time, and what is left: members, groups of logical disks, and whether
/// the controller is listed itself.
struct Failure {
  unsigned code;
  std::vector<std::string> members;
  unsigned sets;
  bool listed;
};

unsigned setsOf(const std::vector<std::string>& controller) {
  return static_cast<unsigned>(std::count_if(
      controller.begin(), controller.end(),
      [](const std::string& line) { return line.compare(0, 12, "LOGICAL_DISK") == 0; }));
}

void expectLeft(const Json& machine, const Failure& failure, bool ofAdapter) {
  RaidBench bench(machine);
  EXPECT_EQ(bench.members(kChipsetName), ofAdapter ? kChipsetMembers : failure.members);
  EXPECT_EQ(bench.members(kAdapterName), ofAdapter ? failure.members : kAdapterMembers);
  const auto found = controllers();
  ASSERT_EQ(found.size(), failure.listed ? 2u : 1u);
  if (failure.listed) {
    EXPECT_EQ(setsOf(found[ofAdapter ? 0 : 1]), failure.sets);
  }
}

TEST(RaidControllers, ThatFailAtOneCommandAreReportedAsFarAsTheyAreKnown) {
  const std::vector<Failure> chipset = {{2, {}, 0, false},
                                        {10, {}, 0, true},
                                        {11, kChipsetMembers, 0, true},
                                        {20, {}, 0, false},
                                        {24, {"RPC-MIR-01", "RPC-MIR-02", "RPC-NVM-01"}, 1, true},
                                        {25, {"RPC-SAS-01", "RPC-NVM-01"}, 1, true}};
  for (const Failure& failure : chipset) {
    for (const Json& fault :
         {always(failure.code, "error", 1117), always(failure.code, "return_code", 1),
          always(failure.code, "return_code", 1000)}) {
      SCOPED_TRACE(fault.dump());
      expectLeft(chipsetFaults({fault}), failure, false);
    }
  }
  const std::vector<Failure> adapter = {
      {0x0300, {}, 0, false},
      {0x0001, {}, 0, true},
      {0x0D01, {}, 0, true},
      {0x0501, kAdapterMembers, 1, true},
      {0x0401, {}, 0, false},
      {0x0B03, kAdapterMembers, 1, true},
      {0x0003, kAdapterMembers, 0, true},
      {0x0002, {}, 1, true},
      {0x0006, {}, 1, true},
      {0x0206, {"RPC-STR-01", "RPC-STR-02", "RPC-STR-03"}, 1, true}};
  for (const Failure& failure : adapter) {
    SCOPED_TRACE(failure.code);
    expectLeft(libraryFaults({always(failure.code, "error", 45)}), failure, true);
  }
  // What did not come back is zero: no drive or controller is made up of it.
  const std::pair<unsigned, Failure> parts[] = {
      {0, {0x0300, {}, 0, false}},
      {8 + 2 * 24, {0x0401, {"RPC-STR-01"}, 1, true}},
      {8 + 2 * 24 + 1, {0x0401, {"RPC-STR-01", "RPC-STR-02"}, 1, true}}};
  for (const auto& [bytes, failure] : parts) {
    SCOPED_TRACE(bytes);
    expectLeft(libraryFaults({always(failure.code, "bytes", bytes)}), failure, true);
  }
  Json ofOneDrive = always(0x0002, "error", 12);
  ofOneDrive["drive"] = "stripe-b";
  expectLeft(libraryFaults({ofOneDrive}),
             {0x0002, {"RPC-STR-01", "RPC-STR-03", "RPC-SPA-01"}, 1, true}, true);
}

TEST(RaidControllers, ThatCannotTellTheirDriveCountShowTheDrivesThatTheyName) {
  for (const int count : {0xF1, 0xF2}) {
    RaidBench bench(chipsetFaults({patched(11, 43, {count})}));
    EXPECT_THAT(controllers()[1], Contains(HasSubstr("RAID 1 NUM_PHYSICAL_DEVICES=2 ")));
  }
}

TEST(RaidControllers, EndTheirListOfSetsWithACodeOfItsOwn) {
  Json machine = chipsetFaults({{{"code", 11}, {"occurrence", 2}, {"return_code", 1000}}});
  machine["controllers"][0]["csmi"]["raid_sets"] = {
      {{"type", 9}, {"drives", {"mirror-a", "mirror-b"}}}, {{"type", 1}, {"drives", {"single"}}}};
  RaidBench bench(machine);
  EXPECT_EQ(setsOf(controllers()[1]), 1u);
}

TEST(RaidControllers, ThatAnswerNonsenseDoNoHarm) {
  const std::vector<int> allOnes(8, 255);
  for (const Json& fault : {
           patched(10, 28, allOnes),  // sets, and drives in each
           patched(11, 28, std::vector<int>(36, 255)),
           patched(20, 28, {255}),  // phys
           patched(20, 32, std::vector<int>(2048, 255)),
           patched(20, 36 + 32, std::vector<int>(64, 16)),
           patched(24, 96, std::vector<int>(272, 255)),
           patched(25, 64, std::vector<int>(100, 255)),
           patched(24, 104, {2, 2, 255, 255}),
       }) {
    SCOPED_TRACE(fault.dump().substr(0, 80));
    RaidBench bench(chipsetFaults({fault}));
    bench.manager().scan();
    EXPECT_GE(bench.manager().componentCount(), 6u);
    EXPECT_EQ(bench.members(kAdapterName), kAdapterMembers);
    EXPECT_FALSE(controllers().empty());
  }
  // What can be made of nonsense is reported.
  RaidBench(chipsetFaults({patched(10, 28, allOnes)})).scan(10);
  RaidBench(chipsetFaults({patched(20, 28, {255})})).scan(10);

  for (const Json& fault : {
           patched(0x0300, 0, allOnes),
           patched(0x0001, 180, std::vector<int>(2300, 255)),
           patched(0x0D01, 0, {255, 255, 255, 255}),
           patched(0x0D01, 8, std::vector<int>(4096, 255)),
           patched(0x0B03, 0, {255, 255, 255, 255}),
           patched(0x0003, 32, std::vector<int>(352, 255)),
           patched(0x0401, 0, allOnes),
           patched(0x0401, 8, std::vector<int>(6144, 255)),
           patched(0x0002, 4, std::vector<int>(508, 255)),
           patched(0x0006, 60, std::vector<int>(4, 255)),
           patched(0x0206, 28, std::vector<int>(12, 255)),
       }) {
    SCOPED_TRACE(fault.dump().substr(0, 80));
    RaidBench bench(libraryFaults({fault}));
    EXPECT_EQ(bench.members(kChipsetName), kChipsetMembers);
    EXPECT_FALSE(controllers().empty());
  }
  RaidBench(libraryFaults({patched(0x0300, 0, {255, 255, 255, 255})})).scan(10);

  // A size that no 64 bits hold is the largest, not a small one.
  {
    RaidBench huge(libraryFaults({patched(0x0002, 232, {0, 0, 0, 0, 0, 0, 0x80, 0})}));
    EXPECT_THAT(controllers()[0], Contains(HasSubstr("SIZE=16.00 EBs SERIAL=RPC-STR-01")));
  }
  // A member that gives another number each time is still one drive.
  Json machine = raidMachine();
  machine["drives"][5]["faults"] = {
      {{"command", 6}, {"occurrence", 1}, {"times", 0}, {"action", "garbage"}}};
  RaidBench bench(machine);
  EXPECT_LE(bench.members(kChipsetName).size(), 4u);
}

TEST(RaidControllers, BehindALibraryNeedItsFunctionAndItsAnswer) {
  const auto opened = [](const Json& machine) {
    RaidBench bench(machine);
    return openLsiSender() != nullptr;
  };
  EXPECT_TRUE(opened(raidMachine()));
  Json without = raidMachine();
  without["storelib"]["function"] = "ProcessCommand";
  EXPECT_FALSE(opened(without));
  EXPECT_FALSE(opened(libraryFaults({always(0x0300, "error", 1)})));
  EXPECT_FALSE(opened(Json::parse(R"({"format": 1})")));

  // No controller at all is no failure.
  RaidBench bench(Json::parse(R"({"format": 1})"));
  bench.scan(0);
  EXPECT_FALSE(bench.manager().hasDevices());
  EXPECT_FALSE(RaidComponentManager(Identifier(0, 0, 0)).hasDevices());
}

TEST(RaidControllers, NameTheirLevels) {
  std::string csmi;
  for (std::uint8_t type = 0; type < 11; ++type) {
    csmi += csmiLevelName(type) + std::string(", ");
  }
  EXPECT_EQ(csmi,
            "SINGLE_DRIVE_RAID_SET, RAID 0, RAID 1, RAID 10, RAID 5, RAID 15, RAID 6, RAID 50, "
            "UNKNOWN, RAID 10, UNKNOWN, ");
  const char* const plain[] = {"RAID 0", "RAID 1", "UNKNOWN", "RAID 3",
                               "RAID 4", "RAID 5", "RAID 6",  "UNKNOWN"};
  for (std::size_t level = 0; level < std::size(plain); ++level) {
    const auto primary = static_cast<std::uint8_t>(level);
    const bool spans = level == 1 || level == 5 || level == 6;
    EXPECT_EQ(lsiLevelName(primary, 0), plain[level]);
    EXPECT_EQ(lsiLevelName(primary, 3), plain[level] + std::string(spans ? "0" : ""));
  }
  EXPECT_EQ(lsiLevelName(17, 3), "RAID 1");
}

}  // namespace
}  // namespace ostria::storage::test
