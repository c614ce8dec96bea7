#pragma once

#include <cstdint>
#include <string>

#include "transport/nvme/nvme_data.h"
#include "transport/nvme/nvme_system_call_protocol.h"

namespace ostria::storage {

class NvmeCmd;

/// Asks the storage stack for identify data and log pages; sends a command of its own only for
/// self-tests. Reading and writing of sectors have no way on this road.
class WinNvmeSystemCallProtocol : public NvmeSystemCallProtocol {
 public:
  /// @param handle  the disk
  WinNvmeSystemCallProtocol(DeviceHandle handle, std::string devicePath);
  ~WinNvmeSystemCallProtocol() override;

  ProtocolResult GetLogPage(void* buffer, std::uint32_t bytes, std::uint32_t log,
                            std::uint32_t subValue) override;
  ProtocolResult GetVendorLog(void* buffer) override;
  ProtocolResult GetHealthLog(void* buffer) override;
  bool GetIdentifyRecord(NvmeIdentifyRecord* record) override;
  /// Whether the storage stack knows an NVMe controller and its capacity behind the handle.
  static bool ProbeHandle(DeviceHandle handle);
  /// Sends an admin command with its data.
  /// @return `Success` when the call worked, whatever the controller made of the command;
  ///         `TransportFailure`
  ProtocolResult SendProtocolCommand(NvmeCmd& command);

  DeviceHandle GetDeviceHandle() override { return handle_; }
  ProtocolResult GetProperties(StorageProtocolProperties* out) override;
  ProtocolResult Read(std::uint64_t lba, std::uint16_t sectors, std::uint32_t timeoutSeconds,
                      void* buffer, std::uint32_t bufferBytes) override;
  ProtocolResult GetTemperature(std::uint8_t* celsius) override;
  ProtocolResult StartSelfTest(std::uint8_t code, std::uint8_t second) override;
  /// @return `Failure` when no self-test runs
  ProtocolResult GetSelfTestProgress(std::uint8_t* percent) override;
  ProtocolResult GetSelfTestResult(std::uint8_t* code) override;
  ProtocolResult AbortSelfTest() override;
  ProtocolResult GetFirstFailedLba(std::uint64_t* lba) override;
  ProtocolResult GetSelfTestOperation(std::uint8_t* operation) override;
  ProtocolResult GetSmartStatus(std::uint8_t* healthy) override;
  ProtocolResult SetSmartEnabled(std::uint8_t enable) override;
  ProtocolResult WriteUncorrectable(std::uint64_t lba) override;
  ProtocolResult Write(std::uint64_t lba, std::uint16_t sectors, std::uint64_t ignored,
                       const void* buffer) override;
  ProtocolResult GetWearIndicator(std::uint32_t* percent) override;
  ProtocolResult GetPowerMode(std::uint32_t* mode) override;
  ProtocolResult IdleImmediate() override;

 private:
  ProtocolResult readSelfTestLog(NvmeSelfTestLogData& log);

  DeviceHandle handle_;
  std::string devicePath_;
};

}  // namespace ostria::storage
