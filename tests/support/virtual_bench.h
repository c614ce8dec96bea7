#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "inventory/storage_component.h"
#include "inventory/storage_component_manager.h"
#include "tests/support/good_conduct.h"
#include "virtual_pc/system/kernel.h"

namespace ostria::storage::test {

/// A virtual PC from a machine file, and the module's inventory of it.
class VirtualBench {
 public:
  explicit VirtualBench(const std::string& machineText) {
    std::string error;
    EXPECT_TRUE(virtual_pc::installMachine(machineText, &error)) << error;
    manager_ = std::make_unique<StorageComponentManager>(Identifier(1, 0, 0));
    manager_->scan();
  }
  ~VirtualBench() {
    pc().faults().reset();
    manager_.reset();
    EXPECT_EQ(settledHandles(), 0u) << "handles left open";
    expectGoodConduct();
    virtual_pc::resetMachine();
  }
  VirtualBench(const VirtualBench&) = delete;
  VirtualBench& operator=(const VirtualBench&) = delete;

  virtual_pc::Machine& pc() { return virtual_pc::machine(); }
  /// The device with this model; null when the inventory does not have it.
  StorageComponent* device(const std::string& model) {
    for (std::uint32_t i = 0; i < manager_->componentCount(); ++i) {
      auto* const found = dynamic_cast<StorageComponent*>(manager_->component(i));
      if (found != nullptr && found->description().model == model) {
        return found;
      }
    }
    return nullptr;
  }

 private:
  std::unique_ptr<StorageComponentManager> manager_;
};

}  // namespace ostria::storage::test
