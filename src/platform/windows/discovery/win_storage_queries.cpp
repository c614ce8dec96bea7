// IOCTL_STORAGE_* and IOCTL_DISK_* queries. An answer counts only as far as the driver says that it
// was written.
#include "platform/windows/discovery/win_storage_queries.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "base/byte_order.h"
#include "inventory/device_descriptor.h"
#include "platform/windows/passthrough/win_device_control.h"

namespace ostria::storage {
namespace {

static_assert(IOCTL_STORAGE_QUERY_PROPERTY == 0x2D1400);
static_assert(IOCTL_STORAGE_GET_DEVICE_NUMBER == 0x2D1080);
static_assert(SMART_GET_VERSION == 0x74080);
static_assert(IOCTL_DISK_GET_DRIVE_LAYOUT_EX == 0x70050);
static_assert(FSCTL_GET_NTFS_VOLUME_DATA == 0x90064);

constexpr std::size_t kExtentListHeader = 8;
constexpr std::size_t kExtentBytes = 24;
constexpr std::size_t kExtentOffsetAt = 8;
constexpr std::uint32_t kMostExtents = 65536;
static_assert(sizeof(VOLUME_DISK_EXTENTS) == kExtentListHeader + kExtentBytes);
static_assert(sizeof(DISK_EXTENT) == kExtentBytes);
static_assert(offsetof(DISK_EXTENT, StartingOffset) == kExtentOffsetAt);
static_assert(sizeof(STORAGE_PROPERTY_QUERY) == 12);
static_assert(sizeof(STORAGE_DESCRIPTOR_HEADER) == 8);
static_assert(sizeof(STORAGE_DEVICE_NUMBER) == 12);
static_assert(sizeof(GETVERSIONINPARAMS) == 24);
static_assert(sizeof(STORAGE_DEVICE_DESCRIPTOR) == DeviceDescriptor::kMinimumSize);
static_assert(offsetof(STORAGE_DEVICE_DESCRIPTOR, RemovableMedia) ==
              DeviceDescriptor::kRemovableMediaOffset);
static_assert(offsetof(STORAGE_DEVICE_DESCRIPTOR, VendorIdOffset) ==
              DeviceDescriptor::kVendorIdOffset);
static_assert(offsetof(STORAGE_DEVICE_DESCRIPTOR, ProductIdOffset) ==
              DeviceDescriptor::kProductIdOffset);
static_assert(offsetof(STORAGE_DEVICE_DESCRIPTOR, BusType) == DeviceDescriptor::kBusTypeOffset);

static_assert(sizeof(DRIVE_LAYOUT_INFORMATION_EX) == 192);
static_assert(offsetof(DRIVE_LAYOUT_INFORMATION_EX, PartitionEntry) == 48);
static_assert(sizeof(PARTITION_INFORMATION_EX) == 144);
static_assert(offsetof(PARTITION_INFORMATION_EX, StartingOffset) == 8);
static_assert(offsetof(PARTITION_INFORMATION_EX, PartitionNumber) == 24);
static_assert(offsetof(PARTITION_INFORMATION_EX, Gpt) == 32);
static_assert(sizeof(NTFS_VOLUME_DATA_BUFFER) == 96);
static_assert(offsetof(NTFS_VOLUME_DATA_BUFFER, BytesPerCluster) == 44);

constexpr std::size_t kLayoutHeader = offsetof(DRIVE_LAYOUT_INFORMATION_EX, PartitionEntry);
constexpr std::size_t kLayoutEntryBytes = sizeof(PARTITION_INFORMATION_EX);
/// More than any partition table holds; ends the doubling when a driver never has enough.
constexpr std::size_t kMostEntries = 1 << 16;
constexpr std::uint32_t kMostDescriptorBytes = 1 << 16;

/// Fills a record of fixed size, all of it or nothing.
template <typename Record>
std::optional<Record> queryRecord(DeviceHandle handle, DWORD code) {
  Record record{};
  const ControlAnswer answer = deviceControl(handle, code, nullptr, 0, &record, sizeof record);
  if (!answer || answer.returned < sizeof record) {
    return std::nullopt;
  }
  return record;
}

ControlAnswer queryDeviceProperty(DeviceHandle handle, void* out, std::size_t bytes) {
  STORAGE_PROPERTY_QUERY query{};
  query.PropertyId = StorageDeviceProperty;
  query.QueryType = PropertyStandardQuery;
  return deviceControl(handle, IOCTL_STORAGE_QUERY_PROPERTY, &query, sizeof query, out, bytes);
}

LayoutEntry entryOf(const PARTITION_INFORMATION_EX& source) {
  LayoutEntry entry;
  entry.style = static_cast<PartitionStyle>(numberIn(source.PartitionStyle));
  entry.number = source.PartitionNumber;
  entry.start = static_cast<std::uint64_t>(source.StartingOffset.QuadPart);
  entry.length = static_cast<std::uint64_t>(source.PartitionLength.QuadPart);
  if (entry.style == PartitionStyle::Mbr) {
    entry.mbrType = source.Mbr.PartitionType;
  }
  if (entry.style == PartitionStyle::Gpt) {
    std::memcpy(entry.gptType.data(), &source.Gpt.PartitionType, entry.gptType.size());
  }
  return entry;
}

DiskLayout layoutOf(std::span<const std::uint8_t> block) {
  DRIVE_LAYOUT_INFORMATION_EX header;
  std::memcpy(&header, block.data(), kLayoutHeader);
  DiskLayout layout;
  layout.style = static_cast<PartitionStyle>(numberIn(header.PartitionStyle));
  const std::size_t room = (block.size() - kLayoutHeader) / kLayoutEntryBytes;
  const std::size_t count = std::min<std::size_t>(header.PartitionCount, room);
  for (std::size_t i = 0; i < count; ++i) {
    PARTITION_INFORMATION_EX entry;
    std::memcpy(&entry, block.data() + kLayoutHeader + i * kLayoutEntryBytes, sizeof entry);
    layout.entries.push_back(entryOf(entry));
  }
  return layout;
}

}  // namespace

std::optional<DeviceNumber> queryDeviceNumber(DeviceHandle handle) {
  const auto number = queryRecord<STORAGE_DEVICE_NUMBER>(handle, IOCTL_STORAGE_GET_DEVICE_NUMBER);
  if (!number) {
    return std::nullopt;
  }
  return DeviceNumber{number->DeviceNumber, number->PartitionNumber};
}

std::optional<std::uint32_t> queryDescriptorSize(DeviceHandle handle) {
  STORAGE_DESCRIPTOR_HEADER header{};
  const ControlAnswer answer = queryDeviceProperty(handle, &header, sizeof header);
  if (!answer || answer.returned < sizeof header) {
    return std::nullopt;
  }
  return header.Size;
}

std::optional<std::vector<std::uint8_t>> queryDescriptor(DeviceHandle handle, std::uint32_t bytes) {
  std::vector<std::uint8_t> block(std::min(bytes, kMostDescriptorBytes));
  const ControlAnswer answer = queryDeviceProperty(handle, block.data(), block.size());
  if (!answer) {
    return std::nullopt;
  }
  block.resize(answer.returned);
  return block;
}

std::optional<std::uint32_t> querySmartCapabilities(DeviceHandle handle) {
  const auto version = queryRecord<GETVERSIONINPARAMS>(handle, SMART_GET_VERSION);
  if (!version) {
    return std::nullopt;
  }
  return version->fCapabilities;
}

std::optional<DiskLayout> queryLayout(DeviceHandle handle) {
  for (std::size_t entries = 4; entries <= kMostEntries; entries *= 2) {
    std::vector<std::uint8_t> block(entries * kLayoutEntryBytes +
                                    sizeof(DRIVE_LAYOUT_INFORMATION_EX));
    const ControlAnswer answer = deviceControl(handle, IOCTL_DISK_GET_DRIVE_LAYOUT_EX, nullptr, 0,
                                               block.data(), block.size());
    if (answer.error == ERROR_INSUFFICIENT_BUFFER) {
      continue;
    }
    if (!answer || answer.returned < kLayoutHeader) {
      return std::nullopt;
    }
    return layoutOf(std::span(block).first(answer.returned));
  }
  return std::nullopt;
}

std::optional<std::uint32_t> queryNtfsClusterBytes(DeviceHandle volume) {
  const auto data = queryRecord<NTFS_VOLUME_DATA_BUFFER>(volume, FSCTL_GET_NTFS_VOLUME_DATA);
  if (!data) {
    return std::nullopt;
  }
  return data->BytesPerCluster;
}

std::vector<VolumeExtent> queryVolumeExtents(DeviceHandle volume) {
  std::vector<std::uint8_t> block(kExtentListHeader + kExtentBytes);
  const auto ask = [&] {
    return deviceControl(volume, IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS, nullptr, 0, block.data(),
                         block.size());
  };
  ControlAnswer answer = ask();
  if (answer.error == ERROR_MORE_DATA) {
    const std::uint32_t count = loadLe32(block.data());
    if (count > kMostExtents) {
      return {};
    }
    block.assign(std::max<std::size_t>(count, 1) * kExtentBytes + kExtentListHeader, 0);
    answer = ask();
  }
  std::vector<VolumeExtent> extents;
  if (!answer) {
    return extents;
  }
  const std::uint32_t count = loadLe32(block.data());
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t at = kExtentListHeader + i * kExtentBytes;
    if (at + kExtentBytes > answer.returned) {
      break;
    }
    extents.push_back({loadLe32(block.data() + at), loadLe64(block.data() + at + kExtentOffsetAt)});
  }
  return extents;
}

bool liesOnDisk(DeviceHandle volume, std::uint32_t disk) {
  const std::vector<VolumeExtent> extents = queryVolumeExtents(volume);
  return std::any_of(extents.begin(), extents.end(),
                     [disk](const VolumeExtent& extent) { return extent.disk == disk; });
}

}  // namespace ostria::storage
