#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace ostria::storage {

/// One NVMe command and where its data go. The first sixteen dwords, `opcode` to `cdw15`, are the
/// submission queue entry of the NVMe standard in host byte order. Borrows the data buffer: the
/// caller keeps `transferBytes` at `data` alive through the send.
class NvmeCmd {
 public:
  static constexpr std::size_t kImageBytes = 64;

  virtual ~NvmeCmd() = default;

  /// The 64-byte command image, little-endian, as a pass-through block carries it. The field of the
  /// data pointer holds the address of `data`.
  std::array<std::uint8_t, kImageBytes> image() const;

  std::uint32_t opcode = 0;  ///< command dword 0; only the low byte is ever set
  std::uint32_t namespaceId = 0;
  std::uint64_t reserved = 0;
  std::uint64_t metadataPointer = 0;
  void* data = nullptr;
  std::uint64_t dataPointer2 = 0;
  std::uint32_t cdw10 = 0;
  std::uint32_t cdw11 = 0;
  std::uint32_t cdw12 = 0;
  std::uint32_t cdw13 = 0;
  std::uint32_t cdw14 = 0;
  std::uint32_t cdw15 = 0;
  std::uint64_t transferBytes = 0;
  std::uint32_t timeoutSeconds = 30;
  std::uint8_t pathId = 0;      ///< the device behind the port
  std::uint8_t ioQueue = 0;     ///< 1 for the NVM command set, 0 for an admin command
  std::uint8_t fromDevice = 0;  ///< 1 when the data come from the device
};

/// Identify, made blank and then given one form. Each form brings 4096 bytes into `buffer`, which
/// the caller has zeroed.
class NvmeIdentifyDevice : public NvmeCmd {
 public:
  static constexpr std::uint32_t kDataBytes = 4096;

  void fillController(void* buffer);
  void fillNamespace(void* buffer, std::uint32_t id);
  /// The active namespaces: up to 1024 identifiers, ascending, the rest 0.
  void fillNamespaceList(void* buffer);

 private:
  void fill(void* buffer, std::uint32_t id, std::uint32_t structure);
};

class NvmeGetLog : public NvmeCmd {
 public:
  static constexpr std::uint32_t kAllNamespaces = 0xFFFFFFFFu;

  /// @param bytes       a multiple of 4, at least 4
  /// @param identifier  of the thing that the log is about, an endurance group for log 09h; else 0
  NvmeGetLog(void* buffer, std::uint32_t bytes, std::uint32_t log,
             std::uint32_t id = kAllNamespaces, std::uint16_t identifier = 0);
};

class NvmeRead : public NvmeCmd {
 public:
  /// @param sectors  1 to 65536; the caller sets `transferBytes`
  NvmeRead(void* buffer, std::uint64_t lba, std::uint32_t sectors, std::uint32_t id,
           bool forceUnitAccess);
};

class NvmeSelfTestCmd : public NvmeCmd {
 public:
  /// @param code  1 short, 2 extended, 15 abort; the low four bits count
  NvmeSelfTestCmd(std::uint32_t id, std::uint8_t code);
};

}  // namespace ostria::storage
