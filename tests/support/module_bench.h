#pragma once

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "inventory/storage_component.h"
#include "ostria/storage/entry_points.h"
#include "tests/support/fake_host.h"
#include "tests/support/good_conduct.h"
#include "virtual_pc/system/kernel.h"

namespace ostria::storage::test {

/// The module as its host meets it, on a virtual PC of the bench's own. When it goes, the catalogue
/// is released, every handle must be closed, and the machine is switched off.
class ModuleBench {
 public:
  static constexpr std::uint32_t kQuick = 0;
  static constexpr std::uint32_t kExtended = 1;

  explicit ModuleBench(const std::string& machineText) {
    std::string error;
    if (!virtual_pc::installMachine(machineText, &error)) {
      throw std::invalid_argument(error);
    }
    module_ = GetModuleInterfaceInstance();
  }
  ~ModuleBench() {
    ReleaseModuleInterfaceInstance();
    EXPECT_EQ(settledHandles(), 0u);
    expectGoodConduct();
    virtual_pc::resetMachine();
  }
  ModuleBench(const ModuleBench&) = delete;
  ModuleBench& operator=(const ModuleBench&) = delete;

  ModuleInterface& module() { return *module_; }
  SystemComponentManager& manager() { return *module_->componentManager(); }
  virtual_pc::Machine& machine() { return virtual_pc::machine(); }
  virtual_pc::PlatformFaults& faults() { return machine().faults(); }

  /// Scans, and demands so many devices.
  void scan(std::uint32_t devices) {
    manager().scan();
    ASSERT_EQ(manager().componentCount(), devices);
  }
  StorageComponent& device(std::uint32_t index) {
    return dynamic_cast<StorageComponent&>(*manager().component(index));
  }
  Test& test(std::uint32_t diagnostic, std::uint32_t item) {
    Diagnostic* group = module_->diagnostic(diagnostic);
    return *group->testByIdentifier(Identifier(1, diagnostic + 1, item));
  }
  Test& test(const Identifier& id) { return test(id.category - 1, id.item); }
  /// Whether SMART is enabled on the drive right now.
  bool smartEnabled(std::uint32_t index) {
    StorageProtocolProperties properties;
    EXPECT_EQ(device(index).storageProtocol()->GetProperties(&properties), ProtocolResult::Success);
    return properties.smartEnabled;
  }

 private:
  ModuleInterface* module_;
};

/// A machine file with these drives, each the inside of a JSON object.
inline std::string machineOf(const std::vector<std::string>& drives) {
  std::string text = R"({"format": 1, "drives": [)";
  for (std::size_t i = 0; i < drives.size(); ++i) {
    text += (i == 0 ? "{" : ", {") + drives[i] + "}";
  }
  return text + "]}";
}

/// What every drive of these machines needs, with a model and serial number of its own.
inline std::string driveOf(const std::string& kind, const std::string& serial,
                           const std::string& more = "") {
  return R"("kind": ")" + kind + R"(", "model": "BENCH DISK )" + serial + R"(", "serial": ")" +
         serial + R"(", "firmware": "F1", "size_sectors": 409600)" +
         (more.empty() ? "" : ", " + more);
}

}  // namespace ostria::storage::test
