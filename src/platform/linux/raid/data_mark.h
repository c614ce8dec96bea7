#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace ostria::storage {

/// Finds out how much of a buffer a device has filled, where nobody says it: the buffer is filled
/// with a pattern before, which drives have no reason to send, and what is left of it at the end
/// did not come. The buffer is borrowed.
class DataMark {
 public:
  explicit DataMark(std::span<std::uint8_t> data);

  /// Bytes from the start that came. What did not come is set to zero. A rest of less than eight
  /// bytes counts as come: data may end by chance as the pattern does.
  std::size_t movedBytes();

 private:
  std::span<std::uint8_t> data_;
  std::uint32_t seed_;
};

}  // namespace ostria::storage
