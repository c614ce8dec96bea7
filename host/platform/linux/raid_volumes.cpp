// Channels and numbers as the kernel's driver gives them: 128 drives on each of two channels.
#include "host/platform/raid_volumes.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <system_error>

#include "host/platform/linux/megaraid_disks.h"

namespace ostria::host {
namespace {

namespace fs = std::filesystem;

constexpr unsigned kDriveChannels = 2;
constexpr unsigned kDrivesPerChannel = 128;

bool isMegaraid(const std::string& root, unsigned host) {
  std::ifstream file(root + "/sys/class/scsi_host/host" + std::to_string(host) + "/proc_name");
  std::string name;
  file >> name;
  return name == "megaraid_sas";
}

}  // namespace

std::vector<MegaraidDisk> megaraidDisks(const std::string& root) {
  std::vector<MegaraidDisk> found;
  std::map<unsigned, bool> hosts;  // a host of many disks is asked once
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(root + "/sys/class/scsi_device", error)) {
    unsigned host = 0, channel = 0, target = 0, unit = 0;
    if (std::sscanf(entry.path().filename().c_str(), "%u:%u:%u:%u", &host, &channel, &target,
                    &unit) != 4) {
      continue;
    }
    const auto [known, isNew] = hosts.try_emplace(host);
    if (isNew) {
      known->second = isMegaraid(root, host);
    }
    if (!known->second) {
      continue;
    }
    std::error_code noDisk;
    for (const auto& disk : fs::directory_iterator(entry.path() / "device/block", noDisk)) {
      found.push_back({host, channel >= kDriveChannels, channel * kDrivesPerChannel + target,
                       disk.path().filename().string()});
    }
  }
  return found;
}

std::vector<std::string> raidVolumes() {
  std::vector<std::string> names;
  for (const MegaraidDisk& disk : megaraidDisks("")) {
    if (disk.volume) {
      names.push_back(disk.name);
    }
  }
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace ostria::host
