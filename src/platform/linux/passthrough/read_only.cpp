// Lists of what may pass, by SPC, SBC, ACS and NVMe: a list of what may not would have to know
// every command that a device could take. The kernel has no such list for a process with
// CAP_SYS_RAWIO.
#include "platform/linux/passthrough/read_only.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <optional>

#include "transport/ata/ata_opcodes.h"
#include "transport/scsi/scsi_opcodes.h"
#include "transport/tunnels/usb_pass_through.h"

namespace ostria::storage {
namespace {

template <typename Codes>
bool holds(const Codes& codes, std::uint32_t code) {
  return std::find(std::begin(codes), std::end(codes), code) != std::end(codes);
}

constexpr std::uint8_t kAtaReads[] = {
    ata::ReadSectors,     ata::ReadSectorsExt, ata::ReadDmaExt, ata::ReadDmaQueuedExt,
    ata::ReadMultipleExt, ata::ReadLogExt,     ata::ReadVerify, ata::ReadVerifyExt,
    ata::ReadMultiple,    ata::ReadDmaQueued,  ata::ReadDma,    ata::IdleImmediate,
    ata::CheckPowerMode,  ata::IdentifyDevice};
constexpr std::uint8_t kSmartReads[] = {
    ata::SmartReadData, ata::SmartReadThresholds, ata::SmartExecuteOffline, ata::SmartReadLog,
    ata::SmartEnable,   ata::SmartDisable,        ata::SmartReturnStatus};

// The ATA command in a CDB, by the layouts of SAT and of two makers of USB adapters.
struct Embedded {
  std::uint8_t cdbOpcode;
  std::uint8_t features;
  std::uint8_t command;
};
constexpr Embedded kEmbedded[] = {{scsi::AtaPassThrough16, 4, 14},
                                  {scsi::AtaPassThrough12, 3, 9},
                                  {kJmicronPassThrough, 5, 11},
                                  {kSunplusPassThrough, 5, 11}};

// SAT: the registers of the last command. Sunplus: registers for the next one, which is looked at.
bool isHalfACommand(const SgCommand& command) {
  constexpr std::uint8_t kReturnResponseInformation = 15 << 1;
  return (command.cdb[0] == scsi::AtaPassThrough12 &&
          command.cdb[1] == kReturnResponseInformation) ||
         (command.cdb[0] == kSunplusPassThrough && command.cdb[2] == kSunplusPreset);
}

// Opcodes of the commands that move no data to the device and leave the medium alone.
constexpr std::uint8_t kScsiWithoutData[] = {
    scsi::TestUnitReady,
    scsi::StartStopUnit,
    scsi::SendDiagnostic,  // the self-tests
    scsi::Verify10,
};
constexpr std::uint8_t kScsiDataIn[] = {
    scsi::RequestSense,   scsi::Read6,  scsi::Inquiry,           scsi::ModeSense6,
    scsi::ReadCapacity10, scsi::Read10, scsi::ReadDefectData10,  scsi::LogSense,
    scsi::ModeSense10,    scsi::Read16, scsi::ServiceActionIn16, scsi::ReportLuns,
    scsi::MaintenanceIn,  scsi::Read12, scsi::ReadDefectData12};
// These switch SMART on.
constexpr std::uint8_t kScsiSettings[] = {scsi::ModeSelect6, scsi::ModeSelect10};

constexpr std::uint32_t kNvmeAdmin[] = {0x02, 0x06, 0x0A, 0x14};  // log, identify, features, test
constexpr std::uint32_t kNvmeRead = 0x02;

}  // namespace

bool isReadOnly() {
  static const bool kAsked = std::getenv("OSTRIA_READ_ONLY") != nullptr;
  return kAsked;
}

bool changesMedium(const SgCommand& command) {
  const std::uint8_t opcode = command.cdb[0];
  for (const Embedded& layout : kEmbedded) {
    if (layout.cdbOpcode != opcode) {
      continue;
    }
    if (isHalfACommand(command)) {
      return false;
    }
    const std::uint8_t ataCommand = command.cdb[layout.command];
    return command.direction == DataDirection::ToDevice ||
           !(holds(kAtaReads, ataCommand) ||
             (ataCommand == ata::Smart && holds(kSmartReads, command.cdb[layout.features])));
  }
  switch (command.direction) {
    case DataDirection::FromDevice:
      return !holds(kScsiDataIn, opcode);
    case DataDirection::None:
      return !holds(kScsiWithoutData, opcode) && !holds(kScsiDataIn, opcode);
    case DataDirection::ToDevice:
      break;
  }
  return !holds(kScsiSettings, opcode);
}

bool changesMedium(std::uint32_t nvmeOpcode, bool io) {
  return io ? nvmeOpcode != kNvmeRead : !holds(kNvmeAdmin, nvmeOpcode);
}

}  // namespace ostria::storage
