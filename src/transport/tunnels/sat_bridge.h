// SCSI/ATA translation (SAT): most USB adapters, and the port drivers of SATA disks.
#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "transport/ata/ata_bridge.h"
#include "transport/scsi/scsi_bridge.h"

namespace ostria::storage {

/// ATA commands for a drive behind an adapter that speaks SCSI to the host, wrapped by the SCSI/ATA
/// translation standard. After a `Success` the registers of the command are what the adapter gave
/// back, and 0 where it gave none after a success. Without wanted registers a refusal is
/// `ScsiStatusNotGood`; with them, what gives no verdict of the drive is `RegistersUnavailable`,
/// and so is a read that brought fewer bytes than asked.
class SatBridge : public AtaBridge {
 public:
  /// The bytes of an ATA Status Return descriptor.
  using StatusReturn = std::array<std::uint8_t, 14>;

  DeviceHandle GetDeviceHandle() const override { return scsi_->GetDeviceHandle(); }
  ProtocolResult Send(AtaCmd& command) override;
  virtual ProtocolResult MakePassThrough(AtaCmd& command, std::unique_ptr<ScsiCmd>& out) = 0;
  /// Gets the ATA output registers of `sent`, which ended with CHECK CONDITION.
  virtual ProtocolResult FetchRegisters(ScsiCmd& sent, StatusReturn& out) = 0;

 protected:
  explicit SatBridge(std::shared_ptr<ScsiBridge> scsi) : scsi_(std::move(scsi)) {}
  ScsiBridge& scsi() const { return *scsi_; }

 private:
  ProtocolResult JudgeRead(ScsiCmd& sent, std::uint64_t asked, AtaCmd& command);
  ProtocolResult ReadBackRegisters(ScsiCmd& sent, AtaCmd& command);

  std::shared_ptr<ScsiBridge> scsi_;
};

/// For adapters that return the registers in the sense data when asked to.
class SatBridgeWithCkCondition final : public SatBridge {
 public:
  explicit SatBridgeWithCkCondition(std::shared_ptr<ScsiBridge> scsi)
      : SatBridge(std::move(scsi)) {}
  ProtocolResult MakePassThrough(AtaCmd& command, std::unique_ptr<ScsiCmd>& out) override;
  ProtocolResult FetchRegisters(ScsiCmd& sent, StatusReturn& out) override;
};

/// For adapters that keep the registers for a second command.
class SatBridgeWithoutCkCond final : public SatBridge {
 public:
  explicit SatBridgeWithoutCkCond(std::shared_ptr<ScsiBridge> scsi) : SatBridge(std::move(scsi)) {}
  ProtocolResult MakePassThrough(AtaCmd& command, std::unique_ptr<ScsiCmd>& out) override;
  ProtocolResult FetchRegisters(ScsiCmd& sent, StatusReturn& out) override;
};

}  // namespace ostria::storage
