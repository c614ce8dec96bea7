#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace ostria::storage {

/// The blocks of one run that could not be read, in the order in which they were.
class BadBlocks {
 public:
  void add(std::uint64_t firstLba);
  std::uint64_t count() const { return count_; }
  /// The closing report of a scan: the count and the first blocks, each with its first sector and
  /// the one behind its end; how many blocks are not listed, if there are such.
  std::string text(std::uint64_t blockSectors) const;

 private:
  std::uint64_t count_ = 0;
  std::vector<std::uint64_t> listed_;
};

}  // namespace ostria::storage
