// Fuzz target: the whole module on the virtual PC, on one drive of each kind, with the answers of
// its system calls damaged by fuzz bytes: what a driver returns, how much of it, and whether.
// Beside memory errors: every run has a documented result and ends with 100 percent, and no handle
// stays.
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "inventory/storage_component.h"
#include "ostria/storage/entry_points.h"
#include "tests/fuzz/input.h"
#include "tests/support/quiet_host.h"
#include "tests/support/sound_drives.h"
#include "virtual_pc/description/description.h"
#include "virtual_pc/system/kernel.h"

namespace ostria::storage::test {
namespace {

void demand(bool condition, const char* what) {
  if (!condition) {
    std::fprintf(stderr, "%s\n", what);
    std::abort();
  }
}

/// The user stops a test whose damaged drive has made it endless.
constexpr unsigned kMostPolls = 300;

const std::vector<virtual_pc::MachineDescription>& machines() {
  static const std::vector<virtual_pc::MachineDescription> kMachines = [] {
    std::vector<virtual_pc::MachineDescription> out;
    for (const DriveKind& drive : kSoundDrives) {
      std::string error;
      demand(virtual_pc::parseMachine(machineWith(drive, false), &out.emplace_back(), &error),
             error.c_str());
    }
    return out;
  }();
  return kMachines;
}

/// One answer in several is damaged: some bytes, its length, or its result.
void damage(Input& in, const virtual_pc::PlatformFaults::Answer& answer) {
  constexpr std::uint32_t kErrors[] = {1, 5, 23, 27, 31, 55, 87, 121, 122, 170, 234, 1117, 1167};
  if (in.empty()) {
    return;
  }
  const std::uint8_t how = in.byte();
  if (how < 0x80) {
    return;
  }
  if ((how & 0x40) != 0 && !answer.output.empty()) {
    const std::size_t at = in.number(2) % answer.output.size();
    const std::size_t count = std::min<std::size_t>(how & 0x1F, answer.output.size() - at);
    in.fill(answer.output.data() + at, count);
  } else if ((how & 0x20) != 0) {
    answer.returned = in.number(2) % (answer.output.size() + 1);
  } else {
    answer.error = kErrors[in.byte() % std::size(kErrors)];
  }
}

void runTool(Tool& tool, SystemComponent* component, std::uint8_t operation) {
  static constexpr const char* kOperations[] = {"scan", "repair", "filesystem", "filterDevices"};
  QuietToolHost host(tool);
  host.abortFrom = kMostPolls;
  tool.setParameter("Operation", {kOperations[operation % std::size(kOperations)]});
  tool.setDevices({component});
  tool.run();
}

void runTest(ModuleInterface& module, SystemComponent* component, std::size_t number) {
  const Identifier& id = kAllTests[number];
  Test& test = *module.diagnostic(id.category - 1)->testByIdentifier(id);
  QuietHost host(component);
  host.abortFrom = kMostPolls;
  const auto result = static_cast<std::uint32_t>(test.run(&host));
  demand(result <= 6 && result != 2, "no documented result");
  demand(host.lastPercent == -1 || host.lastPercent == 100, "no closing report");
}

}  // namespace
}  // namespace ostria::storage::test

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t bytes) {
  using namespace ostria::storage;
  using namespace ostria::storage::test;
  namespace virtual_pc = ostria::virtual_pc;
  Input in(data, bytes);
  virtual_pc::installMachine(machines()[in.byte() % machines().size()]);
  ModuleInterface& module = *GetModuleInterfaceInstance();
  SystemComponentManager& manager = *module.componentManager();
  const std::uint8_t subject = in.byte();
  // A scan of sound answers first, for half of the inputs: damage would seldom leave a drive.
  const bool scanned = (subject & 0x80) != 0;
  if (scanned) {
    manager.scan();
  }
  virtual_pc::machine().faults().onAnswer = [&](const auto& answer) { damage(in, answer); };
  if (!scanned) {
    manager.scan();
  }
  if (SystemComponent* const component = manager.component(0)) {
    const std::size_t choice = (subject & 0x7F) % (std::size(kAllTests) + 4);
    std::string text;
    if (choice < std::size(kAllTests)) {
      runTest(module, component, choice);
    } else if (choice == std::size(kAllTests)) {
      for (const char* report : {"SMART", "HEALTH", "IDENTITY", "OSTRIA_LOG_PAGE"}) {
        component->getReport(report, text);
      }
    } else if (choice == std::size(kAllTests) + 1) {
      manager.refreshComponent(0);
      (void)manager.hasDevices();
    } else {
      runTool(*module.tool(choice % 2), component, in.byte());
    }
  }
  virtual_pc::machine().faults().reset();
  ReleaseModuleInterfaceInstance();
  constexpr std::uint64_t kAllOver = 600'000'000;
  virtual_pc::machine().clock().advance(kAllOver);
  virtual_pc::Kernel::instance().settle();
  virtual_pc::resetMachine();
  return 0;
}
