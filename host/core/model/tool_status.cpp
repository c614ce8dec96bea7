// The status codes of the module's tool "recover" and what they mean for a run. The same code means
// something else for a check of file systems, which uses the codes of its own accord.
#include "host/core/model/tool_status.h"

#include <algorithm>
#include <array>

namespace ostria::host {
namespace {

struct StatusRow {
  int status;
  ExitCode outcome;
  const char* key;
};

constexpr std::array<StatusRow, 10> kStatusRows = {{
    {0, ExitCode::Passed, "status.nothing_found"},
    {2, ExitCode::CouldNotStart, "status.rejected"},
    {3, ExitCode::NotPerformed, "status.scheduled"},
    {4, ExitCode::CouldNotStart, "status.not_scheduled"},
    {6, ExitCode::CouldNotStart, "status.could_not_run"},
    {8, ExitCode::Stopped, "status.stopped"},
    {9, ExitCode::Failed, "status.bad_sectors"},
    {10, ExitCode::Failed, "status.unrepaired"},
    {13, ExitCode::CouldNotStart, "status.system_event"},
    {14, ExitCode::Failed, "status.timed_out"},
}};

const StatusRow* rowOf(int status) {
  const auto* row = std::find_if(kStatusRows.begin(), kStatusRows.end(),
                                 [&](const StatusRow& r) { return r.status == status; });
  return row == kStatusRows.end() ? nullptr : row;
}

}  // namespace

ExitCode outcomeOfStatus(int status, bool filesystem) {
  // A checker that mended what it found leaves a device that wants attention, not a bad one.
  if (filesystem && status == 9) {
    return ExitCode::Warning;
  }
  const StatusRow* row = rowOf(status);
  return row == nullptr ? ExitCode::CouldNotStart : row->outcome;
}

const char* statusKey(int status, bool filesystem) {
  if (filesystem && status == 9) {
    return "status.errors_repaired";
  }
  const StatusRow* row = rowOf(status);
  return row == nullptr ? "status.unknown" : row->key;
}

std::string statusKey(const ToolRun& run) {
  if (run.status && run.incomplete) {
    return "status.incomplete";
  }
  return run.status ? statusKey(*run.status, false) : "";
}

}  // namespace ostria::host
