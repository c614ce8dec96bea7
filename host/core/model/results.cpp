#include "host/core/model/results.h"

#include <algorithm>
#include <cstdio>
#include <ctime>

namespace ostria::host {

ExitCode Session::outcome() const {
  if (tests.empty() && tools.empty()) {
    return ExitCode::NotPerformed;
  }
  ExitCode worst = unperformed ? ExitCode::NotPerformed : ExitCode::Passed;
  for (const TestRun& run : tests) {
    worst = worse(worst, run.outcome);
  }
  for (const ToolRun& run : tools) {
    worst = worse(worst, run.outcome);
  }
  return worst;
}

const DeviceInfo* Session::device(std::uint32_t index) const {
  const auto found = std::find_if(devices.begin(), devices.end(),
                                  [&](const DeviceInfo& row) { return row.index == index; });
  return found == devices.end() ? nullptr : &*found;
}

std::string isoTime(Clock::time_point time) {
  const std::time_t seconds = Clock::to_time_t(time);
  std::tm parts{};
  gmtime_r(&seconds, &parts);
  char text[32];
  const std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
  return std::string(text, length);
}

std::string durationText(std::chrono::seconds duration) {
  const long long total = std::max<long long>(duration.count(), 0);
  char text[48];
  if (total >= 3600) {
    std::snprintf(text, sizeof text, "%lld:%02lld:%02lld", total / 3600, total / 60 % 60,
                  total % 60);
  } else {
    std::snprintf(text, sizeof text, "%lld:%02lld", total / 60, total % 60);
  }
  return text;
}

}  // namespace ostria::host
