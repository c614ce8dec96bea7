// A drive that hangs while it is asked who it is has no protocol, so it is no device of the
// module's; the system knows its node and, mostly, its model.
#include "host/core/run/left_out.h"

#include <algorithm>
#include <utility>

#include "host/core/run/describe_device.h"

namespace ostria::host {
namespace {

using storage::LeftOutDevice;

std::string lastPart(const std::string& node) { return node.substr(node.find_last_of("/\\") + 1); }

}  // namespace

std::vector<LeftOutDevice> silentDisks(storage::SystemComponentManager& manager,
                                       const FindDeviceNames& names,
                                       const std::vector<std::string>& known) {
  std::vector<LeftOutDevice> silent = manager.leftOutDevices();
  std::erase_if(silent, [&](const LeftOutDevice& disk) {
    const bool expected =
        disk.reason == LeftOutDevice::NotOpened || disk.reason == LeftOutDevice::NotIdentified;
    return !expected || std::ranges::find(known, lastPart(names(disk.id).node)) != known.end();
  });
  return silent;
}

DeviceInfo describeSilentDisk(const LeftOutDevice& disk, std::uint32_t index,
                              const DeviceNames& names, Redactor& redactor) {
  DeviceInfo info;
  info.index = index;
  info.id = disk.id;
  info.names = redactedNames(names, redactor);
  info.name = info.model = redactor.text(disk.name);
  if (info.name.empty()) {
    info.name = lastPart(info.names.node);
  }
  info.connection = "other";
  info.bus = "unknown";
  info.evidence.asked = true;
  info.evidence.answers = false;
  info.evidence.identified = false;
  return info;
}

std::vector<std::string> leftOutNotices(storage::SystemComponentManager& manager, bool raidMembers,
                                        const FindDeviceNames& names, const Texts& texts) {
  std::vector<std::string> notices;
  const std::vector<LeftOutDevice> all = manager.leftOutDevices();
  for (const auto& [reason, key] :
       {std::pair{LeftOutDevice::UnknownBus, "notice.virtual_disks"},
        std::pair{LeftOutDevice::ControllerDisk, "notice.closed_volumes"}}) {
    std::string disks;
    for (const LeftOutDevice& disk : all) {
      if (disk.reason == reason) {
        const std::string node = names(disk.id).node;
        disks += (disks.empty() ? "" : ", ") + (node.empty() ? disk.name : node);
      }
    }
    // Volumes are no loss where their drives are listed.
    if (!disks.empty() && !(raidMembers && reason == LeftOutDevice::ControllerDisk)) {
      notices.push_back(texts.say(key, {{"disks", disks}}));
    }
  }
  return notices;
}

}  // namespace ostria::host
