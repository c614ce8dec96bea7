// Files are written when the run is over, so that a report has all of it; an output that writes as
// the results come need not know.
#include "host/core/report/output_format.h"

#include <algorithm>
#include <cstdint>
#include <vector>

namespace ostria::host {

void writeSession(OutputFormat& format, DocumentKind kind, const Session& session) {
  format.begin(kind, session);
  std::vector<std::uint32_t> shown;
  const auto deviceOf = [&](std::uint32_t index) {
    const DeviceInfo* device = session.device(index);
    if (device != nullptr && std::find(shown.begin(), shown.end(), index) == shown.end()) {
      shown.push_back(index);
      format.device(*device);
    }
  };
  if (kind != DocumentKind::Run) {
    for (const DeviceInfo& device : session.devices) {
      format.device(device);
    }
  } else {
    for (const TestRun& run : session.tests) {
      if (run.begun) {
        deviceOf(run.device);
        format.testResult(run);
      }
    }
    for (const ToolRun& run : session.tools) {
      deviceOf(run.device);
      format.toolResult(run);
    }
  }
  format.end();
}

}  // namespace ostria::host
