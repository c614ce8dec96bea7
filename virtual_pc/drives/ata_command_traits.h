// What the ATA standard fixes of each command (ATA8-ACS, clause 7): where its data go, how much
// they are, and in which form the address stands.
#pragma once

#include <cstddef>
#include <cstdint>

#include "virtual_pc/drives/device_model.h"

namespace ostria::virtual_pc {

enum class AtaTransfer { None, Pio, Dma };

struct AtaCommandTraits {
  DataDirection direction = DataDirection::None;
  AtaTransfer transfer = AtaTransfer::None;
  bool extended = false;    ///< 48-bit command
  bool userData = false;    ///< the count is in sectors of the medium, and the address is an LBA
  bool countIsSize = true;  ///< the count says how much moves; otherwise it is 512 bytes
  bool known = true;        ///< false: a command that the drive aborts anyway
};

/// @param features  the features register, by which SMART commands differ
AtaCommandTraits ataCommandTraits(std::uint8_t command, std::uint8_t features);

/// Bytes that a command moves by its registers; 0 without data.
std::size_t ataTransferBytes(const AtaTaskFile& in, std::size_t sectorBytes);

}  // namespace ostria::virtual_pc
