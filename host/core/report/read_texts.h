// What the reads of a test or tool are called in every output.
#pragma once

#include <cstddef>
#include <string>

#include "host/core/model/read_times.h"
#include "host/core/texts/texts.h"

namespace ostria::host {

/// "Read times, 4095 sectors a read, 143 MB/s:".
std::string readsTitle(const ReadTimes& reads, const Texts& texts);

/// "below 10 ms".
/// @param index  of a class
std::string readClassName(std::size_t index, const Texts& texts);

}  // namespace ostria::host
