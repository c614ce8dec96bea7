// The inventory: direct disks first, then the members of RAID controllers, which may be the same
// drives seen from the other side.
#include "inventory/storage_component_manager.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <utility>

#include "inventory/component_builder.h"
#include "inventory/protocol_factory.h"
#include "inventory/raid_collection.h"
#include "services/device_text.h"

namespace ostria::storage {

namespace {

const std::string kUniqueIdentifierKey = "UDI";
const std::string kSerialKey = "SERIAL";

constexpr std::uint32_t kPciMassStorage = 1;
constexpr std::uint32_t kPciNvmController = 8;

/// Whether a device up to an index may have the identifier of one behind it: each of the two
/// would get its own id behind it.
bool isSharedBehind(const std::vector<StorageScanner::Position>& order, std::size_t last) {
  const auto behind = order.begin() + static_cast<std::ptrdiff_t>(last) + 1;
  return std::any_of(order.begin(), behind, [&](const StorageScanner::Position& seen) {
    return !seen.identity.empty() &&
           std::any_of(behind, order.end(), [&](const StorageScanner::Position& other) {
             return other.identity == seen.identity;
           });
  });
}

StorageComponent& asStorage(SystemComponent* component) {
  return *static_cast<StorageComponent*>(component);
}

}  // namespace

StorageComponentManager::StorageComponentManager(const Identifier& id)
    : SystemComponentManager(id), scanner_(makeStorageScanner()) {}

StorageComponentManager::~StorageComponentManager() { clear(); }

void StorageComponentManager::clear() {
  // The list is empty first: whatever goes wrong below, nobody finds a component that is gone.
  for (SystemComponent* entry : std::exchange(components_, {})) {
    std::unique_ptr<StorageComponent> component(&asStorage(entry));
    if (component->connection() == DeviceConnection::RaidMember) {
      continue;
    }
    const DeviceHandle handle = component->storageProtocol()->GetDeviceHandle();
    component.reset();  // which gives back the volumes that are off line
    scanner_->deviceScanner()->close(handle);
  }
  ports_.clear();
  leftOut_.clear();
}

std::optional<DeviceRecord> StorageComponentManager::openDevice(std::uint32_t number,
                                                                const std::string& path,
                                                                std::uint32_t* reason) {
  DeviceRecord record;
  record.handle = openScanned(*scanner_->deviceScanner(), path);
  if (!record.handle) {
    if (*reason == 0) {
      *reason = LeftOutDevice::NotOpened;
    }
    return std::nullopt;
  }
  *reason = 0;
  bool removable = true;
  if (scanner_->isRemovableMedia(number, &removable) != 0 || removable) {
    return std::nullopt;
  }
  if (scanner_->getBusKind(number, &record.busKind, &record.optaneVolume) != 0) {
    return std::nullopt;
  }
  // RAID volumes and what nobody knows are not devices of their own; RAID members are found through
  // their controller.
  if (record.busKind == StorageBusKind::Raid || record.busKind == StorageBusKind::Unknown) {
    *reason = record.busKind == StorageBusKind::Raid ? LeftOutDevice::ControllerDisk
                                                     : LeftOutDevice::UnknownBus;
    return std::nullopt;
  }
  if (scanner_->getConnection(number, &record.connection) != 0) {
    record.connection = DeviceConnection::Other;
  }
  record.path = path;
  record.deviceNumber = number;
  return record;
}

std::unique_ptr<StorageComponent> StorageComponentManager::findDevice(
    std::uint32_t number, const std::vector<std::string>& paths, DriverVersions* drivers,
    std::uint32_t* reason) {
  for (const std::string& path : paths) {
    try {
      std::optional<DeviceRecord> record = openDevice(number, path, reason);
      if (!record) {
        continue;
      }
      *reason = LeftOutDevice::NotIdentified;
      FoundProtocol found = createProtocol(*scanner_, *record);
      auto secondary = createSecondaryProtocol(*record);
      if (found.protocol == nullptr) {
        continue;
      }
      auto component = buildComponent(*scanner_, *record, std::move(found.protocol),
                                      std::move(secondary), drivers);
      if (component == nullptr) {
        continue;
      }
      if (record->busKind == StorageBusKind::Nvme) {
        locateController(number, *component);
      }
      // Room in the list first: what fails behind the next step would leave the handle open.
      components_.reserve(components_.size() + 1);
      if (found.port) {
        ports_.push_back(std::move(found.port));
      }
      record->handle.release();  // from here on closed by `clear`
      return component;
    } catch (...) {
      // What one device makes go wrong, memory included, must not cost the others. It says nothing
      // of the device.
      *reason = 0;
    }
  }
  return nullptr;
}

void StorageComponentManager::locateController(std::uint32_t number, StorageComponent& component) {
  std::array<std::uint8_t, 3> location{};
  if (scanner_->getPciLocation(number, &location) != 0) {
    return;
  }
  ZRDService* service = driverService_.usableService();
  if (service == nullptr) {
    return;
  }
  const PciLocation function{location[0], location[1], location[2]};
  PciClass pciClass;
  if (service->GetPciClass(&function, &pciClass) != 0 || pciClass.baseClass != kPciMassStorage ||
      pciClass.subclass != kPciNvmController) {
    return;
  }
  component.setPciLocation(location[0], location[1], location[2]);
  component.setControllerAccess(StorageComponent::kConfirmedNvmeController);
}

bool StorageComponentManager::scanDirectDevices(const ScanDemand& demand) {
  DevicePathMap devices;
  if (scanner_->listDevices(devices) != 0) {
    return true;
  }
  std::vector<StorageScanner::Position> order;
  const bool mayEnd = demand.count < devices.size() && scanner_->listOrder(order);
  if (!mayEnd) {
    order.clear();
    for (const auto& [number, paths] : devices) {
      order.push_back({number, {}});
    }
  }
  DriverVersions drivers;
  for (std::size_t i = 0; i < order.size(); ++i) {
    const std::uint32_t number = order[i].number;
    std::uint32_t reason = 0;
    auto component =
        findDevice(number, devices[number], demand.details ? &drivers : nullptr, &reason);
    if (component == nullptr) {
      leaveOut(number, reason);
      continue;
    }
    components_.push_back(component.release());  // `findDevice` has made room
    if (mayEnd && hasAll(demand) && !isSharedBehind(order, i)) {
      return false;
    }
  }
  return true;
}

bool StorageComponentManager::hasAll(const ScanDemand& demand) const {
  return components_.size() >= demand.count &&
         std::ranges::all_of(demand.ids, [&](const std::string& id) {
           return std::ranges::any_of(
               components_, [&](SystemComponent* component) { return component->id() == id; });
         });
}

void StorageComponentManager::leaveOut(std::uint32_t number, std::uint32_t reason) {
  try {
    bool removable = true;
    // A drive without a medium does not open either, and nothing is wrong with it.
    if (reason == 0 || (reason == LeftOutDevice::NotOpened &&
                        (scanner_->isRemovableMedia(number, &removable) != 0 || removable))) {
      return;
    }
    LeftOutDevice device;
    device.reason = reason;
    StorageBusKind bus = StorageBusKind::Unknown;
    bool optaneVolume = false;
    if (reason == LeftOutDevice::NotOpened &&
        scanner_->getBusKind(number, &bus, &optaneVolume) == 0) {
      if (bus == StorageBusKind::Unknown) {
        device.reason = LeftOutDevice::UnknownBus;
      } else if (bus == StorageBusKind::Raid) {
        device.reason = LeftOutDevice::ControllerDisk;
      }
    }
    if (scanner_->getDeviceId(number, &device.id) != 0) {
      device.id.clear();
    }
    std::string name;
    if (scanner_->deviceScanner()->deviceProperty(number, kFriendlyNameProperty, &name) == 0) {
      device.name = cleanedDeviceText(name);
    }
    leftOut_.push_back(std::move(device));
  } catch (...) {
    // Without memory this disk has no line; the others still get theirs.
  }
}

void StorageComponentManager::forgetLeftOutMembers() {
  std::erase_if(leftOut_, [this](const LeftOutDevice& device) {
    return device.reason == LeftOutDevice::NotIdentified &&
           std::ranges::any_of(components_, [&](SystemComponent* entry) {
             return asStorage(entry).connection() == DeviceConnection::RaidMember &&
                    device.name.find(entry->description().model) != std::string::npos;
           });
  });
}

void StorageComponentManager::mergeRaidMembers() {
  RaidMembers members = collectRaidDevices(*scanner_->deviceScanner());
  ports_.reserve(ports_.size() + members.ports.size());
  std::ranges::move(members.ports, std::back_inserter(ports_));
  const std::size_t directDevices = components_.size();
  for (auto& member : members.components) {
    if (isListed(*member, directDevices)) {
      continue;
    }
    components_.reserve(components_.size() + 1);
    components_.push_back(member.release());
  }
}

bool StorageComponentManager::isListed(StorageComponent& member, std::size_t directDevices) const {
  const std::string* identifier = member.findProperty(kUniqueIdentifierKey);
  if (identifier == nullptr) {
    return false;
  }
  // The drives of an array are mostly of one model: without serial numbers they are alike, and
  // still each of them is a drive of its own. A drive that hangs on two ports shows its number
  // twice.
  const std::size_t compared =
      member.findProperty(kSerialKey) != nullptr ? components_.size() : directDevices;
  return std::any_of(
      components_.begin(), components_.begin() + static_cast<std::ptrdiff_t>(compared),
      [&](SystemComponent* listed) {
        const std::string* other = asStorage(listed).findProperty(kUniqueIdentifierKey);
        return other != nullptr && *other == *identifier;
      });
}

void StorageComponentManager::makeIdentifiersUnique() {
  struct Entry {
    std::string original;
    std::string* value;
    std::string id;
  };
  std::vector<Entry> entries;
  for (SystemComponent* component : components_) {
    std::string* value = asStorage(component).findProperty(kUniqueIdentifierKey);
    if (value != nullptr) {
      entries.push_back({*value, value, component->id()});
    }
  }
  for (std::size_t i = 0; i < entries.size(); ++i) {
    for (std::size_t j = 0; j < entries.size(); ++j) {
      if (i != j && entries[i].original == entries[j].original) {
        *entries[i].value += entries[j].id;
      }
    }
  }
}

void StorageComponentManager::scanFor(const ScanDemand& demand) {
  clear();
  try {
    // Drives behind controllers come last in the list.
    if (scanDirectDevices(demand)) {
      mergeRaidMembers();
      forgetLeftOutMembers();
    }
    makeIdentifiersUnique();
    std::stable_sort(components_.begin(), components_.end(),
                     [](SystemComponent* a, SystemComponent* b) {
                       return asStorage(a).connection() < asStorage(b).connection();
                     });
  } catch (...) {
    // Nothing escapes to the host; what was found until here stays in the list.
  }
}

SystemComponent* StorageComponentManager::refreshComponent(std::uint32_t index) {
  SystemComponent* found = component(index);
  if (found == nullptr) {
    return nullptr;
  }
  try {
    StorageProtocolProperties properties;
    // Without an answer the host gets what is cached.
    (void)asStorage(found).storageProtocol()->GetProperties(&properties);
  } catch (...) {
    // A refresh that cannot be made leaves the cached properties as they were.
  }
  return found;
}

bool StorageComponentManager::hasDevices() {
  try {
    // Disks that cannot be enumerated are none; the controllers are asked all the same.
    DevicePathMap devices;
    if (scanner_->listDevices(devices) != 0) {
      devices.clear();
    }
    std::vector<DeviceRecord> undecided;
    std::uint32_t reason = 0;
    for (const auto& [number, paths] : devices) {
      for (const std::string& path : paths) {
        std::optional<DeviceRecord> record = openDevice(number, path, &reason);
        if (!record) {
          continue;
        }
        if (record->busKind != StorageBusKind::Usb) {
          return true;
        }
        undecided.push_back(std::move(*record));
      }
    }
    if (hasRaidDrives()) {
      return true;
    }
    return std::any_of(undecided.begin(), undecided.end(), [&](const DeviceRecord& record) {
      return createProtocol(*scanner_, record).protocol != nullptr;
    });
  } catch (...) {
    return false;
  }
}

}  // namespace ostria::storage
