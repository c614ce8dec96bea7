// A verdict in words, the same in all outputs.
#pragma once

#include <string>
#include <vector>

#include "host/core/model/device_info.h"
#include "host/core/model/results.h"
#include "host/core/texts/texts.h"

namespace ostria::host {

std::string verdictText(const Health& health, const Texts& texts);
/// "Reallocated sectors: 7 (SMART attribute, past)".
std::string reasonText(const HealthReason& reason, const Texts& texts);
/// The reason without its source.
std::string bareReasonText(const HealthReason& reason, const Texts& texts);
/// The reasons that count for the verdict; those of a good drive for being good.
std::vector<HealthReason> reasonsOf(const Health& health);
/// What helps, each advice once; empty for none.
std::string adviceText(const Health& health, const Texts& texts);
/// "0 (RAID 1)"; empty for a drive of no set.
std::string raidSetsText(const RaidLocation& location, const Texts& texts);
/// "12,345 h, 3 % used, 34 °C": what is known of it.
std::string numbersText(const DeviceInfo& device, const Texts& texts);
/// The devices with the worst first.
std::vector<const DeviceInfo*> worstFirst(const Session& session);

/// "pending +12, wear +1 %"; empty for none.
std::string changesText(const std::vector<Change>& changes, const Texts& texts);
/// What became of a drive since the last kept run; empty when it was in none.
std::string sinceLastTimeText(const DeviceInfo& device, const Texts& texts);

}  // namespace ostria::host
