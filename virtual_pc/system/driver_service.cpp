// The driver service's library: PCI class and NVMe registers of the machine's controllers.
#include "virtual_pc/system/driver_service.h"

#include <winerror.h>

#include <algorithm>
#include <array>

#include "base/byte_order.h"
#include "contract/zrd_service_defaults.h"
#include "virtual_pc/system/kernel.h"

namespace ostria::virtual_pc {

namespace {

using storage::PciClass;
using storage::PciLocation;
using storage::ZRDService;
using storage::ZrdServiceDefaults;

constexpr std::size_t kVersionAt = 0x08;
constexpr std::size_t kConfigurationAt = 0x14;
constexpr std::size_t kStatusAt = 0x1C;

/// The registers as they lie in the controller's memory, up to the doorbells.
std::array<std::uint8_t, 4096> imageOf(const NvmeRegisters& registers) {
  std::array<std::uint8_t, 4096> image{};
  if (registers.gone) {
    image.fill(0xFF);
    return image;
  }
  storage::storeLe32(&image[kVersionAt], 0x00010400);
  storage::storeLe32(&image[kConfigurationAt], 0x00460001);  // enabled, queue entries of 64 and 16
  storage::storeLe32(&image[kStatusAt], (registers.ready ? 1u : 0u) | (registers.fatal ? 2u : 0u));
  return image;
}

const PortObject* portAt(Machine& machine, const PciLocation& location) {
  const auto found = std::ranges::find_if(machine.ports(), [&](const auto& port) {
    const ControllerDescription& at = port->description();
    return at.bus == location.bus && at.device == location.device &&
           at.function == location.function;
  });
  return found == machine.ports().end() ? nullptr : found->get();
}

class DriverService final : public ZrdServiceDefaults {
 public:
  std::uint32_t IsAvailable() override {
    const KernelCall call(KernelCall::Kind::Plain);
    const auto& service = call->machine().description().driverService;
    return service && service->available ? 1 : 0;
  }

  std::uint32_t GetPciClass(const PciLocation* location, PciClass* result) override {
    const KernelCall call;
    if (call.fails()) {
      return ERROR_IO_DEVICE;
    }
    if ((location == nullptr) || (result == nullptr)) {
      return ERROR_INVALID_PARAMETER;
    }
    const PortObject* port = portAt(call->machine(), *location);
    if (port == nullptr) {
      return ERROR_FILE_NOT_FOUND;
    }
    const std::uint32_t code = port->pciClass();
    *result = {code >> 16 & 0xFF, code >> 8 & 0xFF, code & 0xFF};
    return 0;
  }

  std::uint32_t ReadControllerRegister(const PciLocation* location, const std::uint64_t* offset,
                                       std::uint32_t* length, std::uint8_t* flag,
                                       void* buffer) override {
    const KernelCall call;
    if (call.fails()) {
      return ERROR_IO_DEVICE;
    }
    if ((location == nullptr) || (offset == nullptr) || (length == nullptr) || (flag == nullptr) ||
        (buffer == nullptr)) {
      return ERROR_INVALID_PARAMETER;
    }
    const PortObject* port = portAt(call->machine(), *location);
    const NvmeRegisters* registers = port != nullptr ? port->registers() : nullptr;
    if ((registers == nullptr) || !registers->readable) {
      return ERROR_FILE_NOT_FOUND;
    }
    const auto image = imageOf(*registers);
    if (*length == 0 || *length % 4 != 0 || *offset % 4 != 0 || *offset > image.size() ||
        *length > image.size() - *offset) {
      return ERROR_INVALID_PARAMETER;
    }
    std::copy_n(&image[*offset], *length, static_cast<std::uint8_t*>(buffer));
    *length = registers->answerBytes != 0 ? registers->answerBytes : *length;
    return 0;
  }
};

ZRDService* createService() { return new DriverService; }
void destroyService(ZRDService* service) { delete service; }

}  // namespace

void addDriverService(Machine::Libraries& libraries) {
  libraries["ostriadiagnosticsdriverservice.dll"] = {
      {"CreateZRDService", reinterpret_cast<Machine::Function>(createService)},
      {"DestroyZRDService", reinterpret_cast<Machine::Function>(destroyService)}};
}

}  // namespace ostria::virtual_pc
