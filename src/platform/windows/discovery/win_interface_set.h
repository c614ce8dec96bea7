#pragma once

#include <windows.h>
// The set-up services need windows.h first.
#include <setupapi.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/windows/discovery/win_device_scan_filter.h"

namespace ostria::storage {

/// One device interface: how it is opened, and its device node.
struct FoundInterface {
  std::string path;
  SP_DEVINFO_DATA device{};
};

/// The present devices that pass a filter, in the system's order. The set is held open for their
/// properties.
class WinInterfaceSet {
 public:
  explicit WinInterfaceSet(const WinDeviceScanFilter& filter);
  WinInterfaceSet(const WinInterfaceSet&) = delete;
  WinInterfaceSet& operator=(const WinInterfaceSet&) = delete;

  /// False when the system refused to enumerate.
  bool valid() const { return set_.get() != INVALID_HANDLE_VALUE; }
  std::vector<FoundInterface>& interfaces() { return interfaces_; }
  /// A property that is a text, the first of several texts, or a number.
  std::optional<std::string> property(FoundInterface& device, DWORD property) const;

 private:
  std::optional<FoundInterface> describe(SP_DEVICE_INTERFACE_DATA& data) const;

  // A member of its own: the list behind it is made in the constructor, which memory can fail.
  struct Destroy {
    void operator()(HDEVINFO set) const {
      if (set != INVALID_HANDLE_VALUE) {
        SetupDiDestroyDeviceInfoList(set);
      }
    }
  };
  std::unique_ptr<void, Destroy> set_;
  std::vector<FoundInterface> interfaces_;
};

}  // namespace ostria::storage
