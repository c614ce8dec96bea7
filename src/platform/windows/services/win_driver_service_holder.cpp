// The driver service, an optional library.
#include <windows.h>

#include <memory>
#include <optional>
#include <string>

#include "platform/windows/io/win_path_text.h"
#include "services/driver_service_holder.h"

namespace ostria::storage {
namespace {

template <typename Function>
Function exported(void* library, const char* name) {
  return reinterpret_cast<Function>(
      reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library), name)));
}

struct Unload {
  void operator()(void* library) const { FreeLibrary(static_cast<HMODULE>(library)); }
};

/// The service lies beside the module. A library of that name anywhere else, the current directory
/// above all, is not ours to load: the module often runs with all rights.
std::optional<std::string> pathOfService() {
  HMODULE self = nullptr;
  if (!GetModuleHandleExW(
          GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
          reinterpret_cast<LPCWSTR>(reinterpret_cast<const void*>(&pathOfService)), &self)) {
    return std::nullopt;
  }
  const auto module = queryPathText(
      [self](wchar_t* buffer, DWORD size) { return GetModuleFileNameW(self, buffer, size); });
  const std::size_t end = module ? module->rfind('\\') : std::string::npos;
  if (end == std::string::npos) {
    return std::nullopt;
  }
  return module->substr(0, end) + "\\OstriaDiagnosticsDriverService.dll";
}

}  // namespace

DriverServiceHolder::DriverServiceHolder() {
  const auto path = pathOfService();
  if (!path) {
    return;
  }
  // Making the service takes memory; should that fail, no destructor of ours runs.
  std::unique_ptr<void, Unload> library(
      LoadLibraryExW(toWide(*path).c_str(), nullptr,
                     LOAD_LIBRARY_SEARCH_APPLICATION_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32));
  if (library == nullptr) {
    return;
  }
  if (const auto create = exported<CreateZRDServiceFunction>(library.get(), "CreateZRDService")) {
    service_ = create();
  }
  library_ = library.release();
}

DriverServiceHolder::~DriverServiceHolder() {
  if (library_ == nullptr) {
    return;
  }
  if (const auto destroy = exported<DestroyZRDServiceFunction>(library_, "DestroyZRDService")) {
    destroy(service_);
  }
  FreeLibrary(static_cast<HMODULE>(library_));
}

ZRDService* DriverServiceHolder::usableService() const {
  return service_ != nullptr && service_->IsAvailable() != 0 ? service_ : nullptr;
}

}  // namespace ostria::storage
