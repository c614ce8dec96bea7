// Search for RAID controllers: the vendor library first, then the storage ports that speak CSMI.
#include "raid/raid_component_manager.h"

#include <algorithm>

#include "base/byte_order.h"
#include "raid/csmi/csmi_raid_component.h"
#include "raid/lsi/lsi_layout.h"
#include "raid/lsi/lsi_raid_component.h"
#include "raid/raid_adapter.h"
#include "services/sal.h"

namespace ostria::storage {

namespace {

// Properties of a device: its description, hardware identifier and friendly name.
constexpr std::uint32_t kDescriptionProperty = 0;
constexpr std::uint32_t kHardwareIdProperty = 1;
constexpr std::uint32_t kFriendlyNameProperty = 12;

/// An open port whose controller says over CSMI that it can do RAID.
struct CsmiPort {
  DeviceHandle handle;
  std::string name;
  std::string hardwareId;
};

bool saysRaid(DeviceHandle port) {
  CsmiGetCntrlConfig config;
  return succeeded(csmiSend()->send(port, config)) && config.returnCode() == 0 &&
         config.raidCapable();
}

/// Opens the CSMI ports of the machine; the caller closes them.
std::vector<CsmiPort> openCsmiPorts(DeviceScanner& scanner) {
  std::vector<CsmiPort> ports;
  const auto filter = makeRaidPortFilter();
  if (filter == nullptr || csmiSend() == nullptr) {
    return ports;
  }
  DevicePathMap adapters;
  if (scanner.listPaths(*filter, adapters) != 0) {
    return ports;
  }
  for (const auto& [number, paths] : adapters) {
    CsmiPort port;
    if (scanner.deviceProperty(*filter, number, kHardwareIdProperty, &port.hardwareId) != 0 ||
        !isAcceptedRaidAdapter(port.hardwareId)) {
      continue;
    }
    if (scanner.deviceProperty(*filter, number, kFriendlyNameProperty, &port.name) != 0 ||
        port.name.empty()) {
      scanner.deviceProperty(*filter, number, kDescriptionProperty, &port.name);
    }
    for (const std::string& path : paths) {
      if (scanner.open(path, &port.handle) != 0) {
        continue;
      }
      if (saysRaid(port.handle)) {
        ports.push_back(port);
        break;
      }
      scanner.close(port.handle);
    }
  }
  return ports;
}

std::vector<std::uint32_t> lsiControllers(LsiSender& sender) {
  LsiCmd command(LsiCode::GetControllerList, 0, lsi::kControllerListBytes);
  if (sender.execute(command) != 0) {
    return {};
  }
  const std::vector<std::uint8_t>& list = command.buffer();
  constexpr std::size_t kRoom = (lsi::kControllerListBytes - lsi::kFirstControllerId) / 4;
  std::vector<std::uint32_t> ids;
  for (std::size_t i = 0; i < std::min<std::size_t>(loadLe32(list.data()), kRoom); ++i) {
    const std::uint32_t id = loadLe32(&list[lsi::kFirstControllerId + 4 * i]);
    // A count beyond the list names a controller again and again.
    if (std::find(ids.begin(), ids.end(), id) == ids.end()) {
      ids.push_back(id);
    }
  }
  return ids;
}

}  // namespace

RaidComponentManager::RaidComponentManager(const Identifier& id)
    : SystemComponentManager(id), scanner_(get_device_scanner()) {}

RaidComponentManager::~RaidComponentManager() {
  clear();
  release_device_scanner(scanner_);
}

void RaidComponentManager::clear() {
  for (SystemComponent* component : components_) {
    delete component;
  }
  components_.clear();
  for (const DeviceHandle port : ports_) {
    scanner_->close(port);
  }
  ports_.clear();
}

RaidComponent* RaidComponentManager::raidComponent(std::uint32_t index) {
  return static_cast<RaidComponent*>(component(index));
}

std::vector<DeviceHandle> RaidComponentManager::takePorts() { return std::move(ports_); }

bool RaidComponentManager::hasDevices() {
  LsiSender* sender = getLsiSender();
  if (sender != nullptr && !lsiControllers(*sender).empty()) {
    return true;
  }
  const std::vector<CsmiPort> ports = openCsmiPorts(*scanner_);
  for (const CsmiPort& port : ports) {
    scanner_->close(port.handle);
  }
  return !ports.empty();
}

void RaidComponentManager::scan() {
  clear();
  scanLsi();
  scanCsmi();
}

void RaidComponentManager::scanLsi() {
  LsiSender* sender = getLsiSender();
  if (sender == nullptr) {
    return;
  }
  for (const std::uint32_t id : lsiControllers(*sender)) {
    auto controller = std::make_unique<LsiRaidComponent>(id, sender);
    if (!succeeded(controller->buildProperties())) {
      continue;
    }
    controller->setId(std::to_string(id));
    components_.push_back(controller.release());
  }
}

void RaidComponentManager::scanCsmi() {
  for (const CsmiPort& port : openCsmiPorts(*scanner_)) {
    auto controller =
        std::make_unique<CsmiRaidComponent>(port.handle, port.name, port.hardwareId, csmiSend());
    if (!succeeded(controller->buildProperties())) {
      controller.reset();
      scanner_->close(port.handle);
      continue;
    }
    controller->setId(port.hardwareId);
    ports_.push_back(port.handle);
    components_.push_back(controller.release());
  }
}

}  // namespace ostria::storage
