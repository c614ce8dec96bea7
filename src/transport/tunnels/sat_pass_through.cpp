#include "transport/tunnels/sat_pass_through.h"

namespace ostria::storage {

namespace {

enum Protocol : std::uint8_t {
  KNonData = 3,
  KPioIn = 4,
  KPioOut = 5,
  KDma = 6,
  KDmaQueued = 7,
  KReturnResponse = 15,
};

struct Translation {
  std::uint8_t protocol = KNonData;
  bool lengthInCount = false;  ///< T_LENGTH: the sector count field, or no data
  bool extend = false;
};

Translation translationOfSmart(std::uint8_t features) {
  switch (features) {
    case 0xD0:
    case 0xD1:
    case 0xD5:
      return {KPioIn, true, false};
    default:
      return {};
  }
}

Translation translationOf(const AtaCmd& ata) {
  switch (ata.command) {
    case 0xB0:
      return translationOfSmart(ata.features);
    case 0x20:
    case 0xC4:
    case 0xEC:
      return {KPioIn, true, false};
    case 0x24:
    case 0x29:
    case 0x2F:
      return {KPioIn, true, true};
    case 0x30:
      return {KPioOut, true, false};
    case 0x34:
      return {KPioOut, true, true};
    case 0x25:
    case 0x35:
      return {KDma, true, true};
    case 0xC8:
    case 0xCA:
      return {KDma, true, false};
    case 0x26:
    case 0x36:
      return {KDmaQueued, true, true};
    case 0xC7:
    case 0xCC:
      return {KDmaQueued, true, false};
    case 0x42:
    case 0x45:
      return {KNonData, false, true};
    default:
      return {};
  }
}

std::uint8_t transferFlags(const AtaCmd& ata, const Translation& how, bool ckCondition) {
  constexpr unsigned kLengthInCount = 0x02;
  constexpr unsigned kLengthInBlocks = 0x04;
  constexpr unsigned kFromDevice = 0x08;
  constexpr unsigned kCkCond = 0x20;
  constexpr unsigned kOffLine = 0x40;
  unsigned flags = kLengthInBlocks | kOffLine;
  if (how.lengthInCount) {
    flags |= kLengthInCount;
  }
  if (!how.lengthInCount || ata.dataDirection == DataDirection::FromDevice) {
    flags |= kFromDevice;
  }
  if (ckCondition) {
    flags |= kCkCond;
  }
  return static_cast<std::uint8_t>(flags);
}

void takeData(ScsiCmd& cmd, const AtaCmd& ata) {
  cmd.transferBytes = ata.transferBytes;
  cmd.data = ata.data;
  cmd.direction = ata.dataDirection;
  cmd.timeoutSeconds = ata.timeoutSeconds;
}

}  // namespace

SatAtaPassThrough12::SatAtaPassThrough12(const AtaCmd& ata, bool ckCondition) {
  SatAtaPassThrough12::Fill(ata, ckCondition);
}

void SatAtaPassThrough12::Fill(const AtaCmd& ata, bool ckCondition) {
  static_cast<ScsiCmd&>(*this) = ScsiCmd();
  const Translation how = translationOf(ata);
  cdbLength = 12;
  cdb = {0xA1,
         static_cast<std::uint8_t>(how.protocol << 1),
         transferFlags(ata, how, ckCondition),
         ata.features,
         ata.sectorCount,
         ata.lbaLow,
         ata.lbaMid,
         ata.lbaHigh,
         ata.device,
         ata.command};
  takeData(*this, ata);
}

SatAtaPassThrough16::SatAtaPassThrough16(const AtaCmd& ata, bool ckCondition) {
  SatAtaPassThrough16::Fill(ata, ckCondition);
}

void SatAtaPassThrough16::Fill(const AtaCmd& ata, bool ckCondition) {
  static_cast<ScsiCmd&>(*this) = ScsiCmd();
  const Translation how = translationOf(ata);
  cdbLength = 16;
  cdb = {0x85,
         static_cast<std::uint8_t>((how.protocol << 1) | (how.extend ? 1 : 0)),
         transferFlags(ata, how, ckCondition),
         ata.featuresPrevious,
         ata.features,
         ata.sectorCountPrevious,
         ata.sectorCount,
         ata.lbaLowPrevious,
         ata.lbaLow,
         ata.lbaMidPrevious,
         ata.lbaMid,
         ata.lbaHighPrevious,
         ata.lbaHigh,
         ata.device,
         ata.command};
  takeData(*this, ata);
}

SatGetAtaOutputRegisters::SatGetAtaOutputRegisters(void* buffer) {
  cdbLength = 12;
  cdb = {0xA1, KReturnResponse << 1};
  transferBytes = 14;
  data = buffer;
  direction = DataDirection::FromDevice;
}

}  // namespace ostria::storage
