// Answers of a real drive, byte for byte: what a drive of the virtual PC says in place of its own.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

namespace ostria::virtual_pc {

/// Data of an answer. A page mostly ends in zeros, which need not stand in the file.
struct RecordedData {
  std::vector<std::uint8_t> head;
  std::uint32_t bytes = 0;  ///< of the whole answer; zeros behind `head`, at most 65536
};

/// An answer to an ATA command, which its registers name: of a log its address and first page.
struct RecordedAta {
  std::uint8_t command = 0;
  std::uint8_t features = 0;
  std::uint8_t lbaLow = 0;
  std::uint16_t lbaMid = 0;  ///< of SMART commands, where it is a signature: 0
  RecordedData data;
  std::uint8_t error = 0;
  std::uint8_t status = 0x50;
  std::uint8_t count = 0;                       ///< sector count that came back
  std::optional<std::uint16_t> signature = {};  ///< LBA high and mid that came back
  std::uint32_t transportError = 0;  ///< the system's error instead of an answer; 0 for none
};

/// An answer to a SCSI command that asks about the device. The allocation length of the command is
/// no part of its name.
struct RecordedScsi {
  std::array<std::uint8_t, 16> cdb{};
  RecordedData data;
  std::uint8_t status = 0;
  std::vector<std::uint8_t> sense;
  std::uint32_t transportError = 0;
};

/// An answer to Identify or Get Log Page.
struct RecordedNvme {
  std::uint8_t opcode = 0x06;
  std::uint8_t select = 0;        ///< CNS, or the log identifier
  std::uint32_t namespaceId = 0;  ///< of Identify with CNS 0 alone
  std::uint16_t identifier = 0;   ///< log-specific identifier
  RecordedData data;
  std::uint8_t statusType = 0;
  std::uint8_t statusCode = 0;
};

struct RecordedAnswers {
  std::vector<RecordedAta> ata;
  std::vector<RecordedScsi> scsi;
  std::vector<RecordedNvme> nvme;
};

}  // namespace ostria::virtual_pc
