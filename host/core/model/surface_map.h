// The map of a surface: cells, and the sectors that they stand for.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace ostria::host {

/// First and last sector of a stretch that could not be read.
using SectorRange = std::pair<std::uint64_t, std::uint64_t>;

/// The ranges "[a, b]" that a message of a surface test lists; anything else is passed over.
std::vector<SectorRange> rangesOf(const std::string& message);

/// The same sectors in growing order, each once: what overlaps or touches is one range.
std::vector<SectorRange> withoutOverlap(std::vector<SectorRange> ranges);

/// Which cells of a map of `cells` cells over `totalSectors` sectors hold a bad sector, ascending.
/// What lies behind the end of the disk belongs to the last cell.
std::vector<std::size_t> badCells(const std::vector<SectorRange>& ranges,
                                  std::uint64_t totalSectors, std::size_t cells);

/// First sector of a cell.
std::uint64_t firstSectorOf(std::size_t cell, std::uint64_t totalSectors, std::size_t cells);

}  // namespace ostria::host
