#pragma once

#include <cstdint>
#include <limits>

namespace ostria::storage {

/// Bytes of `count` units of `unitBytes` bytes. A device may claim anything: a size beyond 64 bits
/// becomes the largest number instead of a small one.
constexpr std::uint64_t saturatedBytes(std::uint64_t count, std::uint64_t unitBytes) {
  constexpr std::uint64_t kLimit = std::numeric_limits<std::uint64_t>::max();
  return unitBytes != 0 && count > kLimit / unitBytes ? kLimit : count * unitBytes;
}

}  // namespace ostria::storage
