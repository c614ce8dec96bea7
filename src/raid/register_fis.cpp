// Layouts of SATA: "Register - Host to Device", "Register - Device to Host" and "PIO Setup", whose
// registers stand at the same offsets.
#include "raid/register_fis.h"

namespace ostria::storage {

std::array<std::uint8_t, 14> hostToDeviceFis(const AtaCmd& command) {
  constexpr std::uint8_t kHostToDevice = 0x27;
  constexpr std::uint8_t kIsCommand = 0x80;
  return {kHostToDevice,           kIsCommand,
          command.command,         command.features,
          command.lbaLow,          command.lbaMid,
          command.lbaHigh,         command.device,
          command.lbaLowPrevious,  command.lbaMidPrevious,
          command.lbaHighPrevious, command.featuresPrevious,
          command.sectorCount,     command.sectorCountPrevious};
}

bool showsRegisters(std::span<const std::uint8_t> fis) {
  constexpr std::uint8_t kDeviceToHost = 0x34;
  constexpr std::uint8_t kPioSetup = 0x5F;
  return fis[0] == kDeviceToHost || fis[0] == kPioSetup;
}

std::uint8_t statusOf(std::span<const std::uint8_t> fis) { return fis[2]; }

void takeRegisters(std::span<const std::uint8_t> fis, AtaCmd& command) {
  command.command = statusOf(fis);
  command.features = fis[3];
  command.lbaLow = fis[4];
  command.lbaMid = fis[5];
  command.lbaHigh = fis[6];
  command.device = fis[7];
  command.sectorCount = fis[12];
}

}  // namespace ostria::storage
