// Volumes are known by their drive letters; the disk and partition below is asked of each.
#include "platform/windows/volumes/win_volumes.h"

#include <windows.h>

#include <array>

#include "inventory/device_record.h"
#include "inventory/partitions/partition_layout.h"
#include "platform/windows/discovery/win_storage_queries.h"
#include "platform/windows/io/win_handle.h"
#include "services/string_handler.h"

namespace ostria::storage {
namespace {

/// Root paths of the machine's volumes.
std::vector<std::string> volumeRoots() {
  const DWORD needed = GetLogicalDriveStringsA(0, nullptr);
  std::string list(needed, '\0');
  const DWORD length = GetLogicalDriveStringsA(needed, list.data());
  if (length == 0 || length > list.size()) {
    return {};
  }
  list.resize(length);
  return getLocalStringHandler().tokenize(list, std::string(1, '\0'));
}

std::optional<VolumeFacts::Identity> identityOf(const std::string& root) {
  std::array<wchar_t, 261> label{};
  std::array<wchar_t, 261> fileSystem{};
  DWORD serial = 0;
  if (GetVolumeInformationW(toWide(root).c_str(), label.data(), label.size(), &serial, nullptr,
                            nullptr, fileSystem.data(), fileSystem.size()) == 0) {
    return std::nullopt;
  }
  label.back() = fileSystem.back() = 0;
  return VolumeFacts::Identity{toNarrow(label.data()), toNarrow(fileSystem.data()), serial};
}

std::optional<VolumeFacts::Space> spaceOf(const std::string& root) {
  ULARGE_INTEGER available{};
  ULARGE_INTEGER total{};
  ULARGE_INTEGER free{};
  if (GetDiskFreeSpaceExW(toWide(root).c_str(), &available, &total, &free) == 0) {
    return std::nullopt;
  }
  return VolumeFacts::Space{total.QuadPart, free.QuadPart};
}

std::optional<std::uint32_t> clusterBytesOf(const std::string& root) {
  const UniqueHandle volume(CreateFileW(toWide(volumePath(root)).c_str(), GENERIC_READ,
                                        FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                        FILE_FLAG_OVERLAPPED, nullptr));
  return volume ? queryNtfsClusterBytes(toDeviceHandle(volume.get())) : std::nullopt;
}

VolumeFacts factsOf(const std::string& root) {
  VolumeFacts facts;
  facts.root = root;
  facts.identity = identityOf(root);
  facts.clusterBytes = clusterBytesOf(root);
  facts.space = spaceOf(root);
  return facts;
}

}  // namespace

std::vector<std::string> rootsOnDisk(DeviceScanner& scanner, std::uint32_t diskNumber) {
  std::vector<std::string> roots;
  for (const std::string& root : volumeRoots()) {
    const ScannedHandle volume = openScanned(scanner, volumePath(root));
    if (volume && liesOnDisk(volume.get(), diskNumber)) {
      roots.push_back(root);
    }
  }
  return roots;
}

std::string volumePath(const std::string& root) {
  return "\\\\.\\" + root.substr(0, root.empty() ? 0 : root.size() - 1);
}

void joinVolumes(DeviceScanner& scanner, PartitionTable& table) {
  for (const std::string& root : volumeRoots()) {
    ScannedHandle volume = openScanned(scanner, volumePath(root));
    const auto number = volume ? queryDeviceNumber(volume.get()) : std::nullopt;
    volume.close();
    if (!number || number->deviceNumber != table.diskNumber) {
      continue;
    }
    std::optional<VolumeFacts> facts;
    for (PartitionEntry& entry : table.partitions) {
      if (entry.number != number->partitionNumber) {
        continue;
      }
      if (!facts) {
        facts = factsOf(root);
      }
      joinVolume(*facts, entry);
    }
  }
}

}  // namespace ostria::storage
