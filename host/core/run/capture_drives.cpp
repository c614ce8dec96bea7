// The drives come as objects from the module, which alone knows what it asked them.
#include "host/core/run/capture_drives.h"

#include <nlohmann/json.hpp>

namespace ostria::host {
namespace {

/// Whether the drive has a controller whose registers were asked for: the machine then needs the
/// service that reads them.
bool hasRegisters(const std::string& drive) {
  const auto object = nlohmann::json::parse(drive, nullptr, false);
  return object.is_object() && object.contains("nvme") && object["nvme"].is_object() &&
         object["nvme"].contains("registers");
}

}  // namespace

std::string captureDrives(Session& session, storage::SystemComponentManager& manager, bool masked,
                          const Texts& texts, const std::function<void()>& beforeEach) {
  std::string drives;
  bool registers = false;
  for (const DeviceInfo& device : session.devices) {
    beforeEach();
    storage::SystemComponent* component = manager.component(device.index);
    std::string drive;
    if (component == nullptr ||
        !component->getReport(masked ? "RECORDING_MASKED" : "RECORDING", drive)) {
      session.notices.push_back(texts.say("capture.nothing", {{"device", device.name}}));
      continue;
    }
    registers = registers || hasRegisters(drive);
    drives += (drives.empty() ? "" : ",\n") + drive;
  }
  if (drives.empty()) {
    return {};
  }
  return "{\n  \"format\": 1,\n  \"description\": \"Recorded with the module " +
         session.moduleVersion + " on " + isoTime(session.started) + "\",\n" +
         (registers ? "  \"driver_service\": {},\n" : "") + "  \"drives\": [\n" + drives +
         "\n  ]\n}\n";
}

}  // namespace ostria::host
