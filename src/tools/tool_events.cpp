// Events are calls of host functions on the thread of the run; the host may change its table of
// handlers within any of them.
#include "tools/tool_events.h"

#include <atomic>

#include "ostria/storage/test_run_context.h"

namespace ostria::storage {

void fireEvent(Tool& tool, ToolEventReceiver* receiver, const std::string& event) {
  if (receiver == nullptr) {
    return;
  }
  const auto found = receiver->handlers.find(event);
  if (found == receiver->handlers.end() || !found->second) {
    return;
  }
  // A copy, since a handler may take itself out of the map.
  const ToolEventReceiver::Handler handler = found->second;
  handler(&tool, event);
}

void publish(Tool& tool, ToolEventReceiver* receiver, const std::string& name,
             const std::vector<std::string>& values) {
  tool.setParameter(name, values);
  fireEvent(tool, receiver, "On" + name);
}

bool isAbortRequested(const Tool& tool) {
  return tool.abortSource != nullptr && tool.abortSource->isAborted();
}

bool hasCompromisingEvent(const Tool& tool) {
  if (tool.systemEvents == nullptr) {
    return false;
  }
  // The host sets the byte from another thread.
  const std::atomic_ref<std::uint8_t> events(*tool.systemEvents);
  return (events.load(std::memory_order_relaxed) & CompromisingSystemEvents) != 0;
}

}  // namespace ostria::storage
