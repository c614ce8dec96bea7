// Members behind RAID controllers: identity, tests and reports as of a direct disk.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/byte_order.h"
#include "ostria/storage/test_ids.h"
#include "tests/support/raid_bench.h"

namespace ostria::storage::test {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::Not;

TEST(RaidMembers, AreListedOnceEachBehindTheDisksOfTheSystem) {
  RaidBench bench(raidMachine());
  EXPECT_TRUE(bench.manager().hasDevices());
  for (int pass = 0; pass < 2; ++pass) {
    bench.scan(10);
    EXPECT_THAT(bench.serials(),
                ElementsAre("RPC-SYS-01", "RPC-USB-01", "RPC-STR-01", "RPC-STR-02", "RPC-STR-03",
                            "RPC-SPA-01", "RPC-MIR-01", "RPC-MIR-02", "RPC-SAS-01", "RPC-NVM-01"));
  }
  struct Member {
    std::string parent;
    StorageBusKind bus;
    ProtocolKind protocol;
  };
  using Bus = StorageBusKind;
  const std::vector<Member> wanted = {
      {kAdapterName, Bus::Scsi, ProtocolKind::Scsi}, {kAdapterName, Bus::Scsi, ProtocolKind::Scsi},
      {kAdapterName, Bus::Scsi, ProtocolKind::Scsi}, {kAdapterName, Bus::Ata, ProtocolKind::Scsi},
      {kChipsetName, Bus::Ata, ProtocolKind::Ata},   {kChipsetName, Bus::Ata, ProtocolKind::Ata},
      {kChipsetName, Bus::Scsi, ProtocolKind::Scsi}, {kChipsetName, Bus::Nvme, ProtocolKind::Nvme}};
  std::vector<std::string> ids;
  for (std::uint32_t i = 0; i < wanted.size(); ++i) {
    StorageComponent& member = bench.device(i + 2);
    SCOPED_TRACE(*member.findProperty("SERIAL"));
    EXPECT_EQ(member.connection(), DeviceConnection::RaidMember);
    EXPECT_EQ(member.attributeMap()["parent"], "RAID_ATTACHED_DRIVES\\" + wanted[i].parent);
    EXPECT_EQ(member.busKind(), wanted[i].bus);
    EXPECT_EQ(member.storageProtocol()->GetProtocolKind(), wanted[i].protocol);
    EXPECT_EQ(member.partitionTable(), nullptr);
    EXPECT_EQ(member.pciDevice(), wanted[i].parent == kChipsetName ? 23 : 0);
    EXPECT_THAT(ids, Not(Contains(member.id())));
    ids.push_back(member.id());
  }
  // A SATA drive behind the library is described by its ATA side, which knows its whole name.
  EXPECT_EQ(*bench.withSerial("RPC-SPA-01")->findProperty("MODEL"), "VIRTUAL SPARE");
}

TEST(RaidMembers, ThatTheSystemShowsTooAreListedAsTheSystemsDisks) {
  Json machine = raidMachine();
  for (const unsigned drive : {2u, 4u, 5u}) {
    machine["drives"][drive]["hidden"] = false;
  }
  machine["drives"][5]["nvme"]["pass_through"] = "intel_port";
  RaidBench bench(machine);
  bench.scan(10);
  for (const char* serial : {"RPC-MIR-01", "RPC-SAS-01", "RPC-NVM-01"}) {
    ASSERT_THAT(bench.serials(), Contains(serial).Times(1));
    EXPECT_EQ(bench.withSerial(serial)->connection(), DeviceConnection::Internal) << serial;
  }
  EXPECT_EQ(bench.withSerial("RPC-MIR-02")->connection(), DeviceConnection::RaidMember);
}

/// What the tests say of a member.
struct Health {
  const char* serial;
  bool good;
  std::vector<Identifier> quickTests;
};

class RaidMember : public ::testing::TestWithParam<Health> {};

TEST_P(RaidMember, RunsTheTestsOfADirectDisk) {
  const auto& [serial, good, quickTests] = GetParam();
  RaidBench bench(raidMachine());
  bench.scan(10);
  StorageComponent* member = bench.withSerial(serial);
  ASSERT_NE(member, nullptr);
  const auto run = [&](const Identifier& item) {
    FakeHost host(member);
    storage::Test& test = bench.test(item);
    EXPECT_TRUE(test.isApplicable(member));
    const TestResult result = test.run(&host);
    EXPECT_EQ(host.messages.back().substr(0, 12), "progress 100");
    return result;
  };
  const TestResult verdict = good ? TestResult::Passed : TestResult::Failed;
  for (const Identifier& item : quickTests) {
    EXPECT_EQ(run(item), verdict) << item.item;
  }
  EXPECT_EQ(run(ids::kFullDiskScan), verdict);
  if (std::find(quickTests.begin(), quickTests.end(), ids::kShortSelfTest) == quickTests.end()) {
    FakeHost host(member);
    EXPECT_EQ(bench.test(ids::kShortSelfTest).run(&host), TestResult::NotPerformed);
    EXPECT_THAT(host.messages, Contains("log 0 TEST_NOT_SUPPORTED_IN_THIS_DEVICE"));
  }

  const bool scsi = member->storageProtocol()->GetProtocolKind() == ProtocolKind::Scsi;
  std::string report;
  EXPECT_EQ(member->getReport("SMART", report), !scsi);
  EXPECT_EQ(report.size() > 100, !scsi) << report;

  // The raw read has no disk of the system to go to.
  std::vector<std::uint8_t> read(512);
  std::vector<std::uint8_t> wanted(512);
  virtual_pc::SectorStore::pattern(777, 512, wanted.data());
  EXPECT_EQ(member->readSectors(777, 1, read.data(), false, 512, 10), ProtocolResult::Success);
  EXPECT_EQ(read, wanted);
  if (!good) {
    EXPECT_EQ(member->readSectors(30000, 1, read.data(), false, 512, 10),
              ProtocolResult::MediumError);
  }
}

INSTANTIATE_TEST_SUITE_P(
    EachKind, RaidMember,
    ::testing::Values(Health{"RPC-MIR-01", true, {ids::kSmartStatus, ids::kDriveSelfTest}},
                      Health{"RPC-MIR-02", false, {ids::kSmartStatus, ids::kDriveSelfTest}},
                      Health{"RPC-SAS-01", true, {ids::kSmartStatus, ids::kShortSelfTest}},
                      Health{"RPC-NVM-01", true, {ids::kNvmeReliability}},
                      Health{"RPC-STR-01", true, {ids::kSmartStatus, ids::kShortSelfTest}},
                      Health{"RPC-STR-02", false, {ids::kSmartStatus, ids::kShortSelfTest}},
                      Health{"RPC-SPA-01", true, {ids::kSmartStatus}}),
    [](const auto& info) {
      std::string name = info.param.serial;
      std::erase(name, '-');
      return name;
    });

TEST(RaidMembers, WithoutSerialNumbersAreAllListed) {
  Json machine = raidMachine();
  for (const unsigned drive : {6u, 7u, 8u}) {
    machine["drives"][drive]["serial"] = "";
  }
  RaidBench bench(machine);
  bench.scan(10);
  std::vector<std::string> identifiers;
  for (std::uint32_t i = 0; i < 10; ++i) {
    identifiers.push_back(*bench.device(i).findProperty("UDI"));
  }
  std::sort(identifiers.begin(), identifiers.end());
  EXPECT_EQ(std::adjacent_find(identifiers.begin(), identifiers.end()), identifiers.end());
}

TEST(RaidMembers, OnTwoPortsAreListedOnce) {
  Json machine = raidMachine();
  machine["drives"][7]["serial"] = machine["drives"][6]["serial"];
  machine["drives"][7]["model"] = machine["drives"][6]["model"];
  RaidBench(machine).scan(9);
}

TEST(RaidMembers, OfADriveThatDoesNotAnswerAreListedWithoutIt) {
  Json machine = raidMachine();
  machine["drives"][7]["faults"] = {
      {{"command", 0x12}, {"occurrence", 1}, {"times", 0}, {"action", "hang"}}};
  RaidBench bench(machine);
  bench.scan(9);
  EXPECT_THAT(bench.serials(), Not(Contains("RPC-STR-02")));
}

TEST(RaidMembers, ThatDoNotSayWhoTheyAreAreNotInTheControllersList) {
  for (const unsigned occurrence : {1u, 2u, 3u}) {
    Json machine = raidMachine();
    machine["drives"][2]["faults"] = {
        {{"command", 0xEC}, {"occurrence", occurrence}, {"times", 0}, {"action", "hang"}}};
    RaidBench bench(machine);
    RaidComponentManager manager(Identifier(0, 0, 0));
    manager.scan();
    for (std::uint32_t i = 0; i < manager.componentCount(); ++i) {
      std::vector<RaidPhysicalDrive> drives;
      EXPECT_EQ(manager.raidComponent(i)->getPhysicalDrives(&drives), ProtocolResult::Success);
      for (const RaidPhysicalDrive& drive : drives) {
        EXPECT_NE(drive.size, 0u) << drive.model << " " << occurrence;
      }
    }
  }
}

TEST(RaidMembers, TheirLibraryWantsAFlagForASelfTest) {
  const RaidBench bench(raidMachine());
  LsiCmd request(LsiCode::StpPassthrough, 0, 60);
  request.record.deviceId = 7;  // "spare"
  const std::pair<std::size_t, std::uint8_t> bytes[] = {
      {0, 7},     {2, 30}, {8, 0x27},  {9, 0x80},  {10, 0xB0},
      {11, 0xD4}, {12, 1}, {13, 0x4F}, {14, 0xC2}, {32, 20}};
  for (const auto& [at, value] : bytes) {
    request.buffer()[at] = value;
  }
  for (const auto& [flags, result] : {std::pair(0x104u, 0u), std::pair(4u, 3u)}) {
    storeLe32(&request.buffer()[4], flags);
    EXPECT_EQ(getLsiSender()->execute(request), result) << flags;
  }
}

TEST(RaidMembers, AreFoundWhenTheDisksCannotBeEnumerated) {
  RaidBench bench(raidMachine());
  bench.faults().reset();
  bench.faults().failCall(1, 1167);
  EXPECT_TRUE(bench.manager().hasDevices());
  bench.faults().reset();
  bench.faults().failCall(1, 1167);
  bench.manager().scan();
  EXPECT_GE(bench.manager().componentCount(), 4u);
}

TEST(RaidMembers, AReadBehindCsmiIsGoodOnlyIfItsDataCame) {
  // What the driver writes of the block, or how the connection to the drive ended, from the 40th
  // request for that drive on: the drive is found, and its reads go wrong later.
  using Loss = std::tuple<unsigned, const char*, unsigned>;
  std::vector<Loss> losses = {{2, "connection_status", 1}, {4, "connection_status", 1}};
  for (const unsigned bytes : {0u, 28u, 164u, 468u}) {
    losses.insert(losses.end(), {{2, "bytes", bytes}, {4, "bytes", bytes}});
  }
  for (const auto& [drive, what, value] : losses) {
    const char* serial = drive == 2 ? "RPC-MIR-01" : "RPC-SAS-01";
    SCOPED_TRACE(std::string(serial) + " " + what + " " + std::to_string(value));
    Json machine = raidMachine();
    machine["controllers"][0]["csmi"]["faults"] =
        Json::array({{{"code", drive == 2 ? 25 : 24},
                      {"occurrence", 40},
                      {"times", 0},
                      {"drive", machine["drives"][drive]["name"]},
                      {what, value}}});
    RaidBench bench(machine);
    bench.scan(10);
    StorageComponent* member = bench.withSerial(serial);
    ASSERT_NE(member, nullptr);
    std::vector<std::uint8_t> wanted(512);
    bool lost = false;
    for (std::uint64_t lba = 0; lba < 50 && !lost; ++lba) {
      std::vector<std::uint8_t> read(512, 0xEE);
      lost = member->readSectors(lba, 1, read.data(), false, 512, 10) != ProtocolResult::Success;
      virtual_pc::SectorStore::pattern(lba, 512, wanted.data());
      EXPECT_EQ(!lost, read == wanted) << lba;
      EXPECT_EQ(bench.withSerial("RPC-MIR-02")->readSectors(lba, 1, read.data(), false, 512, 10),
                ProtocolResult::Success)
          << "the fault is of one drive alone";
    }
    EXPECT_TRUE(lost);
  }
}

}  // namespace
}  // namespace ostria::storage::test
