// A drive that was lost has cost its time-outs already, and is not asked again.
#include "host/core/run/ask_drives.h"

#include <algorithm>

#include "host/core/run/collect_health.h"
#include "host/core/run/describe_device.h"

namespace ostria::host {
namespace {

bool wasLost(const Session& session, std::uint32_t device) {
  const auto lost = [device](const auto& run) { return run.device == device && run.lost; };
  return std::any_of(session.tests.begin(), session.tests.end(), lost) ||
         std::any_of(session.tools.begin(), session.tools.end(), lost);
}

}  // namespace

void askDrives(Session& session, storage::SystemComponentManager& manager, const Texts& texts,
               const Redactor& redactor, const std::function<bool()>& isAbortRequested) {
  for (DeviceInfo& device : session.devices) {
    storage::SystemComponent* component = manager.component(device.index);
    if (component != nullptr && !isAbortRequested() && !device.evidence.asked &&
        !wasLost(session, device.index)) {
      collectHealth(*component, texts, redactor, device);
    }
  }
}

void describeDrives(Session& session, storage::SystemComponentManager& manager,
                    const Catalogue& catalogue, const Texts& texts, const Redactor& redactor,
                    const std::function<void()>& beforeEach) {
  for (DeviceInfo& device : session.devices) {
    beforeEach();
    storage::SystemComponent* component = manager.component(device.index);
    if (component != nullptr && !wasLost(session, device.index)) {
      describeDetails(*component, catalogue, texts, redactor, device);
    }
  }
}

}  // namespace ostria::host
