#pragma once

#include <windows.h>

#include <cstdint>
#include <utility>

#include "base/device_handle.h"

namespace ostria::storage {

/// A device handle is the HANDLE itself; null and INVALID_HANDLE_VALUE are the empty one.
inline DeviceHandle toDeviceHandle(HANDLE handle) {
  if (handle == INVALID_HANDLE_VALUE) {
    return {};
  }
  return DeviceHandle(static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(handle)));
}

inline HANDLE toNativeHandle(DeviceHandle handle) {
  return reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(handle.value()));
}

/// Owns an open handle, or none.
class UniqueHandle {
 public:
  UniqueHandle() = default;
  explicit UniqueHandle(HANDLE handle)
      : handle_(handle == INVALID_HANDLE_VALUE ? nullptr : handle) {}
  UniqueHandle(UniqueHandle&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
  UniqueHandle& operator=(UniqueHandle&& other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
  }
  ~UniqueHandle() {
    if (handle_ != nullptr) {
      CloseHandle(handle_);
    }
  }

  explicit operator bool() const { return handle_ != nullptr; }
  HANDLE get() const { return handle_; }
  HANDLE release() { return std::exchange(handle_, nullptr); }

 private:
  HANDLE handle_ = nullptr;
};

}  // namespace ostria::storage
