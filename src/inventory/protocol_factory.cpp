// Which protocol reaches a device is found by trying real commands in a fixed order: what a bus is
// called says little about what the bridge behind it understands.
#include "inventory/protocol_factory.h"

#include <cstdint>
#include <regex>
#include <string>

#include "services/number_handler.h"
#include "transport/ata/ata_bridge.h"
#include "transport/ata/ata_protocol.h"
#include "transport/emmc/emmc_protocol.h"
#include "transport/hal/hal_ata_send.h"
#include "transport/nvme/nvme_bridge.h"
#include "transport/nvme/nvme_protocol.h"
#include "transport/nvme/nvme_scsi_protocol.h"
#include "transport/nvme/nvme_system_call_protocol.h"
#include "transport/protocol_over.h"
#include "transport/scsi/scsi_bridge.h"
#include "transport/scsi/scsi_protocol.h"
#include "transport/tunnels/sat_bridge.h"
#include "transport/tunnels/usb_tunnels.h"

namespace ostria::storage {

namespace {

/// The number of the device behind its controller port, from the device's location text.
bool readPortNumber(DeviceScanner& scanner, std::uint32_t deviceNumber, std::uint8_t* port) {
  std::string location;
  if (scanner.deviceProperty(deviceNumber, kLocationInformationProperty, &location) != 0) {
    return false;
  }
  static const std::regex kDigits("([\\d]+)", std::regex::ECMAScript);
  std::smatch match;
  if (!std::regex_search(location, match, kDigits)) {
    return false;
  }
  std::int64_t number = 0;
  if (!getLocalNumberHandler().parseInteger64(&number, match.str(), std::dec)) {
    return false;
  }
  *port = static_cast<std::uint8_t>(number);
  return true;
}

/// The vendor pass-through of the controller's port.
FoundProtocol tryNvmePort(StorageScanner& scanner, const DeviceRecord& record) {
  std::string portPath;
  if (scanner.getMiniportPath(record.deviceNumber, &portPath) != 0) {
    return {};
  }
  ScannedHandle port = openScanned(*scanner.deviceScanner(), portPath);
  if (!port) {
    return {};
  }
  std::uint8_t pathId = 0;
  if (!readPortNumber(*scanner.deviceScanner(), record.deviceNumber, &pathId)) {
    return {};
  }

  std::shared_ptr<NvmeBridge> bridge = std::make_shared<NvmeIntelBridge>(port.get());
  if (!NvmeProtocol::ProbeBridge(*bridge, pathId)) {
    bridge = std::make_shared<NvmeMiniIntelBridge>(port.get());
    if (!NvmeProtocol::ProbeBridge(*bridge, pathId)) {
      return {};
    }
  }
  auto protocol = std::make_unique<NvmeProtocol>(record.handle.get(), std::string());
  protocol->SetProtocolKind(ProtocolKind::Nvme);
  protocol->AddBridge(bridge);
  protocol->SetPathId(pathId);
  return {std::move(port), std::move(protocol)};
}

FoundProtocol tryNvme(StorageScanner& scanner, const DeviceRecord& record,
                      const std::shared_ptr<ScsiBridge>& scsiBridge) {
  FoundProtocol found = tryNvmePort(scanner, record);
  if (found.protocol != nullptr) {
    return found;
  }

  if (probeNvmeSystemCall(record.handle.get())) {
    found.protocol = makeNvmeSystemCallProtocol(record.handle.get(), record.path);
    if (found.protocol != nullptr) {
      found.protocol->SetProtocolKind(ProtocolKind::NvmeSystemCall);
      return found;
    }
  }
  if (ScsiProtocol::ProbeBridge(*scsiBridge)) {
    found.protocol = protocolOver<NvmeScsiProtocol>(scsiBridge, ProtocolKind::NvmeScsi);
  }
  return found;
}

/// An internal disk may answer ATA directly, through the port driver's translation, or both; all
/// that answer serve one protocol.
std::unique_ptr<StorageProtocol> tryInternalAta(const std::shared_ptr<AtaBridge>& ataBridge,
                                                const std::shared_ptr<ScsiBridge>& scsiBridge) {
  std::unique_ptr<AtaProtocol> protocol;
  const auto addIfItAnswers = [&](const std::shared_ptr<AtaBridge>& bridge) {
    if (!AtaProtocol::ProbeBridge(*bridge)) {
      return;
    }
    if (protocol == nullptr) {
      protocol = std::make_unique<AtaProtocol>();
      protocol->SetProtocolKind(ProtocolKind::Ata);
    }
    protocol->AddBridge(bridge);
  };
  addIfItAnswers(ataBridge);
  if (protocol == nullptr || !ataSendSpeaksSat()) {
    addIfItAnswers(std::make_shared<SatBridgeWithCkCondition>(scsiBridge));
  }
  return protocol;
}

/// A USB device whose SCSI side does not describe it may still answer ATA. The kind stays unset.
std::unique_ptr<StorageProtocol> tryExternalSat(const std::shared_ptr<ScsiBridge>& scsiBridge) {
  std::unique_ptr<AtaProtocol> protocol;
  for (const UsbTunnel& tunnel : usbTunnels()) {
    const std::shared_ptr<AtaBridge> bridge = tunnel.over(scsiBridge);
    if (tunnel.carriesAll && AtaProtocol::ProbeBridge(*bridge)) {
      protocol = std::make_unique<AtaProtocol>();
      protocol->AddBridge(bridge);
      break;
    }
  }
  if (protocol == nullptr) {
    return nullptr;
  }
  StorageProtocolProperties properties;
  if (!succeeded(protocol->GetProperties(&properties))) {
    return nullptr;
  }
  return protocol;
}

bool describesItself(StorageProtocol& protocol) {
  StorageProtocolProperties properties;
  properties.busKind = StorageBusKind::Usb;
  return succeeded(protocol.GetProperties(&properties));
}

}  // namespace

FoundProtocol createProtocol(StorageScanner& scanner, const DeviceRecord& record) {
  const DeviceHandle handle = record.handle.get();
  const auto ataBridge = std::make_shared<AtaBridge>(handle);
  const auto scsiBridge = std::make_shared<ScsiBridge>(handle);

  FoundProtocol found;
  if (record.busKind == StorageBusKind::Emmc) {
    found.protocol = std::make_unique<EmmcProtocol>(handle, record.path);
    found.protocol->SetProtocolKind(ProtocolKind::Emmc);
  } else if (record.busKind == StorageBusKind::Nvme) {
    found = tryNvme(scanner, record, scsiBridge);
  }
  if (found.protocol == nullptr && record.connection == DeviceConnection::Internal) {
    found.protocol = tryInternalAta(ataBridge, scsiBridge);
  }
  if (found.protocol == nullptr && ScsiProtocol::ProbeBridge(*scsiBridge)) {
    found.protocol = protocolOver<ScsiProtocol>(scsiBridge, ProtocolKind::Scsi);
  }

  if (record.connection == DeviceConnection::External &&
      (found.protocol == nullptr || !describesItself(*found.protocol))) {
    found.protocol = tryExternalSat(scsiBridge);
    found.port.close();
  }
  return found;
}

std::unique_ptr<StorageProtocol> createSecondaryProtocol(const DeviceRecord& record) {
  if (record.connection != DeviceConnection::External) {
    return nullptr;
  }
  const auto scsiBridge = std::make_shared<ScsiBridge>(record.handle.get());
  auto protocol = std::make_unique<AtaProtocol>();
  // The other way round: the report that it serves reads pages, for which an adapter that does not
  // know CK_COND is the safer guess.
  const auto tunnels = usbTunnels();
  for (auto tunnel = tunnels.rbegin(); tunnel != tunnels.rend(); ++tunnel) {
    if (tunnel->carriesAll) {
      protocol->AddBridge(tunnel->over(scsiBridge));
    }
  }
  return protocol;
}

}  // namespace ostria::storage
