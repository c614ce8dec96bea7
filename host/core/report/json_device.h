// What the JSON documents say of drives.
#pragma once

#include "host/core/model/results.h"
#include "host/core/report/json_parts.h"
#include "host/core/texts/texts.h"

namespace ostria::host {

/// @param details  with the module's sections and the applicable tests
Json devicesJson(const Session& session, const Texts& texts, bool details);
Json smartJson(const std::vector<SmartRow>& rows);
Json testJson(const NamedTest& test);

}  // namespace ostria::host
