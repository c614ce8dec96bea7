#pragma once

#include <array>
#include <cstdint>

#include "base/kinds.h"

namespace ostria::storage {

/// Status bytes of SAM. A device may send any other value.
enum class ScsiStatus : std::uint8_t {
  Good = 0x00,
  CheckCondition = 0x02,
  Busy = 0x08,
  ReservationConflict = 0x18,
  TaskSetFull = 0x28,
};

/// One SCSI command as a plain record: CDB, buffer, direction and timeout going down; status, sense
/// and byte count coming back. A subclass is only a constructor that fills the CDB. The buffer is
/// borrowed: the caller keeps it alive through the send.
class ScsiCmd {
 public:
  ScsiCmd() = default;
  virtual ~ScsiCmd() = default;
  ScsiCmd(const ScsiCmd&) = default;
  ScsiCmd& operator=(const ScsiCmd&) = default;

  std::array<std::uint8_t, 16> cdb{};
  std::uint8_t cdbLength = 0;
  std::uint8_t scsiStatus = 0;  ///< a `ScsiStatus`
  std::array<std::uint8_t, 32> sense{};
  /// Bytes of sense that the transport reports; may be more than `sense` holds.
  std::uint64_t senseLength = 0;
  std::uint64_t transferBytes = 0;  ///< to move; afterwards moved
  void* data = nullptr;
  DataDirection direction = DataDirection::None;
  std::uint32_t timeoutSeconds = 30;

  bool hasStatus(ScsiStatus status) const {
    return scsiStatus == static_cast<std::uint8_t>(status);
  }
};

/// INQUIRY. @param vitalData  asks for vital product data page `page` instead of standard data
class Inquiry final : public ScsiCmd {
 public:
  Inquiry(void* buffer, std::uint16_t length, bool vitalData = false, std::uint8_t page = 0);
};

class ReadCapacity10 final : public ScsiCmd {
 public:
  explicit ReadCapacity10(void* buffer);  ///< 8 bytes
};

class ReadCapacity16 final : public ScsiCmd {
 public:
  explicit ReadCapacity16(void* buffer);  ///< 32 bytes
};

/// @param code  SELF-TEST CODE: 0 default self-test, 1 background short, 2 background extended,
///              4 abort background, 5 foreground short, 6 foreground extended
class SendDiagnostic final : public ScsiCmd {
 public:
  explicit SendDiagnostic(std::uint8_t code, std::uint8_t ignored = 0);
};

/// Informational exceptions control mode page, without block descriptors.
class ModeSense6IECPage final : public ScsiCmd {
 public:
  ModeSense6IECPage(void* buffer, std::uint8_t length);
};

class ModeSense10IECPage final : public ScsiCmd {
 public:
  ModeSense10IECPage(void* buffer, std::uint16_t length);
};

/// Control mode page, without block descriptors.
class ModeSense6ControlPage final : public ScsiCmd {
 public:
  ModeSense6ControlPage(void* buffer, std::uint8_t length);
};

class ModeSense10ControlPage final : public ScsiCmd {
 public:
  ModeSense10ControlPage(void* buffer, std::uint16_t length);
};

class ModeSelect6IecPage final : public ScsiCmd {
 public:
  explicit ModeSelect6IecPage(std::uint8_t* modeData);  ///< 16 bytes, borrowed
};

class ModeSelect10IecPage final : public ScsiCmd {
 public:
  explicit ModeSelect10IecPage(std::uint8_t* modeData);  ///< 20 bytes, borrowed
};

/// Cumulative values of log page 2Fh.
class LogSenseIECPage final : public ScsiCmd {
 public:
  LogSenseIECPage(void* buffer, std::uint16_t length);
};

/// Cumulative values of log page 10h.
class LogSenseSelfTestPage final : public ScsiCmd {
 public:
  LogSenseSelfTestPage(void* buffer, std::uint16_t length);
};

/// Cumulative values of log page 0Dh.
class LogSenseTemperaturePage final : public ScsiCmd {
 public:
  LogSenseTemperaturePage(void* buffer, std::uint16_t length);
};

class RequestSense final : public ScsiCmd {
 public:
  RequestSense(void* buffer, std::uint8_t length);
};

/// A read of logical sectors with DPO and FUA, so that the medium and not a cache answers.
class Read : public ScsiCmd {
 public:
  /// Makes the object a fresh command, as the constructor does. `lba` and `sectors` are cut to what
  /// the CDB holds.
  virtual void Fill(void* buffer, std::uint64_t lba, std::uint32_t sectors,
                    std::uint32_t sectorSize) = 0;
};

/// 32-bit address, 16-bit count.
class Read10 final : public Read {
 public:
  Read10(void* buffer, std::uint64_t lba, std::uint16_t sectors, std::uint32_t sectorSize);
  void Fill(void* buffer, std::uint64_t lba, std::uint32_t sectors,
            std::uint32_t sectorSize) override;
};

/// 32-bit address.
class Read12 final : public Read {
 public:
  Read12(void* buffer, std::uint64_t lba, std::uint32_t sectors, std::uint32_t sectorSize);
  void Fill(void* buffer, std::uint64_t lba, std::uint32_t sectors,
            std::uint32_t sectorSize) override;
};

class Read16 final : public Read {
 public:
  Read16(void* buffer, std::uint64_t lba, std::uint32_t sectors, std::uint32_t sectorSize);
  void Fill(void* buffer, std::uint64_t lba, std::uint32_t sectors,
            std::uint32_t sectorSize) override;
};

/// A write with FUA and a timeout of 180 seconds. 32-bit address, 16-bit count.
class Write10 final : public ScsiCmd {
 public:
  Write10(void* buffer, std::uint64_t lba, std::uint16_t sectors, std::uint32_t sectorSize);
};

/// A write with FUA. 32-bit address.
class Write12 final : public ScsiCmd {
 public:
  Write12(void* buffer, std::uint64_t lba, std::uint32_t sectors, std::uint32_t sectorSize);
};

/// A write with FUA.
class Write16 final : public ScsiCmd {
 public:
  Write16(void* buffer, std::uint64_t lba, std::uint32_t sectors, std::uint32_t sectorSize);
};

}  // namespace ostria::storage
