// Storage queries of Windows. Each question is asked over the paths of a disk until one answers.
#include "platform/windows/discovery/win_storage_scanner.h"

#include "inventory/device_record.h"
#include "inventory/format_texts.h"
#include "inventory/partitions/partition_layout.h"
#include "platform/windows/discovery/win_device_scan_filter.h"
#include "platform/windows/discovery/win_storage_queries.h"
#include "platform/windows/passthrough/win_device_control.h"
#include "platform/windows/volumes/win_volumes.h"
#include "transport/scsi/scsi_bridge.h"
#include "transport/scsi/scsi_protocol.h"
#include "transport/storage_protocol_properties.h"

namespace ostria::storage {
namespace {

constexpr int kFailed = 1;

std::optional<std::string> inquiryVendor(DeviceHandle handle) {
  auto bridge = std::make_shared<ScsiBridge>(handle);
  if (!ScsiProtocol::ProbeBridge(*bridge)) {
    return std::nullopt;
  }
  ScsiProtocol protocol;
  protocol.AddBridge(bridge);
  StorageProtocolProperties properties;
  if (!succeeded(protocol.GetProperties(&properties))) {
    return std::nullopt;
  }
  return properties.vendor;
}

}  // namespace

bool WinStorageScanner::askPaths(std::uint32_t number,
                                 const std::function<bool(DeviceHandle)>& ask) {
  for (const std::string& path : devicePaths_[number]) {
    const ScannedHandle device = openScanned(*deviceScanner_, path);
    if (device && ask(device.get())) {
      return true;
    }
  }
  return false;
}

std::optional<DeviceDescriptor> WinStorageScanner::readDescriptor(std::uint32_t number) {
  std::uint32_t size = 0;
  askPaths(number, [&](DeviceHandle handle) {
    const auto answer = queryDescriptorSize(handle);
    size = answer.value_or(0);
    return answer.has_value();
  });
  std::optional<DeviceDescriptor> descriptor;
  if (size < DeviceDescriptor::kMinimumSize) {
    return descriptor;
  }
  askPaths(number, [&](DeviceHandle handle) {
    if (const auto block = queryDescriptor(handle, size)) {
      descriptor = DeviceDescriptor::parse(*block);
    }
    return descriptor.has_value();
  });
  return descriptor;
}

std::optional<bool> WinStorageScanner::removableCard(std::uint32_t number, DescriptorBus bus) {
  bool removable = false;
  if (bus != DescriptorBus::Sd && bus != DescriptorBus::Mmc) {
    return std::nullopt;
  }
  if (isRemovableMedia(number, &removable) != 0) {
    return std::nullopt;
  }
  return removable;
}

int WinStorageScanner::listDevices(DevicePathMap& out) {
  const int result = deviceScanner_->listPaths(WinDeviceScanFilter::disks(), devicePaths_);
  out = devicePaths_;
  return result;
}

int WinStorageScanner::getConnection(std::uint32_t number, DeviceConnection* connection) {
  const auto descriptor = readDescriptor(number);
  if (!descriptor) {
    return kFailed;
  }
  *connection = connectionOf(descriptor->bus, removableCard(number, descriptor->bus));
  return 0;
}

int WinStorageScanner::isRemovableMedia(std::uint32_t number, bool* removable) {
  const bool answered = askPaths(number, [&](DeviceHandle handle) {
    const auto block = queryDescriptor(handle, DeviceDescriptor::kMinimumSize);
    const auto descriptor = block ? DeviceDescriptor::parse(*block) : std::nullopt;
    if (descriptor) {
      *removable = descriptor->removableMedia;
    }
    return descriptor.has_value();
  });
  return answered ? 0 : kFailed;
}

int WinStorageScanner::getDeviceId(std::uint32_t number, std::string* id) {
  const bool answered = askPaths(number, [&](DeviceHandle handle) {
    const auto answer = queryDeviceNumber(handle);
    if (answer) {
      *id = std::to_string(answer->deviceNumber);
    }
    return answer.has_value();
  });
  return answered ? 0 : kFailed;
}

int WinStorageScanner::getBusKind(std::uint32_t number, StorageBusKind* busKind,
                                  bool* optaneVolume) {
  *busKind = StorageBusKind::Unknown;
  const auto descriptor = readDescriptor(number);
  if (!descriptor) {
    return kFailed;
  }
  *busKind = busKindOf(*descriptor, removableCard(number, descriptor->bus), optaneVolume);
  if (descriptor->bus == DescriptorBus::Raid && *busKind == StorageBusKind::Unknown) {
    *busKind = askBehindRaid(number, *descriptor);
  }
  return 0;
}

StorageBusKind WinStorageScanner::askBehindRaid(std::uint32_t number,
                                                const DeviceDescriptor& descriptor) {
  std::optional<std::string> vendor;
  askPaths(number, [&](DeviceHandle handle) {
    vendor = inquiryVendor(handle);
    return vendor.has_value();
  });
  if (descriptor.vendor == kNvmeVendorText || vendor == kNvmeVendorText) {
    return StorageBusKind::Nvme;
  }

  std::optional<std::uint32_t> capabilities;
  askPaths(number, [&](DeviceHandle handle) {
    capabilities = querySmartCapabilities(handle);
    return capabilities.has_value();
  });
  return (capabilities.value_or(0) & CAP_ATA_ID_CMD) != 0 ? StorageBusKind::Ata
                                                          : StorageBusKind::Unknown;
}

int WinStorageScanner::readPartitionTable(std::uint32_t number, PartitionTable* table,
                                          std::uint64_t sizeInBytes) {
  int result = kFailed;
  askPaths(number, [&](DeviceHandle handle) {
    result = static_cast<int>(ProtocolResult::TransportFailure);
    const auto layout = queryLayout(handle);
    if (!layout) {
      return false;
    }
    buildPartitions(*layout, *table);
    const auto disk = queryDeviceNumber(handle);
    if (!disk) {
      return false;
    }
    table->diskNumber = disk->deviceNumber;
    joinVolumes(*deviceScanner_, *table);
    rewriteLogicalPartitions(table->partitions);
    result = 0;
    return true;
  });
  table->unallocatedBytes = unallocatedBytes(sizeInBytes, table->partitions);
  return result;
}

int WinStorageScanner::dismountVolume(const std::string& name, DeviceHandle* handle) {
  if (name.empty()) {
    return kFailed;
  }
  ScannedHandle volume = openScanned(*deviceScanner_, volumePath(name));
  if (!volume) {
    return kFailed;
  }
  if (const int locked = deviceScanner_->lock(volume.get()); locked != 0) {
    return locked;
  }
  if (!deviceControl(volume.get(), FSCTL_DISMOUNT_VOLUME, nullptr, 0, nullptr, 0)) {
    deviceControl(volume.get(), FSCTL_UNLOCK_VOLUME, nullptr, 0, nullptr, 0);
    return kFailed;
  }
  *handle = volume.release();
  return 0;
}

int WinStorageScanner::releaseVolume(std::string& name, std::vector<std::string>& list,
                                     DeviceHandle handle, std::string& text) {
  name.clear();
  list.clear();
  text.clear();
  // Closing gives the volume back too, should it refuse to be unlocked.
  deviceControl(handle, FSCTL_UNLOCK_VOLUME, nullptr, 0, nullptr, 0);
  return deviceScanner_->close(handle);
}

int WinStorageScanner::getMiniportPath(std::uint32_t number, std::string* path) {
  return deviceScanner_->devicePath(WinDeviceScanFilter::storagePorts(), number, path);
}

int WinStorageScanner::getPciLocation(std::uint32_t number, std::array<std::uint8_t, 3>* location) {
  std::string text;
  const int result = deviceScanner_->deviceProperty(WinDeviceScanFilter::storagePorts(), number,
                                                    kLocationInformationProperty, &text);
  if (result != 0) {
    return result;
  }
  return ParsePciLocation(text, location) ? 0 : kFailed;
}

std::unique_ptr<StorageScanner> makeStorageScanner() {
  return std::make_unique<WinStorageScanner>();
}

}  // namespace ostria::storage
