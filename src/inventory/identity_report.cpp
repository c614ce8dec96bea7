// The list describes a USB disk by its ATA side where that answered, so both sides are asked.
#include "inventory/identity_report.h"

#include "services/device_text.h"

namespace ostria::storage {

bool makeIdentityReport(StorageComponent& component, std::string& text) {
  std::string rows;
  for (StorageProtocol* protocol : {component.storageProtocol(), component.secondaryProtocol()}) {
    StorageProtocolProperties device;
    if (protocol == nullptr || !succeeded(protocol->GetProperties(&device))) {
      continue;
    }
    rows += std::string(rows.empty() ? "" : ",") + R"({"description":"Model","data":")" +
            cleanedDeviceText(device.modelNumber) + R"("},{"description":"Serial","data":")" +
            cleanedDeviceText(device.serialNumber) + "\"}";
  }
  text = "[" + rows + "]";
  return !rows.empty();
}

}  // namespace ostria::storage
