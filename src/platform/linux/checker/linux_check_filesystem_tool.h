#pragma once

#include <string>
#include <vector>

#include "platform/linux/checker/linux_checkers.h"
#include "platform/linux/volumes/linux_volume.h"
#include "tools/check_filesystem_operation.h"

namespace ostria::storage {

/// Runs the file system's own checker on a volume. It repairs what needs no decision of a person;
/// where one is needed the check could not run, and the message says why. A mounted volume is taken
/// off line for the check, if nobody uses it, and given back.
class LinuxCheckFilesystemTool : public CheckFilesystemOperation {
 public:
  /// @param programFolders  where the checkers are looked for, in order
  explicit LinuxCheckFilesystemTool(Tool* owner,
                                    std::vector<std::string> programFolders = systemFolders());

  static std::vector<std::string> systemFolders();

  /// Volume paths are mount points, block devices or image files.
  ToolStatus execute(const RecoverDeviceItem& item, std::uint32_t partitionIndex) override;
  /// A check that runs goes on to its end.
  void abort() override {}
  std::string getMessage() override { return message_; }
  void clearMessage() override { message_.clear(); }
  bool scheduleCheck(std::string volumePath) override;

 private:
  bool isOfDevice(const LinuxVolume& volume) const;
  ToolStatus check(const LinuxVolume& volume);
  std::string findProgram(const std::string& name) const;
  void takeText(const std::string& bytes);
  void takeProgress(const std::string& bytes);
  void reportProgress(int percent);

  std::vector<std::string> programFolders_;
  std::string message_;
  std::string progressLine_;
  int lastPercent_ = -1;
};

}  // namespace ostria::storage
