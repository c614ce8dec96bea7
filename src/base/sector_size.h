#pragma once

#include <cstdint>

namespace ostria::storage {

/// Bytes of the smallest logical sector. A device that names fewer has reported no size.
inline constexpr std::uint32_t kSmallestSectorBytes = 512;

/// The logical sector size that a device claims, in bytes, or 0 (unknown) when it is one that no
/// drive has: below 512 bytes, beyond 64 KiB, or no multiple of 8. Buffers are allocated by this
/// number, so a garbled answer must not ask for gigabytes. Disks of storage arrays are formatted
/// with 520 or 528 bytes.
constexpr std::uint32_t knownSectorSize(std::uint64_t claimed) {
  constexpr std::uint64_t kLargest = 65536;
  constexpr std::uint64_t kUnit = 8;
  return claimed < kSmallestSectorBytes || claimed > kLargest || claimed % kUnit != 0
             ? 0
             : static_cast<std::uint32_t>(claimed);
}

}  // namespace ostria::storage
