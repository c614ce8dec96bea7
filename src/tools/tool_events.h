#pragma once

#include <string>
#include <vector>

#include "ostria/storage/tool.h"

namespace ostria::storage {

/// Calls the host's handler of the event, if there is a receiver with one. Blocks until it returns.
void fireEvent(Tool& tool, ToolEventReceiver* receiver, std::string event);

/// Stores the values under `name`, then fires "On" and the name.
void publish(Tool& tool, ToolEventReceiver* receiver, const std::string& name,
             const std::vector<std::string>& values);

/// The host's abort flag; false without one.
bool isAbortRequested(const Tool& tool);

/// Whether a system event has happened that could compromise the outcome; false without an event
/// byte.
bool hasCompromisingEvent(const Tool& tool);

}  // namespace ostria::storage
