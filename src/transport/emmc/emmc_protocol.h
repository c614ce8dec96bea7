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
  ///         and geometry are as before when the system does not tell them
  ProtocolResult GetProperties(StorageProtocolProperties* out) override;
  ProtocolResult Read(std::uint64_t lba, std::uint16_t sectors, std::uint32_t timeoutSeconds,
                      void* buffer, std::uint32_t bufferBytes) override;
  ProtocolResult GetTemperature(std::uint8_t* celsius) override;  ///< writes 0
  ProtocolResult StartSelfTest(std::uint8_t code, std::uint8_t second) override;
  ProtocolResult GetSelfTestProgress(std::uint8_t* percent) override;
  ProtocolResult GetSelfTestResult(std::uint8_t* code) override;
  ProtocolResult AbortSelfTest() override;
  ProtocolResult GetFirstFailedLba(std::uint64_t* lba) override;  ///< writes 0
  ProtocolResult GetSelfTestOperation(std::uint8_t* operation) override;
  ProtocolResult GetSmartStatus(std::uint8_t* healthy) override;
  ProtocolResult SetSmartEnabled(std::uint8_t enable) override;
  bool IsAccessible() override { return true; }
  ProtocolResult WriteUncorrectable(std::uint64_t lba) override;
  ProtocolResult Write(std::uint64_t lba, std::uint16_t sectors, std::uint64_t ignored,
                       const void* buffer) override;
  ProtocolResult GetWearIndicator(std::uint32_t* percent) override;
  ProtocolResult GetPowerMode(std::uint32_t* mode) override;
  ProtocolResult IdleImmediate() override;

 private:
  DeviceHandle handle_;
  std::string devicePath_;
  std::unique_ptr<EmmcUtils> utils_;
  std::vector<StoragePartitionProperties> volumes_;
};

}  // namespace ostria::storage
