#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/linux/raid/megaraid_node.h"
#include "raid/lsi/lsi_cmd.h"

namespace ostria::storage {

/// The ten commands of LSI controllers as frames for the kernel's driver. The numbers of
/// controllers are those of their SCSI hosts. A command that is not one of the ten, a buffer too
/// small for its header, a drive that a frame cannot address (above 255) and, in a read-only
/// process, what would change a medium are refused without a frame.
class LinuxLsiSender final : public LsiSender {
 public:
  explicit LinuxLsiSender(std::unique_ptr<MegaraidDriver> driver) : driver_(std::move(driver)) {}

  /// @return 0; below 256 the status of the frame; above, 256 plus the errno of the refusal
  std::uint32_t execute(LsiCmd& command) override;

 private:
  struct Mailbox {
    std::uint16_t first = 0;
  };

  std::uint32_t send(mfi::Packet& packet);
  std::uint32_t ask(std::uint32_t controller, mfi::Opcode opcode, Mailbox mailbox,
                    std::vector<std::uint8_t>& answer, std::size_t bytes);
  std::uint32_t listControllers(LsiCmd& command);
  std::uint32_t readConfiguration(std::uint32_t controller, std::vector<std::uint8_t>& answer);
  std::uint32_t listArray(LsiCmd& command);
  std::uint32_t sendScsi(LsiCmd& command);
  std::uint32_t sendAta(LsiCmd& command);

  std::unique_ptr<MegaraidDriver> driver_;
};

}  // namespace ostria::storage
