// How a question names a device, and what an answer other than yes means.
#pragma once

#include <string>

#include "host/core/model/device_info.h"
#include "host/core/run/run_services.h"

namespace ostria::host {

/// "MODEL, serial number SERIAL": how a question names a device.
std::string deviceForQuestion(const DeviceInfo& device, const Texts& texts);

/// Key of the note why something that needs an answer did not take place.
const char* refusalKey(Answer answer);

}  // namespace ostria::host
