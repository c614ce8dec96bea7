// Read times and bad blocks as text.
#pragma once

#include <string>

#include "host/cli/text_report.h"

namespace ostria::host {

/// How long the reads took: a histogram where the whole surface is read, else one line; then the
/// slowest.
std::string readsText(const ReadTimes& reads, bool histogram, const TextStyle& style);

/// Where a test of the surface found bad blocks; empty when it found none.
std::string rangesText(const std::vector<SectorRange>& ranges, const TextStyle& style);

}  // namespace ostria::host
