// What ails a medium, and how fast it is: plain numbers, as the machine file gives them.
#pragma once

#include <cstdint>

namespace ostria::virtual_pc {

enum class BadSectorKind {
  Medium,     ///< unreadable: uncorrectable data
  Interface,  ///< the transfer of this sector is broken: CRC error
  Rejected,   ///< the drive refuses to touch this sector
  Hang,       ///< the drive does not answer until the host gives up
  Transient,  ///< unreadable the first few times, then readable
  Slow,       ///< readable after a delay
};

/// What a write to a bad sector does.
enum class WriteEffect {
  Heals,  ///< the data is stored and the sector is good from then on
  Stays,  ///< the write is accepted, and the sector reads as badly as before
  Fails,  ///< the write fails in the way that a read does
};

/// A run of bad sectors with one kind.
struct BadSectors {
  std::uint64_t lba = 0;
  std::uint64_t count = 1;
  BadSectorKind kind = BadSectorKind::Medium;
  WriteEffect onWrite = WriteEffect::Heals;
  std::uint32_t failures = 1;           ///< transient: reads that fail before one succeeds
  std::uint64_t delayMicroseconds = 0;  ///< slow: what one sector takes
};

/// Speed of the medium.
struct MediumTiming {
  std::uint64_t accessMicroseconds = 100;      ///< per command that is not sequential
  std::uint64_t bytesPerSecond = 500'000'000;  ///< transfer rate, at least 1
};

}  // namespace ostria::virtual_pc
