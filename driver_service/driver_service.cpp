// The driver service's entry points and its answers, in terms of one PCI function.

#include <new>

#include "contract/zrd_service_defaults.h"
#include "driver_service/pci_function.h"

namespace ostria::storage {
namespace {

/// The service on Linux: PCI configuration and controller registers through sysfs.
class LinuxZRDService final : public ZrdServiceDefaults {
 public:
  std::uint32_t GetPciClass(const PciLocation* location, PciClass* result) override {
    if (location == nullptr || result == nullptr) {
      return 1;
    }
    const auto code = PciFunction(*location).classCode();
    if (!code) {
      return 1;
    }
    result->baseClass = *code >> 16 & 0xFF;
    result->subclass = *code >> 8 & 0xFF;
    result->programmingInterface = *code & 0xFF;
    return 0;
  }

  std::uint32_t IsAvailable() override {
    return PciFunction::readable() && PciFunction::registersOpen() ? 1 : 0;
  }

  std::uint32_t ReadControllerRegister(const PciLocation* location, const std::uint64_t* offset,
                                       std::uint32_t* length, std::uint8_t* flag,
                                       void* buffer) override {
    if (location == nullptr || offset == nullptr || length == nullptr || buffer == nullptr) {
      return 1;
    }
    if (!PciFunction(*location).readRegisters(*offset, *length, buffer)) {
      return 1;
    }
    if (flag != nullptr) {
      *flag = 0;
    }
    return 0;
  }
};

}  // namespace
}  // namespace ostria::storage

extern "C" {

OSTRIA_ZRD_EXPORT ostria::storage::ZRDService* CreateZRDService() {
  return new (std::nothrow) ostria::storage::LinuxZRDService;
}

OSTRIA_ZRD_EXPORT void DestroyZRDService(ostria::storage::ZRDService* service) { delete service; }
}
