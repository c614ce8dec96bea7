// The disks of the system that the module could make no devices of. A short list must not look like
// a whole one.
#pragma once

#include <string>
#include <vector>

#include "host/core/model/device_info.h"
#include "host/core/run/redact.h"
#include "host/core/run/session_setup.h"
#include "host/core/texts/texts.h"
#include "ostria/storage/system_component_manager.h"

namespace ostria::host {

/// Those that should have answered and did not.
/// @param known  disks, as the system calls them, whose silence has another reason
std::vector<storage::LeftOutDevice> silentDisks(storage::SystemComponentManager& manager,
                                                const FindDeviceNames& names,
                                                const std::vector<std::string>& known);

/// One of them as a device that does not answer.
DeviceInfo describeSilentDisk(const storage::LeftOutDevice& disk, std::uint32_t index,
                              const DeviceNames& names, Redactor& redactor);

/// Sentences on disks that no drive commands reach.
/// @param raidMembers  whether drives behind a RAID controller are in the list
std::vector<std::string> leftOutNotices(storage::SystemComponentManager& manager, bool raidMembers,
                                        const FindDeviceNames& names, const Texts& texts);

}  // namespace ostria::host
