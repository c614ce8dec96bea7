// Search for RAID controllers: the vendor library first, then the storage ports that speak CSMI.
#include "raid/raid_component_manager.h"

#include <algorithm>

#include "base/byte_order.h"
#include "raid/csmi/csmi_raid_component.h"
#include "raid/lsi/lsi_layout.h"
#include "raid/lsi/lsi_raid_component.h"
#include "raid/raid_adapter.h"
#include "services/sal.h"
#include "services/scanned_handle.h"

namespace ostria::storage {

namespace {

// Properties of a device: its description, hardware identifier and friendly name.
constexpr std::uint32_t kDescriptionProperty = 0;
constexpr std::uint32_t kHardwareIdProperty = 1;
constexpr std::uint32_t kFriendlyNameProperty = 12;

/// An open port whose controller says over CSMI that it can do RAID.
struct CsmiPort {
  ScannedHandle handle;
  std::string name;
  std::string hardwareId;
};

bool saysRaid(DeviceHandle port) {
  CsmiGetCntrlConfig config;
  return succeeded(csmiSend()->send(port, config)) && config.returnCode() == 0 &&
         config.raidCapable();
}

std::string propertyOf(const ListedDevice& device, std::uint32_t code) {
  const auto found = device.properties.find(code);
  return found == device.properties.end() ? std::string() : found->second;
}

/// Opens the CSMI ports of the machine.
std::vector<CsmiPort> openCsmiPorts(DeviceScanner& scanner) {
  std::vector<CsmiPort> ports;
  const auto filter = makeRaidPortFilter();
  if (filter == nullptr || csmiSend() == nullptr) {
    return ports;
  }
  std::vector<ListedDevice> adapters;
  if (scanner.listDevices(*filter,
                          {kHardwareIdProperty, kFriendlyNameProperty, kDescriptionProperty},
                          adapters) != 0) {
    return ports;
  }
  for (const ListedDevice& adapter : adapters) {
    const std::string hardwareId = propertyOf(adapter, kHardwareIdProperty);
    if (!isAcceptedRaidAdapter(hardwareId)) {
      continue;
    }
    std::string name = propertyOf(adapter, kFriendlyNameProperty);
    if (name.empty()) {
      name = propertyOf(adapter, kDescriptionProperty);
    }
    for (const std::string& path : adapter.paths) {
      ScannedHandle handle = openScanned(scanner, path);
      if (handle && saysRaid(handle.get())) {
        ports.push_back({std::move(handle), name, hardwareId});
        break;
      }
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
  return !openCsmiPorts(*scanner_).empty();
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
    components_.reserve(components_.size() + 1);
    components_.push_back(controller.release());
  }
}

void RaidComponentManager::scanCsmi() {
  for (CsmiPort& port : openCsmiPorts(*scanner_)) {
    auto controller = std::make_unique<CsmiRaidComponent>(port.handle.get(), port.name,
                                                          port.hardwareId, csmiSend());
    if (!succeeded(controller->buildProperties())) {
      continue;
    }
    controller->setId(port.hardwareId);
    components_.reserve(components_.size() + 1);
    ports_.push_back(port.handle.get());
    port.handle.release();
    components_.push_back(controller.release());
  }
}

}  // namespace ostria::storage
