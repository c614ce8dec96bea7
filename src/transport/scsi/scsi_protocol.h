#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <span>

#include "transport/bridge_list.h"
#include "transport/scsi/scsi_bridge.h"
#include "transport/storage_protocol.h"

namespace ostria::storage {

/// A device reached with SCSI commands.
class ScsiProtocol : public StorageProtocol {
 public:
  DeviceHandle GetDeviceHandle() override { return bridges_.deviceHandle(); }
  /// The result is that of READ CAPACITY; everything else is taken as far as the device gives it.
  ProtocolResult GetProperties(StorageProtocolProperties* out) override;
  /// Has 30 seconds, whatever `timeoutSeconds` says. Steps down from READ(16) for good at the first
  /// refusal; `CommandUnusable` where shorter commands cannot reach. `MediumError`,
  /// `InterfaceCrcError`, or `ScsiStatusNotGood` when the device has not read all of it.
  ProtocolResult Read(std::uint64_t lba, std::uint16_t sectors, std::uint32_t timeoutSeconds,
                      void* buffer, std::uint32_t bufferBytes) override;
  ProtocolResult GetTemperature(std::uint8_t* celsius) override;
  /// `DeviceError` when the device found itself defective (sense key 3 or 4), `CommandRejected` or
  /// `ScsiStatusNotGood` when it did not start.
  ProtocolResult StartSelfTest(std::uint8_t code, std::uint8_t second) override;
  ProtocolResult GetSelfTestProgress(std::uint8_t* percent) override;
  ProtocolResult GetSelfTestResult(std::uint8_t* code) override;
  ProtocolResult AbortSelfTest() override;
  /// `Failure` with all ones in `lba` when the device says that there is no such address.
  ProtocolResult GetFirstFailedLba(std::uint64_t* lba) override;
  ProtocolResult GetSmartStatus(std::uint8_t* healthy) override;
  /// Time that the device gives its own extended self-test.
  /// @param seconds  above 0; written on success only
  /// @return `NotSupported` when the device does not say, or only that it is above 65534
  ProtocolResult GetExtendedSelfTestSeconds(std::uint32_t* seconds);
  /// Enabling changes nothing on a drive that counts as enabled; disabling restores what the drive
  /// had before the first change, byte for byte.
  ProtocolResult SetSmartEnabled(std::uint8_t enable) override;
  ProtocolResult Write(std::uint64_t lba, std::uint16_t sectors, std::uint64_t ignored,
                       const void* buffer) override;

  /// @return false when the same bridge is in the list already
  bool AddBridge(std::shared_ptr<ScsiBridge> bridge) { return bridges_.add(std::move(bridge)); }
  /// Offers the command to the bridges in order until one gives `Success`; that one moves to the
  /// front. `CommandRejected` without a bridge.
  ProtocolResult SendThroughBridges(ScsiCmd& command);
  /// Whether a device answers INQUIRY through this bridge alone: with 5 bytes or more, or with
  /// sense data that decode and whose key is not ILLEGAL REQUEST.
  static bool ProbeBridge(ScsiBridge& bridge);
  /// SCSI status of the last `StartSelfTest` that went through.
  std::uint8_t GetLastDiagnosticStatus() const { return lastDiagnosticStatus_; }
  /// Whether the sense key of the last `Read` was HARDWARE ERROR: its result is `MediumError`, but
  /// the device is defective, which says nothing of the sector.
  bool LastReadMetHardwareError() const { return lastReadMetHardwareError_; }

 private:
  struct IecForm;
  using Sense = std::array<std::uint8_t, 32>;

  ProtocolResult OfferToBridges(ScsiCmd& command);
  /// Sends the command, once more when it met a unit attention. Sense data that came back give
  /// `CommandRejected` for key 5 or 7 and `CommandUnusable` when they cannot be decoded.
  ProtocolResult CheckSense(ScsiCmd& command);
  /// The same, and `notGood` for a SCSI status other than GOOD.
  ProtocolResult CheckStatus(ScsiCmd& command, ProtocolResult notGood);

  ProtocolResult ReadInquiry();
  ProtocolResult ReadSerialNumber();
  ProtocolResult ReadCapacity();
  ProtocolResult ReadCapacityLong();
  ProtocolResult ReadCapacityShort();
  void ReadRotation();
  void ReadIecState();

  ProtocolResult ReadIecPage(const IecForm& form, std::span<std::uint8_t> data);
  ProtocolResult ChangeIecPage(const IecForm& form, bool enable);
  ProtocolResult ReadIecLog(std::uint8_t& healthy);
  ProtocolResult ReadRequestSense(std::uint8_t& healthy);
  ProtocolResult ReadSelfTestLog(std::span<std::uint8_t> page, std::size_t needed);

  BridgeList<ScsiBridge> bridges_;
  std::uint8_t savedMrie_ = 0;
  std::uint8_t savedIecFlags_ = 0;
  std::uint8_t lastDiagnosticStatus_ = 0;
  bool lastReadMetHardwareError_ = false;
  bool iecUnchanged_ = true;
  std::uint8_t readCdbLevel_ = 0;  ///< 0 READ(16), 1 READ(12), 2 READ(10)
};

}  // namespace ostria::storage
