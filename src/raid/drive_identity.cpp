#include "raid/drive_identity.h"

#include "services/string_handler.h"

namespace ostria::storage {

namespace {

std::string cleaned(const std::string& field) {
  std::string text;
  getLocalStringHandler().keepPrintable(field, text);
  getLocalStringHandler().trim(text);
  return text;
}

}  // namespace

bool identifyDrive(StorageProtocol& protocol, RaidPhysicalDrive* drive) {
  StorageProtocolProperties properties;
  if (!succeeded(protocol.GetProperties(&properties))) {
    return false;
  }
  drive->manufacturer = cleaned(properties.vendor);
  drive->model = cleaned(properties.modelNumber);
  drive->serial = cleaned(properties.serialNumber);
  drive->size = properties.totalSectors * properties.logicalSectorSize;
  return true;
}

}  // namespace ostria::storage
