// The chunks are spread over the whole file, which takes nearly all free space: little is written,
// but all over the device.
#include "diagnostics/device_io/scratch_file_layout.h"

#include <algorithm>

#include "services/number_handler.h"

namespace ostria::storage {

namespace {

constexpr std::uint64_t kChunkSectors = 256;

std::uint64_t roundDown(std::uint64_t bytes, std::uint32_t sectorBytes) {
  return bytes - bytes % sectorBytes;
}

}  // namespace

ScratchFileLayout layOutScratchFile(std::uint64_t freeBytes, std::uint64_t totalBytes,
                                    std::uint64_t testBytes, std::uint32_t sectorBytes) {
  ScratchFileLayout layout;
  layout.fileBytes = roundDown(freeBytes, sectorBytes);
  if (layout.fileBytes == 0) {
    return layout;
  }
  const double share = static_cast<double>(testBytes) * static_cast<double>(layout.fileBytes) /
                       static_cast<double>(totalBytes);
  // Rounding must not push the share beyond the file.
  layout.shareBytes = share >= static_cast<double>(layout.fileBytes)
                          ? layout.fileBytes
                          : static_cast<std::uint64_t>(share);
  layout.chunkBytes =
      std::min(kChunkSectors * sectorBytes, roundDown(layout.shareBytes, sectorBytes));
  layout.chunkBytes = std::max<std::uint64_t>(layout.chunkBytes, sectorBytes);
  return layout;
}

std::vector<std::uint64_t> placeChunks(const ScratchFileLayout& layout, std::uint32_t sectorBytes,
                                       NumberHandler& random) {
  const std::uint64_t parts = std::max<std::uint64_t>(layout.shareBytes / layout.chunkBytes, 1);
  const std::uint64_t stride = roundDown(layout.fileBytes / parts, sectorBytes);
  const std::uint64_t spread = (stride - layout.chunkBytes) / sectorBytes;
  std::vector<std::uint64_t> offsets;
  offsets.reserve(parts);
  for (std::uint64_t i = 0; i < parts; ++i) {
    offsets.push_back(i * stride + random.random(spread + 1) * sectorBytes);
  }
  return offsets;
}

}  // namespace ostria::storage
