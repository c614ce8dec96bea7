// Layouts of the drive's logs (ATA8-ACS, annex A).
#include <algorithm>

#include "base/byte_order.h"
#include "virtual_pc/drives/ata_smart.h"

namespace ostria::virtual_pc {

using storage::byteOf;
using storage::storeLe16;

namespace {

constexpr std::size_t kComprehensivePages = 2;
constexpr std::size_t kExtendedErrorPages = 2;
constexpr std::size_t kExtendedSelfTestPages = 2;

/// Where the entries of a ring go: calls `store(slot, entry)` for each that still has a slot, and
/// gives the index of the newest, from 1; 0 when there is none.
template <typename Entry, typename Store>
std::size_t fillRing(const std::vector<Entry>& entries, std::size_t slots, Store store) {
  const std::size_t first = entries.size() > slots ? entries.size() - slots : 0;
  for (std::size_t i = first; i < entries.size(); ++i) {
    store(i % slots, entries[i]);
  }
  return entries.empty() ? 0 : (entries.size() - 1) % slots + 1;
}

void writeError(std::uint8_t* entry, const ErrorEntryDescription& error) {
  std::uint8_t* command = entry + 48;
  for (unsigned i = 0; i < 3; ++i) {
    command[3 + i] = byteOf(error.lba, i);
  }
  command[2] = 1;
  command[6] = static_cast<std::uint8_t>(0x40 | (byteOf(error.lba, 3) & 0x0F));
  command[7] = error.command;
  std::uint8_t* data = entry + 60;
  data[1] = error.error;
  data[2] = 1;
  for (unsigned i = 0; i < 3; ++i) {
    data[3 + i] = byteOf(error.lba, i);
  }
  data[6] = command[6];
  data[7] = error.status;
  storeLe16(data + 28, error.hours);
}

void writeInterleavedLba(std::uint8_t* at, std::uint64_t lba) {
  for (unsigned i = 0; i < 3; ++i) {
    *at++ = byteOf(lba, i);
    *at++ = byteOf(lba, i + 3);
  }
}

void writeExtendedError(std::uint8_t* entry, const ErrorEntryDescription& error) {
  std::uint8_t* command = entry + 72;
  command[3] = 1;
  writeInterleavedLba(command + 5, error.lba);
  command[11] = 0x40;
  command[12] = error.command;
  std::uint8_t* data = entry + 90;
  data[1] = error.error;
  data[2] = 1;
  writeInterleavedLba(data + 4, error.lba);
  data[10] = 0x40;
  data[11] = error.status;
  storeLe16(data + 32, error.hours);
}

/// The comprehensive log (2), or with one page the summary log (1).
std::vector<AtaPage> errorLog(const std::vector<ErrorEntryDescription>& errors, std::size_t pages) {
  std::vector<AtaPage> log(pages);
  const std::size_t newest =
      fillRing(errors, pages * 5, [&](std::size_t slot, const ErrorEntryDescription& error) {
        writeError(&log[slot / 5][2 + 90 * (slot % 5)], error);
      });
  log[0][0] = 1;
  log[0][1] = static_cast<std::uint8_t>(newest);
  storeLe16(&log[0][452], static_cast<std::uint16_t>(errors.size()));
  return log;
}

std::vector<AtaPage> extendedErrorLog(const std::vector<ErrorEntryDescription>& errors) {
  std::vector<AtaPage> log(kExtendedErrorPages);
  const std::size_t newest = fillRing(
      errors, kExtendedErrorPages * 4, [&](std::size_t slot, const ErrorEntryDescription& error) {
        writeExtendedError(&log[slot / 4][4 + 124 * (slot % 4)], error);
      });
  log[0][0] = 1;
  storeLe16(&log[0][2], static_cast<std::uint16_t>(newest));
  storeLe16(&log[0][500], static_cast<std::uint16_t>(errors.size()));
  return log;
}

/// The head that both self-test logs share; the address has 4 or 6 bytes, all ones for none.
void writeSelfTest(std::uint8_t* entry, const SelfTestEntryDescription& test, unsigned lbaBytes) {
  entry[0] = test.code;
  entry[1] = static_cast<std::uint8_t>(test.status << 4);
  storeLe16(entry + 2, test.hours);
  for (unsigned i = 0; i < lbaBytes; ++i) {
    entry[5 + i] = test.failingLba ? byteOf(*test.failingLba, i) : std::uint8_t{0xFF};
  }
}

std::vector<AtaPage> selfTestLog(const std::vector<SelfTestEntryDescription>& tests) {
  std::vector<AtaPage> log(1);
  const std::size_t newest =
      fillRing(tests, 21, [&](std::size_t slot, const SelfTestEntryDescription& test) {
        writeSelfTest(&log[0][2 + 24 * slot], test, 4);
      });
  storeLe16(&log[0][0], 1);
  log[0][508] = static_cast<std::uint8_t>(newest);
  return log;
}

std::vector<AtaPage> extendedSelfTestLog(const std::vector<SelfTestEntryDescription>& tests) {
  std::vector<AtaPage> log(kExtendedSelfTestPages);
  const std::size_t newest =
      fillRing(tests, kExtendedSelfTestPages * 19,
               [&](std::size_t slot, const SelfTestEntryDescription& test) {
                 writeSelfTest(&log[slot / 19][4 + 26 * (slot % 19)], test, 6);
               });
  log[0][0] = 1;
  storeLe16(&log[0][2], static_cast<std::uint16_t>(newest));
  return log;
}

/// The vendor log with the part number of the spare part.
std::vector<AtaPage> vendorLog(const std::string& partNumber) {
  std::vector<AtaPage> log(1);
  const std::string tag = "8S" + partNumber;
  std::copy_n("OST", 3, log[0].begin());
  std::ranges::fill_n(log[0].begin() + 20, 30, std::uint8_t{' '});
  std::copy_n(tag.begin(), std::min<std::size_t>(tag.size(), 30), log[0].begin() + 20);
  std::ranges::fill_n(log[0].begin() + 110, 30, std::uint8_t{' '});
  std::copy_n(partNumber.begin(), std::min<std::size_t>(partNumber.size(), 30),
              log[0].begin() + 110);
  return log;
}

std::vector<AtaPage> sealed(std::vector<AtaPage> log) {
  for (AtaPage& page : log) {
    sealPage(&page);
  }
  return log;
}

}  // namespace

std::vector<AtaPage> AtaSmart::smartLog(std::uint8_t address) {
  if (!description_.logging) {
    return {};
  }
  switch (address) {
    case 0: {
      std::vector<AtaPage> directory(1);
      storeLe16(&directory[0][0], 1);
      storeLe16(&directory[0][2], 1);
      storeLe16(&directory[0][4], kComprehensivePages);
      storeLe16(&directory[0][12], 1);
      return directory;
    }
    case 1:
      return sealed(errorLog(errors_, 1));
    case 2:
      return sealed(errorLog(errors_, kComprehensivePages));
    case 6:
      return sealed(selfTestLog(selfTestEntries()));
    default:
      return {};
  }
}

std::vector<AtaPage> AtaSmart::generalLog(std::uint8_t address) {
  const bool vendor = !partNumber_.empty();
  switch (address) {
    case 0: {
      std::vector<AtaPage> directory(1);
      storeLe16(&directory[0][0], 1);
      if (description_.logging && supported_) {
        storeLe16(&directory[0][6], kExtendedErrorPages);
        storeLe16(&directory[0][14], kExtendedSelfTestPages);
      }
      if (vendor) {
        storeLe16(&directory[0][2u * std::size_t{0xDF}], 1);
      }
      return directory;
    }
    case 3:
      if (description_.logging && supported_) {
        return sealed(extendedErrorLog(errors_));
      }
      return {};
    case 7:
      if (description_.logging && supported_) {
        return sealed(extendedSelfTestLog(selfTestEntries()));
      }
      return {};
    case 0xDF:
      if (vendor) {
        return sealed(vendorLog(partNumber_));
      }
      return {};
    default:
      return {};
  }
}

}  // namespace ostria::virtual_pc
