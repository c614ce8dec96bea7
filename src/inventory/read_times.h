#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "transport/storage_protocol.h"

namespace ostria::storage {

/// How long the reads of one test or tool took: classes, the slowest, and where on the disk.
class ReadTimes {
 public:
  /// Cells of the map, over all sectors of the disk.
  static constexpr std::size_t kCells = 768;
  /// Upper limits of the classes in milliseconds, exclusive; a last class takes the rest.
  static constexpr std::array<std::uint32_t, 5> kLimits = {3, 10, 50, 150, 500};

  /// Forgets everything; a test or tool begins.
  void restart(const StorageProtocolProperties& device);
  /// Notes one read. Bad is what the medium or the interface refused; a bad sector of a block that
  /// was noted as bad takes the place of the block.
  void add(std::uint64_t lba, std::uint32_t count, double seconds, ProtocolResult result);
  /// The rows of the report "READ_TIMES".
  std::string rows() const;

 private:
  struct Read {
    std::uint64_t first = 0;
    std::uint32_t count = 0;
    std::uint64_t microseconds = 0;
  };

  std::size_t cellOf(std::uint64_t lba) const;
  void addBad(std::uint64_t lba, std::uint32_t count);
  void addSlow(const Read& read);
  std::string map() const;

  std::uint64_t totalSectors_ = 0;
  std::uint32_t sectorBytes_ = 0;
  std::uint64_t reads_ = 0;
  std::uint64_t failed_ = 0;
  std::uint64_t sectorsRead_ = 0;
  std::uint64_t microseconds_ = 0;  ///< of the reads that brought them
  std::uint64_t position_ = 0;
  std::uint64_t badBlocks_ = 0;
  std::array<std::uint64_t, kLimits.size() + 1> classes_{};
  std::vector<Read> slowest_;  ///< the slowest first
  std::vector<Read> bad_;      ///< the first ones, in the order in which they were met
  std::string cells_;          ///< "." unread, else the digit of the worst class
};

}  // namespace ostria::storage
