// Stores sectors that were written; all others have a content that their address determines.
#include "virtual_pc/drives/sector_store.h"

#include <algorithm>
#include <cstring>

#include "base/byte_order.h"

namespace ostria::virtual_pc {
namespace {

constexpr std::uint64_t kGroupSectors = 64;  // the bits of a word

// Making the pattern one word after the other took a quarter of a scan. Registers of two words are
// what every 64-bit processor has.
using WordPair = std::uint64_t __attribute__((vector_size(16)));

}  // namespace

void SectorStore::pattern(std::uint64_t lba, std::uint32_t bytes, std::uint8_t* out) {
  // The address stands readable in the first word; the rest differs by address and offset, so that
  // a sector at the wrong address or a shifted one shows.
  constexpr std::uint64_t kStep = 0xD1B54A32D192ED03u;
  const std::uint64_t first = (lba + 1) * 0x9E3779B97F4A7C15u;
  WordPair even = {first, first + kStep};
  WordPair odd = {first + 2 * kStep, first + 3 * kStep};
  const WordPair stride = {4 * kStep, 4 * kStep};
  std::uint32_t at = 0;
  for (; at + 2 * sizeof(WordPair) <= bytes; at += 2 * sizeof(WordPair)) {
    std::memcpy(out + at, &even, sizeof even);
    std::memcpy(out + at + sizeof even, &odd, sizeof odd);
    even += stride;
    odd += stride;
  }
  for (; at < bytes; at += 8) {
    const std::uint64_t word = first + at / 8 * kStep;
    std::memcpy(out + at, &word, sizeof word);
  }
  storage::storeLe64(out, lba | 0x5A00000000000000u);
}

void SectorStore::read(std::uint64_t lba, std::uint64_t count, std::uint8_t* out) const {
  const std::uint64_t end = lba + count;
  while (lba < end) {
    const std::uint64_t group = lba / kGroupSectors;
    const std::uint64_t groupEnd = std::min(end, (group + 1) * kGroupSectors);
    const auto found = groups_.find(group);
    const std::uint64_t bits = found == groups_.end() ? 0 : found->second;
    for (; lba < groupEnd; ++lba, out += sectorBytes_) {
      if ((bits >> lba % kGroupSectors & 1) == 0) {
        pattern(lba, sectorBytes_, out);
      } else {
        std::memcpy(out, written_.at(lba).get(), sectorBytes_);
      }
    }
  }
}

void SectorStore::write(std::uint64_t lba, const std::uint8_t* in) {
  auto& sector = written_[lba];
  if (!sector) {
    sector = std::make_unique<std::uint8_t[]>(sectorBytes_);
    groups_[lba / kGroupSectors] |= std::uint64_t{1} << lba % kGroupSectors;
  }
  std::memcpy(sector.get(), in, sectorBytes_);
}

}  // namespace ostria::virtual_pc
