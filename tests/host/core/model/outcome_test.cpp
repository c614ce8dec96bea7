// The exit code of several outcomes together.
#include "host/core/model/outcome.h"

#include <gtest/gtest.h>

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

}  // namespace
}  // namespace ostria::host::test
