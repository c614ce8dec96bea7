// A disk that is about to fail is slow before it is bad, so each read of a test or tool is timed.
// What is kept has a bound, whatever the disk.
#include "inventory/read_times.h"

#include <algorithm>
#include <new>

#include "base/sector_size.h"

namespace ostria::storage {
namespace {

constexpr std::size_t kSlowest = 10;
// No read lasts longer, whatever a clock that was set says.
constexpr double kLongestSeconds = 1e6;
constexpr std::size_t kMostBad = 1000;
constexpr char kUnread = '.';
constexpr char kBad = 'x';

std::string row(const char* name, const std::string& data) {
  return std::string(R"({"description":")") + name + R"(","data":")" + data + "\"}";
}

bool isBad(ProtocolResult result) {
  return result == ProtocolResult::MediumError || result == ProtocolResult::InterfaceCrcError;
}

}  // namespace

void ReadTimes::restart(const StorageProtocolProperties& device) {
  *this = ReadTimes();
  totalSectors_ = device.totalSectors;
  sectorBytes_ = device.logicalSectorSize;
  // All memory is had before the first read. Without it nothing is kept, and the test goes on.
  try {
    slowest_.reserve(kSlowest + 1);
    bad_.reserve(kMostBad);
    cells_.assign(kCells, kUnread);
  } catch (const std::bad_alloc&) {
    cells_.clear();
  }
}

std::size_t ReadTimes::cellOf(std::uint64_t lba) const {
  if (lba >= totalSectors_) {
    return kCells - 1;
  }
  // A double is exact enough for a cell, and a product would go beyond 64 bits.
  const double cell =
      static_cast<double>(lba) * static_cast<double>(kCells) / static_cast<double>(totalSectors_);
  return std::min(static_cast<std::size_t>(cell), kCells - 1);
}

void ReadTimes::add(std::uint64_t lba, std::uint32_t count, double seconds, ProtocolResult result) {
  // A device whose size is not known has no map, and what was refused was never read.
  if (cells_.empty() || count == 0 || totalSectors_ == 0 ||
      result == ProtocolResult::InvalidArgument) {
    return;
  }
  const Read read{lba, count,
                  static_cast<std::uint64_t>(std::clamp(seconds, 0.0, kLongestSeconds) * 1e6)};
  ++reads_;
  position_ = lba + count;
  addSlow(read);
  std::size_t level = 0;
  while (level < kLimits.size() && read.microseconds >= std::uint64_t{kLimits[level]} * 1000) {
    ++level;
  }
  ++classes_[level];
  if (!succeeded(result)) {
    ++failed_;
    if (isBad(result)) {
      addBad(lba, count);
    }
    return;
  }
  sectorsRead_ += count;
  microseconds_ += read.microseconds;
  const char mark = static_cast<char>('0' + level);
  const std::size_t last = cellOf(lba + count - 1);
  for (std::size_t cell = cellOf(lba); cell <= last; ++cell) {
    cells_[cell] = cells_[cell] == kUnread ? mark : std::max(cells_[cell], mark);
  }
}

void ReadTimes::addBad(std::uint64_t lba, std::uint32_t count) {
  // A sector of the block that was noted last: the block was read again piece by piece.
  const bool narrower = !bad_.empty() && badBlocks_ == bad_.size() && lba >= bad_.back().first &&
                        lba + count <= bad_.back().first + bad_.back().count;
  if (narrower) {
    bad_.back() = {lba, count, 0};
    return;
  }
  ++badBlocks_;
  if (bad_.size() < kMostBad) {
    bad_.push_back({lba, count, 0});
  }
}

void ReadTimes::addSlow(const Read& read) {
  const auto at = std::find_if(slowest_.begin(), slowest_.end(), [&read](const Read& other) {
    return other.microseconds < read.microseconds;
  });
  if (slowest_.size() == kSlowest && at == slowest_.end()) {
    return;
  }
  slowest_.insert(at, read);
  slowest_.resize(std::min(slowest_.size(), kSlowest));
}

std::string ReadTimes::map() const {
  std::string cells = cells_;
  for (const Read& block : bad_) {
    const std::size_t last = cellOf(block.first + block.count - 1);
    for (std::size_t cell = cellOf(block.first); cell <= last; ++cell) {
      cells[cell] = kBad;
    }
  }
  return cells;
}

std::string ReadTimes::rows() const {
  const auto number = [](std::uint64_t value) { return std::to_string(value); };
  std::string classes;
  for (const std::uint64_t count : classes_) {
    classes += (classes.empty() ? "" : " ") + number(count);
  }
  std::string text =
      "[" + row("Sectors", number(totalSectors_)) + "," +
      row("Sector Bytes", number(sectorBytes_)) + "," + row("Reads", number(reads_)) + "," +
      row("Failed Reads", number(failed_)) + "," + row("Sectors Read", number(sectorsRead_)) + "," +
      row("Microseconds", number(microseconds_)) + "," + row("Position", number(position_)) + "," +
      row("Classes", classes) + "," + row("Bad Blocks", number(badBlocks_));
  for (const Read& block : bad_) {
    text += "," + row("Bad", number(block.first) + " " + number(block.count));
  }
  for (const Read& read : slowest_) {
    text += "," + row("Slow", number(read.first) + " " + number(read.count) + " " +
                                  number(read.microseconds));
  }
  return text + "," + row("Map", map()) + "]";
}

}  // namespace ostria::storage
