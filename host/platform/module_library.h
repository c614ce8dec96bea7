// A module that the program has loaded.
#pragma once

#include <memory>
#include <string>

#include "host/core/user_error.h"
#include "ostria/storage/module_interface.h"
#include "ostria/storage/product_version.h"

namespace ostria::host {

/// A loaded module. The catalogue is built on loading and released with the object; the library
/// itself stays loaded until the program ends.
class ModuleLibrary {
 public:
  /// @param path  of the shared library
  static OrUsageError<std::unique_ptr<ModuleLibrary>> load(const std::string& path);
  ~ModuleLibrary();
  ModuleLibrary(const ModuleLibrary&) = delete;
  ModuleLibrary& operator=(const ModuleLibrary&) = delete;

  storage::ModuleInterface& module() { return *module_; }
  /// "4.46.0.0".
  std::string version() const;

 private:
  ModuleLibrary() = default;

  storage::ModuleInterface* module_ = nullptr;
  storage::ProductVersion* version_ = nullptr;
  void (*release_)() = nullptr;
};

}  // namespace ostria::host
