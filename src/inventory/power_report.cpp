// CHECK POWER MODE alone, through the protocol that the health report asks: a host says of a drive
// that it is woken before it is, and asks the other drives nothing.
#include "inventory/power_report.h"

#include <cstdint>
#include <vector>

#include "base/sector_size.h"

namespace ostria::storage {

bool makePowerReport(StorageComponent& component, std::string& text) {
  StorageProtocol* asked = component.storageProtocol();
  if (component.connection() == DeviceConnection::External &&
      component.secondaryProtocol() != nullptr) {
    asked = component.secondaryProtocol();
  }
  std::uint32_t mode = StorageProtocol::OtherMode;
  if (asked == nullptr || asked->GetProtocolKind() != ProtocolKind::Ata ||
      !succeeded(asked->GetPowerMode(&mode))) {
    return false;
  }
  text = std::string(R"([{"description":"Power Mode","data":")") +
         (mode == StorageProtocol::Standby ? "standby" : "awake") + "\"}]";
  return true;
}

bool makeWakeReport(StorageComponent& component, std::string& text) {
  constexpr std::uint32_t kTimeoutSeconds = 30;  // a large disk takes half of that to spin up
  StorageProtocol* const protocol = component.storageProtocol();
  StorageProtocolProperties device;
  if (protocol == nullptr || !succeeded(protocol->GetCachedProperties(&device)) ||
      device.logicalSectorSize < kSmallestSectorBytes) {
    return false;
  }
  std::vector<std::uint8_t> sector(device.logicalSectorSize);
  // What was read plays no part, nor whether it could be.
  (void)protocol->Read(0, 1, kTimeoutSeconds, sector.data(), device.logicalSectorSize);
  return makePowerReport(component, text);
}

}  // namespace ostria::storage
