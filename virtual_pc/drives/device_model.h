// The commands that go to a drive, and the interfaces of the models that answer them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "virtual_pc/drives/clock.h"
#include "virtual_pc/drives/fault_plan.h"
#include "virtual_pc/drives/recorded_answers.h"

namespace ostria::virtual_pc {

enum class DataDirection { None, In, Out };

/// How an exchange ended on its way, before any verdict of the device.
enum class Delivery {
  Answered,        ///< the device answered; its status tells the rest
  Gone,            ///< there is no device any more
  TransportError,  ///< the operating system refuses: `transportError`
};

/// What every exchange with a device carries. The data vector holds, going down, the outgoing bytes
/// or the room for the incoming ones (its size is the length that the host asks for); coming back
/// `transferred` says how many of its first bytes moved.
struct Exchange {
  DataDirection direction = DataDirection::None;
  std::vector<std::uint8_t> data;
  std::size_t transferred = 0;
  Delivery delivery = Delivery::Answered;
  std::uint32_t transportError = 0;
  /// Time that the device takes for the answer. The caller lets it pass, or gives up at its own
  /// time-out; `kNever` is a hang, in which the device has done nothing.
  std::uint64_t durationMicroseconds = 0;

  /// Gives `bytes` to the host, cut to what it asked for.
  void answer(const std::uint8_t* bytes, std::size_t count);
};

/// ATA task file. The 16-bit values hold the current byte low and the previous byte high.
struct AtaTaskFile {
  std::uint16_t features = 0;
  std::uint16_t count = 0;
  std::uint16_t lbaLow = 0;
  std::uint16_t lbaMid = 0;
  std::uint16_t lbaHigh = 0;
  std::uint8_t device = 0;
  std::uint8_t command = 0;

  std::uint64_t lba28() const;
  std::uint64_t lba48() const;
  void setLba48(std::uint64_t lba);
};

struct AtaExchange : Exchange {
  AtaTaskFile in;
  /// Going up: error in `features`, status in `command`.
  AtaTaskFile out;
};

struct ScsiExchange : Exchange {
  std::array<std::uint8_t, 16> cdb{};
  std::uint8_t cdbLength = 0;
  std::uint8_t status = 0;          ///< SCSI status; 2 CHECK CONDITION
  std::vector<std::uint8_t> sense;  ///< whole sense data, fixed or descriptor format
  std::optional<std::uint64_t> failedLba;

  /// CHECK CONDITION with fixed-format sense of 18 bytes; no data moves.
  void fail(std::uint8_t key, std::uint8_t asc, std::uint8_t ascq = 0);
  /// The same, with the failing address in the information field.
  void failAt(std::uint8_t key, std::uint8_t asc, std::uint8_t ascq, std::uint64_t lba);
  /// Puts fixed-format sense into descriptor format; of other sense nothing changes.
  void describeSense();
};

struct NvmeExchange : Exchange {
  bool admin = true;
  std::uint8_t opcode = 0;
  std::uint32_t namespaceId = 0;
  std::array<std::uint32_t, 6> cdw{};  ///< command dwords 10 to 15
  std::uint32_t result = 0;            ///< completion dword 0
  std::uint8_t statusType = 0;         ///< status code type
  std::uint8_t statusCode = 0;         ///< status code; 0 with type 0 is success
};

/// State that every device model has: whether it is still there, and its planned faults.
class DeviceModel {
 public:
  bool gone() const { return gone_; }
  void vanish() { gone_ = true; }
  void comeBack() { gone_ = false; }
  FaultPlan& faults() { return faults_; }

 protected:
  ~DeviceModel() = default;
  /// Before the device sees a command: presence and the rules that keep it from the device. False
  /// when the exchange has ended here.
  bool admit(Exchange& exchange, const FaultRule* rule);
  /// After the device's answer: the rules that change it.
  void injectFault(Exchange& exchange, const FaultRule* rule);

 private:
  bool gone_ = false;
  FaultPlan faults_;
};

/// A device that answers ATA commands.
class AtaDeviceModel : public DeviceModel {
 public:
  virtual ~AtaDeviceModel() = default;
  void execute(AtaExchange& exchange);

 private:
  /// Bytes of a sector, for commands that count in sectors.
  virtual std::size_t sectorBytes() const { return 512; }
  /// Does the command and fills `out`, `data`, `transferred` and the duration. `out` comes in as a
  /// copy of `in` with error 0 and status 50h.
  virtual void perform(AtaExchange& exchange) = 0;
};

/// A device that answers SCSI commands.
class ScsiDeviceModel : public DeviceModel {
 public:
  virtual ~ScsiDeviceModel() = default;
  void execute(ScsiExchange& exchange);
  RecordedScsiAnswers& recorded() { return recorded_; }

 private:
  virtual void perform(ScsiExchange& exchange) = 0;
  /// Whether the device reports its sense in descriptor format (D_SENSE of the control mode page).
  virtual bool descriptorSense() const { return false; }
  void endWithStatus(ScsiExchange& exchange, const ScsiStatusFault& fault,
                     std::uint64_t durationMicroseconds);

  RecordedScsiAnswers recorded_;
};

/// A controller that answers NVMe commands.
class NvmeDeviceModel : public DeviceModel {
 public:
  virtual ~NvmeDeviceModel() = default;
  void execute(NvmeExchange& exchange);

 private:
  virtual void perform(NvmeExchange& exchange) = 0;
};

}  // namespace ostria::virtual_pc
