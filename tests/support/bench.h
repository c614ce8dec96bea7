#pragma once

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "inventory/storage_component.h"
#include "ostria/storage/entry_points.h"
#include "tests/support/fake_host.h"
#include "tests/support/good_conduct.h"
#include "tests/support/messages.h"
#include "virtual_pc/system/kernel.h"

namespace ostria::storage::test {

/// The module as its host meets it, on a virtual PC of the bench's own: a machine of drives, scan,
/// run, messages. There is one module and one machine in a process, so one bench at a time. When it
/// goes, the catalogue is released, every handle must be closed, and the machine is switched off.
class ModuleBench {
 public:
  explicit ModuleBench(const std::string& machineText) {
    if (occupied_) {
      throw std::logic_error(
          "a bench is there already: its devices would be on this one's machine");
    }
    std::string error;
    if (!virtual_pc::installMachine(machineText, &error)) {
      throw std::invalid_argument(error);
    }
    module_ = GetModuleInterfaceInstance();
    occupied_ = true;
  }
  ~ModuleBench() {
    faults().reset();
    ReleaseModuleInterfaceInstance();
    EXPECT_EQ(settledHandles(), 0u) << "handles left open";
    expectGoodConduct();
    virtual_pc::resetMachine();
    occupied_ = false;
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
  /// The device with this model, scanned for at the first use; null when it is not listed.
  StorageComponent* device(const std::string& model) {
    if (manager().componentCount() == 0) {
      manager().scan();
    }
    for (std::uint32_t i = 0; i < manager().componentCount(); ++i) {
      auto* const found = dynamic_cast<StorageComponent*>(manager().component(i));
      if (found != nullptr && found->description().model == model) {
        return found;
      }
    }
    return nullptr;
  }
  Test& test(const Identifier& id) {
    return *module_->diagnostic(id.category - 1)->testByIdentifier(id);
  }
  /// Runs a test on a device with a host of its own.
  /// @return its messages, see messages.h
  std::string run(const Identifier& id, std::uint32_t index = 0,
                  unsigned abortFromPoll = FakeHost::kNever) {
    FakeHost host(manager().component(index));
    host.abortFromPoll = abortFromPoll;
    const TestResult result = test(id).run(&host);
    return messages(host, result);
  }
  /// The same on the first device, with these parameters and no others.
  std::string run(const Identifier& id, const Parameters& parameters) {
    FakeHost host(manager().component(0));
    host.choose(parameters);
    test(id).resetParameters();
    const TestResult result = test(id).run(&host);
    return messages(host, result);
  }
  /// Whether SMART is enabled on the drive right now.
  bool smartEnabled(std::uint32_t index) {
    StorageProtocolProperties properties;
    EXPECT_EQ(device(index).storageProtocol()->GetProperties(&properties), ProtocolResult::Success);
    return properties.smartEnabled;
  }

 private:
  static inline bool occupied_ = false;
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

/// One drive, scanned.
struct OneDriveBench : ModuleBench {
  explicit OneDriveBench(const std::string& drive) : ModuleBench(machineOf({drive})) { scan(1); }
};

}  // namespace ostria::storage::test
