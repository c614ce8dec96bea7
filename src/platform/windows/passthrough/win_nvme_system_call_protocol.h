#pragma once

#include <cstdint>
#include <string>

#include "transport/nvme/nvme_data.h"
#include "transport/nvme/nvme_logs.h"
#include "transport/storage_protocol.h"

namespace ostria::storage {

class NvmeCmd;

/// Asks the storage stack for identify data and log pages; sends a command of its own only for
/// self-tests. Reading and writing of sectors cannot be done this way.
class WinNvmeSystemCallProtocol : public StorageProtocol, public NvmeLogs {
 public:
  /// @param handle  the disk
  WinNvmeSystemCallProtocol(DeviceHandle handle, std::string devicePath);
  ~WinNvmeSystemCallProtocol() override;

  /// Reads a log page. @return `Success`, or `Failure` for anything wrong on the way
  ProtocolResult GetLogPage(void* buffer, std::uint32_t bytes, std::uint32_t log,
                            std::uint32_t subValue);
  ProtocolResult GetVendorLog(void* buffer);  ///< log DFh, 512 bytes
  ProtocolResult GetHealthLog(void* buffer);  ///< log 02h, 512 bytes
  bool GetIdentifyRecord(NvmeIdentifyRecord* record);
  ProtocolResult ReadLog(void* buffer, std::uint32_t bytes, std::uint32_t log,
                         std::uint16_t identifier) override;
  ProtocolResult ReadIdentity(NvmeIdentifyRecord* record) override {
    return GetIdentifyRecord(record) ? ProtocolResult::Success : ProtocolResult::Failure;
  }
  /// Whether the storage stack knows an NVMe controller and its capacity behind the handle.
  static bool ProbeHandle(DeviceHandle handle);
  /// Sends an admin command with its data.
  /// @return `Success` when the call worked, whatever the controller made of the command;
  ///         `TransportFailure`, also when not all the data came back;
  ///         `InvalidArgument` for more bytes than a request holds
  ProtocolResult SendProtocolCommand(NvmeCmd& command);

  DeviceHandle GetDeviceHandle() override { return handle_; }
  ProtocolResult GetProperties(StorageProtocolProperties* out) override;
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
  ProtocolResult GetWearIndicator(std::uint32_t* percent) override;

 private:
  ProtocolResult readSelfTestLog(NvmeSelfTestLogData& log);

  DeviceHandle handle_;
  std::string devicePath_;
};

}  // namespace ostria::storage
