// Shares of a disk: sectors of large disks times a hundred go beyond 64 bits, a double does not.
#include "host/core/model/read_times.h"

#include <algorithm>
#include <cmath>

namespace ostria::host {

double ReadTimes::percentRead() const {
  return sectors == 0
             ? 0
             : std::min(static_cast<double>(sectorsRead) * 100 / static_cast<double>(sectors),
                        100.0);
}

double ReadTimes::bytesPerSecond() const {
  return microseconds == 0 ? 0
                           : static_cast<double>(sectorsRead) * static_cast<double>(sectorBytes) *
                                 1e6 / static_cast<double>(microseconds);
}

std::uint64_t ReadTimes::sectorsPerRead() const {
  return failedReads >= reads ? 0 : sectorsRead / (reads - failedReads);
}

// The time of most cells. Of a drive that is slow everywhere no time is usual.
std::size_t ReadTimes::usualClass() const {
  constexpr double kSlowDrive = 5e6;  // bytes a second
  std::size_t usual = 0;
  std::ptrdiff_t most = 0;
  for (std::size_t index = 0; index < kLimits.size(); ++index) {
    const auto cells = std::count(map.begin(), map.end(), static_cast<char>('0' + index));
    if (cells > most) {
      usual = index;
      most = cells;
    }
  }
  return bytesPerSecond() < kSlowDrive ? 0 : usual;
}

// A large read takes long on a sound drive, too.
bool ReadTimes::isSlow(const SlowRead& read) const {
  constexpr std::uint64_t kSlowMicroseconds = 150'000;
  constexpr double kTimesTheMean = 3;
  const double mean = sectorsRead == 0
                          ? 0
                          : static_cast<double>(microseconds) * static_cast<double>(read.count) /
                                static_cast<double>(sectorsRead);
  return read.microseconds >= kSlowMicroseconds &&
         static_cast<double>(read.microseconds) >= kTimesTheMean * mean;
}

// Rounded down: what is nearly all is not all.
std::string percentText(double percent) {
  const auto tenths = static_cast<long>(std::floor(percent * 10));
  const std::string whole = std::to_string(tenths / 10);
  return percent < 10 && tenths % 10 != 0 ? whole + "." + std::to_string(tenths % 10) : whole;
}

}  // namespace ostria::host
