// The property list of a device and the groups of its partitions. Keys are message keys that the
// host translates; their order is the one that is shown.
#include "inventory/device_properties.h"

#include <string>

#include "base/byte_size.h"
#include "services/device_text.h"
#include "services/number_handler.h"
#include "services/sal.h"

namespace ostria::storage {
namespace {

std::string sizeText(std::uint64_t bytes) {
  std::string out;
  get_number_handler()->formatBytes(out, bytes);
  return out;
}

std::string deviceIdentity(const std::string& vendor, const std::string& model,
                           const std::string& serial) {
  std::string joined = vendor;
  for (const std::string& part : {model, serial}) {
    if (!joined.empty()) {
      joined += '-';
    }
    joined += part;
  }
  std::string out;
  get_string_handler()->removeBlanks(joined, out);
  return out;
}

/// Appends to a list of properties, leaving out what has no value.
class PropertyWriter {
 public:
  explicit PropertyWriter(std::vector<PropertyEntry>& list) : list_(list) {}

  void text(const char* key, const std::string& value) {
    if (!value.empty()) {
      list_.push_back({key, value});
    }
  }
  void number(const char* key, std::uint64_t value) {
    if (value != 0) {
      list_.push_back({key, std::to_string(value)});
    }
  }

 private:
  std::vector<PropertyEntry>& list_;
};

void setParent(StorageComponent& component, const std::string& parentName) {
  auto& attributes = component.attributeMap();
  if (!parentName.empty()) {
    attributes["parent"] = "RAID_ATTACHED_DRIVES\\" + parentName;
  } else if (component.connection() == DeviceConnection::Internal) {
    attributes["parent"] = "LOCAL_DRIVES";
  } else if (component.connection() == DeviceConnection::External) {
    attributes["parent"] = "USB_DRIVES";
  }
}

std::string temperatureText(StorageProtocol& protocol) {
  std::uint8_t celsius = 0;
  if (succeeded(protocol.GetTemperature(&celsius)) && celsius > 0) {
    return std::to_string(celsius) + " °C";
  }
  return "NOT_AVAILABLE";
}

void addTechnicalData(StorageComponent& component, StorageProtocol& protocol,
                      const StorageProtocolProperties& device, PropertyWriter& out) {
  if (device.totalSectors > 0 && device.logicalSectorSize > 0) {
    out.text("SIZE", sizeText(saturatedBytes(device.totalSectors, device.logicalSectorSize)));
  }
  if (device.rotationRate != 0) {
    out.text("ROTATION_RATE", std::to_string(device.rotationRate) + " RPM");
  }
  if (device.cacheSize > 0 && device.logicalSectorSize > 0) {
    out.text("CACHE", sizeText(saturatedBytes(device.cacheSize, device.logicalSectorSize)));
  }
  out.text("TEMPERATURE", temperatureText(protocol));
  out.number("PHYSICAL_SECTOR_SIZE", device.physicalSectorSize);
  out.number("LOGICAL_SECTOR_SIZE", device.logicalSectorSize);
  out.number("LOGICAL_SECTORS", device.totalSectors);
  // Whatever is spoken through it, the bridge of an external disk is a SCSI device.
  out.text("PROTOCOL",
           component.connection() == DeviceConnection::External ? "SCSI" : device.protocolName);
  out.text("SPEC_VERSION", device.standardVersion);
  if (const PartitionTable* table = component.partitionTable()) {
    out.text("PARTITION_SCHEMA", table->schema);
    out.text("UNALLOCATED", sizeText(table->unallocatedBytes));
  }
}

}  // namespace

ProtocolResult fillProperties(StorageComponent& component, StorageProtocol* source,
                              const std::string& parentName, DriverVersions* drivers) {
  StorageProtocol* const protocol = source != nullptr ? source : component.storageProtocol();
  if (protocol == nullptr) {
    return ProtocolResult::Failure;
  }
  // A SCSI protocol asks a USB device less than another one.
  StorageProtocolProperties device;
  device.busKind = component.busKind();
  if (const ProtocolResult result = protocol->GetProperties(&device); !succeeded(result)) {
    return result;
  }

  const std::string vendor = cleanedDeviceText(device.vendor);
  const std::string model = cleanedDeviceText(device.modelNumber);
  const std::string serial = cleanedDeviceText(device.serialNumber);

  std::string displayName = model;
  const std::uint32_t sectorSize =
      device.logicalSectorSize != 0 ? device.logicalSectorSize : device.physicalSectorSize;
  if (device.totalSectors != 0 && sectorSize != 0) {
    displayName += " - " + sizeText(saturatedBytes(device.totalSectors, sectorSize));
  }
  component.setNames(displayName, model);

  PropertyWriter out(component.propertyList());
  out.text("UDI", deviceIdentity(vendor, model, serial));
  out.text("MANUFACTURER", vendor);
  out.text("MODEL", model);
  out.text("SERIAL", serial);
  out.text("CURRENT_8S_LABEL", device.fruPartNumber);
  out.text("FIRMWARE", device.firmwareRevision);
  setParent(component, parentName);
  component.attributeMap()["NonRotatingMedia"] = device.solidState ? "T" : "F";
  addTechnicalData(component, *protocol, device, out);
  // The driver of a RAID member's controller is no disk driver.
  if (drivers != nullptr && component.connection() != DeviceConnection::RaidMember) {
    if (const std::string version = drivers->of(model); version != "error") {
      out.text("DRIVER_VERSION", version);
    }
  }
  return ProtocolResult::Success;
}

void fillPartitionSections(StorageComponent& component) {
  const PartitionTable* table = component.partitionTable();
  if (table == nullptr) {
    return;
  }
  for (const PartitionEntry& partition : table->partitions) {
    PropertySection section;
    section.title = "PARTITION";
    PropertyWriter out(section.entries);
    out.text("INDEX", std::to_string(partition.number));
    out.text("PARTITION_TYPE", partition.typeText);
    if (partition.typeText == "EXTENDED") {
      out.text("SIZE", sizeText(partition.sizeBytes));
    } else {
      out.text("FILE_SYSTEM", partition.fileSystem);
      out.text("LABEL", partition.label);
      if (!partition.mountPoints.empty()) {
        out.text("MOUNT_POINT", partition.mountPoints.front());
      }
      out.text("SERIAL", partition.serial);
      if (partition.sizeBytes != 0) {
        out.text("SIZE", sizeText(partition.sizeBytes));
      }
      if (partition.usedBytes != 0 || partition.freeBytes != 0) {
        out.text("USED", sizeText(partition.usedBytes));
        out.text("FREE", sizeText(partition.freeBytes));
      }
    }
    component.sectionList().push_back(std::move(section));
  }
}

}  // namespace ostria::storage
