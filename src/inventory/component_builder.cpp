// A component from an opened device. A USB disk that speaks SCSI is also tried over the ATA
// tunnels, since its bridge describes itself and not the drive.
#include "inventory/component_builder.h"

#include "base/byte_size.h"
#include "inventory/device_properties.h"
#include "transport/ata/ata_protocol.h"
#include "transport/scsi/scsi_bridge.h"
#include "transport/tunnels/usb_tunnels.h"

namespace ostria::storage {

namespace {

StorageProtocolProperties recordFor(StorageBusKind busKind) {
  StorageProtocolProperties properties;
  properties.busKind = busKind;
  return properties;
}

/// @param readsHang  out: whether the disk leaves reads without an answer
std::unique_ptr<PartitionTable> readTable(StorageScanner& scanner, const DeviceRecord& record,
                                          StorageProtocol& protocol, bool& readsHang) {
  StorageProtocolProperties properties = recordFor(record.busKind);
  // Without an answer the size is 0; the layout itself still comes from the operating system.
  (void)protocol.GetProperties(&properties);
  auto table = std::make_unique<PartitionTable>();
  const std::uint64_t size = saturatedBytes(properties.totalSectors, properties.logicalSectorSize);
  const int result = scanner.readPartitionTable(record.deviceNumber, table.get(), size);
  readsHang = result == StorageScanner::kReadsDoNotEnd;
  const bool known = result == 0 || (readsHang && !table->partitions.empty());
  return known ? std::move(table) : nullptr;
}

/// The ATA side of a device behind a USB bridge; null when no kind of bridge answers.
std::unique_ptr<AtaProtocol> findAtaBehindUsb(DeviceHandle handle) {
  const auto scsiBridge = std::make_shared<ScsiBridge>(handle);
  std::unique_ptr<AtaProtocol> protocol;
  for (const UsbTunnel& tunnel : usbTunnels()) {
    const std::shared_ptr<AtaBridge> bridge = tunnel.over(scsiBridge);
    if (!AtaProtocol::ProbeBridge(*bridge)) {
      continue;
    }
    if (protocol == nullptr) {
      protocol = std::make_unique<AtaProtocol>();
    }
    protocol->AddBridge(bridge);
  }
  return protocol;
}

/// Keeps what the ATA side of an external device knows of its password.
void keepSecurity(StorageComponent& component, const StorageProtocol& ata) {
  StorageProtocolProperties seenByAta;
  if (succeeded(ata.GetCachedProperties(&seenByAta))) {
    component.setSecuritySupported(seenByAta.securitySupported);
    component.setSecurityLocked(seenByAta.securityLocked);
  }
}

/// Fills the properties through the ATA side of a USB device.
/// @return false when there is none, or it could not fill them
bool fillThroughUsbBridge(StorageComponent& component, DriverVersions* drivers) {
  StorageProtocol& own = *component.storageProtocol();
  const auto ata = findAtaBehindUsb(own.GetDeviceHandle());
  if (ata == nullptr) {
    return false;
  }
  const bool filled = succeeded(fillProperties(component, ata.get(), {}, drivers));
  keepSecurity(component, *ata);
  // The probes went past the component's own protocol, so its view of the device is read anew; when
  // that fails, the cache keeps what it had.
  StorageProtocolProperties refreshed = recordFor(component.busKind());
  (void)own.GetProperties(&refreshed);
  return filled;
}

}  // namespace

std::unique_ptr<StorageComponent> buildComponent(StorageScanner& scanner,
                                                 const DeviceRecord& record,
                                                 std::unique_ptr<StorageProtocol> protocol,
                                                 std::unique_ptr<StorageProtocol> secondaryProtocol,
                                                 DriverVersions* drivers) {
  const bool details = drivers != nullptr;
  bool readsHang = false;
  auto table = details ? readTable(scanner, record, *protocol, readsHang) : nullptr;
  std::string id;
  if (scanner.getDeviceId(record.deviceNumber, &id) != 0) {
    return nullptr;
  }

  const ProtocolKind kind = protocol->GetProtocolKind();
  auto component = std::make_unique<StorageComponent>(std::move(protocol), std::move(table));
  component->setSecondaryProtocol(std::move(secondaryProtocol));
  component->setConnection(record.connection);
  component->setId(id);
  component->setBusKind(record.busKind);
  component->setOptaneVolume(record.optaneVolume);
  component->setReadsHang(readsHang);

  const bool behindUsbBridge = record.busKind != StorageBusKind::Emmc &&
                               record.connection == DeviceConnection::External &&
                               kind == ProtocolKind::Scsi;
  const bool filled = (behindUsbBridge && fillThroughUsbBridge(*component, drivers)) ||
                      succeeded(fillProperties(*component, nullptr, {}, drivers));
  if (!filled) {
    return nullptr;
  }
  // A USB device that came over the ATA fallback has no ATA side beside its own protocol.
  if (record.connection == DeviceConnection::External &&
      dynamic_cast<const AtaProtocol*>(component->storageProtocol()) != nullptr) {
    keepSecurity(*component, *component->storageProtocol());
  }
  fillPartitionSections(*component);
  return component;
}

}  // namespace ostria::storage
