// A dead surface of many terabytes has hundreds of millions of bad blocks. The list is what a
// person reads, so it ends where nobody reads on, and the count goes on.
#include "diagnostics/surface/bad_blocks.h"

#include "checks/message_keys.h"

namespace ostria::storage {

namespace {

constexpr std::size_t kMostListed = 1000;

}  // namespace

void BadBlocks::add(std::uint64_t firstLba) {
  ++count_;
  if (listed_.size() < kMostListed) {
    listed_.push_back(firstLba);
  }
}

std::string BadBlocks::text(std::uint64_t blockSectors) const {
  std::string pairs;
  for (const std::uint64_t lba : listed_) {
    if (!pairs.empty()) {
      pairs += ", ";
    }
    pairs += "[" + std::to_string(lba) + ", " + std::to_string(lba + blockSectors) + "]";
  }
  std::string text = std::string(keys::kBadSectorsFound) + " " + keys::kNumberOfBadBlocks + " " +
                     std::to_string(count_) + ". " + keys::kBadSectorsInRange + " " + pairs + ".";
  if (count_ > listed_.size()) {
    text += std::string(" ") + keys::kBlocksNotListed + " " +
            std::to_string(count_ - listed_.size()) + ".";
  }
  return text;
}

}  // namespace ostria::storage
