// The page of IDENTIFY DEVICE, word by word (ATA8-ACS 7.16).
#include <algorithm>

#include "base/byte_order.h"
#include "virtual_pc/drives/ata_drive.h"

namespace ostria::virtual_pc {

namespace {

class Words {
 public:
  void set(unsigned word, unsigned value) {
    storage::storeLe16(&page[std::size_t{2} * word], static_cast<std::uint16_t>(value));
  }
  /// ATA strings have the characters of each word swapped, and blanks behind them.
  void text(unsigned word, unsigned count, const std::string& text) {
    for (unsigned i = 0; i < 2 * count; ++i) {
      page[2 * word + (i ^ 1u)] =
          i < text.size() ? static_cast<std::uint8_t>(text[i]) : std::uint8_t{' '};
    }
  }

  AtaPage page{};
};

}  // namespace

AtaPage makeIdentify(const DriveDescription& drive, bool smartEnabled) {
  Words words;
  words.set(0, 0x0040);
  words.set(1, 16383);
  words.set(3, 16);
  words.set(6, 63);
  words.text(10, 10, drive.serial);
  words.set(21, std::min<std::uint32_t>(drive.cacheKibibytes * 2, 0xFFFF));
  words.text(23, 4, drive.firmware);
  words.text(27, 20, drive.model);
  words.set(47, 0x8010);
  words.set(49, 0x2F00);
  words.set(50, 0x4000);
  words.set(53, 0x0007);
  const std::uint64_t sectors28 = std::min<std::uint64_t>(drive.sectors, 0x0FFFFFFF);
  words.set(60, static_cast<unsigned>(sectors28 & 0xFFFF));
  words.set(61, static_cast<unsigned>(sectors28 >> 16));
  words.set(63, 0x0007);
  words.set(64, 0x0003);
  words.set(76, 0x000E);
  words.set(80, drive.majorVersion);
  words.set(81, drive.minorVersion);

  const unsigned smart = drive.smart.supported ? 1u : 0u;
  const unsigned security = drive.securitySupported ? 2u : 0u;
  const unsigned logs = drive.smart.supported && drive.smart.logging ? 3u : 0u;
  const unsigned general = drive.lba48 ? 0x20u : 0u;
  const unsigned address48 = drive.lba48 ? 0x2400u : 0u;
  words.set(82, 0x7468 | smart | security);
  words.set(83, 0x5000 | address48);
  words.set(84, 0x4000 | logs | general);
  words.set(85, 0x7468 | (smartEnabled ? 1u : 0u) | (drive.securityLocked ? 2u : 0u));
  words.set(86, 0x1000 | address48);
  words.set(87, 0x4000 | logs | general);
  words.set(88, 0x407F);
  if (drive.lba48) {
    for (unsigned i = 0; i < 4; ++i) {
      words.set(100 + i, static_cast<unsigned>((drive.sectors >> (16 * i)) & 0xFFFF));
    }
  }

  unsigned perPhysical = 0;
  while ((drive.sectorBytes << perPhysical) < drive.physicalSectorBytes) {
    ++perPhysical;
  }
  words.set(106, 0x4000 | (perPhysical ? 0x2000 | perPhysical : 0u) |
                     (drive.sectorBytes > 512 ? 0x1000u : 0u));
  words.set(117, (drive.sectorBytes / 2) & 0xFFFF);
  words.set(118, (drive.sectorBytes / 2) >> 16);
  words.set(119, 0x4000 | (drive.writeUncorrectable ? 4u : 0u));
  words.set(128, (drive.securitySupported ? 1u : 0u) | (drive.securityLocked ? 6u : 0u));
  words.set(217, drive.solidState ? 1u : drive.rotationRate);
  words.set(222, 0x103F);
  for (const IdentifyWord& row : drive.identifyWords) {
    words.set(row.word, row.value);
  }

  const bool ownChecksum = std::ranges::any_of(
      drive.identifyWords, [](const IdentifyWord& row) { return row.word == 255; });
  if (!ownChecksum) {
    words.page[510] = 0xA5;
    sealPage(&words.page);
  }
  return words.page;
}

}  // namespace ostria::virtual_pc
