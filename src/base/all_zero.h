// Answers that nobody gave.
#pragma once

#include <algorithm>
#include <cstdint>
#include <span>

namespace ostria::storage {

/// Whether an answer is nothing but zeros. Not every pass-through reports a refused command, and
/// then zeros stand for the data; identify pages and logs have fields that are never zero.
inline bool isAllZero(std::span<const std::uint8_t> answer) {
  return std::ranges::all_of(answer, [](std::uint8_t byte) { return byte == 0; });
}

}  // namespace ostria::storage
