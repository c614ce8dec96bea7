// The three functions by which a host enters. No exception may cross this border.
#include "ostria/storage/entry_points.h"

#include <memory>

#include "module/catalogue.h"

namespace {

std::unique_ptr<ostria::storage::Catalogue>& catalogue() {
  // Never destroyed by itself: a host that forgets the release must not have devices closed behind
  // the back of what else runs at process exit.
  static auto* instance = new std::unique_ptr<ostria::storage::Catalogue>();
  return *instance;
}

}  // namespace

ostria::storage::ModuleInterface* GetModuleInterfaceInstance() {
  try {
    auto& instance = catalogue();
    if (instance == nullptr) {
      instance = std::make_unique<ostria::storage::Catalogue>();
    }
    return instance->moduleInterface();
  } catch (...) {
    return nullptr;
  }
}

ostria::storage::ProductVersion* GetProductVersion() {
  static ostria::storage::ProductVersion version(ostria::storage::InterfaceMajor,
                                                 ostria::storage::InterfaceMinor, 0, 0);
  return &version;
}

void ReleaseModuleInterfaceInstance() { catalogue().reset(); }
