#pragma once

#include <string>

#include "tools/check_filesystem_operation.h"

namespace ostria::storage {

/// Runs the system's disk checker on a volume, with its output on a pipe.
class WinCheckFilesystemTool : public CheckFilesystemOperation {
 public:
  explicit WinCheckFilesystemTool(Tool* owner);

  ToolStatus execute(const RecoverDeviceItem& item, std::uint32_t partitionIndex) override;
  /// A check that runs goes on to its end.
  void abort() override {}
  std::string getMessage() override { return message_; }
  void clearMessage() override { message_.clear(); }
  bool scheduleCheck(std::string volumePath) override;

 private:
  ToolStatus runChecker(const std::string& volume);
  void reportProgress(int percent);

  std::string message_;
  std::string checkerPath_;  ///< empty when the system's directory is not known
};

}  // namespace ostria::storage
