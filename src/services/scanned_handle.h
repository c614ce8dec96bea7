#pragma once

#include <string>
#include <utility>

#include "base/device_handle.h"
#include "services/device_scanner.h"

namespace ostria::storage {

/// An open handle that is closed through its device scanner unless it is released.
class ScannedHandle {
 public:
  ScannedHandle() = default;
  ScannedHandle(DeviceScanner& scanner, DeviceHandle handle)
      : scanner_(&scanner), handle_(handle) {}
  ~ScannedHandle() { close(); }
  ScannedHandle(ScannedHandle&& other) noexcept
      : scanner_(std::exchange(other.scanner_, nullptr)),
        handle_(std::exchange(other.handle_, DeviceHandle())) {}
  ScannedHandle& operator=(ScannedHandle&& other) noexcept {
    if (this != &other) {
      close();
      scanner_ = std::exchange(other.scanner_, nullptr);
      handle_ = std::exchange(other.handle_, DeviceHandle());
    }
    return *this;
  }

  DeviceHandle get() const { return handle_; }
  explicit operator bool() const { return static_cast<bool>(handle_); }
  /// Gives the handle to the caller, who closes it.
  DeviceHandle release() {
    scanner_ = nullptr;
    return std::exchange(handle_, DeviceHandle());
  }
  void close() {
    if (scanner_ != nullptr && handle_) {
      scanner_->close(handle_);
    }
    scanner_ = nullptr;
    handle_ = DeviceHandle();
  }

 private:
  DeviceScanner* scanner_ = nullptr;
  DeviceHandle handle_;
};

/// Opens a path. @return an empty handle when it cannot be opened
inline ScannedHandle openScanned(DeviceScanner& scanner, const std::string& path) {
  DeviceHandle handle;
  if (scanner.open(path, &handle) != 0) {
    return {};
  }
  return {scanner, handle};
}

}  // namespace ostria::storage
