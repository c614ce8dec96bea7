// The registers of an ATA command in a frame of SATA (frame information structure): RAID
// controllers take and give those whole.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "transport/ata/ata_cmd.h"

namespace ostria::storage {

/// The frame that gives a drive a command. What follows of it is zero.
std::array<std::uint8_t, 14> hostToDeviceFis(const AtaCmd& command);

/// Whether a frame is one of a drive with its registers; anything else in its place is no answer.
/// @param fis  not empty
bool showsRegisters(std::span<const std::uint8_t> fis);

/// The status register of such a frame. @param fis  at least 3 bytes
std::uint8_t statusOf(std::span<const std::uint8_t> fis);

/// Puts the registers of such a frame into the command. @param fis  at least 13 bytes
void takeRegisters(std::span<const std::uint8_t> fis, AtaCmd& command);

}  // namespace ostria::storage
