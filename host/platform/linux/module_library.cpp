#include "host/platform/linux/module_library.h"

#include <dlfcn.h>

#include <filesystem>

namespace ostria::host {

OrUsageError<std::unique_ptr<ModuleLibrary>> ModuleLibrary::load(const std::string& path) {
  void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    const char* reason = dlerror();
    return UsageError{
        "The module cannot be loaded: " + std::string(reason != nullptr ? reason : path) + "."};
  }
  std::unique_ptr<ModuleLibrary> loaded(new ModuleLibrary);
  const auto instance = reinterpret_cast<storage::ModuleInterface* (*)()>(
      dlsym(library, "GetModuleInterfaceInstance"));
  const auto version =
      reinterpret_cast<storage::ProductVersion* (*)()>(dlsym(library, "GetProductVersion"));
  const auto release =
      reinterpret_cast<void (*)()>(dlsym(library, "ReleaseModuleInterfaceInstance"));
  if (instance == nullptr || version == nullptr || release == nullptr) {
    return UsageError{path + " is no module: its entry points are missing."};
  }
  loaded->version_ = version();
  loaded->module_ = instance();
  if (loaded->module_ == nullptr || loaded->module_->resource() == nullptr ||
      loaded->module_->componentManager() == nullptr) {
    return UsageError{"The module " + path + " could not be set up."};
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

std::string programFolder() {
  std::error_code error;
  const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", error);
  return error ? std::string(".") : self.parent_path().string();
}

}  // namespace ostria::host
