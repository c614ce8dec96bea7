// The table of commands (SPC-4, SBC-3) that the device models of this PC answer.
#include "virtual_pc/drives/scsi_command_traits.h"

#include <algorithm>
#include <array>
#include <utility>

#include "virtual_pc/drives/scsi_commands.h"

namespace ostria::virtual_pc {

namespace {

constexpr std::array<std::pair<std::uint8_t, DataDirection>, 18> kDirections{{
    {scsi::TestUnitReady, DataDirection::None},
    {scsi::RequestSense, DataDirection::In},
    {scsi::Inquiry, DataDirection::In},
    {scsi::ModeSelect6, DataDirection::Out},
    {scsi::ModeSense6, DataDirection::In},
    {scsi::SendDiagnostic, DataDirection::None},  // without a parameter list
    {scsi::ReadCapacity10, DataDirection::In},
    {scsi::Read10, DataDirection::In},
    {scsi::Write10, DataDirection::Out},
    {scsi::SynchronizeCache, DataDirection::None},
    {scsi::LogSense, DataDirection::In},
    {scsi::ModeSelect10, DataDirection::Out},
    {scsi::ModeSense10, DataDirection::In},
    {scsi::Read16, DataDirection::In},
    {scsi::Write16, DataDirection::Out},
    {scsi::ServiceActionIn16, DataDirection::In},
    {scsi::Read12, DataDirection::In},
    {scsi::Write12, DataDirection::Out},
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
