// The property list and the groups of a RAID controller. Order and keys are those that hosts show,
// so they are written out here and not made from tables.
#include "raid/raid_component.h"

#include "services/number_handler.h"

namespace ostria::storage {

namespace {

const std::string kNoPlatform = "IMSM_CAPABILITIES_NOT_FOUND";

std::string joined(const std::vector<std::string>& texts) {
  std::string all;
  for (const std::string& text : texts) {
    if (!all.empty()) {
      all += ", ";
    }
    all += text;
  }
  return all;
}

std::string sizeTextOf(std::uint64_t bytes) {
  std::string text;
  getLocalNumberHandler().formatBytes(text, bytes);
  return text;
}

void addEntry(PropertySection& section, const std::string& key, const std::string& value) {
  if (!value.empty()) {
    section.entries.push_back({key, value});
  }
}

PropertySection describe(const RaidLogicalDevice& device, std::size_t position) {
  PropertySection section;
  section.title = "LOGICAL_DISK";
  addEntry(section, "INDEX", std::to_string(position));
  addEntry(section, "RAID_LEVEL", device.raidLevel);
  addEntry(section, "NUM_PHYSICAL_DEVICES", std::to_string(device.physicalDeviceCount));
  addEntry(section, "SIZE", device.sizeText.empty() ? sizeTextOf(device.size) : device.sizeText);
  return section;
}

PropertySection describe(const RaidPhysicalDrive& drive, std::size_t position) {
  PropertySection section;
  section.title = "PHYSICAL_DISK";
  addEntry(section, "INDEX", std::to_string(position));
  addEntry(section, "MANUFACTURER", drive.manufacturer);
  addEntry(section, "MODEL", drive.model);
  addEntry(section, "SIZE", sizeTextOf(drive.size));
  addEntry(section, "SERIAL", drive.serial);
  return section;
}

}  // namespace

RaidComponent::RaidComponent(DeviceHandle handle, std::uint32_t connectionKind,
                             std::string adapterName)
    : handle_(handle), connectionKind_(connectionKind) {
  controller_.model = std::move(adapterName);
}

void RaidComponent::addProperty(const std::string& key, const std::string& value) {
  if (!value.empty()) {
    properties_.push_back({key, value});
  }
}

ProtocolResult RaidComponent::buildProperties() {
  sections_.clear();
  properties_.clear();
  sets_.clear();
  prepare();
  RaidControllerInfo info;
  // What cannot be learnt stays as it is: a controller that says little can still have drives.
  if (succeeded(getControllerInfo(&info))) {
    controller_ = info;
  }

  displayName_ = controller_.model;
  if (!controller_.serial.empty()) {
    displayName_ += " - " + controller_.serial;
  }
  model_ = controller_.model;

  properties_.push_back({"UDI", controller_.udi});
  addProperty("MODEL", controller_.model);
  if (controller_.platform != kNoPlatform) {
    addProperty("PLATFORM", controller_.platform);
  }
  addProperty("SERIAL", controller_.serial);
  addProperty("BIOS_VERSION", controller_.biosVersion);
  addProperty("NUM_LOGICAL_DEVICES", std::to_string(controller_.logicalDeviceCount));
  addProperty("SUPPORTED_INTERFACES", joined(controller_.interfaces));
  addProperty("SUPPORTED_RAID_LEVELS", joined(controller_.raidLevels));

  if (controller_.logicalDeviceCount >= 1) {
    std::vector<RaidLogicalDevice> sets;
    if (succeeded(getLogicalDevices(&sets))) {
      for (std::size_t i = 0; i < sets.size(); ++i) {
        sections_.push_back(describe(sets[i], i));
      }
    }
    sets_ = std::move(sets);
  }
  std::vector<RaidPhysicalDrive> drives;
  const ProtocolResult result = getPhysicalDrives(&drives);
  if (!succeeded(result)) {
    return result;
  }
  for (std::size_t i = 0; i < drives.size(); ++i) {
    sections_.push_back(describe(drives[i], i));
  }
  addProperty("NUM_PHYSICAL_DEVICES", std::to_string(drives.size()));
  addProperty("DRIVER_VERSION", controller_.driverVersion);
  return ProtocolResult::Success;
}

}  // namespace ostria::storage
