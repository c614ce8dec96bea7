// What a tool stores under its names, which is all text, as results.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/core/model/results.h"
#include "host/core/run/run_services.h"
#include "ostria/storage/tool.h"

namespace ostria::host {

/// Reads the values that a tool has stored when it raises an event. Texts come with serial numbers
/// masked. Borrows both; a value that is missing or no number counts as none.
class ToolResults {
 public:
  ToolResults(storage::Tool& tool, const RunServices& services)
      : tool_(tool), services_(services) {}

  std::uint8_t percent() const;
  /// Name of the volume whose check begins, as the tool gives it.
  std::string partitionBegun() const;
  /// At "OnPartitionFinish".
  PartitionResult partition() const;
  /// For each device that the filter was asked for, whether the tool treats it.
  bool accepts(std::size_t index) const;
  /// At "OnDeviceFinish" of a scan, a repair or a check of file systems.
  void device(bool isFilesystem, ToolRun& run) const;
  /// At "OnDeviceFinish" of the SMART tool.
  void smart(ToolRun& run) const;

 private:
  std::vector<std::string> stored(const char* name) const;
  /// A text and the names that it is about, then sentences, which end in a full stop.
  std::string noteOf(const std::vector<std::string>& messages) const;

  storage::Tool& tool_;
  const RunServices& services_;
};

}  // namespace ostria::host
