// The entry points of a module, by the names of the contract.
#include "host/platform/module_library.h"

#include "host/platform/shared_library.h"

namespace ostria::host {

OrUsageError<std::unique_ptr<ModuleLibrary>> ModuleLibrary::load(const std::string& path) {
  std::string reason;
  void* library = openLibrary(path, reason);
  if (library == nullptr) {
    return UsageError{"module.not_loaded", {{"reason", reason}}};
  }
  std::unique_ptr<ModuleLibrary> loaded(new ModuleLibrary);
  const auto instance = reinterpret_cast<storage::ModuleInterface* (*)()>(
      libraryFunction(library, "GetModuleInterfaceInstance"));
  const auto version = reinterpret_cast<storage::ProductVersion* (*)()>(
      libraryFunction(library, "GetProductVersion"));
  const auto release =
      reinterpret_cast<void (*)()>(libraryFunction(library, "ReleaseModuleInterfaceInstance"));
  if (instance == nullptr || version == nullptr || release == nullptr) {
    return UsageError{"module.no_module", {{"file", path}}};
  }
  loaded->version_ = version();
  loaded->module_ = instance();
  if (loaded->module_ == nullptr || loaded->module_->resource() == nullptr ||
      loaded->module_->componentManager() == nullptr) {
    return UsageError{"module.no_setup", {{"file", path}}};
  }
  loaded->release_ = release;
  return loaded;
}

ModuleLibrary::~ModuleLibrary() {
  if (release_ != nullptr) {
    release_();
  }
}

std::string ModuleLibrary::version() const {
  if (version_ == nullptr) {
    return "unknown";
  }
  return std::to_string(version_->major()) + "." + std::to_string(version_->minor()) + "." +
         std::to_string(version_->patch()) + "." + std::to_string(version_->build());
}

}  // namespace ostria::host
