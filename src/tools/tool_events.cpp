// Events are calls of host functions on the thread of the run; the host may change its table of
// handlers within any of them.
#include "tools/tool_events.h"

#include <utility>

#include "checks/system_events.h"

namespace ostria::storage {

void fireEvent(Tool& tool, ToolEventReceiver* receiver, std::string event) {
  if (receiver == nullptr) {
    return;
  }
  const auto found = receiver->handlers.find(event);
  if (found == receiver->handlers.end() || !found->second) {
    return;
  }
  // A copy, since a handler may take itself out of the map.
  const ToolEventReceiver::Handler handler = found->second;
  handler(&tool, std::move(event));
}

void publish(Tool& tool, ToolEventReceiver* receiver, const std::string& name,
             const std::vector<std::string>& values) {
  tool.setParameter(name, values);
  fireEvent(tool, receiver, "On" + name);
}

bool isAbortRequested(const Tool& tool) {
  return tool.abortSource != nullptr && tool.abortSource->isAborted();
}

bool hasCompromisingEvent(const Tool& tool) { return compromisingEventHappened(tool.systemEvents); }

}  // namespace ostria::storage
