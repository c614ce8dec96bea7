#pragma once

#include <memory>
#include <vector>

#include "inventory/storage_component_manager.h"
#include "ostria/storage/module_interface.h"

namespace ostria::storage {

/// Everything that `GetModuleInterfaceInstance` builds, with its owners. Destroyed in a fixed
/// order: resource, manager (and with it the devices), tests and diagnostics, tools, interface.
class Catalogue {
 public:
  Catalogue();
  ~Catalogue();
  Catalogue(const Catalogue&) = delete;
  Catalogue& operator=(const Catalogue&) = delete;

  ModuleInterface* moduleInterface() const { return interface_.get(); }

 private:
  std::vector<std::unique_ptr<Test>> quickTests_;
  std::vector<std::unique_ptr<Test>> extendedTests_;
  std::unique_ptr<Resource> resource_;
  std::unique_ptr<Diagnostic> quick_;
  std::unique_ptr<Diagnostic> extended_;
  std::unique_ptr<SystemComponentManager> manager_;
  std::vector<std::unique_ptr<Tool>> tools_;
  std::unique_ptr<ModuleInterface> interface_;
};

}  // namespace ostria::storage
