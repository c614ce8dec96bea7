// STORAGE_DEVICE_DESCRIPTOR: what Windows tells of a disk without asking it. Offsets in it are the
// driver's word and are checked against the block.
#include "inventory/device_descriptor.h"

#include <algorithm>

#include "base/byte_order.h"
#include "services/sal.h"

namespace ostria::storage {
namespace {

std::optional<std::string> textAt(std::span<const std::uint8_t> block, std::size_t field) {
  const std::uint32_t offset = loadLe32(block.data() + field);
  if (offset == 0 || offset >= block.size()) {
    return std::nullopt;
  }
  const auto text = block.subspan(offset);
  return std::string(text.begin(), std::find(text.begin(), text.end(), 0));
}

std::string lowered(std::string text) {
  get_string_handler()->toLowerCase(text);
  return text;
}

bool isCard(DescriptorBus bus) { return bus == DescriptorBus::Sd || bus == DescriptorBus::Mmc; }

}  // namespace

std::optional<DeviceDescriptor> DeviceDescriptor::parse(std::span<const std::uint8_t> block) {
  if (block.size() < kMinimumSize) {
    return std::nullopt;
  }
  DeviceDescriptor descriptor;
  descriptor.removableMedia = block[kRemovableMediaOffset] == 1;
  descriptor.bus = static_cast<DescriptorBus>(loadLe32(block.data() + kBusTypeOffset));
  descriptor.vendor = textAt(block, kVendorIdOffset);
  descriptor.product = textAt(block, kProductIdOffset);
  return descriptor;
}

bool IsVendorRaid(const DeviceDescriptor& descriptor, bool* optaneVolume) {
  if (!descriptor.vendor || !descriptor.product) {
    return false;
  }
  const std::string product = lowered(*descriptor.product);
  if (lowered(*descriptor.vendor).starts_with("intel") || product.starts_with("optane")) {
    *optaneVolume = true;
    return true;
  }
  return product.starts_with("raid");
}

DeviceConnection connectionOf(DescriptorBus bus, std::optional<bool> removable) {
  switch (bus) {
    case DescriptorBus::Scsi:
    case DescriptorBus::Atapi:
    case DescriptorBus::Ata:
    case DescriptorBus::Ssa:
    case DescriptorBus::Raid:
    case DescriptorBus::Sas:
    case DescriptorBus::Sata:
    case DescriptorBus::Nvme:
      return DeviceConnection::Internal;
    case DescriptorBus::Ieee1394:
    case DescriptorBus::Fibre:
    case DescriptorBus::Usb:
    case DescriptorBus::Iscsi:
      return DeviceConnection::External;
    default:
      if (!isCard(bus)) {
        return DeviceConnection::Other;
      }
      return removable.value_or(true) ? DeviceConnection::External : DeviceConnection::Internal;
  }
}

StorageBusKind busKindOf(const DeviceDescriptor& descriptor, std::optional<bool> removable,
                         bool* optaneVolume) {
  switch (descriptor.bus) {
    case DescriptorBus::Scsi:
    case DescriptorBus::Ssa:
    case DescriptorBus::Fibre:
    case DescriptorBus::Iscsi:
      return StorageBusKind::Scsi;
    case DescriptorBus::Ata:
    case DescriptorBus::Sata:
      return StorageBusKind::Ata;
    case DescriptorBus::Usb:
      return StorageBusKind::Usb;
    case DescriptorBus::Nvme:
      return StorageBusKind::Nvme;
    case DescriptorBus::Sas:
      return IsVendorRaid(descriptor, optaneVolume) ? StorageBusKind::Raid : StorageBusKind::Scsi;
    case DescriptorBus::Raid:
      return IsVendorRaid(descriptor, optaneVolume) ? StorageBusKind::Raid
                                                    : StorageBusKind::Unknown;
    default:
      return isCard(descriptor.bus) && !removable.value_or(true) ? StorageBusKind::Emmc
                                                                 : StorageBusKind::Unknown;
  }
}

}  // namespace ostria::storage
