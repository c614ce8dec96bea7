// Controllers whose miniport speaks CSMI. Drives hang on phys; NVMe members have none and are found
// by walking the paths of the port.
#include "raid/csmi/csmi_raid_component.h"

#include <algorithm>
#include <array>
#include <memory>
#include <utility>
#include <vector>

#include "raid/csmi/csmi_bridges.h"
#include "raid/drive_identity.h"
#include "raid/raid_adapter.h"
#include "transport/ata/ata_protocol.h"
#include "transport/nvme/nvme_bridge.h"
#include "transport/nvme/nvme_protocol.h"
#include "transport/protocol_over.h"
#include "transport/scsi/scsi_protocol.h"

namespace ostria::storage {

namespace {

constexpr std::uint32_t kCsmiConnection = 3;
constexpr std::uint32_t kEndOfSets = 1000;
// No controller of these families has more sets; a wild count must not keep the inventory busy.
constexpr std::uint32_t kMostSets = 256;
constexpr const char* kNvmeModel = "nvme";
constexpr std::size_t kVendorAt = 8;  // inside "PCI\\VEN_xxxx&DEV_yyyy"

}  // namespace

std::string csmiLevelName(std::uint8_t type) {
  switch (type) {
    case 0:
      return "SINGLE_DRIVE_RAID_SET";
    case 1:
      return "RAID 0";
    case 2:
      return "RAID 1";
    case 3:
    case 9:
      return "RAID 10";
    case 4:
      return "RAID 5";
    case 5:
      return "RAID 15";
    case 6:
      return "RAID 6";
    case 7:
      return "RAID 50";
    default:
      return "UNKNOWN";
  }
}

CsmiRaidComponent::CsmiRaidComponent(DeviceHandle port, std::string adapterName,
                                     std::string hardwareId, CsmiSend* sender)
    : RaidComponent(port, kCsmiConnection, std::move(adapterName)),
      sender_(sender),
      hardwareId_(std::move(hardwareId)) {
  controller_.udi = hardwareId_;
}

ProtocolResult CsmiRaidComponent::ask(CsmiCmd& command) {
  if (sender_ == nullptr) {
    return ProtocolResult::InvalidArgument;
  }
  const ProtocolResult result = sender_->send(handle_, command);
  if (!succeeded(result)) {
    return result;
  }
  return command.returnCode() == 0 ? ProtocolResult::Success : ProtocolResult::ControllerRefused;
}

ProtocolResult CsmiRaidComponent::getControllerInfo(RaidControllerInfo* info) {
  if (info == nullptr) {
    return ProtocolResult::InvalidArgument;
  }
  RaidControllerInfo learnt = controller_;
  CsmiGetCntrlConfig config;
  ProtocolResult result = ask(config);
  if (!succeeded(result)) {
    return result;
  }
  const auto version = config.biosVersion();
  if (std::any_of(version.begin(), version.end(), [](std::uint16_t part) { return part != 0; })) {
    learnt.biosVersion.clear();
    for (const std::uint16_t part : version) {
      if (!learnt.biosVersion.empty()) {
        learnt.biosVersion += ".";
      }
      learnt.biosVersion += std::to_string(part);
    }
  }
  learnt.pciLocation = config.pciLocation();
  // What the controller has reported so far stays, whatever it refuses next: the names of its
  // drives are made of the location.
  controller_.pciLocation = learnt.pciLocation;
  controller_.biosVersion = learnt.biosVersion;

  CsmiGetRaidInfo sets;
  result = ask(sets);
  if (!succeeded(result)) {
    return result;
  }
  learnt.logicalDeviceCount = sets.setCount();

  std::vector<RaidPhysicalDrive> drives;
  result = getPhysicalDrives(&drives);
  if (!succeeded(result)) {
    return result;
  }
  learnt.physicalDeviceCount = static_cast<std::uint32_t>(drives.size());
  learnt.driverVersion = raidDriverVersion(hardwareId_);
  *info = learnt;
  return ProtocolResult::Success;
}

ProtocolResult CsmiRaidComponent::getLogicalDevices(std::vector<RaidLogicalDevice>* devices) {
  if (devices == nullptr) {
    return ProtocolResult::InvalidArgument;
  }
  CsmiGetRaidInfo info;
  const ProtocolResult result = ask(info);
  if (!succeeded(result)) {
    return result;
  }

  std::vector<RaidLogicalDevice> found;
  for (std::uint32_t index = 0; index < std::min(info.setCount(), kMostSets); ++index) {
    CsmiGetRaidConfig config(index, info.drivesPerSet());
    const ProtocolResult sent = sender_->send(handle_, config);
    if (!succeeded(sent)) {
      return sent;
    }
    if (config.returnCode() == kEndOfSets) {
      break;
    }
    if (config.returnCode() != 0) {
      return ProtocolResult::ControllerRefused;
    }
    RaidLogicalDevice device;
    device.index = index;
    device.raidLevel = csmiLevelName(config.raidType());
    device.memberNames = config.driveSerials();
    // Two values of the count say that the list is too long, or kept back: what it names counts.
    const bool counted = config.driveCount() != CsmiGetRaidConfig::kTooManyDrives &&
                         config.driveCount() != CsmiGetRaidConfig::kDrivesKeptBack;
    device.physicalDeviceCount =
        counted ? config.driveCount()
                : static_cast<std::uint32_t>(
                      std::count_if(device.memberNames.begin(), device.memberNames.end(),
                                    [](const std::string& serial) { return !serial.empty(); }));
    device.size = config.capacityBytes();
    found.push_back(std::move(device));
  }
  *devices = std::move(found);
  return ProtocolResult::Success;
}

std::string CsmiRaidComponent::deviceName(const std::string& position) const {
  // Two controllers of one kind differ by their PCI location.
  const auto& pci = controller_.pciLocation;
  return hardwareId_ + "@" + std::to_string(pci[0]) + "." + std::to_string(pci[1]) + "." +
         std::to_string(pci[2]) + "#" + position;
}

ProtocolResult CsmiRaidComponent::findDrives(std::vector<RaidDevice>* devices) {
  CsmiGetPhyInfo info;
  const ProtocolResult result = ask(info);
  if (!succeeded(result)) {
    return result;
  }

  for (const CsmiPhyEntry& phy : info.phys()) {
    if (phy.attachedDeviceType() != CsmiPhyEntry::kEndDevice ||
        phy.targetProtocol() == CsmiPhyEntry::kSmpTarget) {
      continue;
    }
    RaidDevice device;
    device.name = deviceName("phy" + std::to_string(phy.phyIdentifier()));
    if (phy.targetProtocol() == CsmiPhyEntry::kSspTarget) {
      device.busKind = StorageBusKind::Scsi;
      device.protocol = protocolOver<ScsiProtocol>(
          std::make_shared<CsmiSspBridge>(handle_, sender_, phy), ProtocolKind::Scsi);
    } else {
      device.busKind = StorageBusKind::Ata;
      device.protocol = protocolOver<AtaProtocol>(
          std::make_shared<CsmiStpBridge>(handle_, sender_, phy), ProtocolKind::Ata);
    }
    devices->push_back(std::move(device));
  }

  if (isIntel()) {
    findNvmeDrives(devices);
  }
  return ProtocolResult::Success;
}

bool CsmiRaidComponent::isIntel() const {
  return hardwareId_.compare(std::min(kVendorAt, hardwareId_.size()), 4, "8086") == 0;
}

void CsmiRaidComponent::findNvmeDrives(std::vector<RaidDevice>* devices) {
  // NVMe members hang on the port without a phy; each new serial number is one more drive. The path
  // grows from one to the next, or a drive that changes its number would be found for ever.
  const auto bridge = std::make_shared<NvmeIntelBridge>(handle_);
  std::vector<std::string> serials;
  std::uint8_t pathId = 0;
  std::string serial;
  int lastPath = -1;
  while (NvmeProtocol::FindNewPath(*bridge, serials, &pathId, &serial) && pathId > lastPath) {
    lastPath = pathId;
    serials.push_back(serial);
    auto protocol = std::make_unique<NvmeProtocol>(handle_, std::string());
    protocol->AddBridge(bridge);
    protocol->SetPathId(pathId);
    protocol->SetProtocolKind(ProtocolKind::Nvme);
    devices->push_back({std::move(protocol), nullptr, deviceName("nvme" + std::to_string(pathId)),
                        StorageBusKind::Nvme});
  }
}

ProtocolResult CsmiRaidComponent::getPhysicalDrives(std::vector<RaidPhysicalDrive>* drives) {
  if (drives == nullptr) {
    return ProtocolResult::InvalidArgument;
  }
  if (drives_) {
    *drives = *drives_;
    return ProtocolResult::Success;
  }
  std::vector<RaidDevice> devices;
  const ProtocolResult result = findDrives(&devices);
  if (!succeeded(result)) {
    return result;
  }

  std::vector<RaidPhysicalDrive> found;
  for (const RaidDevice& device : devices) {
    RaidPhysicalDrive drive;
    if (!identifyDrive(*device.protocol, &drive)) {
      continue;
    }
    drive.busKind = device.busKind;
    drive.index = static_cast<std::uint32_t>(found.size());
    if (device.busKind == StorageBusKind::Nvme) {
      drive.model = kNvmeModel;
    }
    found.push_back(std::move(drive));
  }
  drives_ = found;
  devices_ = std::move(devices);
  *drives = std::move(found);
  return ProtocolResult::Success;
}

ProtocolResult CsmiRaidComponent::getDevices(std::vector<RaidDevice>* devices) {
  if (devices == nullptr) {
    return ProtocolResult::InvalidArgument;
  }
  if (!devices_.empty()) {
    *devices = std::exchange(devices_, {});
    return ProtocolResult::Success;
  }
  std::vector<RaidDevice> found;
  const ProtocolResult result = findDrives(&found);
  if (succeeded(result)) {
    *devices = std::move(found);
  }
  return result;
}

}  // namespace ostria::storage
