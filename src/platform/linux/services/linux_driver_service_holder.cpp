// The driver service, loaded from beside the module.
#include <dlfcn.h>

#include <climits>
#include <string>

#include "services/driver_service_holder.h"

namespace ostria::storage {
namespace {

// The service lies beside the module. A library of that name anywhere else, the current directory
// above all, is not ours to load: the module often runs with all rights.
std::string pathOfService() {
  Dl_info info = {};
  if (::dladdr(reinterpret_cast<const void*>(&pathOfService), &info) == 0 ||
      info.dli_fname == nullptr || info.dli_fname[0] == '\0') {
    return {};
  }
  constexpr const char* kService = "/libOstriaDiagnosticsDriverService.so";
  const std::string module = info.dli_fname;
  if (module.front() == '/') {
    return module.substr(0, module.rfind('/')) + kService;
  }
  // Loaded by a relative path: the loader knows the folder as it was then.
  void* const self = ::dlopen(info.dli_fname, RTLD_NOW | RTLD_NOLOAD);
  if (self == nullptr) {
    return {};
  }
  char folder[PATH_MAX + 1] = {};
  const bool known = ::dlinfo(self, RTLD_DI_ORIGIN, folder) == 0 && folder[0] == '/';
  ::dlclose(self);
  return known ? folder + std::string(kService) : std::string();
}

}  // namespace

DriverServiceHolder::DriverServiceHolder() {
  const std::string path = pathOfService();
  if (path.empty()) {
    return;
  }
  library_ = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library_ == nullptr) {
    return;
  }
  if (void* const create = ::dlsym(library_, "CreateZRDService")) {
    service_ = reinterpret_cast<CreateZRDServiceFunction>(create)();
  }
}

DriverServiceHolder::~DriverServiceHolder() {
  if (library_ == nullptr) {
    return;
  }
  if (void* const destroy = ::dlsym(library_, "DestroyZRDService")) {
    reinterpret_cast<DestroyZRDServiceFunction>(destroy)(service_);
  }
  ::dlclose(library_);
}

ZRDService* DriverServiceHolder::usableService() const {
  return service_ != nullptr && service_->IsAvailable() != 0 ? service_ : nullptr;
}

}  // namespace ostria::storage
