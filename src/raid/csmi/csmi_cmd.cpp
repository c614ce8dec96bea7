#include "raid/csmi/csmi_cmd.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "base/byte_order.h"
#include "services/string_handler.h"
#include "transport/ata/ata_cmd.h"
#include "transport/scsi/scsi_cmd.h"

namespace ostria::storage {

namespace {

// SRB_IO_CONTROL
constexpr std::size_t headerLengthAt = 0;
constexpr std::size_t signatureAt = 4;
constexpr std::size_t signatureBytes = 8;
constexpr std::size_t timeoutAt = 12;
constexpr std::size_t controlCodeAt = 16;
constexpr std::size_t returnCodeAt = 20;
constexpr std::size_t lengthAt = 24;
constexpr std::uint32_t timeoutSeconds = 60;

// CSMI_SAS_CNTLR_CONFIG
constexpr std::size_t configBytes = 208;
constexpr std::size_t pciBusAt = 48;
constexpr std::size_t biosVersionAt = 170;
constexpr std::size_t controllerFlagsAt = 180;
constexpr std::uint32_t raidFlags = 0x0A;

// CSMI_SAS_RAID_INFO, CSMI_SAS_RAID_CONFIG
constexpr std::size_t raidInfoBytes = 128;
constexpr std::size_t capacityAt = 32;
constexpr std::uint64_t capacityUnit = 1024 * 1024;
constexpr std::size_t driveSerialAt = 48;
constexpr std::size_t driveSerialBytes = 40;

// CSMI_SAS_PHY_INFO
constexpr std::size_t phyInfoBytes = 2080;
constexpr std::size_t firstPhy = 32;

// The head that both pass-throughs share.
constexpr std::size_t phyAt = 28;
constexpr std::size_t portAt = 29;
constexpr std::size_t addressAt = 32;

constexpr std::size_t sspCdbLengthAt = 48;
constexpr std::size_t sspCdbAt = 52;
constexpr std::size_t sspFlagsAt = 68;
constexpr std::size_t sspDataLengthAt = 96;
constexpr std::size_t sspDataPresentAt = 104;
constexpr std::size_t sspResponseLengthAt = 106;
constexpr std::size_t sspSenseAt = 108;
constexpr std::size_t sspDataAt = 368;
constexpr std::size_t sspBytes = 372;
constexpr std::uint8_t senseDataPresent = 2;

constexpr std::size_t stpFisAt = 44;
constexpr std::size_t stpFlagsAt = 64;
constexpr std::size_t stpDataLengthAt = 68;
constexpr std::size_t stpReplyFisAt = 76;
constexpr std::size_t stpDataAt = 164;
constexpr std::size_t stpBytes = 168;
constexpr std::uint8_t hostToDeviceFis = 0x27;
constexpr std::uint8_t commandBit = 0x80;
constexpr std::uint8_t errorBit = 0x01;

constexpr std::uint32_t readFlag = 1;
constexpr std::uint32_t writeFlag = 2;
constexpr std::uint32_t noDataFlag = 4;
constexpr std::uint32_t pioFlag = 16;

std::uint32_t directionFlag(DataDirection direction) {
  switch (direction) {
    case DataDirection::FromDevice:
      return readFlag;
    case DataDirection::ToDevice:
      return writeFlag;
    default:
      return noDataFlag;
  }
}

void addressDrive(std::vector<std::uint8_t>& buffer, const CsmiPhyEntry& phy) {
  buffer[phyAt] = phy.phyIdentifier();
  buffer[portAt] = phy.portIdentifier();
  std::copy(phy.sasAddress().begin(), phy.sasAddress().end(), buffer.begin() + addressAt);
}

}  // namespace

CsmiPhyEntry::CsmiPhyEntry(std::span<const std::uint8_t, bytes> record) {
  std::copy(record.begin(), record.end(), record_.begin());
}

CsmiCmd::CsmiCmd(const char* signature, std::uint32_t controlCode, std::size_t bufferBytes)
    : buffer_(bufferBytes) {
  std::memcpy(&buffer_[signatureAt], signature, strnlen(signature, signatureBytes));
  storeLe32(&buffer_[timeoutAt], timeoutSeconds);
  storeLe32(&buffer_[controlCodeAt], controlCode);
  storeLe32(&buffer_[lengthAt], static_cast<std::uint32_t>(bufferBytes));
}

std::uint32_t CsmiCmd::returnCode() const { return loadLe32(&buffer_[returnCodeAt]); }

void CsmiCmd::finishHeader() {
  storeLe32(&buffer_[headerLengthAt], headerBytes);
  storeLe32(&buffer_[lengthAt], static_cast<std::uint32_t>(buffer_.size() - headerBytes));
}

CsmiGetCntrlConfig::CsmiGetCntrlConfig() : CsmiCmd("CSMIALL", 2, configBytes) {}

std::array<std::uint16_t, 4> CsmiGetCntrlConfig::biosVersion() const {
  std::array<std::uint16_t, 4> parts{};
  for (std::size_t i = 0; i < parts.size(); ++i)
    parts[i] = loadLe16(&buffer_[biosVersionAt + 2 * i]);
  return parts;
}

bool CsmiGetCntrlConfig::raidCapable() const {
  return (loadLe32(&buffer_[controllerFlagsAt]) & raidFlags) != 0;
}

std::array<std::uint8_t, 3> CsmiGetCntrlConfig::pciLocation() const {
  return {buffer_[pciBusAt], buffer_[pciBusAt + 1], buffer_[pciBusAt + 2]};
}

CsmiGetRaidInfo::CsmiGetRaidInfo() : CsmiCmd("CSMIARY", 10, raidInfoBytes) {}

std::uint32_t CsmiGetRaidInfo::setCount() const { return loadLe32(&buffer_[28]); }

std::uint32_t CsmiGetRaidInfo::drivesPerSet() const { return loadLe32(&buffer_[32]); }

CsmiGetRaidConfig::CsmiGetRaidConfig(std::uint32_t setIndex, std::uint32_t drivesPerSet)
    : CsmiCmd("CSMIARY", 11,
              firstDrive + std::size_t{std::min(drivesPerSet, mostDrives)} * driveBytes) {
  storeLe32(&buffer_[28], setIndex);
}

std::uint64_t CsmiGetRaidConfig::capacityBytes() const {
  return loadLe32(&buffer_[capacityAt]) * capacityUnit;
}

std::vector<std::string> CsmiGetRaidConfig::driveSerials() const {
  const std::size_t room = (buffer_.size() - firstDrive) / driveBytes;
  std::vector<std::string> serials;
  for (std::size_t i = 0; i < std::min<std::size_t>(driveCount(), room); ++i) {
    char text[driveSerialBytes + 1];
    serials.emplace_back(getLocalStringHandler().copyFixedField(
        text, sizeof(text), &buffer_[firstDrive + i * driveBytes + driveSerialAt],
        driveSerialBytes));
  }
  return serials;
}

CsmiGetPhyInfo::CsmiGetPhyInfo() : CsmiCmd("CSMISAS", 20, phyInfoBytes) {}

std::vector<CsmiPhyEntry> CsmiGetPhyInfo::phys() const {
  constexpr std::size_t room = (phyInfoBytes - firstPhy) / CsmiPhyEntry::bytes;
  std::vector<CsmiPhyEntry> entries;
  for (std::size_t i = 0; i < std::min<std::size_t>(buffer_[28], room); ++i) {
    entries.emplace_back(std::span<const std::uint8_t, CsmiPhyEntry::bytes>(
        &buffer_[firstPhy + i * CsmiPhyEntry::bytes], CsmiPhyEntry::bytes));
  }
  return entries;
}

CsmiSspPassthrough::CsmiSspPassthrough(const ScsiCmd& command, const CsmiPhyEntry& phy)
    : CsmiCmd("CSMISAS", 24, sspBytes + command.transferBytes) {
  addressDrive(buffer_, phy);
  storeLe32(&buffer_[sspCdbLengthAt], command.cdbLength);
  std::copy_n(std::begin(command.cdb), sizeof(command.cdb), buffer_.begin() + sspCdbAt);
  storeLe32(&buffer_[sspFlagsAt], directionFlag(command.direction));
  storeLe32(&buffer_[sspDataLengthAt], static_cast<std::uint32_t>(command.transferBytes));
  if (command.direction == DataDirection::ToDevice && command.data != nullptr)
    std::memcpy(&buffer_[sspDataAt], command.data, command.transferBytes);
}

void CsmiSspPassthrough::takeReply(ScsiCmd& command) const {
  if (command.direction == DataDirection::FromDevice && command.data != nullptr)
    std::memcpy(command.data, &buffer_[sspDataAt], command.transferBytes);
  command.scsiStatus = 0;
  // Drivers differ in the byte order of the length. Either way it is not below the true one here,
  // and behind that the reply is zero.
  if (!holdsError()) return;
  const std::size_t length = loadLe16(&buffer_[sspResponseLengthAt]);
  const std::size_t kept = std::min(length, sizeof(command.sense));
  std::memcpy(&command.sense[0], &buffer_[sspSenseAt], kept);
  command.senseLength = kept;
}

bool CsmiSspPassthrough::holdsError() const {
  return buffer_[sspDataPresentAt] == senseDataPresent &&
         loadLe16(&buffer_[sspResponseLengthAt]) != 0;
}

CsmiStpPassthrough::CsmiStpPassthrough(const AtaCmd& command, const CsmiPhyEntry& phy)
    : CsmiCmd("CSMISAS", 25, stpBytes + command.transferBytes) {
  addressDrive(buffer_, phy);
  const std::uint8_t fis[] = {hostToDeviceFis,         commandBit,
                              command.command,         command.features,
                              command.lbaLow,          command.lbaMid,
                              command.lbaHigh,         command.device,
                              command.lbaLowPrevious,  command.lbaMidPrevious,
                              command.lbaHighPrevious, command.featuresPrevious,
                              command.sectorCount,     command.sectorCountPrevious};
  std::copy(std::begin(fis), std::end(fis), buffer_.begin() + stpFisAt);
  storeLe32(&buffer_[stpFlagsAt], pioFlag + directionFlag(command.dataDirection));
  storeLe32(&buffer_[stpDataLengthAt], static_cast<std::uint32_t>(command.transferBytes));
  if (command.dataDirection == DataDirection::ToDevice && command.data != nullptr)
    std::memcpy(&buffer_[stpDataAt], command.data, command.transferBytes);
}

bool CsmiStpPassthrough::holdsError() const { return (buffer_[stpReplyFisAt + 2] & errorBit) != 0; }

void CsmiStpPassthrough::takeReply(AtaCmd& command) const {
  if (command.dataDirection == DataDirection::FromDevice && command.data != nullptr)
    std::memcpy(command.data, &buffer_[stpDataAt], command.transferBytes);
  const std::uint8_t* fis = &buffer_[stpReplyFisAt];
  command.command = fis[2];
  command.features = fis[3];
  command.lbaLow = fis[4];
  command.lbaMid = fis[5];
  command.lbaHigh = fis[6];
  command.device = fis[7];
  command.sectorCount = fis[12];
}

}  // namespace ostria::storage
