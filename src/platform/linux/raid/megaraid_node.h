#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/linux/io/fd_handle.h"
#include "platform/linux/raid/megaraid_packet.h"

namespace ostria::storage {

/// The megaraid_sas driver of the kernel.
class MegaraidDriver {
 public:
  virtual ~MegaraidDriver() = default;
  /// SCSI host numbers of the controllers that it serves, in their order.
  virtual std::vector<std::uint32_t> controllers() const = 0;
  /// Hands a packet to the controller and waits for it.
  /// @return 0 when the controller has worked on it, how is in the frame's status; else an errno
  virtual int send(mfi::Packet& packet) = 0;
};

/// The driver through its management node, which is opened at the first packet and stays open.
class MegaraidNode final : public MegaraidDriver {
 public:
  /// @param root  folder that stands for "/", for a saved tree
  explicit MegaraidNode(std::string root = "") : root_(std::move(root)) {}

  std::vector<std::uint32_t> controllers() const override;
  int send(mfi::Packet& packet) override;

  /// Major number of the node by /proc/devices; 0 when the driver is not loaded.
  unsigned majorNumber() const;
  /// Version of the driver; empty when it is not loaded.
  std::string version() const;

 private:
  int open();

  std::string root_;
  FdOwner node_;
};

}  // namespace ostria::storage
