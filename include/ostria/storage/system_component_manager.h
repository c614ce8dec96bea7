#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ostria/storage/identifier.h"
#include "ostria/storage/system_component.h"

namespace ostria::storage {

/// A disk that the system has and that is no device of the list.
struct LeftOutDevice {
  enum Reason : std::uint32_t {
    NotOpened = 1,   ///< the system does not open it
    NotIdentified,   ///< it opens, and what it was asked to know it by was not answered
    UnknownBus,      ///< no drive commands reach it there: a virtual disk, say
    ControllerDisk,  ///< what a RAID controller makes of the drives behind it
  };

  std::string id;    ///< as `SystemComponent::id`
  std::string name;  ///< what the system calls its model, may be empty
  std::uint32_t reason = NotIdentified;
};

/// What a host needs of a scan.
struct ScanDemand {
  /// The list may end as soon as it holds its first `count` devices and those with these ids: it is
  /// then the beginning of the whole list, and what lies behind was not looked at. Where the order
  /// is not known beforehand, all of the list is made.
  std::uint32_t count = ~std::uint32_t{0};
  std::vector<std::string> ids;
  /// Partition tables, file systems and drivers: the sections, and of the properties
  /// "PARTITION_SCHEMA", "UNALLOCATED" and "DRIVER_VERSION".
  bool details = true;
};

/// Finds and owns the devices of the module.
class SystemComponentManager {
 public:
  explicit SystemComponentManager(const Identifier& id) : identifier_(id) {}
  /// Frees the list's storage only; a derived class deletes its components.
  virtual ~SystemComponentManager() = default;

  virtual Identifier identifier() { return identifier_; }
  virtual std::uint32_t componentCount() { return static_cast<std::uint32_t>(components_.size()); }
  /// Null when `index` is out of range.
  virtual SystemComponent* component(std::uint32_t index) {
    return index < components_.size() ? components_[index] : nullptr;
  }
  /// Quick probe whether there is anything to test at all.
  virtual bool hasDevices() = 0;
  /// Reads the identity of the device anew; null when `index` is out of range.
  virtual SystemComponent* refreshComponent(std::uint32_t index) = 0;
  /// Throws the old list away and builds a new one. All component pointers got before are invalid
  /// afterwards. Must not overlap a running test or tool.
  virtual void scan() = 0;
  /// Disks that the latest scan met and left out, without those of removable media.
  virtual std::vector<LeftOutDevice> leftOutDevices() { return {}; }
  /// Like `scan`, with no more than what is demanded where less can be had.
  virtual void scanFor(const ScanDemand& /*demand*/) { scan(); }

 protected:
  std::vector<SystemComponent*> components_;  ///< owned by the derived class
  Identifier identifier_;
};

}  // namespace ostria::storage
