// The pattern is another one each time: a drive that holds what was once left in a buffer does not
// look like one that sent nothing.
#include "platform/linux/raid/data_mark.h"

#include <algorithm>
#include <random>

namespace ostria::storage {
namespace {

// No byte of it is text, zero or all ones, with which short answers mostly end.
std::uint8_t patternAt(std::uint32_t seed, std::size_t position) {
  std::uint32_t mixed = (seed + static_cast<std::uint32_t>(position)) * 2654435761u;
  mixed ^= mixed >> 15;
  return static_cast<std::uint8_t>(0x81 + mixed % 0x7E);
}

}  // namespace

DataMark::DataMark(std::span<std::uint8_t> data) : data_(data), seed_(std::random_device()()) {
  for (std::size_t i = 0; i < data_.size(); ++i) {
    data_[i] = patternAt(seed_, i);
  }
}

std::size_t DataMark::movedBytes() {
  constexpr std::size_t kChance = 8;
  std::size_t end = data_.size();
  while (end > 0 && data_[end - 1] == patternAt(seed_, end - 1)) {
    --end;
  }
  if (end != 0 && data_.size() - end < kChance) {
    return data_.size();
  }
  std::fill(data_.begin() + static_cast<std::ptrdiff_t>(end), data_.end(), std::uint8_t{0});
  return end;
}

}  // namespace ostria::storage
