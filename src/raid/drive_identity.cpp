// Identity of a drive behind a controller, asked through the protocol that the tests use, so that
// the list and the tests cannot differ.
#include "raid/drive_identity.h"

#include "base/byte_size.h"
#include "services/device_text.h"

namespace ostria::storage {

bool identifyDrive(StorageProtocol& protocol, RaidPhysicalDrive* drive) {
  StorageProtocolProperties properties;
  if (!succeeded(protocol.GetProperties(&properties))) {
    return false;
  }
  drive->manufacturer = cleanedDeviceText(properties.vendor);
  drive->model = cleanedDeviceText(properties.modelNumber);
  drive->serial = cleanedDeviceText(properties.serialNumber);
  drive->size = saturatedBytes(properties.totalSectors, properties.logicalSectorSize);
  return true;
}

}  // namespace ostria::storage
