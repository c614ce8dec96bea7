// What one call of the program did, and how times are written.
#include "host/core/model/results.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace ostria::host {

ExitCode Session::outcome() const {
  if (tests.empty() && tools.empty()) {
    return worse(ExitCode::NotPerformed, healthOutcome());
  }
  ExitCode worst = worse(unperformed ? ExitCode::NotPerformed : ExitCode::Passed, healthOutcome());
  for (const TestRun& run : tests) {
    // What a whole diagnostic holds and a device does not offer was not asked for, as long as
    // something was looked at.
    if (run.outcome == ExitCode::NotPerformed && !run.named && wasLookedAt(run.device)) {
      continue;
    }
    worst = worse(worst, run.outcome);
  }
  for (const ToolRun& run : tools) {
    worst = worse(worst, run.outcome);
  }
  return worst;
}

bool Session::wasLookedAt(std::uint32_t device) const {
  return std::any_of(tests.begin(), tests.end(), [device](const TestRun& run) {
    return run.device == device && run.outcome != ExitCode::NotPerformed;
  });
}

ExitCode Session::healthOutcome() const {
  if (devices.empty()) {
    return ExitCode::NotPerformed;
  }
  ExitCode worst = ExitCode::Passed;
  for (const DeviceInfo& row : devices) {
    worst = worse(worst, exitCodeOf(row.health.verdict));
  }
  return worst;
}

const DeviceInfo* Session::device(std::uint32_t index) const {
  const auto found = std::find_if(devices.begin(), devices.end(),
                                  [&](const DeviceInfo& row) { return row.index == index; });
  return found == devices.end() ? nullptr : &*found;
}

std::string isoTime(Clock::time_point time) {
  const auto seconds = std::chrono::floor<std::chrono::seconds>(time);
  const auto day = std::chrono::floor<std::chrono::days>(seconds);
  const std::chrono::year_month_day date{day};
  const std::chrono::hh_mm_ss clock{seconds - day};
  char text[48];
  const int length = std::snprintf(
      text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02dZ", static_cast<int>(date.year()),
      static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
      static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
      static_cast<int>(clock.seconds().count()));
  return std::string(text, static_cast<std::size_t>(length));
}

std::optional<std::int64_t> secondsOfIsoTime(const std::string& text) {
  int year = 0;
  unsigned month = 0;
  unsigned day = 0;
  int hour = 0;
  int minute = 0;
  int second = 0;
  int end = 0;
  if (std::sscanf(text.c_str(), "%4d-%2u-%2uT%2d:%2d:%2dZ%n", &year, &month, &day, &hour, &minute,
                  &second, &end) != 6 ||
      static_cast<std::size_t>(end) != text.size()) {
    return std::nullopt;
  }
  const std::chrono::year_month_day date{std::chrono::year(year), std::chrono::month(month),
                                         std::chrono::day(day)};
  if (!date.ok()) {
    return std::nullopt;
  }
  return std::chrono::seconds(std::chrono::sys_days(date).time_since_epoch()).count() +
         std::int64_t{hour} * 3600 + std::int64_t{minute} * 60 + second;
}

std::string localTime(Clock::time_point time) {
  const std::time_t seconds = Clock::to_time_t(time);
  // Only one thread of the program asks for times.
  // cppcheck-suppress localtimeCalled
  const std::tm* local = std::localtime(&seconds);
  char text[64] = "";
  if (local != nullptr) {
    const std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S ", local);
    // Not by %z: the C library of Windows has the name of the zone there.
    const std::chrono::year_month_day date{
        std::chrono::year(local->tm_year + 1900),
        std::chrono::month(static_cast<unsigned>(local->tm_mon + 1)),
        std::chrono::day(static_cast<unsigned>(local->tm_mday))};
    const std::chrono::seconds shown =
        std::chrono::sys_days(date).time_since_epoch() + std::chrono::hours(local->tm_hour) +
        std::chrono::minutes(local->tm_min) + std::chrono::seconds(local->tm_sec);
    const long long east = (shown.count() - seconds) / 60;
    std::snprintf(text + length, sizeof text - length, "%c%02lld%02lld", east < 0 ? '-' : '+',
                  std::llabs(east) / 60, std::llabs(east) % 60);
  }
  return text;
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
