// The model of a plain SCSI block device, and the base of those that can do more.
#pragma once

#include <cstdint>
#include <string>

#include "virtual_pc/description/description.h"
#include "virtual_pc/drives/block_medium.h"
#include "virtual_pc/drives/device_model.h"

namespace ostria::virtual_pc {

/// What a SCSI device says of itself. Texts are cut or padded to their fields.
struct ScsiIdentity {
  std::string vendor;    ///< 8 characters
  std::string product;   ///< 16
  std::string revision;  ///< 4
  std::string serial;
  bool removable = false;
  std::uint16_t rotation = 0;         ///< of page B1h: 1 solid state, else revolutions per minute
  std::uint8_t physicalExponent = 0;  ///< physical sector as a power of 2 of logical ones
  ScsiDescription traits;
};

/// Direct-access block device with the commands that all such devices answer (SPC-4, SBC-3).
/// Kinds of it add commands of their own, or another way to the medium.
class ScsiBlockDevice : public ScsiDeviceModel {
 public:
  /// The medium outlives the device.
  ScsiBlockDevice(ScsiIdentity identity, BlockMedium& medium);

 protected:
  enum class Access { Read, Write };

  void perform(ScsiExchange& exchange) override;
  bool descriptorSense() const override { return identity_.traits.descriptorSense; }
  /// Moves sectors that lie within the medium, and sets status and duration.
  virtual void transfer(ScsiExchange& exchange, Access access, std::uint64_t lba,
                        std::uint64_t count);
  /// Answers a command that the block commands don't know.
  virtual void other(ScsiExchange& exchange);
  /// Sense data of REQUEST SENSE.
  virtual void requestSense(ScsiExchange& exchange);

  BlockMedium& medium() { return medium_; }
  const ScsiIdentity& identity() const { return identity_; }
  /// Turns what happened on the medium into status and sense.
  static void settle(ScsiExchange& exchange, Access access, const MediumAnswer& answer);

 private:
  void inquiry(ScsiExchange& exchange) const;
  void vitalProductData(ScsiExchange& exchange) const;
  void readCapacity10(ScsiExchange& exchange) const;
  void readCapacity16(ScsiExchange& exchange) const;
  void checkedTransfer(ScsiExchange& exchange, Access access, std::uint64_t lba,
                       std::uint64_t count);

  ScsiIdentity identity_;
  BlockMedium& medium_;
};

// Sense keys, and additional sense codes as they are used here.
inline constexpr std::uint8_t kNoSense = 0x00;
inline constexpr std::uint8_t kSenseRecovered = 0x01;
inline constexpr std::uint8_t kSenseNotReady = 0x02;
inline constexpr std::uint8_t kSenseMediumError = 0x03;
inline constexpr std::uint8_t kSenseHardwareError = 0x04;
inline constexpr std::uint8_t kSenseIllegalRequest = 0x05;
inline constexpr std::uint8_t kSenseDataProtect = 0x07;
inline constexpr std::uint8_t kSenseAborted = 0x0B;
inline constexpr std::uint8_t kAscInvalidOpcode = 0x20;
inline constexpr std::uint8_t kAscOutOfRange = 0x21;
inline constexpr std::uint8_t kAscInvalidField = 0x24;
inline constexpr std::uint8_t kAscInvalidParameter = 0x26;

}  // namespace ostria::virtual_pc
