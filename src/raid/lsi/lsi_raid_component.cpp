// LSI controllers: what the vendor library answers about a controller, its sets and its drives. The
// layout of the blocks stands in lsi_layout.h; every count in them is bounded by the room behind
// it.
#include "raid/lsi/lsi_raid_component.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>

#include "base/byte_order.h"
#include "base/byte_size.h"
#include "raid/lsi/lsi_bridges.h"
#include "raid/lsi/lsi_layout.h"
#include "raid/raid_adapter.h"
#include "services/string_handler.h"
#include "transport/ata/ata_protocol.h"
#include "transport/protocol_over.h"
#include "transport/scsi/scsi_protocol.h"

namespace ostria::storage {

namespace {

constexpr std::uint32_t kLsiConnection = 0;
constexpr std::uint8_t kSpannedSecondary = 3;

struct MaskName {
  std::uint32_t bit;
  const char* name;
};

constexpr MaskName kLevelNames[] = {{0x01, "RAID 0"}, {0x02, "RAID 1"},  {0x20, "RAID 10"},
                                    {0x04, "RAID 5"}, {0x40, "RAID 50"}, {0x10, "RAID 6"}};
constexpr const char* kRemainingLevel = "RAID 60";
constexpr MaskName kInterfaceNames[] = {
    {0x02, "SAS 3G"}, {0x10, "SAS 6G"}, {0x04, "SATA 1.5G"}, {0x08, "SATA 3G"}};
constexpr std::uint32_t kSpiBit = 0x01;
constexpr const char* kRemainingInterface = "SPI";

std::string field(const std::vector<std::uint8_t>& block, std::size_t at, std::size_t bytes) {
  std::string text(bytes + 1, '\0');
  return getLocalStringHandler().copyFixedField(text.data(), text.size(), &block[at], bytes);
}

template <std::size_t N>
std::vector<std::string> namesOf(std::uint32_t mask, const MaskName (&names)[N],
                                 const char* remaining, std::uint32_t remainingMask) {
  std::vector<std::string> found;
  for (const MaskName& entry : names) {
    if ((mask & entry.bit) != 0) {
      found.emplace_back(entry.name);
    }
    remainingMask &= ~entry.bit;
  }
  if ((mask & remainingMask) != 0) {
    found.emplace_back(remaining);
  }
  return found;
}

std::string biosVersionOf(const std::vector<std::uint8_t>& info) {
  const std::size_t count =
      std::min<std::size_t>(loadLe32(&info[lsi::kImageCountAt]), lsi::kImageRoom);
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t at = lsi::kFirstImage + i * lsi::kImageBytes;
    if (field(info, at, lsi::kImageNameBytes) == "BIOS") {
      return field(info, at + lsi::kImageVersionAt, lsi::kImageVersionBytes);
    }
  }
  return {};
}

std::string hardwareIdOf(const std::vector<std::uint8_t>& info) {
  char text[32];
  std::snprintf(text, sizeof(text), "PCI\\VEN_%04X&DEV_%04X", loadLe16(&info[lsi::kPciVendorAt]),
                loadLe16(&info[lsi::kPciDeviceAt]));
  return text;
}

}  // namespace

std::string lsiLevelName(std::uint8_t primary, std::uint8_t secondary) {
  const bool spanned = secondary == kSpannedSecondary;
  switch (primary) {
    case 0:
      return "RAID 0";
    case 1:
      return spanned ? "RAID 10" : "RAID 1";
    case 3:
      return "RAID 3";
    case 4:
      return "RAID 4";
    case 5:
      return spanned ? "RAID 50" : "RAID 5";
    case 6:
      return spanned ? "RAID 60" : "RAID 6";
    case 17:
      return "RAID 1";
    default:
      return "UNKNOWN";
  }
}

LsiRaidComponent::LsiRaidComponent(std::uint32_t controllerId, LsiSender* sender)
    : RaidComponent(DeviceHandle(controllerId), kLsiConnection, {}),
      controllerId_(controllerId),
      sender_(sender) {}

ProtocolResult LsiRaidComponent::execute(LsiCmd& command) {
  if (sender_ == nullptr) {
    return ProtocolResult::Failure;
  }
  // The library's own numbers are no `ProtocolResult`.
  return sender_->execute(command) == 0 ? ProtocolResult::Success
                                        : ProtocolResult::TransportFailure;
}

void LsiRaidComponent::prepare() {
  LsiCmd configuration(LsiCode::GetConfiguration, controllerId_, lsi::kConfigurationBytes);
  adapterData_.clear();
  if (succeeded(execute(configuration))) {
    adapterData_ = configuration.buffer();
  }
}

ProtocolResult LsiRaidComponent::getControllerInfo(RaidControllerInfo* info) {
  if (info == nullptr) {
    return ProtocolResult::InvalidArgument;
  }
  LsiCmd data(LsiCode::GetControllerInfo, controllerId_, lsi::kControllerInfoBytes);
  ProtocolResult result = execute(data);
  if (!succeeded(result)) {
    return result;
  }
  LsiCmd properties(LsiCode::GetControllerProperties, controllerId_, lsi::kPropertiesBytes);
  result = execute(properties);
  if (!succeeded(result)) {
    return result;
  }

  const std::vector<std::uint8_t>& block = data.buffer();
  RaidControllerInfo learnt;
  learnt.model = field(block, lsi::kProductNameAt, lsi::kProductNameBytes);
  learnt.serial = field(block, lsi::kSerialAt, lsi::kSerialBytes);
  learnt.biosVersion = biosVersionOf(block);
  learnt.driverVersion = raidDriverVersion(hardwareIdOf(block));
  learnt.raidLevels =
      namesOf(loadLe32(&block[lsi::kRaidLevelMaskAt]), kLevelNames, kRemainingLevel, 0xFFFFFFFFu);
  learnt.interfaces =
      namesOf(block[lsi::kInterfaceMaskAt], kInterfaceNames, kRemainingInterface, kSpiBit);
  learnt.logicalDeviceCount = loadLe32(properties.buffer().data());
  learnt.udi = learnt.model;
  if (!learnt.serial.empty()) {
    learnt.udi += (learnt.udi.empty() ? "" : "-") + learnt.serial;
  }
  std::vector<Drive> drives;
  if (succeeded(listDrives(&drives))) {
    learnt.physicalDeviceCount = static_cast<std::uint32_t>(drives.size());
  }
  *info = std::move(learnt);
  return ProtocolResult::Success;
}

std::uint8_t LsiRaidComponent::arrayOf(std::uint8_t logicalDrive) const {
  if (adapterData_.size() >= lsi::kFirstArray) {
    const std::size_t setBytes = loadLe16(&adapterData_[lsi::kSetBytesAt]);
    std::size_t at = lsi::kFirstArray + std::size_t{loadLe16(&adapterData_[lsi::kArrayCountAt])} *
                                            loadLe16(&adapterData_[lsi::kArrayBytesAt]);
    for (std::size_t left = loadLe16(&adapterData_[lsi::kSetCountAt]);
         left > 0 && at + lsi::kSetArrayAt + 2 <= adapterData_.size(); --left, at += setBytes) {
      if (adapterData_[at + lsi::kSetNumberAt] == logicalDrive) {
        return static_cast<std::uint8_t>(loadLe16(&adapterData_[at + lsi::kSetArrayAt]));
      }
    }
  }
  // A controller that does not say mostly has as many arrays as sets.
  return logicalDrive;
}

void LsiRaidComponent::listMembers(std::uint8_t array, RaidLogicalDevice* device) {
  LsiCmd info(LsiCode::GetArrayInfo, controllerId_, lsi::kArrayInfoBytes);
  info.record.subIndex = array;
  if (!succeeded(execute(info))) {
    return;  // costs the list of members alone: level and size are reported elsewhere
  }
  constexpr std::size_t kRoom = (lsi::kArrayInfoBytes - lsi::kFirstArrayMember) / 2;
  const std::size_t members = std::min<std::size_t>(loadLe32(info.buffer().data()), kRoom);
  for (std::size_t i = 0; i < members; ++i) {
    device->memberIndexes.push_back(loadLe16(&info.buffer()[lsi::kFirstArrayMember + 2 * i]));
  }
}

ProtocolResult LsiRaidComponent::describeSet(std::uint8_t number, RaidLogicalDevice* device) {
  const std::uint8_t array = arrayOf(number);
  listMembers(array, device);

  LsiCmd drive(LsiCode::GetDriveInfo, controllerId_, lsi::kDriveInfoBytes);
  drive.record.subIndex = array;
  drive.record.deviceId = number;
  const ProtocolResult result = execute(drive);
  if (!succeeded(result)) {
    return result;
  }
  const std::vector<std::uint8_t>& block = drive.buffer();
  device->raidLevel = lsiLevelName(block[lsi::kPrimaryLevelAt], block[lsi::kSecondaryLevelAt]);
  device->physicalDeviceCount = std::uint32_t{block[lsi::kDriveCountAt]} *
                                std::max<std::uint32_t>(block[lsi::kSpanDepthAt], 1);
  device->size = saturatedBytes(loadLe64(&block[lsi::kLogicalSizeAt]), lsi::kBlockBytes);
  return ProtocolResult::Success;
}

ProtocolResult LsiRaidComponent::getLogicalDevices(std::vector<RaidLogicalDevice>* devices) {
  if (devices == nullptr) {
    return ProtocolResult::InvalidArgument;
  }
  LsiCmd properties(LsiCode::GetControllerProperties, controllerId_, lsi::kPropertiesBytes);
  const ProtocolResult result = execute(properties);
  if (!succeeded(result)) {
    return result;
  }

  const std::vector<std::uint8_t>& list = properties.buffer();
  constexpr std::size_t kRoom =
      (lsi::kPropertiesBytes - lsi::kFirstLogicalDrive) / lsi::kLogicalDriveBytes;
  const std::size_t count = std::min<std::size_t>(loadLe32(list.data()), kRoom);
  std::vector<RaidLogicalDevice> found;
  for (std::size_t i = 0; i < count; ++i) {
    const std::uint8_t* record = &list[lsi::kFirstLogicalDrive + i * lsi::kLogicalDriveBytes];
    RaidLogicalDevice device;
    device.index = record[lsi::kLogicalDriveNumberAt];
    device.state = std::to_string(record[lsi::kLogicalDriveStateAt]);
    const ProtocolResult described = describeSet(record[lsi::kLogicalDriveNumberAt], &device);
    if (!succeeded(described)) {
      return described;
    }
    found.push_back(std::move(device));
  }
  *devices = std::move(found);
  return ProtocolResult::Success;
}

ProtocolResult LsiRaidComponent::listDrives(std::vector<Drive>* drives) {
  LsiCmd command(LsiCode::GetDriveList, controllerId_, lsi::kDriveListBytes);
  const ProtocolResult result = execute(command);
  if (!succeeded(result)) {
    return result;
  }

  const std::vector<std::uint8_t>& list = command.buffer();
  constexpr std::size_t kRoom =
      (lsi::kDriveListBytes - lsi::kFirstDriveRecord) / lsi::kDriveRecordBytes;
  const std::size_t count = std::min<std::size_t>(loadLe32(&list[lsi::kDriveCountInListAt]), kRoom);
  for (std::size_t i = 0; i < count; ++i) {
    const std::uint8_t* entry = &list[lsi::kFirstDriveRecord + i * lsi::kDriveRecordBytes];
    if (entry[lsi::kDriveTypeAt] != 0) {
      continue;
    }
    const std::uint16_t deviceId = loadLe16(entry);
    // A count beyond the list names a drive again and again.
    if (std::any_of(drives->begin(), drives->end(),
                    [=](const Drive& listed) { return listed.record.deviceId == deviceId; })) {
      continue;
    }
    LsiCmd info(LsiCode::GetPdinfo, controllerId_, lsi::kPdInfoBytes);
    info.record.deviceId = deviceId;
    if (!succeeded(execute(info))) {
      continue;  // a drive that dies must not take the others with it
    }

    const std::vector<std::uint8_t>& block = info.buffer();
    Drive drive;
    drive.record.index = static_cast<std::uint32_t>(drives->size());
    drive.record.deviceId = deviceId;
    // Standard INQUIRY data: vendor at 8, product at 16; serial number at 36.
    drive.record.manufacturer = field(block, lsi::kInquiryAt + 8, 8);
    drive.record.model = field(block, lsi::kInquiryAt + 16, 16);
    drive.record.serial = field(block, lsi::kInquiryAt + 36, 20);
    drive.record.size = saturatedBytes(loadLe64(&block[lsi::kRawSizeAt]), lsi::kBlockBytes);
    drive.record.state = std::to_string(loadLe16(&block[lsi::kFirmwareStateAt]));
    drive.sata = (loadLe16(&block[lsi::kDriveInterfaceAt]) >> 12) == lsi::kSataInterface ||
                 drive.record.manufacturer == "ATA";
    drive.record.busKind = drive.sata ? StorageBusKind::Ata : StorageBusKind::Scsi;
    drives->push_back(std::move(drive));
  }
  return ProtocolResult::Success;
}

ProtocolResult LsiRaidComponent::getPhysicalDrives(std::vector<RaidPhysicalDrive>* drives) {
  if (drives == nullptr) {
    return ProtocolResult::InvalidArgument;
  }
  std::vector<Drive> found;
  const ProtocolResult result = listDrives(&found);
  if (!succeeded(result)) {
    return result;
  }
  drives->clear();
  for (Drive& drive : found) {
    drives->push_back(std::move(drive.record));
  }
  return ProtocolResult::Success;
}

ProtocolResult LsiRaidComponent::getDevices(std::vector<RaidDevice>* devices) {
  if (devices == nullptr) {
    return ProtocolResult::InvalidArgument;
  }
  std::vector<Drive> found;
  const ProtocolResult result = listDrives(&found);
  if (!succeeded(result)) {
    return result;
  }
  devices->clear();
  for (const Drive& drive : found) {
    const auto deviceId = static_cast<std::uint16_t>(drive.record.deviceId);
    RaidDevice device;
    device.name = std::to_string(controllerId_) + ":" + std::to_string(deviceId);
    device.busKind = drive.record.busKind;
    device.address = deviceId;
    device.protocol = protocolOver<ScsiProtocol>(
        std::make_shared<LsiSspBridge>(controllerId_, deviceId, sender_), ProtocolKind::Scsi);
    if (drive.sata) {
      device.ataProtocol = protocolOver<AtaProtocol>(
          std::make_shared<LsiStpBridge>(controllerId_, deviceId, sender_), ProtocolKind::Ata);
    }
    devices->push_back(std::move(device));
  }
  return ProtocolResult::Success;
}

}  // namespace ostria::storage
