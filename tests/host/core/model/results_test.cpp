// What a report says of a run: its outcome of several, and local times.
#include "host/core/model/results.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

namespace ostria::host::test {
namespace {

TEST(ExitCodeTest, TheWorstOutcomeWins) {
  const ExitCode order[] = {ExitCode::Failed,  ExitCode::Stopped,      ExitCode::CouldNotStart,
                            ExitCode::Warning, ExitCode::NotPerformed, ExitCode::Passed};
  for (std::size_t i = 0; i + 1 < std::size(order); ++i) {
    EXPECT_EQ(worse(order[i], order[i + 1]), order[i]);
    EXPECT_EQ(worse(order[i + 1], order[i]), order[i]);
  }
  EXPECT_EQ(exitCodeOf(static_cast<storage::TestResult>(2)), ExitCode::CouldNotStart);
}

// The offset is computed, for not every C library writes it as digits.
TEST(LocalTimeTest, TheOffsetIsThatOfTheZone) {
  const struct {
    const char* zone;
    std::time_t time;
    const char* text;
  } rows[] = {{"AAA-5:30", 1767225600, "2026-01-01 05:30:00 +0530"},
              {"BBB+3:30", 1767225600, "2025-12-31 20:30:00 -0330"},
              {"CCC+5DDD,M3.2.0,M11.1.0", 1782864000, "2026-06-30 20:00:00 -0400"}};
  for (const auto& row : rows) {
    setenv("TZ", row.zone, 1);
    tzset();
    EXPECT_EQ(localTime(Clock::from_time_t(row.time)), row.text);
  }
  unsetenv("TZ");
  tzset();
}

}  // namespace
}  // namespace ostria::host::test
