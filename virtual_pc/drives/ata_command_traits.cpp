// The table of commands (ATA8-ACS, clause 7). Commands that no drive of this PC knows are left out.
#include "virtual_pc/drives/ata_command_traits.h"

#include <algorithm>
#include <array>

#include "base/byte_order.h"

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
    {0x20, {kIn, Pio, false, true}},          // READ SECTOR(S)
    {0x24, {kIn, Pio, true, true}},           // READ SECTOR(S) EXT
    {0x25, {kIn, Dma, true, true}},           // READ DMA EXT
    {0x29, {kIn, Pio, true, true}},           // READ MULTIPLE EXT
    {0x2F, {kIn, Pio, true, false}},          // READ LOG EXT
    {0x30, {kOut, Pio, false, true}},         // WRITE SECTOR(S)
    {0x34, {kOut, Pio, true, true}},          // WRITE SECTOR(S) EXT
    {0x35, {kOut, Dma, true, true}},          // WRITE DMA EXT
    {0x45, {kNone, None, true, true}},        // WRITE UNCORRECTABLE EXT
    {0x98, {kNone, None, false, false}},      // CHECK POWER MODE, former code
    {0xC4, {kIn, Pio, false, true}},          // READ MULTIPLE
    {0xC5, {kOut, Pio, false, true}},         // WRITE MULTIPLE
    {0xC8, {kIn, Dma, false, true}},          // READ DMA
    {0xCA, {kOut, Dma, false, true}},         // WRITE DMA
    {0xE0, {kNone, None, false, false}},      // STANDBY IMMEDIATE
    {0xE1, {kNone, None, false, false}},      // IDLE IMMEDIATE
    {0xE5, {kNone, None, false, false}},      // CHECK POWER MODE
    {0xE7, {kNone, None, false, false}},      // FLUSH CACHE
    {0xEA, {kNone, None, true, false}},       // FLUSH CACHE EXT
    {0xEC, {kIn, Pio, false, false, false}},  // IDENTIFY DEVICE
    {0xB0, {kNone, None, false, false}},      // SMART without data
}};

constexpr std::uint8_t kSmart = 0xB0;

}  // namespace

AtaCommandTraits ataCommandTraits(std::uint8_t command, std::uint8_t features) {
  if (command == kSmart && (features == 0xD0 || features == 0xD1)) {
    return {kIn, Pio, false, false, false};
  }
  if (command == kSmart && features == 0xD5) {
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
