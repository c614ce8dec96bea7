#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "tests/support/stand_before.h"

namespace ostria::storage::test {

/// A class of commands of one drive: the command set, its code, and where that says little what is
/// asked for (SMART subcommand, log or mode page, identify structure, ATA command inside SAT).
struct CommandClass {
  enum class Set : std::uint8_t { Ata, Scsi, Nvme };
  static constexpr int kNoDetail = -1;
  static constexpr std::uint8_t kScsiRead = 0x88;  ///< stands for every length of the command

  Set set = Set::Ata;
  std::uint8_t code = 0;
  int detail = kNoDetail;

  // clang-tidy takes the 0 behind it for a pointer.
  auto operator<=>(const CommandClass&) const = default;  // NOLINT(modernize-use-nullptr)
  std::string name() const {
    static constexpr const char* kSets[] = {"ATA", "SCSI", "NVMe"};
    static constexpr char kHex[] = "0123456789ABCDEF";
    const auto hex = [](int value) {
      return std::string{kHex[(value >> 4) & 15], kHex[value & 15]};
    };
    return std::string(kSets[static_cast<int>(set)]) + " " + hex(code) +
           (detail == kNoDetail ? "" : "/" + hex(detail));
  }
};

/// How a drive refuses a command.
struct Refusal {
  enum class Kind : std::uint8_t {
    AtaError,     ///< ERR and ABRT
    AtaFault,     ///< device fault
    Sense,        ///< CHECK CONDITION with `value` as sense key
    ScsiStatus,   ///< `value`, without sense data
    NvmeStatus,   ///< generic status `value`
    NoData,       ///< a good status, and not a byte
    HalfTheData,  ///< a good status, and half of the bytes
    Zeros,        ///< a good status, and nothing but zeros
    System,       ///< the operating system's error `value`; the drive never sees the command
  };

  const char* name;
  Kind kind;
  std::uint32_t value = 0;
};

/// Stands before all sides of a drive of the virtual PC: notes the classes of the commands that the
/// system sends, and refuses those of one class. What a SAT layer passes on to its ATA drive is the
/// SCSI side's.
class RefusingDrive {
 public:
  explicit RefusingDrive(virtual_pc::Drive& drive) {
    guard<virtual_pc::AtaExchange>(drive.ata);
    guard<virtual_pc::NvmeExchange>(drive.nvme);
    guard<virtual_pc::ScsiExchange>(drive.scsi);
  }
  RefusingDrive(const RefusingDrive&) = delete;
  RefusingDrive& operator=(const RefusingDrive&) = delete;

  std::set<CommandClass> seen;
  unsigned commands = 0;
  unsigned refused = 0;
  unsigned writes = 0;  ///< commands that write sectors, whatever became of them

  void refuse(const CommandClass& commands, const Refusal& how) {
    class_ = commands;
    refusal_ = &how;
  }

 private:
  template <typename Exchange, typename Target>
  void guard(std::unique_ptr<Target>& side) {
    standBefore<Exchange, Target>(side, [this](Exchange& exchange, Target& drive) {
      const CommandClass commandClass = classOf(exchange);
      seen.insert(commandClass);
      ++commands;
      writes += writesSectors(exchange) ? 1u : 0u;
      if (refusal_ == nullptr || commandClass != class_) {
        drive.execute(exchange);
      } else {
        ++refused;
        refuseOne(exchange, drive, *refusal_);
      }
    });
  }
  template <typename Exchange, typename Target>
  void refuseOne(Exchange& exchange, Target& drive, const Refusal& how) {
    switch (how.kind) {
      case Refusal::Kind::System:
        exchange.delivery = virtual_pc::Delivery::TransportError;
        exchange.transportError = how.value;
        break;
      case Refusal::Kind::NoData:
      case Refusal::Kind::HalfTheData:
      case Refusal::Kind::Zeros:
        drive.execute(exchange);
        if (exchange.direction != virtual_pc::DataDirection::In) {
          --refused;  // there is nothing to keep back
        } else if (how.kind == Refusal::Kind::Zeros) {
          std::fill(exchange.data.begin(), exchange.data.end(), std::uint8_t{0});
        } else {
          exchange.transferred = how.kind == Refusal::Kind::NoData ? 0 : exchange.transferred / 2;
        }
        break;
      default:
        // A controller counts each command that it ends with an error, as it does one it lacks.
        if constexpr (std::is_same_v<Exchange, virtual_pc::NvmeExchange>) {
          Exchange unknown;
          unknown.opcode = 0xFF;
          drive.execute(unknown);
        }
        answer(exchange, how);
    }
  }

  static bool isAtaWrite(unsigned command) {
    constexpr unsigned kWrites[] = {0x30, 0x34, 0x35, 0x39, 0x3D, 0x45, 0xC5, 0xCA};
    return std::find(std::begin(kWrites), std::end(kWrites), command) != std::end(kWrites);
  }
  static bool writesSectors(const virtual_pc::AtaExchange& exchange) {
    return isAtaWrite(exchange.in.command);
  }
  static bool writesSectors(const virtual_pc::ScsiExchange& exchange) {
    constexpr std::uint8_t kWrites[] = {0x0A, 0x2A, 0x8A, 0xAA};
    const auto& cdb = exchange.cdb;
    return std::find(std::begin(kWrites), std::end(kWrites), cdb[0]) != std::end(kWrites) ||
           (cdb[0] == 0x85 && isAtaWrite(cdb[14])) || (cdb[0] == 0xA1 && isAtaWrite(cdb[9]));
  }
  static bool writesSectors(const virtual_pc::NvmeExchange& exchange) {
    return !exchange.admin && exchange.opcode == 0x01;
  }

  static CommandClass classOf(const virtual_pc::AtaExchange& exchange) {
    constexpr std::uint8_t kSmart = 0xB0;
    constexpr std::uint8_t kReadLog = 0x2F;
    const virtual_pc::AtaTaskFile& in = exchange.in;
    return {CommandClass::Set::Ata, in.command,
            in.command == kSmart     ? in.features & 0xFF
            : in.command == kReadLog ? in.lbaLow & 0xFF
                                     : CommandClass::kNoDetail};
  }
  static CommandClass classOf(const virtual_pc::ScsiExchange& exchange) {
    const auto& cdb = exchange.cdb;
    int detail = CommandClass::kNoDetail;
    switch (cdb[0]) {
      case 0x08:  // READ of every length: a host that is refused the one takes the next
      case 0x28:
      case 0xA8:
      case 0x88:
        return {CommandClass::Set::Scsi, CommandClass::kScsiRead, CommandClass::kNoDetail};
      case 0x12:  // INQUIRY
      case 0x1A:  // MODE SENSE
      case 0x4D:  // LOG SENSE
      case 0x5A:
        detail = cdb[2];
        break;
      case 0x85:  // ATA PASS-THROUGH(16): command, and what SMART does
        detail = cdb[14] == 0xB0 ? cdb[4] : cdb[14];
        break;
      case 0xA1:  // ATA PASS-THROUGH(12)
        detail = cdb[9] == 0xB0 ? cdb[3] : cdb[9];
        break;
      default:
        break;
    }
    return {CommandClass::Set::Scsi, cdb[0], detail};
  }
  static CommandClass classOf(const virtual_pc::NvmeExchange& exchange) {
    // The I/O commands are distinguished from the admin commands of the same codes.
    return {CommandClass::Set::Nvme, exchange.opcode,
            exchange.admin ? static_cast<int>(exchange.cdw[0] & 0xFF) : CommandClass::kNoDetail};
  }

  static void answer(virtual_pc::AtaExchange& exchange, const Refusal& how) {
    const bool fault = how.kind == Refusal::Kind::AtaFault;
    exchange.out.features = fault ? 0 : 0x04;
    exchange.out.command = fault ? 0x70 : 0x51;
  }
  static void answer(virtual_pc::ScsiExchange& exchange, const Refusal& how) {
    if (how.kind == Refusal::Kind::ScsiStatus) {
      exchange.status = static_cast<std::uint8_t>(how.value);
      return;
    }
    // Sense codes that fit the key: becoming ready, internal failure, reset, vendor's, none.
    static constexpr std::uint8_t kCodes[16] = {0,    0,    0x04, 0,    0x44, 0x20,
                                                0x29, 0x27, 0,    0x80, 0,    0x00};
    exchange.fail(static_cast<std::uint8_t>(how.value), kCodes[how.value & 15]);
  }
  static void answer(virtual_pc::NvmeExchange& exchange, const Refusal& how) {
    exchange.statusCode = static_cast<std::uint8_t>(how.value);
  }

  CommandClass class_;
  const Refusal* refusal_ = nullptr;
};

/// The refusals that a command set knows.
inline const std::vector<Refusal>& refusalsOf(CommandClass::Set set) {
  using Kind = Refusal::Kind;
  constexpr std::uint32_t kIoDeviceError = 1117;
  // In the order of the sets.
  static const std::vector<Refusal> kAll[] = {{{"ERR", Kind::AtaError},
                                               {"DF", Kind::AtaFault},
                                               {"no data", Kind::NoData},
                                               {"half the data", Kind::HalfTheData},
                                               {"zeros", Kind::Zeros},
                                               {"system error", Kind::System, kIoDeviceError}},
                                              {{"NOT READY", Kind::Sense, 2},
                                               {"HARDWARE ERROR", Kind::Sense, 4},
                                               {"UNIT ATTENTION", Kind::Sense, 6},
                                               {"VENDOR SPECIFIC", Kind::Sense, 9},
                                               {"ABORTED COMMAND", Kind::Sense, 0x0B},
                                               {"BUSY", Kind::ScsiStatus, 0x08},
                                               {"RESERVATION CONFLICT", Kind::ScsiStatus, 0x18},
                                               {"no data", Kind::NoData},
                                               {"half the data", Kind::HalfTheData},
                                               {"zeros", Kind::Zeros},
                                               {"system error", Kind::System, kIoDeviceError}},
                                              {{"invalid opcode", Kind::NvmeStatus, 1},
                                               {"internal error", Kind::NvmeStatus, 6},
                                               {"no data", Kind::NoData},
                                               {"half the data", Kind::HalfTheData},
                                               {"zeros", Kind::Zeros},
                                               {"system error", Kind::System, kIoDeviceError}}};
  return kAll[static_cast<std::size_t>(set)];
}

}  // namespace ostria::storage::test
