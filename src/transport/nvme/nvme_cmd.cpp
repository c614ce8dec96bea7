// Submission queue entries of the NVMe base and NVM command set standards.

#include "transport/nvme/nvme_cmd.h"

#include "base/byte_order.h"

namespace ostria::storage {

namespace {

constexpr std::uint32_t kOpcodeGetLogPage = 0x02;  // admin
constexpr std::uint32_t kOpcodeIdentify = 0x06;    // admin
constexpr std::uint32_t kOpcodeSelfTest = 0x14;    // admin
constexpr std::uint32_t kOpcodeRead = 0x02;        // NVM command set
constexpr std::uint32_t kForceUnitAccessBit = 0x40000000;

// A send may take the image as one block, so the fields have to lie as the standard wants them.
// The class is polymorphic, hence offsets from the first field.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof"
static_assert(sizeof(void*) == 8);
static_assert(offsetof(NvmeCmd, namespaceId) - offsetof(NvmeCmd, opcode) == 4);
static_assert(offsetof(NvmeCmd, reserved) - offsetof(NvmeCmd, opcode) == 8);
static_assert(offsetof(NvmeCmd, metadataPointer) - offsetof(NvmeCmd, opcode) == 16);
static_assert(offsetof(NvmeCmd, data) - offsetof(NvmeCmd, opcode) == 24);
static_assert(offsetof(NvmeCmd, dataPointer2) - offsetof(NvmeCmd, opcode) == 32);
static_assert(offsetof(NvmeCmd, cdw10) - offsetof(NvmeCmd, opcode) == 40);
static_assert(offsetof(NvmeCmd, cdw15) - offsetof(NvmeCmd, opcode) == 60);
static_assert(offsetof(NvmeCmd, transferBytes) - offsetof(NvmeCmd, opcode) == NvmeCmd::kImageBytes);
#pragma GCC diagnostic pop

}  // namespace

std::array<std::uint8_t, NvmeCmd::kImageBytes> NvmeCmd::image() const {
  std::array<std::uint8_t, kImageBytes> bytes{};
  std::uint8_t* p = bytes.data();
  storeLe32(p, opcode);
  storeLe32(p + 4, namespaceId);
  storeLe64(p + 8, reserved);
  storeLe64(p + 16, metadataPointer);
  storeLe64(p + 24, reinterpret_cast<std::uintptr_t>(data));
  storeLe64(p + 32, dataPointer2);
  storeLe32(p + 40, cdw10);
  storeLe32(p + 44, cdw11);
  storeLe32(p + 48, cdw12);
  storeLe32(p + 52, cdw13);
  storeLe32(p + 56, cdw14);
  storeLe32(p + 60, cdw15);
  return bytes;
}

void NvmeIdentifyDevice::fill(void* buffer, std::uint32_t id, std::uint32_t structure) {
  opcode = kOpcodeIdentify;
  namespaceId = id;
  data = buffer;
  cdw10 = structure;
  transferBytes = kDataBytes;
  fromDevice = 1;
}

void NvmeIdentifyDevice::fillController(void* buffer) { fill(buffer, 0, 1); }

void NvmeIdentifyDevice::fillNamespace(void* buffer, std::uint32_t id) { fill(buffer, id, 0); }

void NvmeIdentifyDevice::fillNamespaceList(void* buffer) { fill(buffer, 0, 2); }

NvmeGetLog::NvmeGetLog(void* buffer, std::uint32_t bytes, std::uint32_t log, std::uint32_t id,
                       std::uint16_t identifier) {
  const std::uint32_t dwordsMinusOne = bytes / 4 - 1;
  opcode = kOpcodeGetLogPage;
  namespaceId = id;
  data = buffer;
  cdw10 = log + (dwordsMinusOne << 16);
  cdw11 = (dwordsMinusOne >> 16) | std::uint32_t{identifier} << 16;
  transferBytes = bytes;
  fromDevice = 1;
}

NvmeRead::NvmeRead(void* buffer, std::uint64_t lba, std::uint32_t sectors, std::uint32_t id,
                   bool forceUnitAccess) {
  opcode = kOpcodeRead;
  namespaceId = id;
  data = buffer;
  cdw10 = static_cast<std::uint32_t>(lba);
  cdw11 = static_cast<std::uint32_t>(lba >> 32);
  cdw12 = (sectors - 1) | (forceUnitAccess ? kForceUnitAccessBit : 0);
  ioQueue = 1;
  fromDevice = 1;
}

NvmeSelfTestCmd::NvmeSelfTestCmd(std::uint32_t id, std::uint8_t code) {
  opcode = kOpcodeSelfTest;
  namespaceId = id;
  cdw10 = code & 0x0Fu;
}

}  // namespace ostria::storage
