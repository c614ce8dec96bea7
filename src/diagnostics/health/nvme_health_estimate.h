#pragma once

#include <cstdint>

#include "transport/nvme/nvme_logs.h"

namespace ostria::storage {

/// What an NVMe drive's logs say about its remaining life.
struct NvmeHealthEstimate {
  /// Whether there was enough to judge by.
  bool judgeable = false;
  int health = 0;       ///< percent; below 0 for a drive that outlives its rating
  int usedPercent = 0;  ///< of the rated write endurance, 0 to 100
  std::uint8_t criticalWarning = 0;
  std::uint64_t mediaErrors = 0;

  int leftPercent() const { return 100 - usedPercent; }
};

/// Reads the health, endurance group and vendor logs, in this order; one that cannot be had is
/// passed over.
/// @param logs           the drive's; null when it has none
/// @param capacityBytes  size of the drive
NvmeHealthEstimate estimateNvmeHealth(NvmeLogs* logs, double capacityBytes);

}  // namespace ostria::storage
