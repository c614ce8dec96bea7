#pragma once

#include <windows.h>

#include "services/device_scanner.h"

namespace ostria::storage {

/// Devices that show an interface class and belong to a setup class.
class WinDeviceScanFilter final : public DeviceScanFilter {
 public:
  WinDeviceScanFilter(const GUID& interfaceClass, const GUID& setupClass)
      : interfaceClass_(interfaceClass), setupClass_(setupClass) {}

  static WinDeviceScanFilter disks();
  static WinDeviceScanFilter storagePorts();

  const GUID& interfaceClass() const { return interfaceClass_; }
  const GUID& setupClass() const { return setupClass_; }
  /// Disks have the number that the system gives them, other devices their index in the
  /// enumeration.
  bool isDisks() const;

 private:
  GUID interfaceClass_;
  GUID setupClass_;
};

}  // namespace ostria::storage
