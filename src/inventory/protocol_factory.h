#pragma once

#include <memory>

#include "inventory/device_record.h"
#include "inventory/storage_scanner.h"
#include "transport/storage_protocol.h"

namespace ostria::storage {

/// A protocol that reaches its device, and what has to stay open beside the device for it.
struct FoundProtocol {
  /// The controller port behind an NVMe pass-through; empty otherwise. Stands first, so that it is
  /// closed after the protocol is gone.
  ScannedHandle port;
  std::unique_ptr<StorageProtocol> protocol;  ///< null when nothing reaches the device
};

/// Tries protocols and bridges in their fixed order with real commands; the first that works ends
/// the search. Each trial of a device that does not answer can take as long as its command
/// time-out.
FoundProtocol createProtocol(StorageScanner& scanner, const DeviceRecord& record);

/// For an external device an ATA protocol over SAT, without any probe; else null.
std::unique_ptr<StorageProtocol> createSecondaryProtocol(const DeviceRecord& record);

}  // namespace ostria::storage
