// The table of commands (ATA8-ACS, clause 7). Commands that no drive of this PC knows are left out.
#include "virtual_pc/drives/ata_command_traits.h"

#include <algorithm>
#include <array>

#include "base/byte_order.h"
#include "virtual_pc/drives/ata_commands.h"

namespace ostria::virtual_pc {

namespace {

struct Row {
  std::uint8_t command;
  AtaCommandTraits traits;
};

constexpr DataDirection kIn = DataDirection::In;
constexpr DataDirection kOut = DataDirection::Out;
constexpr DataDirection kNone = DataDirection::None;
using enum AtaTransfer;

constexpr std::array<Row, 21> kRows{{
    {ata::ReadSectors, {kIn, Pio, false, true}},
    {ata::ReadSectorsExt, {kIn, Pio, true, true}},
    {ata::ReadDmaExt, {kIn, Dma, true, true}},
    {ata::ReadMultipleExt, {kIn, Pio, true, true}},
    {ata::ReadLogExt, {kIn, Pio, true, false}},
    {ata::WriteSectors, {kOut, Pio, false, true}},
    {ata::WriteSectorsExt, {kOut, Pio, true, true}},
    {ata::WriteDmaExt, {kOut, Dma, true, true}},
    {ata::WriteUncorrectableExt, {kNone, None, true, true}},
    {ata::FormerCheckPowerMode, {kNone, None, false, false}},
    {ata::ReadMultiple, {kIn, Pio, false, true}},
    {ata::WriteMultiple, {kOut, Pio, false, true}},
    {ata::ReadDma, {kIn, Dma, false, true}},
    {ata::WriteDma, {kOut, Dma, false, true}},
    {ata::StandbyImmediate, {kNone, None, false, false}},
    {ata::IdleImmediate, {kNone, None, false, false}},
    {ata::CheckPowerMode, {kNone, None, false, false}},
    {ata::FlushCache, {kNone, None, false, false}},
    {ata::FlushCacheExt, {kNone, None, true, false}},
    {ata::IdentifyDevice, {kIn, Pio, false, false, false}},
    {ata::Smart, {kNone, None, false, false}},  // without data
}};

}  // namespace

AtaCommandTraits ataCommandTraits(std::uint8_t command, std::uint8_t features) {
  if (command == ata::Smart &&
      (features == ata::SmartReadData || features == ata::SmartReadThresholds)) {
    return {kIn, Pio, false, false, false};
  }
  if (command == ata::Smart && features == ata::SmartReadLog) {
    return {kIn, Pio, false, false};
  }
  const auto row = std::ranges::find(kRows, command, &Row::command);
  if (row == kRows.end()) {
    AtaCommandTraits unknown;
    unknown.known = false;
    return unknown;
  }
  return row->traits;
}

std::size_t ataTransferBytes(const AtaTaskFile& in, std::size_t sectorBytes) {
  constexpr std::size_t kPageBytes = 512;
  const AtaCommandTraits traits = ataCommandTraits(in.command, storage::byteOf(in.features, 0));
  if (traits.direction == DataDirection::None) {
    return 0;
  }
  if (!traits.countIsSize) {
    return kPageBytes;
  }
  std::size_t count = traits.extended ? in.count : storage::byteOf(in.count, 0);
  if (count == 0 && traits.userData) {
    count = traits.extended ? 65536 : 256;
  }
  return count * (traits.userData ? sectorBytes : kPageBytes);
}

}  // namespace ostria::virtual_pc
