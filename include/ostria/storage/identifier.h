#pragma once

#include <cstdint>

namespace ostria::storage {

/// Address of a catalogue object (module, diagnostic, test or tool) and key of every table of the
/// module. Comparison and ordering look at `packed` alone.
struct Identifier {
  constexpr Identifier() = default;

  /// @param moduleNumber    number of the module; 1 for this module
  /// @param categoryNumber  0 module and tools, 1 Quick, 2 Extended; the low 24 bits are kept
  /// @param itemNumber      number of the test inside the module, 0 the diagnostic itself; low 24
  /// bits
  constexpr Identifier(std::uint16_t moduleNumber, std::uint32_t categoryNumber,
                       std::uint32_t itemNumber)
      : module(moduleNumber),
        category(categoryNumber & 0xFFFFFFu),
        item(itemNumber & 0xFFFFFFu),
        packed((std::uint64_t{module} << 48) | (std::uint64_t{category} << 24) | item) {}

  std::uint16_t module = 0;
  std::uint32_t category = 0;
  std::uint32_t item = 0;
  /// `module` in bits 63 to 48, `category` in bits 47 to 24, `item` in bits 23 to 0.
  std::uint64_t packed = 0;

  friend constexpr bool operator==(const Identifier& a, const Identifier& b) {
    return a.packed == b.packed;
  }
  friend constexpr bool operator<(const Identifier& a, const Identifier& b) {
    return a.packed < b.packed;
  }
};

}  // namespace ostria::storage
