#pragma once

#include <string>

#include "platform/linux/io/timed_transfer.h"
#include "services/filesystem.h"

namespace ostria::storage {

/// Files and raw devices. The separator of paths is "/"; a pattern's wildcards stand in its last
/// component.
class LinuxFilesystem : public Filesystem {
 public:
  explicit LinuxFilesystem(TimedTransfer::Engine engine = TimedTransfer::Engine::Ring)
      : transfers_(engine) {}

  const char* getWindowsDirectory() override { return "/"; }
  const char* getCurrentDirectory() override;
  const char* getProgramPath() override;
  const char* getProgramDirectory() override;
  int listDirectory(const std::string& pattern, std::vector<std::string>& names) override;
  int createDirectories(const std::string& path, std::vector<std::string>& made) override;
  bool isInvalidPath(std::string path) override;
  int removeTree(const std::string& path) override;
  int createFile(const std::string& path, DeviceHandle* handle, bool deleteOnClose) override;
  int closeFile(DeviceHandle handle) override;
  int setFileSize(DeviceHandle handle, std::uint64_t size) override;
  ProtocolResult writeAt(DeviceHandle handle, std::uint64_t offset, std::uint64_t length,
                         std::uint64_t* done, std::uint32_t timeoutSeconds,
                         const void* buffer) override;
  ProtocolResult readAt(DeviceHandle handle, std::uint64_t offset, std::uint64_t length,
                        std::uint64_t* done, std::uint32_t timeoutSeconds, void* buffer) override;
  ProtocolResult readInto(DeviceHandle handle, std::uint64_t offset, std::uint64_t length,
                          std::uint64_t* done, std::uint32_t timeoutSeconds,
                          TransferBuffer& buffer) override;

  std::size_t outstandingTransfers() { return transfers_.outstanding(); }

 protected:
  /// The transfer itself; what its outcome means is decided above it.
  virtual TransferOutcome move(const TransferRequest& request, std::uint32_t timeoutSeconds) {
    return transfers_.run(request, timeoutSeconds);
  }

 private:
  ProtocolResult transfer(const TransferRequest& request, std::uint64_t* done,
                          std::uint32_t timeoutSeconds);

  std::string currentDirectory_;
  std::string programPath_;
  std::string programDirectory_;
  TimedTransfer transfers_;
};

}  // namespace ostria::storage
