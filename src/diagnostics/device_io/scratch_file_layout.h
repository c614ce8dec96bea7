#pragma once

#include <cstdint>
#include <vector>

namespace ostria::storage {

class NumberHandler;

/// How the write test spreads its chunks over one file. All sizes are bytes and multiples of the
/// sector size, but for the share.
struct ScratchFileLayout {
  std::uint64_t fileBytes = 0;
  std::uint64_t chunkBytes = 0;
  std::uint64_t shareBytes = 0;  ///< what this file has of the whole test
};

/// @param freeBytes   what the volume may give, less its reserve
/// @param totalBytes  the same of all volumes together, at least `freeBytes`
/// @param testBytes   what the whole test writes, at most `totalBytes`
/// @return a layout of 0 bytes when the volume has no room for a sector
ScratchFileLayout layOutScratchFile(std::uint64_t freeBytes, std::uint64_t totalBytes,
                                    std::uint64_t testBytes, std::uint32_t sectorBytes);

/// Offsets of the chunks in bytes, ascending, one at a random position in each equal part of the
/// file.
std::vector<std::uint64_t> placeChunks(const ScratchFileLayout& layout, std::uint32_t sectorBytes,
                                       NumberHandler& random);

}  // namespace ostria::storage
