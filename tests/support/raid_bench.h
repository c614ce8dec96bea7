#pragma once

#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "raid/lsi/lsi_cmd.h"
#include "raid/raid_component_manager.h"
#include "tests/support/bench.h"
#include "tests/support/sound_drives.h"
#include "tests/support/source_folder.h"

namespace ostria::storage::test {

using Json = nlohmann::json;

/// The RAID machine of the documentation, as text or for changing it.
inline std::string raidMachineText() {
  std::ifstream file(::ostria::storage::test::sourceFile("docs/examples/raid-machine.json"));
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}
inline Json raidMachine() { return Json::parse(raidMachineText()); }

/// A planned fault that hits every request with that code.
inline Json always(unsigned code, const char* what, Json value) {
  return {{"code", code}, {"times", 0}, {what, std::move(value)}};
}
/// Bytes laid over every answer to a request.
inline Json patched(unsigned code, unsigned at, const std::vector<int>& bytes) {
  Json fault = always(code, "patch", bytes);
  fault["patch_at"] = at;
  return fault;
}

/// Has the process load the library for LSI controllers, which it then keeps, so that it is not
/// among the handles of a test.
inline std::string withLibraryLoaded(const std::string& machineText) {
  std::string error;
  EXPECT_TRUE(virtual_pc::installMachine(raidMachineText(), &error)) << error;
  EXPECT_NE(getLsiSender(), nullptr);
  return machineText;
}

/// A machine with that sound drive.
inline std::string soundMachine(const DriveKind& drive, bool roomy = false) {
  const std::string machine = machineWith(drive, roomy);
  return drive.controller == DriveKind::Behind::Lsi ? withLibraryLoaded(machine) : machine;
}

/// The module on a machine with RAID controllers.
class RaidBench : public ModuleBench {
 public:
  explicit RaidBench(const Json& machine) : ModuleBench(withLibraryLoaded(machine.dump())) {}

  /// The listed devices by serial number, in order.
  std::vector<std::string> serials() {
    std::vector<std::string> found;
    for (std::uint32_t i = 0; i < manager().componentCount(); ++i) {
      found.push_back(*device(i).findProperty("SERIAL"));
    }
    return found;
  }
  StorageComponent* withSerial(const std::string& serial) {
    for (std::uint32_t i = 0; i < manager().componentCount(); ++i) {
      if (*device(i).findProperty("SERIAL") == serial) {
        return &device(i);
      }
    }
    return nullptr;
  }
  /// Scans, and gives the members of that controller (0 chipset, 1 adapter) by serial number.
  std::vector<std::string> members(const std::string& parent) {
    manager().scan();
    std::vector<std::string> found;
    for (std::uint32_t i = 0; i < manager().componentCount(); ++i) {
      if (device(i).attributeMap()["parent"] == "RAID_ATTACHED_DRIVES\\" + parent) {
        found.push_back(*device(i).findProperty("SERIAL"));
      }
    }
    return found;
  }
};

inline const std::string kChipsetName = "Chipset RAID Controller";
inline const std::string kAdapterName = "RAID Adapter 9000 - SN0042";

}  // namespace ostria::storage::test
