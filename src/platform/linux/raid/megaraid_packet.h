// What the megaraid_sas driver takes at its management node (drivers/scsi/megaraid/megaraid_sas.h
// of the kernel): a packet with a frame of the controller's message-frame interface (MFI), and the
// blocks of memory that the controller reads and fills. All numbers are little-endian.
#pragma once

#include <linux/ioctl.h>
#include <sys/uio.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace ostria::storage::mfi {

inline constexpr std::size_t kMaxBlocks = 16;
inline constexpr std::size_t kFrameBytes = 128;

struct [[gnu::packed]] Packet {
  std::uint16_t host = 0;  ///< SCSI host number of the controller
  std::uint16_t reserved = 0;
  std::uint32_t blocksAt =
      0;  ///< offset in the frame of the list of blocks, which the driver writes
  std::uint32_t blockCount = 0;  ///< of `blocks`
  std::uint32_t senseAt = 0;     ///< offset in the frame of the address of the sense data
  std::uint32_t senseBytes = 0;  ///< 0: no sense data wanted
  std::array<std::uint8_t, kFrameBytes> frame{};
  std::array<std::uint8_t, kMaxBlocks * sizeof(iovec)> blocks{};  ///< of `iovec`, not aligned
};
static_assert(offsetof(Packet, frame) == 20);
static_assert(sizeof(void*) != 8 || sizeof(Packet) == 404);

/// @param index  below `kMaxBlocks`
inline void setBlock(Packet& packet, std::size_t index, const iovec& block) {
  std::memcpy(&packet.blocks[index * sizeof(iovec)], &block, sizeof(iovec));
}
inline iovec blockOf(const Packet& packet, std::size_t index) {
  iovec block;
  std::memcpy(&block, &packet.blocks[index * sizeof(iovec)], sizeof(iovec));
  return block;
}

/// Executes a packet. The driver waits for the controller, whatever happens.
inline constexpr unsigned long kIoctlFirmware = _IOWR('M', 1, Packet);

/// Command byte of a frame.
enum class Command : std::uint8_t { ScsiToDrive = 4, Controller = 5, AtaToDrive = 7 };

/// Opcodes of `Command::Controller`.
enum class Opcode : std::uint32_t {
  ControllerInfo = 0x01010000,
  DriveList = 0x02010000,
  DriveInfo = 0x02020000,
  LogicalList = 0x03010000,
  LogicalInfo = 0x03030000,
  Configuration = 0x04010000,
};

// Fields that all frames have.
inline constexpr std::size_t kCommandAt = 0;
inline constexpr std::size_t kSenseBytesAt = 1;
inline constexpr std::size_t kStatusAt = 2;  ///< the one field that the driver copies back
inline constexpr std::size_t kTargetAt = 4;
inline constexpr std::size_t kCdbLengthAt = 6;
inline constexpr std::size_t kBlockCountAt = 7;
inline constexpr std::size_t kFlagsAt = 16;
inline constexpr std::size_t kTimeoutAt = 18;  ///< seconds
inline constexpr std::size_t kTransferBytesAt = 20;
inline constexpr std::uint16_t kFlagToDevice = 0x08;
inline constexpr std::uint16_t kFlagFromDevice = 0x10;

// `Command::Controller`.
inline constexpr std::size_t kOpcodeAt = 24;
inline constexpr std::size_t kMailboxAt = 28;
inline constexpr std::size_t kControllerBlocksAt = 40;

// `Command::ScsiToDrive`.
inline constexpr std::size_t kSenseAddressAt = 24;
inline constexpr std::size_t kCdbAt = 32;
inline constexpr std::size_t kCdbBytes = 16;
inline constexpr std::size_t kScsiBlocksAt = 48;

// `Command::AtaToDrive`: two blocks, the reply FIS and the data.
inline constexpr std::size_t kFisAt = 24;
inline constexpr std::size_t kFisBytes = 20;
inline constexpr std::size_t kAtaFlagsAt = 44;
inline constexpr std::size_t kAtaBlocksAt = 48;

// Status of a frame.
inline constexpr std::uint8_t kStatusGood = 0x00;
inline constexpr std::uint8_t kStatusScsiError =
    0x2D;                                           ///< the drive answered with a status of its own
inline constexpr std::uint8_t kStatusUnset = 0xFF;  ///< put there before; it never comes back

}  // namespace ostria::storage::mfi
