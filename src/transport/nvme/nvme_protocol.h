#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "transport/bridge_list.h"
#include "transport/nvme/nvme_bridge.h"
#include "transport/nvme/nvme_data.h"
#include "transport/nvme/nvme_identify_record.h"
#include "transport/nvme/nvme_logs.h"
#include "transport/storage_protocol.h"

namespace ostria::storage {

class NvmeCmd;

/// An NVMe drive reached through a miniport pass-through. The drive counts as having SMART support
/// switched on, no conveyance test and no sector-level write. A pass-through may not report that
/// the controller refused a command: identify pages and logs of nothing but zeros are no answers,
/// and sectors of nothing but zeros are believed only while the drive counts no new error.
class NvmeProtocol : public StorageProtocol, public NvmeLogs {
 public:
  /// @param handle  the disk, for reads by the operating system; the bridges have the port's
  NvmeProtocol(DeviceHandle handle, std::string devicePath);
  /// @param nodeNamespace  the namespace that `handle` stands for, or 0 where one stands for all
  NvmeProtocol(DeviceHandle handle, std::string devicePath, std::uint32_t nodeNamespace);
  ~NvmeProtocol() override;

  /// Appends the bridge unless the same object is in the list. @return whether it was appended
  bool AddBridge(std::shared_ptr<NvmeBridge> bridge) { return bridges_.add(std::move(bridge)); }
  /// Writes the path id into the command and offers it to the bridges in turn; the one that worked
  /// moves to the front.
  /// @return the result of the last bridge tried; `Failure` without a bridge
  ProtocolResult SendThroughBridges(NvmeCmd& command);
  /// The device behind the port.
  void SetPathId(std::uint8_t id) { pathId_ = id; }

  /// @param bytes  size of `buffer`, a multiple of 4
  /// @return `Success`; `DeviceError`, also for a log of nothing but zeros
  ProtocolResult GetLogPage(void* buffer, std::uint32_t bytes, std::uint32_t log);
  ProtocolResult GetHealthLog(void* buffer);  ///< log 02h, 512 bytes
  /// Fills all but the block and self-test fields. @return `Success` or `DeviceError`
  ProtocolResult GetIdentifyRecord(NvmeIdentifyRecord* record);
  ProtocolResult ReadLog(void* buffer, std::uint32_t bytes, std::uint32_t log,
                         std::uint16_t identifier) override;
  ProtocolResult ReadIdentity(NvmeIdentifyRecord* record) override {
    return GetIdentifyRecord(record);
  }

  /// Whether a controller answers to `pathId` through this bridge.
  static bool ProbeBridge(NvmeBridge& bridge, std::uint8_t pathId);
  /// Looks through the path ids from 0 to 255 for a drive that is not known yet. An answer
  /// without a serial number is no drive.
  /// @param knownSerials, serial  the 20 characters of a drive with their blanks, up to a zero byte
  static bool FindNewPath(NvmeBridge& bridge, const std::vector<std::string>& knownSerials,
                          std::uint8_t* id, std::string* serial);

  DeviceHandle GetDeviceHandle() override { return handle_; }
  ProtocolResult GetProperties(StorageProtocolProperties* out) override;
  /// `MediumError` or `DeviceError` for a block of zeros while the drive's count of media errors or
  /// of error log entries moved, or could not be read.
  ProtocolResult Read(std::uint64_t lba, std::uint16_t sectors, std::uint32_t timeoutSeconds,
                      void* buffer, std::uint32_t bufferBytes) override;
  /// A log that cannot be read or has no temperature leaves the output and is a success.
  ProtocolResult GetTemperature(std::uint8_t* celsius) override;
  ProtocolResult StartSelfTest(std::uint8_t code, std::uint8_t second) override;
  /// @return `Failure` when no self-test runs
  ProtocolResult GetSelfTestProgress(std::uint8_t* percent) override;
  ProtocolResult GetSelfTestResult(std::uint8_t* code) override;
  ProtocolResult AbortSelfTest() override;
  ProtocolResult GetSelfTestOperation(std::uint8_t* operation) override;
  ProtocolResult GetWearIndicator(std::uint32_t* percent) override;

 private:
  ProtocolResult refresh();
  ProtocolResult refreshGeometry(bool namespaceManagement);
  ProtocolResult readNamespace(std::uint32_t id);
  ProtocolResult readSelfTestLog(NvmeSelfTestLogData& log);
  std::optional<NvmeErrorCounters> readCounters();
  ProtocolResult judgeZeros();

  BridgeList<NvmeBridge> bridges_;
  DeviceHandle handle_;
  std::string devicePath_;
  std::uint8_t pathId_ = 0;
  std::uint32_t nodeNamespace_;  ///< the disk's own, where the system has one node for each; else 0
  /// As of the last look; none after an admin command, which may move them when it is refused.
  std::optional<NvmeErrorCounters> counters_;
};

}  // namespace ostria::storage
