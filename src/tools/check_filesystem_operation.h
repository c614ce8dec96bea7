#pragma once

#include <memory>
#include <string>

#include "tools/recover_bad_sectors_operation.h"

namespace ostria::storage {

/// Checks and repairs the file system of one partition with the operating system's own checker,
/// run as a child process. A check that has started is left to finish, also on an abort: stopping
/// a repair half way could cost data.
class CheckFilesystemOperation : public RecoverBadSectorsOperation {
 public:
  explicit CheckFilesystemOperation(Tool* owner)
      : RecoverBadSectorsOperation("|CHECK_FILESYSTEM_TOOL", owner) {}

  const SectorStatistics* getSectorStatistics() override { return nullptr; }
  const BadSectorList* getBadSectorList() override { return nullptr; }
  /// Arranges a check of the volume at the next start of the system.
  /// @return whether it was arranged
  virtual bool scheduleCheck(std::string volumePath) = 0;
};

/// The platform's checker.
std::unique_ptr<CheckFilesystemOperation> makeCheckFilesystemOperation(Tool* owner);

}  // namespace ostria::storage
