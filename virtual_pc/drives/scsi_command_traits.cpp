// The table of commands (SPC-4, SBC-3) that the device models of this PC answer.
#include "virtual_pc/drives/scsi_command_traits.h"

#include <algorithm>
#include <array>
#include <utility>

namespace ostria::virtual_pc {

namespace {

constexpr std::array<std::pair<std::uint8_t, DataDirection>, 18> kDirections{{
    {0x00, DataDirection::None},  // TEST UNIT READY
    {0x03, DataDirection::In},    // REQUEST SENSE
    {0x12, DataDirection::In},    // INQUIRY
    {0x15, DataDirection::Out},   // MODE SELECT(6)
    {0x1A, DataDirection::In},    // MODE SENSE(6)
    {0x1D, DataDirection::None},  // SEND DIAGNOSTIC without a parameter list
    {0x25, DataDirection::In},    // READ CAPACITY(10)
    {0x28, DataDirection::In},    // READ(10)
    {0x2A, DataDirection::Out},   // WRITE(10)
    {0x35, DataDirection::None},  // SYNCHRONIZE CACHE
    {0x4D, DataDirection::In},    // LOG SENSE
    {0x55, DataDirection::Out},   // MODE SELECT(10)
    {0x5A, DataDirection::In},    // MODE SENSE(10)
    {0x88, DataDirection::In},    // READ(16)
    {0x8A, DataDirection::Out},   // WRITE(16)
    {0x9E, DataDirection::In},    // READ CAPACITY(16)
    {0xA8, DataDirection::In},    // READ(12)
    {0xAA, DataDirection::Out},   // WRITE(12)
}};

}  // namespace

std::uint8_t scsiCdbLength(std::uint8_t opcode) {
  constexpr std::array<std::uint8_t, 8> kByGroup{6, 10, 10, 0, 16, 12, 0, 0};
  return kByGroup[opcode >> 5];
}

bool scsiDirectionFits(std::uint8_t opcode, DataDirection direction) {
  const auto row =
      std::ranges::find(kDirections, opcode, &std::pair<std::uint8_t, DataDirection>::first);
  // Asking for nothing is always right: an allocation length of 0 is no error.
  return row == kDirections.end() || direction == DataDirection::None || direction == row->second;
}

}  // namespace ostria::virtual_pc
