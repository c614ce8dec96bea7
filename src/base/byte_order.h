#pragma once

#include <cstddef>
#include <cstdint>

namespace ostria::storage {

// Readers and writers of wire fields. The caller has checked that the bytes are there. Buffers may
// have any alignment.

constexpr std::uint16_t loadLe16(const std::uint8_t* p) {
  return static_cast<std::uint16_t>(p[0] | (p[1] << 8));
}
constexpr std::uint32_t loadLe32(const std::uint8_t* p) {
  return std::uint32_t{loadLe16(p)} | (std::uint32_t{loadLe16(p + 2)} << 16);
}
constexpr std::uint64_t loadLe64(const std::uint8_t* p) {
  return std::uint64_t{loadLe32(p)} | (std::uint64_t{loadLe32(p + 4)} << 32);
}
constexpr std::uint16_t loadBe16(const std::uint8_t* p) {
  return static_cast<std::uint16_t>((p[0] << 8) | p[1]);
}
constexpr std::uint32_t loadBe32(const std::uint8_t* p) {
  return (std::uint32_t{loadBe16(p)} << 16) | loadBe16(p + 2);
}
constexpr std::uint64_t loadBe64(const std::uint8_t* p) {
  return (std::uint64_t{loadBe32(p)} << 32) | loadBe32(p + 4);
}

/// The byte `index` (0 lowest) of a number.
constexpr std::uint8_t byteOf(std::uint64_t value, unsigned index) {
  return static_cast<std::uint8_t>(value >> (8 * index));
}

constexpr void storeLe16(std::uint8_t* p, std::uint16_t v) {
  for (unsigned i = 0; i < 2; ++i) {
    p[i] = byteOf(v, i);
  }
}
constexpr void storeLe32(std::uint8_t* p, std::uint32_t v) {
  for (unsigned i = 0; i < 4; ++i) {
    p[i] = byteOf(v, i);
  }
}
constexpr void storeLe64(std::uint8_t* p, std::uint64_t v) {
  for (unsigned i = 0; i < 8; ++i) {
    p[i] = byteOf(v, i);
  }
}
constexpr void storeBe16(std::uint8_t* p, std::uint16_t v) {
  for (unsigned i = 0; i < 2; ++i) {
    p[i] = byteOf(v, 1 - i);
  }
}
constexpr void storeBe32(std::uint8_t* p, std::uint32_t v) {
  for (unsigned i = 0; i < 4; ++i) {
    p[i] = byteOf(v, 3 - i);
  }
}
constexpr void storeBe64(std::uint8_t* p, std::uint64_t v) {
  for (unsigned i = 0; i < 8; ++i) {
    p[i] = byteOf(v, 7 - i);
  }
}

}  // namespace ostria::storage
