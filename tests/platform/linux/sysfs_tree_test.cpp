// Disks found in saved sysfs trees: names, buses, locations and what is left out.
#include "platform/linux/discovery/sysfs_tree.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <optional>

#include "platform/linux/discovery/card_identity.h"
#include "platform/linux/discovery/linux_device_scanner.h"
#include "platform/linux/discovery/linux_emmc_utils.h"
#include "platform/linux/discovery/linux_storage_scanner.h"
#include "tests/support/temporary_folder.h"

namespace ostria::storage::test {
namespace {

namespace fs = std::filesystem;

/// A saved tree: disks are planted at the places where kernels show them.
class SavedTree : public testing::Test {
 protected:
  SavedTree() { fs::create_directories(root / "sys/block"); }

  using Attributes = std::map<std::string, std::string>;

  void write(const fs::path& file, const std::string& text) {
    fs::create_directories(file.parent_path());
    std::ofstream(file) << text << '\n';
  }

  /// @param place  folder of the hardware below /sys/devices; empty for a disk without hardware
  void plant(const std::string& name, const std::string& place, const std::string& dev,
             const Attributes& attributes = {}) {
    const fs::path hardware = root / "sys/devices" / (place.empty() ? "virtual" : place);
    const fs::path disk = hardware / "block" / name;
    write(disk / "dev", dev);
    write(disk / "size", "131072");
    write(disk / "removable", "0");
    if (!place.empty()) {
      fs::create_directory_symlink(hardware, disk / "device");
    }
    for (const auto& [key, value] : attributes) {
      write(disk / key, value);
    }
    fs::create_directory_symlink(disk, root / "sys/block" / name);
    fs::create_directories(root / "sys/dev/block");
    std::error_code taken;
    fs::create_directory_symlink(disk, root / "sys/dev/block" / dev, taken);
  }

  SysfsDisk find(const std::string& name) {
    for (const SysfsDisk& disk : tree().disks()) {
      if (disk.name == name) {
        return disk;
      }
    }
    ADD_FAILURE() << name << " is not listed";
    return {};
  }
  SysfsTree tree() const { return SysfsTree(root.string()); }

  const TemporaryFolder folder;
  const fs::path root = folder.path();
  const Attributes diskType = {{"device/type", "0"}};
};

TEST_F(SavedTree, BusAndPlaceComeFromTheAncestry) {
  struct Row {
    const char* name;
    const char* place;
    StorageBusKind bus;
    DeviceConnection connection;
    bool removable = false;
  };
  using BusKind = StorageBusKind;
  using enum DeviceConnection;
  const Row rows[] = {
      {"sda", "pci0000:00/0000:00:1f.2/ata1/host0/target0:0:0/0:0:0:0", BusKind::Ata, Internal},
      {"sdb", "pci0000:00/0000:00:14.0/usb2/2-3/2-3:1.0/host6/target6:0:0/6:0:0:0", BusKind::Usb,
       External},
      {"sdc",
       "pci0000:00/0000:00:01.0/0000:01:00.0/host1/port-1:0/end_device-1:0/target1:0:0/1:0:0:0",
       BusKind::Scsi, Internal},
      {"sdd", "platform/host7/session1/target7:0:0/7:0:0:1", BusKind::Scsi, External},
      {"sde", "pci0000:00/0000:00:02.0/0000:02:00.0/host8/rport-8:0-1/target8:0:0/8:0:0:0",
       BusKind::Scsi, External},
      {"sdf", "pci0000:00/0000:00:03.0/0000:03:00.0/host9/target9:2:0/9:2:0:0", BusKind::Raid,
       Internal},
      {"sdg",
       "pci0000:00/0000:00:04.0/0000:04:00.0/host10/port-10:0/end_device-10:0/target10:0:0/"
       "10:0:0:0",
       BusKind::Scsi, Internal},
      {"nvme0n1", "pci0000:00/0000:00:1d.0/0000:05:00.0/nvme/nvme0", BusKind::Nvme, Internal},
      {"nvme1n1", "virtual/nvme-fabrics/ctl/nvme1", BusKind::Nvme, External},
      {"vda", "pci0000:00/0000:00:05.0/virtio1", BusKind::Unknown, Other},
      {"mmcblk0", "pci0000:00/0000:00:1a.0/mmc_host/mmc0/mmc0:0001", BusKind::Emmc, Internal},
      // A card, unless the kernel calls it removable.
      {"mmcblk1", "pci0000:00/0000:00:1a.0/mmc_host/mmc1/mmc1:aaaa", BusKind::Emmc, Internal},
      {"mmcblk2", "pci0000:00/0000:00:1a.0/mmc_host/mmc2/mmc2:bbbb", BusKind::Unknown, External,
       true},
  };
  write(root / "sys/class/scsi_host/host9/proc_name", "megaraid_sas");
  write(root / "sys/class/scsi_host/host10/proc_name", "smartpqi");
  unsigned minor = 0;
  for (const Row& row : rows) {
    const std::string name = row.name;
    plant(
        name, row.place, "8:" + std::to_string(minor++ * 16),
        {{"device/type", name[0] == 's' ? "0" : "MMC"}, {"removable", row.removable ? "1" : "0"}});
  }
  for (const Row& row : rows) {
    const SysfsDisk disk = find(row.name);
    EXPECT_EQ(disk.busKind, row.bus) << row.name;
    EXPECT_EQ(disk.connection, row.connection) << row.name;
    EXPECT_EQ(disk.removable, row.removable) << row.name;
  }
}

TEST_F(SavedTree, WhatIsNoDiskIsLeftOut) {
  const std::string ata = "pci0000:00/0000:00:1f.2/ata2/host1/target1:0:0/1:0:0:";
  plant("sda", ata + "0", "8:0", diskType);
  plant("sr0", ata + "1", "11:0", {{"device/type", "5"}});
  plant("sdb", ata + "2", "8:16", {{"device/type", "0"}, {"size", "0"}});
  for (const char* name : {"loop0", "ram0", "zram0", "dm-0", "md127"}) {
    plant(name, "", "7:0");
  }
  plant("nvme0c0n1", "pci0000:00/0000:05:00.0/nvme/nvme0", "259:1", {{"hidden", "1"}});
  const std::string card = "pci0000:00/0000:00:1a.0/mmc_host/mmc0/mmc0:0001";
  plant("mmcblk0", card, "179:0", {{"device/type", "MMC"}});
  plant("mmcblk0boot0", card, "179:8");
  std::vector<std::string> names;
  for (const SysfsDisk& disk : tree().disks()) {
    names.push_back(disk.name);
  }
  EXPECT_EQ(names, (std::vector<std::string>{"mmcblk0", "sda"}));
  EXPECT_FALSE(tree().disk(deviceNumberOf(11, 0)));
  const auto byNumber = tree().disk(deviceNumberOf(8, 0));
  ASSERT_TRUE(byNumber);
  EXPECT_EQ(byNumber->name, "sda");
  EXPECT_TRUE(SysfsTree("/nonexistent").disks().empty());
}

TEST_F(SavedTree, ADriveWithSeveralPathsTakesThePlaceOfItsController) {
  const fs::path controller = root / "sys/devices/pci0000:00/0000:07:00.0/nvme/nvme3";
  fs::create_directories(controller);
  const fs::path subsystem = root / "sys/devices/virtual/nvme-subsystem/nvme-subsys3";
  write(subsystem / "nvme3n1/dev", "259:3");
  write(subsystem / "nvme3n1/size", "4096");
  fs::create_directory_symlink(subsystem, subsystem / "nvme3n1/device");
  fs::create_directory_symlink(controller, subsystem / "nvme3");
  fs::create_directory_symlink(subsystem / "nvme3n1", root / "sys/block/nvme3n1");
  const auto address = find("nvme3n1").pci;
  ASSERT_TRUE(address);
  EXPECT_EQ(address->bus, 7u);
  EXPECT_EQ(find("nvme3n1").busKind, StorageBusKind::Nvme);
}

TEST_F(SavedTree, OnlyPciDomain0HasALocationThatNamesOneController) {
  const char* const places[] = {
      "pci0000:00/0000:00:1d.0/0000:05:1f.1/nvme/nvme0",  // its function, not the bridge above
      "pci0000:00/0000:00:0e.0/pci10000:e0/10000:e0:06.0/10000:e1:00.0/nvme/nvme1",
      "pci0001:00/0001:00:00.0/0001:01:00.0/nvme/nvme2", "virtual/nvme-fabrics/ctl/nvme3"};
  const char* const texts[] = {
      "PCI bus 5, device 31, function 1", "PCI domain 65536, bus 225, device 0, function 0",
      "PCI domain 1, bus 1, device 0, function 0", "path 0, no PCI function"};
  for (unsigned i = 0; i < 4; ++i) {
    plant("nvme" + std::to_string(i) + "n1", places[i], "259:" + std::to_string(i));
  }
  LinuxStorageScanner scanner(tree());
  LinuxDeviceScanner devices(tree());
  for (unsigned i = 0; i < 4; ++i) {
    SCOPED_TRACE(places[i]);
    const std::uint32_t number = deviceNumberOf(259, i);
    std::string text;
    EXPECT_EQ(devices.deviceProperty(number, kLocationInformationProperty, &text), 0);
    EXPECT_EQ(text, texts[i]);
    std::array<std::uint8_t, 3> location{};
    EXPECT_EQ(scanner.getPciLocation(number, &location) == 0, i == 0);
    EXPECT_EQ(location[0], i == 0 ? 5 : 0);
  }
  std::string none;
  plant("sda", "virtual/somewhere", "8:0", diskType);
  EXPECT_NE(devices.deviceProperty(deviceNumberOf(8, 0), kLocationInformationProperty, &none), 0);
}

TEST(CardIdentity, RegistersOfTheKernelAreMadeReadable) {
  EXPECT_EQ(LinuxEmmcUtils(DeviceHandle()).TemporaryDirectory("/mnt"), "/mnt/tmp");
  EXPECT_EQ(cardManufacturer(false, "0x000015"), "Samsung");
  EXPECT_EQ(cardManufacturer(true, "0x000015"), "0x15") << "another registry";
  EXPECT_EQ(cardManufacturer(true, "0x000003"), "SanDisk");
  EXPECT_EQ(cardManufacturer(true, ""), "");
  EXPECT_EQ(cardManufacturer(true, "0x15g"), "0x15g");
  EXPECT_EQ(sdRevision("0x8", "0x0"), "8.0");
  EXPECT_EQ(sdRevision("", "0x1"), "0x1");
  EXPECT_EQ(mmcRevision("0x4231303000000000"), "B100");
  EXPECT_EQ(mmcRevision("0x0800000000000000"), "0x08");
  EXPECT_EQ(mmcRevision("0x0000000000000000"), "0x00");
  EXPECT_EQ(mmcRevision("0x00000000000000000"), "0x00");
  EXPECT_EQ(mmcRevision("0x12345678901234567"), "0x12345678901234567") << "no number of 64 bits";
}

TEST_F(SavedTree, PartitionsAndWhatIsBuiltUponThem) {
  plant("sda", "pci0000:00/0000:00:1f.2/ata1/host0/target0:0:0/0:0:0:0", "8:0", diskType);
  const fs::path part = fs::canonical(root / "sys/block/sda") / "sda2";
  write(part / "dev", "8:2");
  write(part / "partition", "2");
  const fs::path crypt = root / "sys/devices/virtual/block/dm-0";
  const fs::path volume = root / "sys/devices/virtual/block/dm-1";
  write(crypt / "dev", "254:0");
  write(volume / "dev", "254:1");
  fs::create_directories(part / "holders");
  fs::create_directories(crypt / "holders");
  fs::create_directory_symlink(crypt, part / "holders/dm-0");
  fs::create_directory_symlink(volume, crypt / "holders/dm-1");
  // The volume has a piece on another disk beside it.
  for (const char* slave : {"dm-0/slaves/sda2", "dm-1/slaves/dm-0", "dm-1/slaves/sdb1"}) {
    fs::create_directories(root / "sys/devices/virtual/block" / slave);
  }

  const auto partitions = tree().partitions(find("sda"));
  ASSERT_EQ(partitions.size(), 1u);
  EXPECT_EQ(partitions[0].index, 2u);
  EXPECT_EQ(partitions[0].node, "/dev/sda2");
  EXPECT_EQ(tree().withHolders(partitions[0].path),
            (std::vector{deviceNumberOf(8, 2), deviceNumberOf(254, 0), deviceNumberOf(254, 1)}));
  EXPECT_EQ(tree().withSoleHolders(partitions[0].path),
            (std::vector{deviceNumberOf(8, 2), deviceNumberOf(254, 0)}));
  write(crypt / "dm/name", "luks");
  EXPECT_EQ(tree().nodesWithHolders(partitions[0].path, false),
            (std::vector<std::string>{"/dev/sda2", "/dev/dm-0", "/dev/mapper/luks", "/dev/dm-1"}));
  EXPECT_EQ(tree().nodesWithHolders(partitions[0].path, true),
            (std::vector<std::string>{"/dev/sda2", "/dev/dm-0", "/dev/mapper/luks"}));
}

/// Reads that this process has made so far; nothing where the kernel does not count them.
std::optional<std::uint64_t> readsSoFar() {
  std::ifstream file("/proc/self/io");
  std::string name;
  std::uint64_t count = 0;
  while (file >> name >> count) {
    if (name == "syscr:") {
      return count;
    }
  }
  return std::nullopt;
}

TEST_F(SavedTree, AScanReadsEachDiskOnce) {
  if (!readsSoFar()) {
    GTEST_SKIP() << "this kernel does not count reads";
  }
  constexpr std::uint64_t kDisks = 60;
  for (unsigned i = 0; i < kDisks; ++i) {
    plant("sd" + std::to_string(i),
          "pci0000:00/0000:00:1f.2/ata1/host0/target0:0:0/0:0:0:" + std::to_string(i),
          std::to_string(8 + i / 16) + ":" + std::to_string(i % 16 * 16), diskType);
  }
  LinuxStorageScanner scanner(tree());
  const std::uint64_t before = *readsSoFar();
  DevicePathMap devices;
  EXPECT_EQ(scanner.listDevices(devices), 0);
  EXPECT_EQ(devices.size(), kDisks);
  for (const auto& [number, paths] : devices) {
    bool removable = true;
    DeviceConnection connection{};
    StorageBusKind bus{};
    std::string id;
    EXPECT_EQ(scanner.isRemovableMedia(number, &removable), 0);
    EXPECT_EQ(scanner.getConnection(number, &connection), 0);
    EXPECT_EQ(scanner.getBusKind(number, &bus, nullptr), 0);
    EXPECT_EQ(scanner.getDeviceId(number, &id), 0);
    EXPECT_EQ(bus, StorageBusKind::Ata);
  }
  EXPECT_LT((*readsSoFar() - before) / kDisks, 10u);
}

TEST_F(SavedTree, TheOrderOfTheListAndWhatTellsTheDisksApart) {
  const std::string ata = "pci0000:00/0000:00:1f.2/ata1/host0/target0:0:0/0:0:0:";
  const std::string usb = "pci0000:00/0000:00:14.0/usb2/2-3/2-3:1.0/host6/target6:0:0/6:0:0:";
  const auto serial = [](const std::string& text) {
    // The length of ten is a line feed.
    return std::string("\0\x80\0\n", 4) + text;
  };
  plant("sda", usb + "0", "8:0", {{"device/type", "0"}, {"device/model", "STICK"}});
  plant("sdb", ata + "1", "8:16",
        {{"device/type", "0"}, {"device/vpd_pg80", serial("SERIAL0001")}});
  plant("sdc", ata + "2", "8:32",
        {{"device/type", "0"}, {"device/vpd_pg80", serial("SERIAL0002")}});
  plant("nvme0n1", "pci0000:00/0000:05:00.0/nvme/nvme0", "259:0", {{"device/serial", "N1"}});
  plant("vda", "pci0000:00/0000:00:05.0/virtio1", "254:0");
  plant("vdb", "pci0000:00/0000:00:06.0/virtio2", "254:16");  // no device of the list either
  const auto order = [this] {
    LinuxStorageScanner scanner(tree());
    DevicePathMap devices;
    EXPECT_EQ(scanner.listDevices(devices), 0);
    std::vector<StorageScanner::Position> positions;
    EXPECT_TRUE(scanner.listOrder(positions));
    std::vector<std::pair<std::uint32_t, std::string>> found;
    for (const auto& position : positions) {
      found.emplace_back(position.number, position.identity);
    }
    return found;
  };
  EXPECT_EQ(order(), (std::vector<std::pair<std::uint32_t, std::string>>{
                         {deviceNumberOf(254, 0), ""},
                         {deviceNumberOf(254, 16), ""},
                         {deviceNumberOf(8, 16), "SERIAL0001"},
                         {deviceNumberOf(8, 32), "SERIAL0002"},
                         {deviceNumberOf(259, 0), "N1"},
                         {deviceNumberOf(8, 0), "model STICK"}}));
}

TEST(SysfsTree, DeviceNumbersAreTheKernelsThirtyTwoBits) {
  EXPECT_EQ(parseDeviceNumber("8:16"), 0x00000810u);
  EXPECT_EQ(parseDeviceNumber("259:300"), 300u % 256 | 259u << 8 | 1u << 20);
  EXPECT_FALSE(parseDeviceNumber(""));
}

}  // namespace
}  // namespace ostria::storage::test
