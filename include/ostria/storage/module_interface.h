#pragma once

#include <cstdint>
#include <vector>

#include "ostria/storage/diagnostic.h"
#include "ostria/storage/resource.h"
#include "ostria/storage/system_component_manager.h"
#include "ostria/storage/tool.h"

namespace ostria::storage {

/// The catalogue of the module. Owns nothing but its lists; everything that it hands out belongs to
/// the module and lives until `ReleaseModuleInterfaceInstance`.
class ModuleInterface {
 public:
  ModuleInterface(const std::vector<Diagnostic*>& diagnostics, Resource* resource,
                  SystemComponentManager* manager, void* extension, const std::vector<Tool*>& tools)
      : diagnostics_(diagnostics),
        resource_(resource),
        componentManager_(manager),
        extension_(extension),
        tools_(tools) {}
  virtual ~ModuleInterface() = default;

  /// Null when `index` is out of range.
  virtual Diagnostic* diagnostic(std::uint32_t index) {
    return index < diagnostics_.size() ? diagnostics_[index] : nullptr;
  }
  virtual std::uint32_t diagnosticCount() {
    return static_cast<std::uint32_t>(diagnostics_.size());
  }
  virtual Resource* resource() { return resource_; }
  virtual SystemComponentManager* componentManager() { return componentManager_; }
  /// Null when `index` is out of range.
  virtual Tool* tool(std::uint32_t index) {
    return index < tools_.size() ? tools_[index] : nullptr;
  }
  virtual std::uint32_t toolCount() { return static_cast<std::uint32_t>(tools_.size()); }
  virtual void* extension() { return extension_; }  ///< null in this module
  virtual bool hasExtension() { return false; }

 private:
  std::vector<Diagnostic*> diagnostics_;
  Resource* resource_;
  SystemComponentManager* componentManager_;
  void* extension_;
  std::vector<Tool*> tools_;
};

}  // namespace ostria::storage
