// ATA commands as records. The classes have no behaviour: protocols make them, bridges and platform
// sends read them and write the answer back.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "base/kinds.h"

namespace ostria::storage {

/// Logs, SMART data and IDENTIFY DEVICE come in pages of this size, whatever the sectors are.
inline constexpr std::size_t kAtaPageBytes = 512;
using AtaPage = std::array<std::uint8_t, kAtaPageBytes>;

/// One ATA command as a plain record: the task file going down, the same registers coming back. A
/// subclass is only a constructor that fills the fields. The buffer is borrowed: the caller keeps
/// it alive through the send.
class AtaCmd {
 public:
  AtaCmd() = default;
  virtual ~AtaCmd() = default;
  AtaCmd(const AtaCmd&) = default;
  AtaCmd& operator=(const AtaCmd&) = default;

  // Five little-endian 16-bit values, current byte then previous byte. After a send `features`
  // holds the error register and `command` the status register.
  std::uint8_t features = 0;
  std::uint8_t featuresPrevious = 0;
  std::uint8_t sectorCount = 0;
  std::uint8_t sectorCountPrevious = 0;
  std::uint8_t lbaLow = 0;
  std::uint8_t lbaLowPrevious = 0;
  std::uint8_t lbaMid = 0;
  std::uint8_t lbaMidPrevious = 0;
  std::uint8_t lbaHigh = 0;
  std::uint8_t lbaHighPrevious = 0;
  std::uint8_t device = 0;
  std::uint8_t command = 0;
  DataDirection dataDirection = DataDirection::None;
  std::uint64_t transferBytes = 0;  ///< to move; afterwards moved, where the path reports it
  std::uint32_t timeoutSeconds = 30;
  void* data = nullptr;
  /// The protocol reads the output registers; a bridge that must spend an extra step to get them
  /// does so only then.
  bool wantRegisters = false;
};

class IdentifyDevice final : public AtaCmd {
 public:
  explicit IdentifyDevice(void* buffer);  ///< 512 bytes
};

class AtaCheckPowerMode final : public AtaCmd {
 public:
  AtaCheckPowerMode();
};

class AtaIdleImmediate final : public AtaCmd {
 public:
  AtaIdleImmediate();
};

/// General-purpose log pages of 512 bytes.
class ReadLogExt final : public AtaCmd {
 public:
  ReadLogExt(std::uint8_t log, std::uint16_t pages, void* buffer, std::uint16_t firstPage);
};

/// 28-bit read of at most 255 sectors: a count of 256 does not fit and becomes 0.
class ReadSectors final : public AtaCmd {
 public:
  ReadSectors(std::uint64_t lba, std::uint8_t sectors, std::uint32_t sectorSize, void* buffer,
              std::uint32_t timeout);
};

class ReadSectorsExt final : public AtaCmd {
 public:
  ReadSectorsExt(std::uint64_t lba, std::uint16_t sectors, std::uint32_t sectorSize, void* buffer,
                 std::uint32_t timeout);
};

class SmartEnable final : public AtaCmd {
 public:
  explicit SmartEnable(bool enable);
};

/// Starts or aborts (subcommand 7Fh) a self-test.
class SmartExecuteOffline final : public AtaCmd {
 public:
  SmartExecuteOffline(std::uint8_t subcommand, std::uint8_t count);
};

class SmartReadData final : public AtaCmd {
 public:
  explicit SmartReadData(void* buffer);  ///< 512 bytes
};

class SmartReadLog final : public AtaCmd {
 public:
  SmartReadLog(std::uint8_t log, std::uint8_t pages, void* buffer);
};

class SmartReturnStatus final : public AtaCmd {
 public:
  SmartReturnStatus();
};

/// SMART READ ATTRIBUTE THRESHOLDS.
class SmartReadWarrantyThresholds final : public AtaCmd {
 public:
  explicit SmartReadWarrantyThresholds(void* buffer);  ///< 512 bytes
};

/// 28-bit write of at most 255 sectors. The timeout is 30 seconds whatever the size.
class WriteSectors final : public AtaCmd {
 public:
  WriteSectors(std::uint64_t lba, std::uint8_t sectors, std::uint32_t sectorSize, void* buffer);
};

class WriteSectorsExt final : public AtaCmd {
 public:
  WriteSectorsExt(std::uint64_t lba, std::uint16_t sectors, std::uint32_t sectorSize, void* buffer);
};

/// Marks sectors as unreadable until they are written again.
/// @param pseudo  a pseudo-uncorrectable error, which the drive also logs (55h); else a flagged one
///                (AAh)
class WriteUncorrectableExt final : public AtaCmd {
 public:
  WriteUncorrectableExt(std::uint64_t lba, std::uint16_t sectors, bool pseudo);
};

/// Whether the command with this command register uses the "previous" bytes.
bool IsLba48Command(std::uint8_t command);

/// Sets all registers to 0, as a bridge does that has none to give back.
void clearRegisters(AtaCmd& command);

/// Whether the status register of a command that came back shows the drive's refusal: an error, or
/// a device fault.
bool isRefused(const AtaCmd& command);

/// Whether the bytes add up to 0 modulo 256, as every ATA page with a checksum does.
bool ByteSum(const void* data, std::size_t length);

/// The text of an ATA string of little-endian words: 2 x `wordCount` characters, each word's high
/// byte first, padding included.
std::string SwapWordString(const std::uint8_t* words, std::size_t wordCount);

/// A 48-bit address from its bytes, `b0` the lowest.
std::uint64_t MakeLba48(std::uint8_t b0, std::uint8_t b1, std::uint8_t b2, std::uint8_t b3,
                        std::uint8_t b4, std::uint8_t b5);

}  // namespace ostria::storage
