// Layouts of the ATA error and self-test logs (ACS, SMART logs). An empty entry names sector 0:
// telling it from a real one is not possible for all logs, and reading sector 0 harms nothing.
#include "diagnostics/surface/error_log_targets.h"

#include <algorithm>
#include <vector>

#include "base/byte_order.h"
#include "transport/ata/ata_protocol.h"

namespace ostria::storage {

namespace {

constexpr bool fitsPage(const ErrorLog& log) {
  return std::size_t{log.firstEntry} + std::size_t{log.entriesPerPage} * log.entryBytes <=
             kAtaPageBytes &&
         log.lbaOffset + 6u <= log.entryBytes;
}
static_assert(std::all_of(kErrorLogs.begin(), kErrorLogs.end(), fitsPage));

std::uint64_t loadLe48(const std::uint8_t* p) {
  return std::uint64_t{loadLe32(p)} | (std::uint64_t{loadLe16(p + 4)} << 32);
}

void addTargets(const std::uint8_t* lba, ErrorLog::LbaForm form, std::set<std::uint64_t>& targets) {
  switch (form) {
    case ErrorLog::LbaForm::Extended: {
      // Current and previous register contents alternate: low, mid, high and their elders.
      const std::array<std::uint8_t, 6> ordered = {lba[0], lba[2], lba[4], lba[1], lba[3], lba[5]};
      targets.insert(loadLe48(ordered.data()));
      targets.insert(loadLe48(lba));
      break;
    }
    case ErrorLog::LbaForm::Plain48:
      targets.insert(loadLe48(lba));
      break;
    case ErrorLog::LbaForm::Plain32:
      targets.insert(loadLe32(lba));
      break;
    case ErrorLog::LbaForm::Plain24:
      targets.insert(loadLe32(lba) & 0xFFFFFFu);
      break;
  }
}

}  // namespace

void collectTargets(AtaProtocol& ata, const ErrorLog& log, std::set<std::uint64_t>& targets) {
  const std::uint16_t pages = std::min(ata.GetLogPageCount(log.address), log.pages);
  if (pages == 0) {
    return;
  }
  std::vector<std::uint8_t> buffer(pages * kAtaPageBytes);
  std::uint16_t pagesRead = 0;
  // A read that broke off still delivered the pages before.
  (void)ata.ReadLog(log.address, pages, buffer.data(), &pagesRead);
  for (std::size_t page = 0; page < std::min(pagesRead, pages); ++page) {
    const std::uint8_t* entry = &buffer[page * kAtaPageBytes + log.firstEntry];
    for (unsigned i = 0; i < log.entriesPerPage; ++i, entry += log.entryBytes) {
      addTargets(entry + log.lbaOffset, log.form, targets);
    }
  }
}

}  // namespace ostria::storage
