// The driver service, an optional library.
#include <windows.h>

#include "platform/windows/io/win_path_text.h"
#include "services/driver_service_holder.h"

namespace ostria::storage {
namespace {

template <typename Function>
Function exported(void* library, const char* name) {
  return reinterpret_cast<Function>(
      reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library), name)));
}

}  // namespace

DriverServiceHolder::DriverServiceHolder() {
  const auto directory =
      queryPathText([](wchar_t* buffer, DWORD size) { return GetCurrentDirectoryW(size, buffer); });
  if (!directory) {
    return;
  }
  library_ =
      LoadLibraryExW(toWide(*directory + "\\OstriaDiagnosticsDriverService.dll").c_str(), nullptr,
                     LOAD_LIBRARY_SEARCH_APPLICATION_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32);
  if (library_ == nullptr) {
    return;
  }
  if (const auto create = exported<CreateZRDServiceFunction>(library_, "CreateZRDService")) {
    service_ = create();
  }
}

DriverServiceHolder::~DriverServiceHolder() {
  if (library_ == nullptr) {
    return;
  }
  const auto destroy = exported<DestroyZRDServiceFunction>(library_, "DestroyZRDService");
  if (destroy != nullptr && service_ != nullptr) {
    destroy(service_);
  }
  FreeLibrary(static_cast<HMODULE>(library_));
}

ZRDService* DriverServiceHolder::usableService() const {
  return service_ != nullptr && service_->IsAvailable() != 0 ? service_ : nullptr;
}

}  // namespace ostria::storage
