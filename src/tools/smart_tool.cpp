// Hands over ready-made reports. A device without one is no error, so nothing here stops the run.
#include "tools/smart_tool.h"

#include "inventory/storage_component.h"
#include "tools/tool_events.h"

namespace ostria::storage {
namespace {

/// A report that cannot be made, for whatever reason, is an empty text.
bool askReport(SystemComponent& component, const char* key, std::string& text) {
  try {
    if (component.getReport(key, text)) {
      return true;
    }
  } catch (...) {
    // Falls through: the device has no such report then.
  }
  text.clear();
  return false;
}

}  // namespace

void SmartTool::run() {
  bool isOpen = false;
  // Made while nothing has begun: later the memory for it may be what is missing.
  std::string finished;
  try {
    finished = "OnSmartToolFinish";
    report(finished, isOpen);
    return;
  } catch (...) {
    // Only a handler of the host, or memory, can fail here; the border lets nothing through.
  }
  if (!isOpen) {
    return;
  }
  // A host that was given the beginning waits for the end.
  try {
    fireEvent(*this, eventReceiver, std::move(finished));
  } catch (...) {
    // The host cannot be reached.
  }
}

void SmartTool::report(std::string& finished, bool& isOpen) {
  // A copy: a handler may choose devices for the next run.
  const std::vector<SystemComponent*> chosen = devices;
  isOpen = true;
  fireEvent(*this, eventReceiver, "OnSmartToolInit");
  for (SystemComponent* const device : chosen) {
    if (device != nullptr) {
      reportDevice(*device);
    }
  }
  isOpen = false;
  fireEvent(*this, eventReceiver, std::move(finished));
}

void SmartTool::reportDevice(SystemComponent& component) {
  values_ = {component.id()};
  publish(*this, eventReceiver, "DeviceInit", values_);

  std::string smart;
  std::string logPage;
  std::string protocol;
  const bool hasSmart = askReport(component, "SMART", smart);
  const bool hasLogPage = askReport(component, "OSTRIA_LOG_PAGE", logPage);
  const bool hasProtocol = askReport(component, "protocol_type", protocol);
  const bool unavailable = !hasProtocol || (!hasSmart && !hasLogPage);

  values_ = {component.id(), unavailable ? "1" : "0", protocol, smart, logPage};
  publish(*this, eventReceiver, "DeviceFinish", values_);
}

bool SmartTool::isApplicable(SystemComponent* component) {
  const auto* const storage = dynamic_cast<StorageComponent*>(component);
  if (storage == nullptr) {
    return false;
  }
  const StorageBusKind bus = storage->busKind();
  return bus == StorageBusKind::Ata || bus == StorageBusKind::Scsi || bus == StorageBusKind::Nvme;
}

}  // namespace ostria::storage
