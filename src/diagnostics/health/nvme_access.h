#pragma once

#include <string>

#include "checks/host_messages.h"
#include "inventory/storage_component.h"
#include "ostria/storage/test.h"
#include "transport/storage_protocol.h"

namespace ostria::storage {

/// Whether the protocol is one of the two that can fetch NVMe logs, as its creator said.
bool hasNvmeLogs(const StorageProtocol* protocol);

/// Key of the reason why no NVMe test can look at the device; null when one can.
const char* nvmeRefusal(const StorageComponent* component);

/// Closing progress of 100 percent, then the log with the flag of the NVMe tests.
void showThenLogFlagged(TestListener* listener, MessageLog* log, const std::string& text,
                        Severity severity);

}  // namespace ostria::storage
