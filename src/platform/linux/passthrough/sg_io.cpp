// SG_IO on a block device: one SCSI command, for which the kernel waits whatever happens.
#include "platform/linux/passthrough/sg_io.h"

#include <scsi/sg.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "platform/linux/io/fd_handle.h"
#include "platform/linux/passthrough/keep_asleep.h"
#include "platform/linux/passthrough/read_only.h"

namespace ostria::storage {
namespace {

struct Free {
  void operator()(void* memory) const { std::free(memory); }
};

// Pages that the kernel can hand to the controller as they are.
std::unique_ptr<void, Free> makeBlock(std::size_t bytes) {
  constexpr std::size_t kPage = 4096;
  const std::size_t rounded = (bytes + kPage - 1) / kPage * kPage;
  std::unique_ptr<void, Free> block(std::aligned_alloc(kPage, rounded));
  if (block != nullptr) {
    std::memset(block.get(), 0, rounded);
  }
  return block;
}

int directionOf(const SgCommand& command) {
  if (command.transferBytes == 0) {
    return SG_DXFER_NONE;
  }
  switch (command.direction) {
    case DataDirection::FromDevice:
      return SG_DXFER_FROM_DEV;
    case DataDirection::ToDevice:
      return SG_DXFER_TO_DEV;
    case DataDirection::None:
      break;
  }
  return SG_DXFER_NONE;
}

}  // namespace

int sendSgCommand(DeviceHandle handle, SgCommand& command) {
  if (isReadOnly() && changesMedium(command)) {
    return EROFS;
  }
  if (const auto asleep = sleepingDisk(descriptorOf(handle))) {
    if (const auto result = answerAsleep(*asleep, command)) {
      return *result;
    }
  }
  const int direction = directionOf(command);
  std::unique_ptr<void, Free> block;
  if (direction != SG_DXFER_NONE) {
    if (command.data == nullptr) {
      return EINVAL;
    }
    block = makeBlock(command.transferBytes);
    if (block == nullptr) {
      return ENOMEM;
    }
    if (direction == SG_DXFER_TO_DEV) {
      std::memcpy(block.get(), command.data, command.transferBytes);
    }
  }

  sg_io_hdr_t header = {};
  header.interface_id = 'S';
  header.dxfer_direction = direction;
  header.cmd_len = command.cdbLength;
  header.cmdp = command.cdb.data();
  header.dxfer_len = direction == SG_DXFER_NONE ? 0 : command.transferBytes;
  header.dxferp = block.get();
  header.mx_sb_len = static_cast<std::uint8_t>(command.sense.size());
  header.sbp = command.sense.data();
  header.timeout = std::min(command.timeoutSeconds, 0xFFFFFFFFu / 1000) * 1000;
  // A signal may end the wait, never the command: sending it again would execute it twice.
  if (::ioctl(descriptorOf(handle), SG_IO, &header) < 0) {
    return errno == 0 ? EIO : errno;
  }

  constexpr int kSenseAvailable = 0x08;
  if (header.host_status != 0 || (header.driver_status & 0x0F & ~kSenseAvailable) != 0) {
    return EIO;
  }

  command.status = header.status;
  command.senseLength = header.sb_len_wr;
  const auto asked = static_cast<std::int64_t>(header.dxfer_len);
  command.movedBytes =
      static_cast<std::uint32_t>(std::clamp<std::int64_t>(asked - header.resid, 0, asked));
  if (direction == SG_DXFER_FROM_DEV) {
    std::memcpy(command.data, block.get(), command.movedBytes);
  }
  return 0;
}

}  // namespace ostria::storage
