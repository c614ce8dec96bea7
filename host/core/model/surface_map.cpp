// Where bad sectors lie on a map of the disk. Products of sectors and cells go beyond 64 bits.
#include "host/core/model/surface_map.h"

#include <algorithm>
#include <charconv>
#include <set>

namespace ostria::host {
namespace {

// Reads a number at `at` and moves behind it.
bool readNumber(const std::string& text, std::size_t& at, std::uint64_t& number) {
  const char* begin = text.data() + at;
  const auto [end, error] = std::from_chars(begin, text.data() + text.size(), number);
  if (error != std::errc()) {
    return false;
  }
  at += static_cast<std::size_t>(end - begin);
  return true;
}

std::size_t cellOf(std::uint64_t sector, std::uint64_t totalSectors, std::size_t cells) {
  if (sector >= totalSectors) {
    return cells - 1;
  }
  // A disk of 2^63 sectors times the cells goes beyond 64 bits.
  return static_cast<std::size_t>(static_cast<unsigned __int128>(sector) * cells / totalSectors);
}

}  // namespace

std::vector<SectorRange> rangesOf(const std::string& message) {
  std::vector<SectorRange> ranges;
  std::size_t at = message.find('[');
  while (at != std::string::npos) {
    std::size_t next = at + 1;
    SectorRange range;
    if (readNumber(message, next, range.first) && message.compare(next, 2, ", ") == 0) {
      next += 2;
      if (readNumber(message, next, range.second) && next < message.size() &&
          message[next] == ']' && range.first <= range.second) {
        ranges.push_back(range);
      }
    }
    at = message.find('[', at + 1);
  }
  return ranges;
}

std::vector<SectorRange> withoutOverlap(std::vector<SectorRange> ranges) {
  std::sort(ranges.begin(), ranges.end());
  std::vector<SectorRange> out;
  for (const SectorRange& range : ranges) {
    // The last sector of a range may be the largest number.
    if (!out.empty() &&
        (range.first <= out.back().second || range.first - 1 == out.back().second)) {
      out.back().second = std::max(out.back().second, range.second);
    } else {
      out.push_back(range);
    }
  }
  return out;
}

std::vector<std::size_t> badCells(const std::vector<SectorRange>& ranges,
                                  std::uint64_t totalSectors, std::size_t cells) {
  std::set<std::size_t> bad;
  if (totalSectors == 0 || cells == 0) {
    return {};
  }
  for (const SectorRange& range : ranges) {
    const std::size_t last = cellOf(range.second, totalSectors, cells);
    for (std::size_t cell = cellOf(range.first, totalSectors, cells); cell <= last; ++cell) {
      bad.insert(cell);
    }
  }
  return {bad.begin(), bad.end()};
}

std::uint64_t firstSectorOf(std::size_t cell, std::uint64_t totalSectors, std::size_t cells) {
  const auto product = static_cast<unsigned __int128>(cell) * totalSectors;
  return static_cast<std::uint64_t>((product + cells - 1) / cells);
}

}  // namespace ostria::host
