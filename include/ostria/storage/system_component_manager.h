#pragma once

#include <cstdint>
#include <vector>

#include "ostria/storage/identifier.h"
#include "ostria/storage/system_component.h"

namespace ostria::storage {

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

 protected:
  std::vector<SystemComponent*> components_;  ///< owned by the derived class
  Identifier identifier_;
};

}  // namespace ostria::storage
