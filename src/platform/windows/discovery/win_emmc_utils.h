#pragma once

#include <string>
#include <vector>

#include "transport/emmc/emmc_utils.h"

namespace ostria::storage {

class WinEmmcUtils : public EmmcUtils {
 public:
  WinEmmcUtils(DeviceHandle handle, std::string devicePath);

  std::uint32_t Open(const std::string& path) override;
  std::uint32_t Close() override;
  std::uint32_t GetGeometry(EmmcGeometry* out) override;
  std::uint32_t GetIdentity(EmmcIdentity* out) override;
  std::uint32_t ListVolumes(std::vector<EmmcVolume>* out) override;
  std::string TemporaryDirectory(const std::string& rootPath) const override;

 private:
  DeviceHandle handle_;
  std::string devicePath_;
};

/// A text of a device descriptor, which some drivers give as hexadecimal digits with the bytes of
/// each pair swapped. Decoded when all of it is such digits of printable characters, else as it is
/// up to the first character that is not printable; without white space at its ends.
std::string DecodeDescriptorText(const std::string& text);

}  // namespace ostria::storage
