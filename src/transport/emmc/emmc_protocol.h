#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "transport/emmc/emmc_utils.h"
#include "transport/emmc/storage_partition_properties.h"
#include "transport/storage_protocol.h"

namespace ostria::storage {

/// An eMMC or SD device. No command reaches it: it is what the operating system describes, and most
/// operations are successes that touch nothing.
class EmmcProtocol : public StorageProtocol {
 public:
  EmmcProtocol(DeviceHandle handle, std::string devicePath);
  ~EmmcProtocol() override;

  /// The volumes on the device, as of the last `GetProperties` that could list them.
  const std::vector<StoragePartitionProperties>& volumes() const { return volumes_; }

  DeviceHandle GetDeviceHandle() override { return handle_; }
  /// @return `InvalidArgument` for a null `out`, else the result of listing the volumes: identity
  ///         and geometry are as before when the system does not give them
  ProtocolResult GetProperties(StorageProtocolProperties* out) override;
  ProtocolResult GetTemperature(std::uint8_t* celsius) override;  ///< writes 0
  ProtocolResult GetFirstFailedLba(std::uint64_t* lba) override;  ///< writes 0
  bool IsAccessible() override { return true; }

 private:
  DeviceHandle handle_;
  std::string devicePath_;
  std::unique_ptr<EmmcUtils> utils_;
  std::vector<StoragePartitionProperties> volumes_;
};

}  // namespace ostria::storage
