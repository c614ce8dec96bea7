// Pass-through commands of USB adapters from before SAT. Each vendor chose an opcode and a layout
// of its own.
#include "transport/tunnels/usb_pass_through.h"

#include "base/byte_order.h"

namespace ostria::storage {

namespace {

constexpr std::uint8_t kDataIn = 0x10;

void takeDataIn(ScsiCmd& cmd, const AtaCmd& ata) {
  cmd.transferBytes = ata.transferBytes;
  cmd.data = ata.data;
  cmd.direction = DataDirection::FromDevice;
  cmd.timeoutSeconds = ata.timeoutSeconds;
}

}  // namespace

JMicronAtaPassThrough12::JMicronAtaPassThrough12(const AtaCmd& ata) {
  cdbLength = 12;
  cdb = {kJmicronPassThrough,
         kDataIn,
         0,
         byteOf(ata.transferBytes, 1),
         byteOf(ata.transferBytes, 0),
         ata.features,
         ata.sectorCount,
         ata.lbaLow,
         ata.lbaMid,
         ata.lbaHigh,
         static_cast<std::uint8_t>(ata.device | 0xA0),
         ata.command};
  takeDataIn(*this, ata);
}

SunplusAtaPassThrough::SunplusAtaPassThrough(const AtaCmd& ata) {
  cdbLength = 12;
  cdb = {kSunplusPassThrough,
         0,
         kSunplusCommand,
         kDataIn,
         byteOf(ata.transferBytes / kAtaPageBytes, 0),
         ata.features,
         ata.sectorCount,
         ata.lbaLow,
         ata.lbaMid,
         ata.lbaHigh,
         ata.device,
         ata.command};
  takeDataIn(*this, ata);
}

SunplusAtaPassthroughPreset::SunplusAtaPassthroughPreset(const AtaCmd& ata) {
  cdbLength = 12;
  cdb = {kSunplusPassThrough,
         0,
         kSunplusPreset,
         0,
         0,
         ata.featuresPrevious,
         ata.sectorCountPrevious,
         ata.lbaLowPrevious,
         ata.lbaMidPrevious,
         ata.lbaHighPrevious};
}

}  // namespace ostria::storage
