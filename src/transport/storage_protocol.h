#pragma once

#include <cstdint>
#include <memory>

#include "base/device_handle.h"
#include "base/kinds.h"
#include "base/protocol_result.h"
#include "transport/storage_protocol_properties.h"

namespace ostria::storage {

/// The one interface to a disk, whatever it speaks. An output is written on success only, so
/// callers set a sentinel first. An operation that a protocol has nothing for keeps the body it has
/// here: `Success` with the output as it was, `NotSupported` for reads and writes. Calls block
/// until the command ended or timed out; nothing is retried. One thread at a time. Device handles
/// belong to the scanner and the component and outlive the protocol.
class StorageProtocol {
 public:
  /// What `GetPowerMode` yields.
  enum PowerMode : std::uint32_t { Standby = 0, Idle = 1, Active = 2, OtherMode = 3 };

  StorageProtocol();
  virtual ~StorageProtocol();
  StorageProtocol(const StorageProtocol&) = delete;
  StorageProtocol& operator=(const StorageProtocol&) = delete;

  virtual DeviceHandle GetDeviceHandle() = 0;
  /// Asks the device, refreshes the cached record and copies it whole.
  virtual ProtocolResult GetProperties(StorageProtocolProperties* out) = 0;
  /// Reads `sectors` logical sectors from `lba` into `buffer`.
  /// `buffer` has room for them.
  /// @param bufferBytes  bytes that an NVMe read moves; the other protocols ignore it
  virtual ProtocolResult Read(std::uint64_t lba, std::uint16_t sectors,
                              std::uint32_t timeoutSeconds, void* buffer,
                              std::uint32_t bufferBytes);
  virtual ProtocolResult GetTemperature(std::uint8_t* celsius) = 0;
  /// @param code    goes to the device as it is: ATA subcommand, SCSI or NVMe self-test code
  /// @param second  ATA only: the count register
  virtual ProtocolResult StartSelfTest(std::uint8_t code, std::uint8_t second);
  virtual ProtocolResult GetSelfTestProgress(std::uint8_t* percent);
  virtual ProtocolResult GetSelfTestResult(std::uint8_t* code);
  virtual ProtocolResult AbortSelfTest();
  virtual ProtocolResult GetFirstFailedLba(std::uint64_t* lba);
  /// Which self-test runs; NVMe only.
  virtual ProtocolResult GetSelfTestOperation(std::uint8_t* operation);
  /// 1 healthy, 0 failing.
  virtual ProtocolResult GetSmartStatus(std::uint8_t* healthy);
  virtual ProtocolResult SetSmartEnabled(std::uint8_t enable);
  /// Whether the disk still answers: `GetProperties` on a scratch record.
  virtual bool IsAccessible();
  virtual ProtocolResult WriteUncorrectable(std::uint64_t lba);
  /// Writes `sectors` logical sectors from `buffer`.
  virtual ProtocolResult Write(std::uint64_t lba, std::uint16_t sectors, std::uint64_t ignored,
                               const void* buffer);
  /// Remaining life in percent; callers set -1 first and treat anything above 100 as invalid.
  virtual ProtocolResult GetWearIndicator(std::uint32_t* percent);
  /// A `PowerMode`.
  virtual ProtocolResult GetPowerMode(std::uint32_t* mode);
  virtual ProtocolResult IdleImmediate();

  /// Copies what the last `GetProperties` learnt, without device traffic.
  /// @return `Failure` for a null `out`
  ProtocolResult GetCachedProperties(StorageProtocolProperties* out) const;
  /// Bytes of a sector as the last `GetProperties` learnt them, 0 when it did not: what each read
  /// needs, without a copy of all the texts beside it.
  std::uint32_t cachedSectorSize() const;
  void SetProtocolKind(ProtocolKind kind) { protocolKind_ = kind; }
  ProtocolKind GetProtocolKind() const { return protocolKind_; }
  /// The operating system's own prediction: writes 1 when it sees no failure coming, else 0.
  /// @return `TransportFailure` when the platform has no answer
  ProtocolResult PredictFailureFallback(std::uint8_t* healthy);

 protected:
  std::unique_ptr<StorageProtocolProperties> properties_;
  StorageBusKind busKind_ = StorageBusKind::Unknown;
  ProtocolKind protocolKind_ = ProtocolKind::Unset;
};

}  // namespace ostria::storage
