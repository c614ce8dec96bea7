#pragma once

#include <string>
#include <vector>

namespace ostria::storage {

/// One partition of a run, as the host describes it.
struct RecoverPartitionItem {
  std::string displayName;
  std::string volumePath;  ///< what the filesystem operation is run on
  std::string detail;
  /// The partition is in use by the running system; its check can only be scheduled.
  bool needsScheduling = false;
};

/// One device of a run.
struct RecoverDeviceItem {
  std::string name;
  std::string identifier;
  std::vector<RecoverPartitionItem> partitions;  ///< empty unless file systems are checked
};

}  // namespace ostria::storage
