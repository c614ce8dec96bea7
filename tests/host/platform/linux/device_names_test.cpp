// A disk's names, from the trees that the kernel and udev make.
#include "host/platform/linux/device_names.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "host/platform/linux/megaraid_disks.h"
#include "tests/support/temporary_folder.h"

namespace ostria::host::test {
namespace {

namespace fs = std::filesystem;

TEST(DeviceNamesTest, NumberLeadsToNodeAndLinks) {
  const storage::test::TemporaryFolder folder;
  const std::string& root = folder.path();
  const auto disk = [&](const std::string& number, const std::string& sysName,
                        const std::string& node, const std::string& wwid) {
    fs::create_directories(root + "/sys/devices/" + sysName);
    fs::create_directories(root + "/sys/dev/block");
    fs::create_directory_symlink("../../devices/" + sysName, root + "/sys/dev/block/" + number);
    std::ofstream(root + "/sys/devices/" + sysName + "/wwid") << wwid;
    fs::create_directories(fs::path(root + node).parent_path());
    std::ofstream(root + node) << "x";
  };
  disk("8:0", "sda", "/dev/sda", "naa.5000c500a1b2c3d4\n");
  disk("259:300", "nvme0n1", "/dev/nvme0n1", "eui.1\n");
  disk("104:0", "cciss!c0d0", "/dev/cciss/c0d0", "t10.ATA x\n");
  fs::create_directories(root + "/dev/disk/by-id");
  for (const char* link : {"wwn-0x5000c500a1b2c3d4", "ata-DISK_S1"}) {
    fs::create_symlink("../../sda", root + "/dev/disk/by-id/" + link);
  }
  fs::create_symlink("../../gone", root + "/dev/disk/by-id/ata-GONE");

  const DeviceNames sda = deviceNames("2048", root);
  EXPECT_EQ(sda.node, "/dev/sda");
  EXPECT_EQ(sda.wwn, "naa.5000c500a1b2c3d4");
  EXPECT_EQ(sda.byId, (std::vector<std::string>{"/dev/disk/by-id/ata-DISK_S1",
                                                "/dev/disk/by-id/wwn-0x5000c500a1b2c3d4"}));
  EXPECT_TRUE(sda.byPath.empty());
  // Minor number 300 in the kernel's 32-bit form.
  // The kernel's state of an NVMe controller; that of a SCSI disk is another one.
  for (const char* name : {"nvme0n1", "sda"}) {
    fs::create_directories(root + "/sys/devices/" + name + "/device");
    std::ofstream(root + "/sys/devices/" + name + "/device/state") << "dead\n";
  }
  const DeviceNames nvme = deviceNames(std::to_string(0x2Cu | 259u << 8 | 1u << 20), root);
  EXPECT_EQ(nvme.node, "/dev/nvme0n1");
  EXPECT_EQ(nvme.controllerState, "dead");
  EXPECT_EQ(deviceNames("2048", root).controllerState, "");
  EXPECT_EQ(deviceNames(std::to_string(104u << 8), root).node, "/dev/cciss/c0d0");
  EXPECT_EQ(deviceNames(std::to_string(104u << 8), root).wwn, "");
  // A drive and a volume behind the controller at host 2, and another driver's disk.
  const auto shown = [&](const char* address, const char* name) {
    fs::create_directories(root + "/sys/class/scsi_device/" + address + "/device/block/" + name);
    fs::create_directories(root + "/sys/block");
    fs::create_symlink("../devices/sda", root + "/sys/block/" + name);
  };
  for (const auto& [host, driver] :
       {std::pair("host2", "megaraid_sas"), std::pair("host3", "ahci")}) {
    fs::create_directories(root + "/sys/class/scsi_host/" + host);
    std::ofstream(root + "/sys/class/scsi_host/" + host + "/proc_name") << driver << "\n";
  }
  shown("2:1:5:0", "sdb");
  shown("2:2:1:0", "sdc");
  shown("3:0:5:0", "sdd");
  EXPECT_EQ(deviceNames("2:133", root).node, "/dev/sda");
  EXPECT_EQ(megaraidDisks(root).size(), 2u);
  for (const char* none :
       {"", "9", "0:5", "2:5", "2:257", "3:5", "PCI@0.1.0#phy2", "99999999999"}) {
    EXPECT_EQ(deviceNames(none, root).node, "") << none;
  }
}

}  // namespace
}  // namespace ostria::host::test
