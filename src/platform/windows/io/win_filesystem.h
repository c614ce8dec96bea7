#pragma once

#include <optional>
#include <string>
#include <vector>

#include "services/filesystem.h"

namespace ostria::storage {

/// Files and raw devices through overlapped access. The directory texts are read at first use and
/// kept; they are not protected against a race of first uses.
class WinFilesystem final : public Filesystem {
 public:
  const char* getWindowsDirectory() override;
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

 private:
  std::optional<std::string> currentDirectory_;
  std::optional<std::string> windowsDirectory_;
  std::optional<std::string> programPath_;
  std::optional<std::string> programDirectory_;
};

}  // namespace ostria::storage
