#pragma once

#include <unistd.h>

#include <cstdint>
#include <utility>

#include "base/device_handle.h"

namespace ostria::storage {

/// A device handle carries the descriptor plus one, so that descriptor 0 is not "none".
constexpr DeviceHandle handleOfDescriptor(int descriptor) {
  return descriptor < 0 ? DeviceHandle() : DeviceHandle(static_cast<std::uint64_t>(descriptor) + 1);
}

/// -1 for no handle and for a value that cannot be a descriptor.
constexpr int descriptorOf(DeviceHandle handle) {
  return handle.value() == 0 || handle.value() > 0x7FFFFFFF ? -1
                                                            : static_cast<int>(handle.value() - 1);
}

/// Owns a descriptor; -1 owns nothing.
class FdOwner {
 public:
  FdOwner() = default;
  explicit FdOwner(int descriptor) : descriptor_(descriptor) {}
  FdOwner(FdOwner&& other) noexcept : descriptor_(other.release()) {}
  FdOwner& operator=(FdOwner&& other) noexcept {
    reset(other.release());
    return *this;
  }
  ~FdOwner() { reset(); }

  int get() const { return descriptor_; }
  bool valid() const { return descriptor_ >= 0; }
  int release() { return std::exchange(descriptor_, -1); }
  void reset(int descriptor = -1) {
    if (descriptor_ >= 0) {
      ::close(descriptor_);
    }
    descriptor_ = descriptor;
  }

 private:
  int descriptor_ = -1;
};

}  // namespace ostria::storage
