// Logs of an ATA drive: those of SMART READ LOG, and the general-purpose logs of READ LOG EXT,
// which alone hold 48-bit addresses.
#include <algorithm>
#include <cstring>

#include "base/byte_order.h"
#include "services/string_handler.h"
#include "transport/ata/ata_cmd.h"
#include "transport/ata/ata_protocol.h"
#include "transport/vendor_log.h"

namespace ostria::storage {

namespace {

constexpr std::uint8_t kDirectory = 0x00;
constexpr std::uint8_t kExtendedErrorLog = 0x03;
constexpr std::uint8_t kSelfTestLog = 0x06;
constexpr std::uint8_t kExtendedSelfTestLog = 0x07;

bool isGeneralPurpose(std::uint8_t log) {
  return log == kExtendedErrorLog || log == kExtendedSelfTestLog || log == kVendorLog;
}

/// A descriptor that was never written, so that an index pointing there points wrong.
bool isEmpty(const std::uint8_t* descriptor, std::size_t bytes) {
  return std::all_of(descriptor, descriptor + bytes, [](std::uint8_t byte) { return byte == 0; });
}

bool isGoodFirstPage(const std::uint8_t* page) {
  return ByteSum(page, kAtaPageBytes) && page[0] == 1;
}

}  // namespace

ProtocolResult AtaProtocol::ReadLog(std::uint8_t log, std::uint16_t pages, void* buffer,
                                    std::uint16_t* pagesRead) {
  if (buffer == nullptr || pagesRead == nullptr) {
    return ProtocolResult::InvalidArgument;
  }
  *pagesRead = 0;
  auto* bytes = static_cast<std::uint8_t*>(buffer);
  if (isGeneralPurpose(log)) {
    return ReadLogExtPages(log, pages, bytes, *pagesRead);
  }
  // The count register has 8 bits. With nothing asked there is no first page to look at.
  const std::uint8_t count = byteOf(pages, 0);
  if (count == 0) {
    return ProtocolResult::Success;
  }
  SmartReadLog command(log, count, buffer);
  const ProtocolResult result = SendPage(command);
  if (!succeeded(result)) {
    return result;
  }
  if (!isGoodFirstPage(bytes)) {
    return ProtocolResult::DeviceError;
  }
  *pagesRead = count;
  return ProtocolResult::Success;
}

ProtocolResult AtaProtocol::ReadLogExtPages(std::uint8_t log, std::uint16_t pages,
                                            std::uint8_t* buffer, std::uint16_t& pagesRead) {
  constexpr int kAttempts = 5;
  for (std::uint16_t page = 0; page < pages; ++page) {
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
      ReadLogExt command(log, 1, buffer, page);
      const ProtocolResult result = SendThroughBridges(command);
      if (!succeeded(result)) {
        return result;
      }
      // The attempts are for checksums that do not hold; what the drive refuses it refuses again.
      if (isRefused(command)) {
        std::fill_n(buffer, kAtaPageBytes, std::uint8_t{0});
        break;
      }
      const bool good = command.transferBytes >= kAtaPageBytes &&
                        (page == 0 ? isGoodFirstPage(buffer) : ByteSum(buffer, kAtaPageBytes));
      if (!good) {
        continue;
      }
      ++pagesRead;
      buffer += kAtaPageBytes;
      break;
    }
  }
  return ProtocolResult::Success;
}

std::uint16_t AtaProtocol::GetLogPageCount(std::uint8_t log) {
  const auto found = logDirectory_.find(log);
  if (found != logDirectory_.end()) {
    return found->second;
  }
  if (logDirectory_.empty() || directoryLost_) {
    FillLogDirectory();
  }
  return logDirectory_.contains(log) ? logDirectory_[log] : std::uint16_t{0};
}

// Each log is asked for in the directory of the command that reads it.
void AtaProtocol::FillLogDirectory() {
  AtaPage page{};
  SmartReadLog smart(kDirectory, 1, page.data());
  const bool smartSpoke = ReadDirectory(smart, page, {1, 2, kSelfTestLog});
  ReadLogExt general(kDirectory, 1, page.data(), 0);
  const bool generalSpoke = ReadDirectory(general, page, {kExtendedErrorLog, kExtendedSelfTestLog});
  directoryLost_ = !smartSpoke || !generalSpoke;
}

// Returns whether the drive answered, be it with a refusal.
bool AtaProtocol::ReadDirectory(AtaCmd& command, const AtaPage& page,
                                std::initializer_list<std::uint8_t> logs) {
  const ProtocolResult result = SendPage(command);
  if (succeeded(result)) {
    for (const std::uint8_t log : logs) {
      logDirectory_[log] = loadLe16(&page[std::size_t{2} * log]);
    }
  }
  // After any other failure the command is what was sent, and has no status.
  const bool hasStatus =
      result == ProtocolResult::DeviceError || result == ProtocolResult::NoDataReturned;
  return succeeded(result) || (hasStatus && isRefused(command));
}

void AtaProtocol::ReadFruData() {
  AtaPage page{};
  std::uint16_t pagesRead = 0;
  // The page's own first byte is a letter, so it never counts as a good first page: the page stands
  // in the buffer all the same, and its own marks are looked at instead.
  if (!succeeded(ReadLog(kVendorLog, 1, page.data(), &pagesRead))) {
    return;
  }
  if (std::memcmp(&page[0], "OST", 3) != 0 || std::memcmp(&page[20], "8S", 2) != 0) {
    return;
  }
  properties_->fruPartNumber = getLocalStringHandler().fromBytes(&page[110], 30);
}

ProtocolResult AtaProtocol::GetFirstFailedLba(std::uint64_t* lba) {
  if (lba == nullptr) {
    return ProtocolResult::InvalidArgument;
  }
  const std::uint16_t extendedPages = GetLogPageCount(kExtendedSelfTestLog);
  const std::uint16_t shortPages = GetLogPageCount(kSelfTestLog);
  if (extendedPages != 0) {
    return FailedLbaOfExtendedLog(extendedPages, *lba);
  }
  return shortPages == 1 ? FailedLbaOfShortLog(*lba) : ProtocolResult::Failure;
}

ProtocolResult AtaProtocol::FailedLbaOfExtendedLog(std::uint16_t pages, std::uint64_t& lba) {
  constexpr std::size_t kPerPage = 19;
  // A 16-bit index reaches no page behind these; a log that claims more is not worth the reading.
  constexpr std::size_t kReachablePages = (0xFFFF - 1) / kPerPage + 1;
  if (pages > kReachablePages) {
    return ProtocolResult::Failure;
  }

  std::vector<std::uint8_t> log(std::size_t{pages} * kAtaPageBytes);
  std::uint16_t pagesRead = 0;
  const ProtocolResult result = ReadLog(kExtendedSelfTestLog, pages, log.data(), &pagesRead);
  const std::uint16_t index = loadLe16(&log[2]);
  if (pagesRead != pages || index == 0 || !isGoodFirstPage(log.data())) {
    return ProtocolResult::Failure;
  }
  const std::size_t page = (index - 1u) / kPerPage;
  const std::size_t slot = (index - 1u) % kPerPage;
  if (page >= pagesRead || !ByteSum(&log[page * kAtaPageBytes], kAtaPageBytes)) {
    return ProtocolResult::Failure;
  }
  constexpr std::size_t kDescriptorBytes = 26;
  const std::uint8_t* descriptor = &log[page * kAtaPageBytes + 4 + kDescriptorBytes * slot];
  if (isEmpty(descriptor, kDescriptorBytes)) {
    return ProtocolResult::Failure;
  }
  lba = MakeLba48(descriptor[5], descriptor[6], descriptor[7], descriptor[8], descriptor[9],
                  descriptor[10]);
  return result;
}

ProtocolResult AtaProtocol::FailedLbaOfShortLog(std::uint64_t& lba) {
  constexpr std::uint8_t kDescriptors = 21;
  AtaPage log{};
  std::uint16_t pagesRead = 0;
  if (!succeeded(ReadLog(kSelfTestLog, 1, log.data(), &pagesRead)) || pagesRead != 1) {
    return ProtocolResult::Failure;
  }
  const std::uint8_t index = log[508];
  if (index < 1 || index > kDescriptors || loadLe16(log.data()) != 1 ||
      !ByteSum(log.data(), log.size())) {
    return ProtocolResult::Failure;
  }
  constexpr std::size_t kDescriptorBytes = 24;
  const std::uint8_t* descriptor = &log[kDescriptorBytes * index - 22u];
  if (isEmpty(descriptor, kDescriptorBytes)) {
    return ProtocolResult::Failure;
  }
  lba = loadLe32(descriptor + 5);
  return ProtocolResult::Success;
}

}  // namespace ostria::storage
