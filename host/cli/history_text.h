// Kept results as text.
#pragma once

#include <string>
#include <vector>

#include "host/cli/text_parts.h"
#include "host/core/model/history.h"

namespace ostria::host {

std::string historyText(const std::vector<HistoryRecord>& records, const TextStyle& style);
std::string comparisonText(const Comparison& comparison, const TextStyle& style);

}  // namespace ostria::host
