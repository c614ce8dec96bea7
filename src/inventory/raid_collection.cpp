// Components of the drives behind RAID controllers.
#include "inventory/raid_collection.h"

#include <algorithm>

#include "inventory/device_properties.h"
#include "raid/raid_component_manager.h"

namespace ostria::storage {

namespace {

// How a SAT layer names itself in INQUIRY, for every drive behind it.
const std::string kSatVendor = "ATA     ";

bool isMember(const RaidLogicalDevice& set, std::optional<std::uint32_t> address,
              const std::string& serial) {
  const auto& drives = set.memberIndexes;
  const auto& serials = set.memberNames;
  return (address && std::find(drives.begin(), drives.end(), *address) != drives.end()) ||
         (!serial.empty() && std::find(serials.begin(), serials.end(), serial) != serials.end());
}

/// Rows of the report on the sets that a drive belongs to: two can share their drives.
std::string setRows(const std::vector<RaidLogicalDevice>& sets,
                    std::optional<std::uint32_t> address, const std::string& serial) {
  std::string rows;
  for (const RaidLogicalDevice& set : sets) {
    if (isMember(set, address, serial)) {
      rows += std::string(rows.empty() ? "" : ",") + R"({"description":")" +
              std::to_string(set.index) + R"(","data":")" + set.raidLevel + "\"}";
    }
  }
  return rows;
}

std::unique_ptr<StorageComponent> buildMember(RaidDevice& device, const RaidControllerInfo& info,
                                              const std::vector<RaidLogicalDevice>& sets) {
  auto component = std::make_unique<StorageComponent>(std::move(device.protocol));
  component->setConnection(DeviceConnection::RaidMember);
  component->setId(device.name);
  component->setBusKind(device.busKind);
  std::string parentName = info.model;
  if (!info.serial.empty()) {
    parentName += " - " + info.serial;
  }

  StorageProtocolProperties properties;
  if (!succeeded(component->storageProtocol()->GetProperties(&properties))) {
    return nullptr;
  }
  component->setPciLocation(info.pciLocation[0], info.pciLocation[1], info.pciLocation[2]);
  StorageProtocol* source = properties.vendor == kSatVendor ? device.ataProtocol.get() : nullptr;
  if (!succeeded(fillProperties(*component, source, parentName, nullptr))) {
    return nullptr;
  }
  const std::string* serial = component->findProperty("SERIAL");
  component->setRaidSets(
      setRows(sets, device.address, serial != nullptr ? *serial : std::string()));
  return component;
}

}  // namespace

RaidMembers collectRaidDevices(DeviceScanner& scanner) {
  RaidMembers members;
  RaidComponentManager manager(Identifier(0, 0, 0));
  manager.scan();
  for (std::uint32_t i = 0; i < manager.componentCount(); ++i) {
    RaidComponent& controller = *manager.raidComponent(i);
    RaidControllerInfo info;
    std::vector<RaidDevice> devices;
    if (!succeeded(controller.getControllerInfo(&info)) ||
        !succeeded(controller.getDevices(&devices))) {
      continue;
    }
    for (RaidDevice& device : devices) {
      try {
        if (auto component = buildMember(device, info, controller.sets())) {
          members.components.push_back(std::move(component));
        }
      } catch (...) {
        // What one drive makes go wrong, memory included, must not cost the others.
      }
    }
  }
  // Room first, so that nothing can fail while nobody holds them.
  members.ports.reserve(manager.portCount());
  for (const DeviceHandle port : manager.takePorts()) {
    members.ports.emplace_back(scanner, port);
  }
  return members;
}

bool hasRaidDrives() {
  RaidComponentManager manager(Identifier(0, 0, 0));
  manager.scan();
  for (std::uint32_t i = 0; i < manager.componentCount(); ++i) {
    std::vector<RaidPhysicalDrive> drives;
    if (!succeeded(manager.raidComponent(i)->getPhysicalDrives(&drives))) {
      continue;
    }
    const bool testable =
        std::any_of(drives.begin(), drives.end(), [](const RaidPhysicalDrive& drive) {
          return drive.busKind == StorageBusKind::Ata || drive.busKind == StorageBusKind::Scsi ||
                 drive.busKind == StorageBusKind::Nvme;
        });
    if (testable) {
      return true;
    }
  }
  return false;
}

}  // namespace ostria::storage
