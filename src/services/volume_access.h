#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/device_handle.h"

namespace ostria::storage {

// What a test needs that stores data in files of a mounted volume. Defined by each platform.

/// Takes the right to give a file a size without the system filling it with zeros. The right
/// belongs to the process and its earlier state is kept once, so runs that hold it must not
/// overlap.
/// @return false when the process cannot have it; nothing is to be given back then
bool holdVolumePrivilege();
/// Puts the right back to what it was before `holdVolumePrivilege` gave true.
void releaseVolumePrivilege();

/// Lets the first `bytes` bytes of the file be used as they lie on the medium. A failure only costs
/// time.
bool setValidData(DeviceHandle file, std::uint64_t bytes);

/// Name of the file system that is mounted at a root path, as the system writes it.
/// @return false, with `name` as it was, when nothing usable is mounted there
bool readFileSystemName(const std::string& mountPoint, std::string& name);

/// Bytes by which unbuffered transfers on the volume at a root path are aligned: the sector size of
/// the volume, which may be larger than that of the device below it.
/// @return 0 when nothing usable is mounted there
std::uint32_t volumeSectorBytes(const std::string& mountPoint);

/// Has the reads of a file that follow come from the medium: what was written so far is there, and
/// the system keeps no copy of it.
/// @param file  on the volume at `mountPoint`, opened for unbuffered access
/// @return false when that cannot be had, so that what is read proves nothing
bool dropCachedContent(DeviceHandle file, const std::string& mountPoint);

/// Lower-case names of the file systems on which scratch files show what the device does.
const std::vector<std::string>& scratchFileSystems();

}  // namespace ostria::storage
