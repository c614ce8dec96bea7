#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "base/protocol_result.h"

namespace ostria::storage {

class AtaCmd;
class ScsiCmd;

/// One drive behind a CSMI controller: a record of the phy information reply (CSMI_SAS_PHY_ENTRY).
class CsmiPhyEntry {
 public:
  static constexpr std::size_t kBytes = 64;
  static constexpr std::uint8_t kEndDevice = 16;
  static constexpr std::uint8_t kSspTarget = 8;
  static constexpr std::uint8_t kSmpTarget = 2;

  CsmiPhyEntry() = default;
  explicit CsmiPhyEntry(std::span<const std::uint8_t, kBytes> record);

  std::uint8_t phyIdentifier() const { return record_[20]; }
  std::uint8_t portIdentifier() const { return record_[28]; }
  std::uint8_t attachedDeviceType() const { return record_[36]; }
  std::uint8_t targetProtocol() const { return record_[39]; }
  std::span<const std::uint8_t, 8> sasAddress() const {
    return std::span(record_).subspan<48, 8>();
  }

 private:
  std::array<std::uint8_t, kBytes> record_{};
};

/// A CSMI request and its reply in one buffer, which starts with the SRB_IO_CONTROL header.
class CsmiCmd {
 public:
  static constexpr std::size_t kHeaderBytes = 28;

  virtual ~CsmiCmd() = default;

  std::vector<std::uint8_t>& buffer() { return buffer_; }
  const std::vector<std::uint8_t>& buffer() const { return buffer_; }
  /// What the driver made of the request; 0 is good.
  std::uint32_t returnCode() const;
  /// Sets header length, and the length of what follows the header.
  void finishHeader();
  /// Bytes of the buffer that a driver must have written for the reply to be one, by what the reply
  /// itself tells of its length.
  virtual std::size_t replyBytes() const { return buffer_.size(); }

 protected:
  /// @param signature  up to 8 characters
  CsmiCmd(const char* signature, std::uint32_t controlCode, std::size_t bufferBytes);

  std::vector<std::uint8_t> buffer_;
};

class CsmiGetCntrlConfig : public CsmiCmd {
 public:
  CsmiGetCntrlConfig();
  /// Four parts of the firmware or BIOS version.
  std::array<std::uint16_t, 4> biosVersion() const;
  bool raidCapable() const;
  /// PCI bus, device and function.
  std::array<std::uint8_t, 3> pciLocation() const;
};

class CsmiGetRaidInfo : public CsmiCmd {
 public:
  CsmiGetRaidInfo();
  std::uint32_t setCount() const;
  std::uint32_t drivesPerSet() const;
};

class CsmiGetRaidConfig : public CsmiCmd {
 public:
  /// A set cannot tell of more drives: their number has 8 bits.
  static constexpr std::uint32_t kMostDrives = 255;
  // Counts that are none.
  static constexpr std::uint8_t kTooManyDrives = 0xF1;
  static constexpr std::uint8_t kDrivesKeptBack = 0xF2;

  CsmiGetRaidConfig(std::uint32_t setIndex, std::uint32_t drivesPerSet);
  std::uint64_t capacityBytes() const;
  std::uint8_t raidType() const { return buffer_[40]; }
  std::uint8_t driveCount() const { return buffer_[43]; }
  /// Serial numbers of the drives that the buffer holds.
  std::vector<std::string> driveSerials() const;
  /// Without the list of drives, which may be shorter than its room.
  std::size_t replyBytes() const override { return kFirstDrive; }

 private:
  static constexpr std::size_t kFirstDrive = 64;
  static constexpr std::size_t kDriveBytes = 136;
};

class CsmiGetPhyInfo : public CsmiCmd {
 public:
  CsmiGetPhyInfo();
  /// The phys that the reply tells of, as far as it has room for them (32).
  std::vector<CsmiPhyEntry> phys() const;
  std::size_t replyBytes() const override;
};

/// A SCSI command for one drive. Borrows nothing: outgoing data are copied in.
class CsmiSspPassthrough : public CsmiCmd {
 public:
  CsmiSspPassthrough(const ScsiCmd& command, const CsmiPhyEntry& phy);
  std::size_t replyBytes() const override;
  /// Whether the drive was reached: the connection to it was made, or there is sense data.
  bool reachedDrive() const;
  /// Whether the drive answered with sense data.
  bool holdsError() const;
  /// Takes status, sense, and data as far as they came into the command.
  ProtocolResult takeReply(ScsiCmd& command) const;

 private:
  /// Bytes of data that moved, never more than the buffer has room for.
  std::size_t movedBytes() const;
};

/// An ATA command for one drive.
class CsmiStpPassthrough : public CsmiCmd {
 public:
  CsmiStpPassthrough(const AtaCmd& command, const CsmiPhyEntry& phy);
  std::size_t replyBytes() const override;
  /// Whether the drive was reached: there is a register frame of it.
  bool reachedDrive() const;
  /// Whether the drive answered with its error or device fault bit set.
  bool holdsError() const;
  /// Takes registers, and data as far as they came into the command.
  /// @return `DeviceError` when a drive that reports no error gave fewer bytes than asked
  ProtocolResult takeReply(AtaCmd& command) const;

 private:
  std::size_t movedBytes() const;
};

}  // namespace ostria::storage
