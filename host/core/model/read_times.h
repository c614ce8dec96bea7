// How long the reads of a test or tool took, and where on the disk.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "host/core/model/surface_map.h"

namespace ostria::host {

struct SlowRead {
  std::uint64_t first = 0;  ///< sector
  std::uint64_t count = 0;  ///< sectors
  std::uint64_t microseconds = 0;
};

/// The module's report "READ_TIMES".
struct ReadTimes {
  /// Upper limits of the classes in milliseconds, exclusive; a last class takes the rest.
  static constexpr std::array<unsigned, 5> kLimits = {3, 10, 50, 150, 500};

  std::uint64_t sectors = 0;  ///< of the device
  std::uint64_t sectorBytes = 0;
  std::uint64_t reads = 0;
  std::uint64_t failedReads = 0;
  std::uint64_t sectorsRead = 0;
  std::uint64_t microseconds = 0;  ///< that the sectors took
  std::uint64_t position = 0;      ///< sector behind the latest read
  std::array<std::uint64_t, kLimits.size() + 1> classes{};
  std::uint64_t badBlocks = 0;    ///< all of them
  std::vector<SectorRange> bad;   ///< the first ones, in growing order, without overlap
  std::vector<SlowRead> slowest;  ///< the slowest first
  std::string map;                ///< "." unread, "0" to "5" worst class, "x" bad; may be empty

  /// What was read of the device, in percent.
  double percentRead() const;
  /// Speed and mean size of the reads that brought data; 0 without any.
  double bytesPerSecond() const;
  std::uint64_t sectorsPerRead() const;
  /// The class that most of the disk took.
  std::size_t usualClass() const;
  /// Whether a person would call a read slow: in itself, and for its size on this drive.
  bool isSlow(const SlowRead& read) const;
};

/// "6" or, below ten, "0.3".
std::string percentText(double percent);

}  // namespace ostria::host
