#pragma once

#include <cstdint>

namespace ostria::storage {

/// An open device, file, port or volume, as the platform's device scanner or filesystem gave it.
/// All layers pass it on without looking into it; 0 means none. A plain value: copying it does not
/// duplicate the opening, and whoever opened it closes it.
class DeviceHandle {
 public:
  constexpr DeviceHandle() = default;
  constexpr explicit DeviceHandle(std::uint64_t value) : value_(value) {}

  constexpr std::uint64_t value() const { return value_; }
  constexpr explicit operator bool() const { return value_ != 0; }
  friend constexpr bool operator==(DeviceHandle, DeviceHandle) = default;

 private:
  std::uint64_t value_ = 0;
};

}  // namespace ostria::storage
