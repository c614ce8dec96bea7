// CSMI requests (Common Storage Management Interface): one block with an SRB_IO_CONTROL header,
// then the fields of each command at the offsets of the published header file, little-endian.
#include "raid/csmi/csmi_cmd.h"

#include <algorithm>
#include <cstring>
#include <span>
#include <string>

#include "base/byte_order.h"
#include "raid/register_fis.h"
#include "services/string_handler.h"
#include "transport/ata/ata_cmd.h"
#include "transport/ata/ata_opcodes.h"
#include "transport/scsi/scsi_cmd.h"

namespace ostria::storage {

namespace {

// SRB_IO_CONTROL
constexpr std::size_t kHeaderLengthAt = 0;
constexpr std::size_t kSignatureAt = 4;
constexpr std::size_t kSignatureBytes = 8;
constexpr std::size_t kTimeoutAt = 12;
constexpr std::size_t kControlCodeAt = 16;
constexpr std::size_t kReturnCodeAt = 20;
constexpr std::size_t kLengthAt = 24;
constexpr std::uint32_t kTimeoutSeconds = 60;

// CSMI_SAS_CNTLR_CONFIG
constexpr std::size_t kConfigBytes = 208;
constexpr std::size_t kPciBusAt = 48;
constexpr std::size_t kBiosVersionAt = 170;
constexpr std::size_t kControllerFlagsAt = 180;
constexpr std::uint32_t kRaidFlags = 0x0A;

// CSMI_SAS_RAID_INFO, CSMI_SAS_RAID_CONFIG
constexpr std::size_t kRaidInfoBytes = 128;
constexpr std::size_t kCapacityAt = 32;
constexpr std::uint64_t kCapacityUnit = 1ull << 20;
constexpr std::size_t kDriveSerialAt = 48;
constexpr std::size_t kDriveSerialBytes = 40;

// CSMI_SAS_PHY_INFO
constexpr std::size_t kPhyInfoBytes = 2080;
constexpr std::size_t kFirstPhy = 32;

// The head that both pass-throughs share.
constexpr std::size_t kPhyAt = 28;
constexpr std::size_t kPortAt = 29;
constexpr std::size_t kAddressAt = 32;

constexpr std::size_t kSspCdbLengthAt = 48;
constexpr std::size_t kSspCdbAt = 52;
constexpr std::size_t kSspFlagsAt = 68;
constexpr std::size_t kSspDataLengthAt = 96;
constexpr std::size_t kSspConnectionAt = 100;
constexpr std::size_t kSspDataPresentAt = 104;
constexpr std::size_t kSspStatusAt = 105;
constexpr std::size_t kSspResponseLengthAt = 106;
constexpr std::size_t kSspSenseAt = 108;
constexpr std::size_t kSspMovedAt = 364;
constexpr std::size_t kSspDataAt = 368;
constexpr std::size_t kSspBytes = 372;
constexpr std::uint8_t kSenseDataPresent = 2;

constexpr std::size_t kStpFisAt = 44;
constexpr std::size_t kStpFlagsAt = 64;
constexpr std::size_t kStpDataLengthAt = 68;
constexpr std::size_t kStpReplyFisAt = 76;
constexpr std::size_t kStpMovedAt = 160;
constexpr std::size_t kStpDataAt = 164;
constexpr std::size_t kStpBytes = 168;

constexpr std::uint32_t kReadFlag = 1;
constexpr std::uint32_t kWriteFlag = 2;
constexpr std::uint32_t kNoDataFlag = 4;
constexpr std::uint32_t kPioFlag = 16;

std::uint32_t directionFlag(DataDirection direction) {
  switch (direction) {
    case DataDirection::FromDevice:
      return kReadFlag;
    case DataDirection::ToDevice:
      return kWriteFlag;
    default:
      return kNoDataFlag;
  }
}

void addressDrive(std::vector<std::uint8_t>& buffer, const CsmiPhyEntry& phy) {
  buffer[kPhyAt] = phy.phyIdentifier();
  buffer[kPortAt] = phy.portIdentifier();
  std::copy(phy.sasAddress().begin(), phy.sasAddress().end(), buffer.begin() + kAddressAt);
}

}  // namespace

CsmiPhyEntry::CsmiPhyEntry(std::span<const std::uint8_t, kBytes> record) {
  std::copy(record.begin(), record.end(), record_.begin());
}

CsmiCmd::CsmiCmd(const char* signature, std::uint32_t controlCode, std::size_t bufferBytes)
    : buffer_(bufferBytes) {
  std::memcpy(&buffer_[kSignatureAt], signature, strnlen(signature, kSignatureBytes));
  storeLe32(&buffer_[kTimeoutAt], kTimeoutSeconds);
  storeLe32(&buffer_[kControlCodeAt], controlCode);
  storeLe32(&buffer_[kLengthAt], static_cast<std::uint32_t>(bufferBytes));
}

std::uint32_t CsmiCmd::returnCode() const { return loadLe32(&buffer_[kReturnCodeAt]); }

void CsmiCmd::finishHeader() {
  storeLe32(&buffer_[kHeaderLengthAt], kHeaderBytes);
  storeLe32(&buffer_[kLengthAt], static_cast<std::uint32_t>(buffer_.size() - kHeaderBytes));
}

CsmiGetCntrlConfig::CsmiGetCntrlConfig() : CsmiCmd("CSMIALL", 2, kConfigBytes) {}

std::array<std::uint16_t, 4> CsmiGetCntrlConfig::biosVersion() const {
  std::array<std::uint16_t, 4> parts{};
  for (std::size_t i = 0; i < parts.size(); ++i) {
    parts[i] = loadLe16(&buffer_[kBiosVersionAt + 2 * i]);
  }
  return parts;
}

bool CsmiGetCntrlConfig::raidCapable() const {
  return (loadLe32(&buffer_[kControllerFlagsAt]) & kRaidFlags) != 0;
}

std::array<std::uint8_t, 3> CsmiGetCntrlConfig::pciLocation() const {
  return {buffer_[kPciBusAt], buffer_[kPciBusAt + 1], buffer_[kPciBusAt + 2]};
}

CsmiGetRaidInfo::CsmiGetRaidInfo() : CsmiCmd("CSMIARY", 10, kRaidInfoBytes) {}

std::uint32_t CsmiGetRaidInfo::setCount() const { return loadLe32(&buffer_[28]); }

std::uint32_t CsmiGetRaidInfo::drivesPerSet() const { return loadLe32(&buffer_[32]); }

CsmiGetRaidConfig::CsmiGetRaidConfig(std::uint32_t setIndex, std::uint32_t drivesPerSet)
    : CsmiCmd("CSMIARY", 11,
              kFirstDrive + std::size_t{std::min(drivesPerSet, kMostDrives)} * kDriveBytes) {
  storeLe32(&buffer_[28], setIndex);
}

std::uint64_t CsmiGetRaidConfig::capacityBytes() const {
  return loadLe32(&buffer_[kCapacityAt]) * kCapacityUnit;
}

std::vector<std::string> CsmiGetRaidConfig::driveSerials() const {
  const std::size_t room = (buffer_.size() - kFirstDrive) / kDriveBytes;
  std::vector<std::string> serials;
  for (std::size_t i = 0; i < std::min<std::size_t>(driveCount(), room); ++i) {
    char text[kDriveSerialBytes + 1];
    serials.emplace_back(getLocalStringHandler().copyFixedField(
        text, sizeof(text), &buffer_[kFirstDrive + i * kDriveBytes + kDriveSerialAt],
        kDriveSerialBytes));
  }
  return serials;
}

CsmiGetPhyInfo::CsmiGetPhyInfo() : CsmiCmd("CSMISAS", 20, kPhyInfoBytes) {}

std::vector<CsmiPhyEntry> CsmiGetPhyInfo::phys() const {
  constexpr std::size_t kRoom = (kPhyInfoBytes - kFirstPhy) / CsmiPhyEntry::kBytes;
  std::vector<CsmiPhyEntry> entries;
  for (std::size_t i = 0; i < std::min<std::size_t>(buffer_[28], kRoom); ++i) {
    entries.emplace_back(std::span<const std::uint8_t, CsmiPhyEntry::kBytes>(
        &buffer_[kFirstPhy + i * CsmiPhyEntry::kBytes], CsmiPhyEntry::kBytes));
  }
  return entries;
}

std::size_t CsmiGetPhyInfo::replyBytes() const {
  return kFirstPhy + phys().size() * CsmiPhyEntry::kBytes;
}

CsmiSspPassthrough::CsmiSspPassthrough(const ScsiCmd& command, const CsmiPhyEntry& phy)
    : CsmiCmd("CSMISAS", 24, kSspBytes + command.transferBytes) {
  addressDrive(buffer_, phy);
  storeLe32(&buffer_[kSspCdbLengthAt], command.cdbLength);
  std::copy_n(std::begin(command.cdb), sizeof(command.cdb), buffer_.begin() + kSspCdbAt);
  storeLe32(&buffer_[kSspFlagsAt], directionFlag(command.direction));
  storeLe32(&buffer_[kSspDataLengthAt], static_cast<std::uint32_t>(command.transferBytes));
  if (command.direction == DataDirection::ToDevice && command.data != nullptr) {
    std::memcpy(&buffer_[kSspDataAt], command.data, command.transferBytes);
  }
}

std::size_t CsmiSspPassthrough::movedBytes() const {
  return std::min<std::size_t>(loadLe32(&buffer_[kSspMovedAt]),
                               loadLe32(&buffer_[kSspDataLengthAt]));
}

std::size_t CsmiSspPassthrough::replyBytes() const {
  return kSspDataAt + (loadLe32(&buffer_[kSspFlagsAt]) == kReadFlag ? movedBytes() : 0);
}

bool CsmiSspPassthrough::reachedDrive() const {
  return buffer_[kSspConnectionAt] == 0 || holdsError();
}

ProtocolResult CsmiSspPassthrough::takeReply(ScsiCmd& command) const {
  if (command.direction == DataDirection::FromDevice) {
    command.transferBytes = std::min<std::uint64_t>(movedBytes(), command.transferBytes);
    if (command.data != nullptr) {
      std::memcpy(command.data, &buffer_[kSspDataAt], command.transferBytes);
    }
  }
  command.scsiStatus = buffer_[kSspStatusAt];
  // Drivers differ in the byte order of the length, and its two orders may stand for anything from
  // 1 byte to all of them. What is behind the sense data is zero, so all that there is room for is
  // taken.
  if (holdsError()) {
    std::memcpy(&command.sense[0], &buffer_[kSspSenseAt], sizeof(command.sense));
    command.senseLength = sizeof(command.sense);
  }
  return ProtocolResult::Success;
}

bool CsmiSspPassthrough::holdsError() const {
  return buffer_[kSspDataPresentAt] == kSenseDataPresent &&
         loadLe16(&buffer_[kSspResponseLengthAt]) != 0;
}

CsmiStpPassthrough::CsmiStpPassthrough(const AtaCmd& command, const CsmiPhyEntry& phy)
    : CsmiCmd("CSMISAS", 25, kStpBytes + command.transferBytes) {
  addressDrive(buffer_, phy);
  const auto fis = hostToDeviceFis(command);
  std::copy(fis.begin(), fis.end(), buffer_.begin() + kStpFisAt);
  storeLe32(&buffer_[kStpFlagsAt], kPioFlag + directionFlag(command.dataDirection));
  storeLe32(&buffer_[kStpDataLengthAt], static_cast<std::uint32_t>(command.transferBytes));
  if (command.dataDirection == DataDirection::ToDevice && command.data != nullptr) {
    std::memcpy(&buffer_[kStpDataAt], command.data, command.transferBytes);
  }
}

std::size_t CsmiStpPassthrough::movedBytes() const {
  return std::min<std::size_t>(loadLe32(&buffer_[kStpMovedAt]),
                               loadLe32(&buffer_[kStpDataLengthAt]));
}

std::size_t CsmiStpPassthrough::replyBytes() const {
  return kStpDataAt + ((loadLe32(&buffer_[kStpFlagsAt]) & kReadFlag) != 0 ? movedBytes() : 0);
}

bool CsmiStpPassthrough::reachedDrive() const {
  return showsRegisters(std::span(buffer_).subspan(kStpReplyFisAt));
}

bool CsmiStpPassthrough::holdsError() const {
  const std::uint8_t status = statusOf(std::span(buffer_).subspan(kStpReplyFisAt));
  return reachedDrive() && (status & (ata::StatusError | ata::StatusDeviceFault)) != 0;
}

ProtocolResult CsmiStpPassthrough::takeReply(AtaCmd& command) const {
  const std::uint64_t asked = command.transferBytes;
  if (command.dataDirection == DataDirection::FromDevice) {
    command.transferBytes = std::min<std::uint64_t>(movedBytes(), asked);
    if (command.data != nullptr) {
      std::memcpy(command.data, &buffer_[kStpDataAt], command.transferBytes);
    }
  }
  takeRegisters(std::span(buffer_).subspan(kStpReplyFisAt), command);
  return command.transferBytes == asked || holdsError() ? ProtocolResult::Success
                                                        : ProtocolResult::DeviceError;
}

}  // namespace ostria::storage
