// A drive named in the ways that people name it. Two of a name are refused: the wrong one could be
// repaired.
#include "host/core/run/resolve_devices.h"

#include <gtest/gtest.h>

#include "host/core/run/first_devices.h"
#include "host/core/texts/texts.h"

namespace ostria::host::test {
namespace {

TEST(ResolveDevicesTest, ANameMeansOneDriveOrNone) {
  const std::vector<DeviceKey> devices = {
      {0, "A", "S-0", {"/dev/sda", {"/dev/disk/by-id/ata-A_S-0"}, {}, "naa.5000c500a1b2c3d4"}},
      {1, "B", "3", {"/dev/sdb", {}, {"/dev/disk/by-path/pci-0-ata-2"}, ""}},
      {2, "C", "SAME", {"/dev/nvme0n1", {}, {}, "eui.0025385b01234567"}},
      {3, "D", "same", {"", {}, {}, ""}},
  };
  const auto resolve = [](const std::string& path) {
    return path == "/tmp/mine" ? std::string("/dev/sdb") : path;
  };
  const std::pair<std::vector<std::string>, std::string> rows[] = {
      {{}, ""},
      {{"2", "0"}, "2 0 "},
      {{"/dev/sdb", "S-0"}, "1 0 "},
      {{"sda"}, "0 "},
      {{"/tmp/mine"}, "1 "},
      {{"s-0"}, "0 "},
      {{"ata-A_S-0"}, "0 "},
      {{"/dev/disk/by-path/pci-0-ata-2"}, "1 "},
      {{"0x5000C500A1B2C3D4"}, "0 "},
      {{"wwn-0x5000c500a1b2c3d4"}, "0 "},
      {{"eui.0025385b01234567"}, "2 "},
      // The number of one and the serial number of another.
      {{"3"},
       "\"3\" can mean several devices: 1 (B, /dev/sdb), 3 (D). Use a name that only one has."},
      {{"SAME"},
       "\"SAME\" can mean several devices: 2 (C, /dev/nvme0n1), 3 (D). Use a name that only "
       "one has."},
      {{"4"}, "Unknown device 4. The devices are 0 to 3."},
      {{"4294967296"}, "Unknown device 4294967296. The devices are 0 to 3."},
      {{"S"},
       "No device is called \"S\". A device is named by its number in the list, its node, a link "
       "to that, its serial number or its WWN."},
      {{"0", "/dev/sda"}, "Duplicate device /dev/sda."},
  };
  const Texts texts;
  for (const auto& [names, expected] : rows) {
    const auto found = resolveDevices(names, devices, resolve, NamesTaken::All);
    std::string text;
    if (const auto* error = std::get_if<UsageError>(&found)) {
      text = texts.say(*error);
    } else {
      for (const std::uint32_t index : std::get<0>(found)) {
        text += std::to_string(index) + " ";
      }
    }
    EXPECT_EQ(text, expected) << testing::PrintToString(names);
  }
}

// What a list showed before another drive took the place.
TEST(ResolveDevicesTest, APlaceIsNoNameOfADriveThatHasOne) {
  const std::vector<DeviceKey> devices = {
      {0, "A", "S-0", {"/dev/sda", {"/dev/disk/by-id/ata-A"}, {"/dev/disk/by-path/p0"}, "naa.5"}},
      {1, "B", "", {"/dev/sdb", {}, {}, "naa.5000c500a1b2c3d4"}},
      {2, "C", "", {"/dev/sdc", {"/dev/disk/by-id/usb-C"}, {}, ""}},
      {3, "D", "3", {"/dev/sdd", {}, {}, ""}},
      {4, "E", "", {"/dev/sde", {}, {}, ""}},
  };
  const auto refused = [&](const char* name) {
    const auto found = resolveDevices(
        {name}, devices,
        [](const std::string& path) { return path == "/dev/mine" ? "/dev/sda" : path; },
        NamesTaken::OwnOnly);
    const auto* error = std::get_if<UsageError>(&found);
    return error != nullptr ? error->key : std::string();
  };
  for (const char* place :
       {"0", "sda", "/dev/sda", "p0", "/dev/disk/by-path/p0", "1", "/dev/sdb", "2", "sdc", "sdd"}) {
    EXPECT_EQ(refused(place), "usage.place_assumed") << place;
  }
  // "3" is the drive's serial number, and the last drive has nothing but its place.
  for (const char* name : {"s-0", "ata-A", "/dev/disk/by-id/usb-C", "naa.5000c500a1b2c3d4", "3",
                           "4", "/dev/sde", "/dev/mine"}) {
    EXPECT_EQ(refused(name), "") << name;
  }
}

TEST(ResolveDevicesTest, NumbersAndNodesNeedTheBeginningOfTheListAlone) {
  const auto idAt = [](const std::string& path) {
    return path == "/dev/sdb" || path == "/dev/disk/by-id/b" ? "2064" : "";
  };
  const std::uint32_t all = ~std::uint32_t{0};
  struct Row {
    std::vector<std::string> names;
    std::uint32_t count;
    std::vector<std::string> ids;
  };
  const Row rows[] = {
      {{}, all, {}},
      {{"0"}, 1, {}},
      {{"2", "1", "/dev/sdb"}, 3, {"2064"}},
      {{"/dev/disk/by-id/b"}, 0, {"2064"}},
      {{"4294967295"}, all, {}},
      // What may be anybody's serial number.
      {{"0", "sdb"}, all, {}},
      {{"-1"}, all, {}},
      {{"4294967296"}, all, {}},
      {{"/dev/none", "0"}, all, {}},
  };
  for (const auto& [names, count, ids] : rows) {
    storage::ScanDemand demand;
    endWithNamedDevices(names, idAt, demand);
    EXPECT_EQ(demand.count, count) << testing::PrintToString(names);
    EXPECT_EQ(demand.ids, ids) << testing::PrintToString(names);
  }
}

}  // namespace
}  // namespace ostria::host::test
