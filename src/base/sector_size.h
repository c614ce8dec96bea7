#pragma once

#include <cstdint>

namespace ostria::storage {

/// The logical sector size that a device claims, in bytes, or 0 (unknown) when it is one that no
/// drive has: beyond 64 KiB or no multiple of 512. Buffers are allocated by this number, so a
/// garbled answer must not ask for gigabytes.
constexpr std::uint32_t knownSectorSize(std::uint64_t claimed) {
  constexpr std::uint64_t kLargest = 64 * 1024;
  constexpr std::uint64_t kUnit = 512;
  return claimed > kLargest || claimed % kUnit != 0 ? 0 : static_cast<std::uint32_t>(claimed);
}

}  // namespace ostria::storage
