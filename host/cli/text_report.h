#pragma once

#include <string>

#include "host/cli/terminal.h"
#include "host/core/model/results.h"
#include "host/core/report/history.h"

namespace ostria::host {

/// How text for people is laid out.
struct TextStyle {
  std::size_t width = 0;  ///< columns; 0: no limit
  bool colour = false;
};

/// The devices as a table, or one below the other where a table is too wide.
std::string listText(const std::vector<DeviceInfo>& devices, const TextStyle& style);
/// Everything about one device.
std::string detailsText(const DeviceInfo& device, const TextStyle& style);
/// The line above the results of a device.
std::string deviceHeading(const DeviceInfo& device, const TextStyle& style);
std::string testText(const TestRun& run, const TextStyle& style);
std::string toolText(const ToolRun& run, const Session& session, const TextStyle& style);
std::string historyText(const std::vector<HistoryRecord>& records, const TextStyle& style);
/// What follows the last result: sentences about the run, and the counts where there were several.
std::string summaryText(const Session& session, const TextStyle& style);

}  // namespace ostria::host
