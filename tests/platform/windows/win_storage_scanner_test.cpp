// The scan of the Windows classes: disks, ports, volumes and their numbers.
#include "platform/windows/discovery/win_storage_scanner.h"

#include <gtest/gtest.h>

#include "platform/windows/discovery/win_device_scan_filter.h"
#include "tests/support/on_virtual_pc.h"

namespace ostria::storage::test {
namespace {

namespace vpc = virtual_pc;

class WinStorageScannerTest : public OnVirtualPc {
 protected:
  std::uint32_t numberOf(const std::string& drive) { return vpc::machine().disk(drive)->number(); }

  WinStorageScanner scanner;
  DevicePathMap devices;
};

TEST_F(WinStorageScannerTest, DisksAreClassified) {
  const struct {
    const char* drive;
    StorageBusKind kind;
    DeviceConnection connection;
    std::optional<std::array<std::uint8_t, 3>> location;  ///< of a port of the adapter class
  } rows[] = {
      {"hdd", StorageBusKind::Ata, DeviceConnection::Internal, {}},
      {"usb-sat", StorageBusKind::Usb, DeviceConnection::External, {}},
      {"sas", StorageBusKind::Scsi, DeviceConnection::Internal, {{3, 0, 0}}},
  };
  ASSERT_EQ(scanner.listDevices(devices), 0);
  EXPECT_EQ(devices.size(), vpc::machine().disks().size());
  for (const auto& row : rows) {
    SCOPED_TRACE(row.drive);
    const std::uint32_t number = numberOf(row.drive);
    StorageBusKind kind{};
    DeviceConnection connection{};
    bool optane = false;
    std::array<std::uint8_t, 3> location{};
    std::string id;
    EXPECT_EQ(scanner.getBusKind(number, &kind, &optane), 0);
    EXPECT_EQ(kind, row.kind);
    EXPECT_EQ(scanner.getConnection(number, &connection), 0);
    EXPECT_EQ(connection, row.connection);
    EXPECT_EQ(scanner.getPciLocation(number, &location) == 0, row.location.has_value());
    EXPECT_EQ(location, row.location.value_or(std::array<std::uint8_t, 3>{}));
    EXPECT_EQ(scanner.getDeviceId(number, &id), 0);
    EXPECT_EQ(id, std::to_string(number));
  }
  StorageBusKind kind{};
  bool optane = false;
  EXPECT_NE(scanner.getBusKind(999, &kind, &optane), 0);
  EXPECT_EQ(kind, StorageBusKind::Unknown);
}

TEST_F(WinStorageScannerTest, WhatTheSystemShowsAsRaidIsDistinguished) {
  constexpr auto kRaid = StorageBusKind::Raid;
  constexpr auto kNvme = StorageBusKind::Nvme;
  constexpr auto kAta = StorageBusKind::Ata;
  constexpr auto kUnknown = StorageBusKind::Unknown;
  const struct {
    const char* drive;  ///< kind, vendor and model of the storage descriptor
    StorageBusKind kind;
    bool optane = false;
  } rows[] = {
      {R"("kind": "sas", "vendor": "Intel", "model": "Volume0")", kRaid, true},
      {R"("kind": "sas", "vendor": "V", "model": "Optane 1")", kRaid, true},
      {R"("kind": "sas", "vendor": "V", "model": "RAID 5")", kRaid},
      {R"("kind": "sas", "vendor": "NVMe    ", "model": "A")", kNvme},
      {R"("kind": "nvme", "vendor": "V", "model": "A")", kNvme},  // by its INQUIRY data
      {R"("kind": "sata", "vendor": "V", "model": "A")", kAta},   // takes ATA commands
      {R"("kind": "sas", "vendor": "V", "model": "A")", kUnknown},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.drive);
    switchOn(
        std::string(R"({"format": 1, "drives": [{"size_sectors": 1000, "shown_as_raid": true, )") +
        row.drive + "}]}");
    ASSERT_EQ(scanner.listDevices(devices), 0);
    StorageBusKind kind{};
    bool optane = false;
    EXPECT_EQ(scanner.getBusKind(0, &kind, &optane), 0);
    EXPECT_EQ(kind, row.kind);
    EXPECT_EQ(optane, row.optane);
  }
}

TEST_F(WinStorageScannerTest, PortsAreListedWithTheirPaths) {
  DevicePathMap ports;
  DeviceScanner& scans = *scanner.deviceScanner();
  const auto filter = WinDeviceScanFilter::storagePorts();
  ASSERT_EQ(scans.listPaths(filter, ports), 0);
  ASSERT_FALSE(ports.empty());
  std::string path;
  for (const auto& [number, paths] : ports) {
    EXPECT_EQ(scans.devicePath(filter, number, &path), 0);
    EXPECT_EQ(path, paths.at(0));
  }
  EXPECT_NE(scans.devicePath(filter, 0xFFFFFFFF, &path), 0);
  EXPECT_NE(scans.listPaths(DeviceScanFilter(), ports), 0);
}

TEST_F(WinStorageScannerTest, PartitionsAreJoinedWithTheirVolumes) {
  ASSERT_EQ(scanner.listDevices(devices), 0);
  PartitionTable table;
  ASSERT_EQ(scanner.readPartitionTable(numberOf("hdd"), &table, 39070080ull * 512), 0);
  EXPECT_EQ(table.schema, "GPT");
  EXPECT_EQ(table.diskNumber, numberOf("hdd"));
  ASSERT_EQ(table.partitions.size(), 3u);
  EXPECT_EQ(table.partitions[0].typeText, "_E|F|I_SYSTEM_PARTITION");
  const PartitionEntry& system = table.partitions[2];
  EXPECT_EQ(system.mountPoints, std::vector<std::string>{"C:\\"});
  EXPECT_EQ(system.label, "System");
  EXPECT_EQ(system.serial, "A22E2A51");
  EXPECT_EQ(system.fileSystem, "ntfs");
  EXPECT_EQ(system.clusterBytes, 4096u);
  EXPECT_EQ(system.freeBytes + system.usedBytes, system.sizeBytes);
  EXPECT_NE(system.freeBytes, 0u);

  ASSERT_EQ(scanner.readPartitionTable(numberOf("ssd"), &table, 31277232ull * 512), 0);
  std::string types;
  for (const PartitionEntry& entry : table.partitions) {
    types += entry.typeText + " ";
  }
  EXPECT_EQ(types, "PRIMARY EXTENDED LOGICAL ");
  EXPECT_EQ(table.partitions[0].fileSystem, "IFS, HPFS, NTFS, exFAT");
  EXPECT_EQ(table.partitions[2].label, "Archive");
  EXPECT_NE(scanner.readPartitionTable(999, &table, 1), 0);
}

TEST_F(WinStorageScannerTest, AVolumeOnSeveralDisksIsShownOnEachWithoutItsSizes) {
  switchOn(R"({"format": 1, "drives": [
    {"name": "a", "kind": "sata", "model": "A", "size_sectors": 9000, "layout": {"style": "gpt",
     "partitions": [{"start_sector": 64, "sectors": 1000}]}},
    {"name": "b", "kind": "sata", "model": "B", "size_sectors": 9000, "layout": {"style": "gpt",
     "partitions": [{"start_sector": 64, "sectors": 1000}, {"start_sector": 1064, "sectors": 500}]}}],
    "volumes": [{"letter": "S", "drive": "a", "label": "SET",
                 "further_parts": [{"drive": "b", "partition": 2}]}]})");
  scanner.listDevices(devices);
  for (const auto& [drive, wanted] :
       {std::pair("a", "1 S:\\ SET 512000"), std::pair("b", "2 S:\\ SET 256000")}) {
    PartitionTable table;
    EXPECT_EQ(scanner.readPartitionTable(numberOf(drive), &table, 1000), 0);
    std::string found;
    for (const PartitionEntry& entry : table.partitions) {
      for (const std::string& root : entry.mountPoints) {
        found += std::to_string(entry.number) + " " + root + " " + entry.label + " " +
                 std::to_string(entry.sizeBytes);
      }
      EXPECT_EQ(entry.onSeveralDisks, !entry.mountPoints.empty());
    }
    EXPECT_EQ(found, wanted);
  }
}

TEST_F(WinStorageScannerTest, VolumeIsTakenAndGivenBack) {
  DeviceHandle handle;
  ASSERT_EQ(scanner.dismountVolume("D:\\", &handle), 0);
  EXPECT_FALSE(vpc::machine().volume('D')->mounted());
  DeviceHandle second;
  EXPECT_NE(scanner.dismountVolume("D:\\", &second), 0);
  EXPECT_NE(scanner.dismountVolume("X:\\", &second), 0);
  EXPECT_NE(scanner.dismountVolume("", &second), 0);
  EXPECT_FALSE(second);
  std::string name = "D:\\";
  std::vector<std::string> list = {"x"};
  std::string text = "x";
  EXPECT_EQ(scanner.releaseVolume(name, list, handle, text), 0);
  EXPECT_TRUE(name.empty() && list.empty() && text.empty());
  EXPECT_EQ(scanner.dismountVolume("D:\\", &handle), 0);
  EXPECT_EQ(scanner.releaseVolume(name, list, handle, text), 0);
}

}  // namespace
}  // namespace ostria::storage::test
