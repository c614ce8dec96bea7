#pragma once

#include <array>
#include <cstdint>
#include <set>

namespace ostria::storage {

class AtaProtocol;

/// Where the entries of an ATA log name an LBA. Offsets are those of the ATA standard.
struct ErrorLog {
  /// Bytes of an entry that hold the LBA.
  enum class LbaForm {
    Extended,  ///< six bytes in interleaved order; some drives write them in plain order
    Plain48,
    Plain32,
    Plain24,
  };

  std::uint8_t address;
  bool needsLba48;
  std::uint16_t pages;  ///< read at most
  std::uint16_t firstEntry;
  std::uint16_t entriesPerPage;
  std::uint16_t entryBytes;
  std::uint16_t lbaOffset;
  LbaForm form;
};

/// In the order in which they are read: extended comprehensive error, extended self-test,
/// self-test, comprehensive error, summary error.
inline constexpr std::array<ErrorLog, 5> kErrorLogs = {{
    {3, true, 16383, 4, 4, 124, 77, ErrorLog::LbaForm::Extended},
    {7, true, 3449, 4, 19, 26, 5, ErrorLog::LbaForm::Plain48},
    {6, false, 1, 2, 21, 24, 5, ErrorLog::LbaForm::Plain32},
    {2, false, 255, 2, 5, 90, 51, ErrorLog::LbaForm::Plain24},
    {1, false, 1, 2, 5, 90, 51, ErrorLog::LbaForm::Plain24},
}};

/// Reads the log as far as the drive gives it and adds the LBA of every entry, an empty entry's 0
/// included. A log that the drive does not have or give adds nothing.
void collectTargets(AtaProtocol& ata, const ErrorLog& log, std::set<std::uint64_t>& targets);

}  // namespace ostria::storage
