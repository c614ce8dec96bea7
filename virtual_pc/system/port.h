// The port of a storage controller, and what drivers add to it.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "virtual_pc/description/description.h"
#include "virtual_pc/drives/drive.h"
#include "virtual_pc/system/kernel_object.h"

namespace ostria::virtual_pc {

/// What a port's driver answers to requests of its own kind (IOCTL_SCSI_MINIPORT), distinguished by
/// the signature of eight characters in the header.
class MiniportHandler {
 public:
  virtual ~MiniportHandler() = default;
  virtual std::string_view signature() const = 0;
  /// Whether a block with that signature is meant for this handler; the next one is asked
  /// otherwise.
  virtual bool accepts(std::span<const std::uint8_t> /*block*/) const { return true; }
  /// Works on the whole block, header included, which is what goes back to the caller. The block
  /// has at least a header. The return code in the header is the handler's to set.
  /// @param duration  time that it takes, in microseconds
  /// @param returned  bytes that go back to the caller; comes in as the whole block
  /// @return the system's error code; 0 when the request went through
  virtual std::uint32_t handle(std::span<std::uint8_t> block, std::uint64_t* duration,
                               std::size_t* returned) = 0;
};

/// A storage controller's port, with the drives behind it.
class PortObject : public IoObject {
 public:
  PortObject(ControllerDescription description, std::uint32_t number)
      : description_(std::move(description)), number_(number) {}

  void control(IoRequest& request) override;

  const ControllerDescription& description() const { return description_; }
  /// Another controller is in its slot, and has what was plugged into this one.
  void exchange(std::string hardwareId) { description_.hardwareId = std::move(hardwareId); }
  std::uint32_t number() const { return number_; }
  void addMiniport(std::unique_ptr<MiniportHandler> handler) {
    miniports_.push_back(std::move(handler));
  }
  /// A drive takes the next target number.
  std::uint8_t attach(Drive& drive);
  const std::vector<Drive*>& drives() const { return drives_; }

  /// A drive that is the whole NVMe controller brings its registers.
  void addRegisters(const NvmeRegisters& registers);
  /// Null unless the port belongs to an NVMe controller.
  const NvmeRegisters* registers() const;
  /// Base class, subclass and programming interface in bits 23 to 0, as the hardware identifier
  /// says ("CC_0108"), or else as the drives behind the port have it.
  std::uint32_t pciClass() const;

  /// "PCI bus 0, device 23, function 0".
  std::string locationText() const;
  /// Path of its device interface.
  std::string interfacePath() const;

 private:
  ControllerDescription description_;
  std::uint32_t number_;
  std::optional<NvmeRegisters> registers_;
  std::vector<Drive*> drives_;
  std::vector<std::unique_ptr<MiniportHandler>> miniports_;
};

}  // namespace ostria::virtual_pc
