// A storage controller's port: its address and its vendor requests.
#include "virtual_pc/system/port.h"

#include <ntddscsi.h>
#include <winerror.h>

#include <algorithm>
#include <charconv>
#include <cstring>

#include "base/byte_order.h"

namespace ostria::virtual_pc {

namespace {
constexpr std::uint32_t kNvmeControllerClass = 0x010802;
}

std::uint8_t PortObject::attach(Drive& drive) {
  drives_.push_back(&drive);
  return static_cast<std::uint8_t>(drives_.size() - 1);
}

void PortObject::addRegisters(const NvmeRegisters& registers) {
  if (!registers_) {
    registers_ = registers;
    return;
  }
  registers_->readable = registers_->readable && registers.readable;
  registers_->ready = registers_->ready && registers.ready;
  registers_->fatal = registers_->fatal || registers.fatal;
}

const NvmeRegisters* PortObject::registers() const {
  return registers_ && pciClass() == kNvmeControllerClass ? &*registers_ : nullptr;
}

std::uint32_t PortObject::pciClass() const {
  constexpr std::uint32_t kOtherStorage = 0x018000;
  const std::string& id = description_.hardwareId;
  const std::size_t at = id.find("CC_");
  std::uint32_t code = 0;
  if (at == std::string::npos ||
      std::from_chars(id.data() + at + 3, id.data() + id.size(), code, 16).ec != std::errc()) {
    return registers_ ? kNvmeControllerClass : kOtherStorage;
  }
  if (code > 0xFFFF) {
    return code & 0xFFFFFF;
  }
  return code << 8 == (kNvmeControllerClass & 0xFFFF00) ? kNvmeControllerClass : code << 8;
}

std::string PortObject::locationText() const {
  return "PCI bus " + std::to_string(description_.bus) + ", device " +
         std::to_string(description_.device) + ", function " +
         std::to_string(description_.function);
}

std::string PortObject::interfacePath() const {
  std::string id = description_.hardwareId;
  for (char& c : id) {
    if (c == '\\') {
      c = '#';
    }
  }
  return "\\\\?\\" + id + "#" + std::to_string(number_) + "#{2accfe60-c130-11d2-b082-00a0c91efb8b}";
}

void PortObject::control(IoRequest& request) {
  if (request.code != IOCTL_SCSI_MINIPORT) {
    return request.fail(ERROR_INVALID_FUNCTION);
  }
  std::vector<std::uint8_t>& block = request.input;
  if (block.size() < sizeof(SRB_IO_CONTROL) ||
      storage::loadLe32(block.data()) != sizeof(SRB_IO_CONTROL) ||
      storage::loadLe32(block.data() + offsetof(SRB_IO_CONTROL, Length)) >
          block.size() - sizeof(SRB_IO_CONTROL)) {
    return request.fail(ERROR_INVALID_PARAMETER);
  }
  for (const auto& miniport : miniports_) {
    const std::string_view signature = miniport->signature();
    if (std::memcmp(block.data() + 4, signature.data(),
                    std::min<std::size_t>(8, signature.size())) != 0 ||
        !miniport->accepts(block)) {
      continue;
    }
    std::size_t returned = block.size();
    const std::uint32_t error = miniport->handle(block, &request.durationMicroseconds, &returned);
    if (error) {
      return request.fail(error);
    }
    return request.answerCut(block.data(), std::min(returned, block.size()));
  }
  request.fail(ERROR_INVALID_FUNCTION);
}

}  // namespace ostria::virtual_pc
