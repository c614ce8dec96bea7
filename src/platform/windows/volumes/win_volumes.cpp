// Volumes are shown by their drive letters; the disk and partition below is asked of each. For a
// repair those without a letter count as well: system partitions, and volumes mounted in a folder.
#include "platform/windows/volumes/win_volumes.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <utility>

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

/// The same, and the GUID paths of volumes that have no drive letter; nothing when either list
/// cannot be had.
std::optional<std::vector<std::string>> allVolumeRoots() {
  std::vector<std::string> roots = volumeRoots();
  std::array<wchar_t, MAX_PATH> name{};
  const HANDLE search = FindFirstVolumeW(name.data(), static_cast<DWORD>(name.size()));
  if (search == INVALID_HANDLE_VALUE) {
    return GetLastError() == ERROR_NO_MORE_FILES && roots.empty() ? std::optional(roots)
                                                                  : std::nullopt;
  }
  do {
    // A letter stands first in the list of a volume's paths, if it has one.
    std::array<wchar_t, MAX_PATH> paths{};
    DWORD needed = 0;
    const bool known =
        GetVolumePathNamesForVolumeNameW(name.data(), paths.data(),
                                         static_cast<DWORD>(paths.size() - 1), &needed) != FALSE;
    const std::string path = known ? toNarrow(paths.data()) : std::string();
    if (std::find(roots.begin(), roots.end(), path) == roots.end()) {
      roots.push_back(toNarrow(name.data()));
    }
  } while (FindNextVolumeW(search, name.data(), static_cast<DWORD>(name.size())) != FALSE);
  const bool whole = GetLastError() == ERROR_NO_MORE_FILES;
  FindVolumeClose(search);
  return whole ? std::optional(std::move(roots)) : std::nullopt;
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

/// Whether a volume has a part in a partition of the disk.
bool hasPartIn(const std::vector<VolumeExtent>& extents, std::uint32_t disk,
               const PartitionEntry& entry) {
  return std::any_of(extents.begin(), extents.end(), [&](const VolumeExtent& extent) {
    return extent.disk == disk && extent.offset >= entry.startOffset &&
           extent.offset - entry.startOffset < entry.sizeBytes;
  });
}

}  // namespace

std::optional<std::vector<std::string>> rootsOnDisk(DeviceScanner& scanner,
                                                    std::uint32_t diskNumber) {
  const auto all = allVolumeRoots();
  if (!all) {
    return std::nullopt;
  }
  std::vector<std::string> roots;
  for (const std::string& root : *all) {
    const ScannedHandle volume = openScanned(scanner, volumePath(root));
    if (volume && liesOnDisk(volume.get(), diskNumber)) {
      roots.push_back(root);
    }
  }
  return roots;
}

std::string volumePath(const std::string& root) {
  const std::string name = root.substr(0, root.empty() ? 0 : root.size() - 1);
  return name.starts_with("\\\\?\\") ? name : "\\\\.\\" + name;
}

void joinVolumes(DeviceScanner& scanner, PartitionTable& table) {
  for (const std::string& root : volumeRoots()) {
    ScannedHandle volume = openScanned(scanner, volumePath(root));
    const auto number = volume ? queryDeviceNumber(volume.get()) : std::nullopt;
    // A volume on several disks has no device number, and its sizes are those of all its parts.
    const auto extents =
        volume && !number ? queryVolumeExtents(volume.get()) : std::vector<VolumeExtent>();
    volume.close();
    std::optional<VolumeFacts> facts;
    for (PartitionEntry& entry : table.partitions) {
      const bool whole = number && number->deviceNumber == table.diskNumber &&
                         number->partitionNumber == entry.number;
      if (!whole && !hasPartIn(extents, table.diskNumber, entry)) {
        continue;
      }
      if (!facts) {
        facts = factsOf(root);
      }
      if (!whole) {
        facts->space.reset();
        entry.onSeveralDisks = true;
      }
      joinVolume(*facts, entry);
    }
  }
}

}  // namespace ostria::storage
