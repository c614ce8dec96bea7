// The operating system's file system checker: there is none, so every check could not be performed.
#include "tools/check_filesystem_operation.h"

namespace ostria::storage {
namespace {

class NoCheckFilesystemTool final : public CheckFilesystemOperation {
 public:
  using CheckFilesystemOperation::CheckFilesystemOperation;

  ToolStatus execute(const RecoverDeviceItem&, std::uint32_t) override {
    return ToolStatus::CouldNotRun;
  }
  void abort() override {}
  std::string getMessage() override { return {}; }
  void clearMessage() override {}
  bool scheduleCheck(std::string) override { return false; }
};

}  // namespace

std::unique_ptr<CheckFilesystemOperation> makeCheckFilesystemOperation(Tool* owner) {
  return std::make_unique<NoCheckFilesystemTool>(owner);
}

}  // namespace ostria::storage
