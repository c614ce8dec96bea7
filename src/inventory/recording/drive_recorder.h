// What a drive answers to commands that ask about it, kept byte for byte.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "transport/command_recorder.h"

namespace ostria::storage {

using Bytes = std::vector<std::uint8_t>;

/// How the answer to a command ended on its way.
enum class Ending { Answered, Lost };

struct AtaAnswer {
  std::uint8_t command = 0;
  std::uint8_t features = 0;
  std::uint8_t lbaLow = 0;   ///< log address
  std::uint16_t lbaMid = 0;  ///< first page of a general-purpose log
  Bytes data = {};
  std::uint8_t error = 0;
  std::uint8_t status = 0;
  std::uint8_t count = 0;  ///< sector count that came back
  /// LBA high and mid that came back of SMART RETURN STATUS.
  std::optional<std::uint16_t> signature = {};
  Ending ending = Ending::Answered;
};

struct ScsiAnswer {
  std::array<std::uint8_t, 16> cdb{};
  std::uint8_t cdbLength = 0;
  Bytes data = {};
  std::uint8_t status = 0;
  Bytes sense = {};
  Ending ending = Ending::Answered;
};

struct NvmeAnswer {
  std::uint8_t opcode = 0;
  std::uint8_t select = 0;  ///< CNS, or the log identifier
  std::uint32_t namespaceId = 0;
  std::uint16_t identifier = 0;  ///< log-specific identifier
  Bytes data = {};
  bool refused = false;
};

/// Keeps the last answer to each command that asks about a drive: identity, SMART, logs, mode
/// pages, capacity. No sector is among them, and nothing that changes a drive.
class DriveRecorder final : public CommandRecorder {
 public:
  void noteAta(const AtaCmd& asked, const AtaCmd& answered, ProtocolResult result) override;
  void noteScsi(const ScsiCmd& answered, std::uint64_t askedBytes, ProtocolResult result) override;
  void noteNvme(const NvmeCmd& answered, ProtocolResult result) override;

  std::vector<AtaAnswer> ata;
  std::vector<ScsiAnswer> scsi;
  std::vector<NvmeAnswer> nvme;
  std::optional<std::size_t> tunnel;    ///< of `usbTunnels`, that leads to the ATA side
  bool systemPredicts = false;          ///< the system has a failure prediction for the drive
  bool takesDiagnostics = false;        ///< a SCSI drive says that it knows SEND DIAGNOSTIC
  bool hasController = false;           ///< the registers of its controller can be asked for
  std::optional<bool> controllerFatal;  ///< what they say; nothing when they can't be read

  /// The page that an ATA command brought, of 512 bytes; null without one.
  const Bytes* ataPage(std::uint8_t command, std::uint8_t features = 0) const;
  /// The answer to Identify; null without one.
  const NvmeAnswer* identify(std::uint8_t select) const;
};

}  // namespace ostria::storage
