#pragma once

#include <memory>
#include <string>

#include "transport/storage_protocol.h"

namespace ostria::storage {

/// Whether the operating system's storage queries reach an NVMe controller behind `handle`. False
/// on a platform without such queries.
bool probeNvmeSystemCall(DeviceHandle handle);

/// A protocol on `handle`, of no kind yet and with `NvmeLogs` beside it; null on a platform without
/// such queries.
std::unique_ptr<StorageProtocol> makeNvmeSystemCallProtocol(DeviceHandle handle,
                                                            const std::string& path);

}  // namespace ostria::storage
