// The search for the best block reads the first sectors only. Bad ones there refuse every block,
// and they are just what a scan is for: it goes on with the smallest.
#include "checks/read_block.h"

#include <algorithm>

#include "checks/device_checks.h"

namespace ostria::storage {

std::uint16_t chooseReadBlock(StorageComponent& component) {
  constexpr std::uint16_t kSmallestBlock = 127;  // that the search tries
  const std::uint16_t preferred = component.preferredReadBlock();
  if (preferred != 0) {
    return preferred;
  }
  if (!component.storageProtocol()->IsAccessible()) {
    return 0;
  }
  const std::uint64_t sectors = cachedProperties(component.storageProtocol()).totalSectors;
  return static_cast<std::uint16_t>(std::min<std::uint64_t>(kSmallestBlock, sectors));
}

}  // namespace ostria::storage
