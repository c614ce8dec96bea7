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
  const char* text;
};

constexpr std::array<StatusRow, 10> kStatusRows = {{
    {0, ExitCode::Passed, "nothing found"},
    {2, ExitCode::Stopped, "the device rejected a read"},
    {3, ExitCode::NotPerformed, "will be checked at the next start"},
    {4, ExitCode::CouldNotStart, "the check could not be scheduled"},
    {6, ExitCode::CouldNotStart, "could not run"},
    {8, ExitCode::Stopped, "stopped, or the device no longer answers"},
    {9, ExitCode::Failed, "bad sectors were found"},
    {10, ExitCode::Failed, "bad sectors were found that could not be repaired"},
    {13, ExitCode::Stopped, "stopped by a system event"},
    {14, ExitCode::Failed, "a read timed out"},
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

const char* statusText(int status, bool filesystem) {
  if (filesystem && status == 9) {
    return "errors were found and repaired";
  }
  const StatusRow* row = rowOf(status);
  return row == nullptr ? "unknown status" : row->text;
}

}  // namespace ostria::host
