// The progress line: its width, its pace, and what is left of it on the terminal.
#include "host/cli/progress_line.h"

#include <gtest/gtest.h>

#include "host/core/report/plain_text.h"

namespace ostria::host::test {
namespace {

using std::chrono::seconds;

TEST(ProgressLineTest, BarKeepsToTheWidth) {
  const Texts texts;
  BarState state{"Full Disk Scan Test, device 10",
                 "Reading sector 123456789",
                 42.57,
                 true,
                 seconds(4000),
                 seconds(5523)};
  for (std::size_t width = 8; width < 120; ++width) {
    const std::string bar = barLine(state, width, texts);
    EXPECT_LE(columns(bar), width) << bar;
  }
  EXPECT_NE(barLine(state, 119, texts).find(" 42.5% 1:06:40, 1:32:03 left"), std::string::npos);
  state.tenths = false;
  state.left.reset();
  EXPECT_NE(barLine(state, 79, texts).find(" 42% 1:06:40"), std::string::npos);
}

// Steps of ten percent, as drives report a self-test of 100 seconds; one that stalls at the end;
// one that gets slower on the way to the middle of a disk. The rest grows only at a step.
TEST(ProgressLineTest, TheRestNeverGrowsBetweenSteps) {
  for (const int stepSeconds : {10, 60, 600}) {
    for (const double slowing : {0.0, 0.5, 3.0}) {
      TimeLeft left;
      TimeLeft::Time now{};
      left.start(now);
      int growths = 0;
      for (int step = 1; step < 10; ++step) {
        const int length = stepSeconds + static_cast<int>(stepSeconds * slowing * step / 10);
        std::optional<seconds> before;
        for (int second = 0; second < length; ++second) {
          now += seconds(1);
          left.reached(10 * (step - 1), now);
          const auto rest = left.left(now);
          EXPECT_TRUE(!before || !rest || *rest <= *before) << stepSeconds << " " << step;
          before = rest ? rest : before;
        }
        left.reached(10 * step, now);
        const auto rest = left.left(now);
        ASSERT_TRUE(rest) << step;
        growths += before && *rest > *before ? 1 : 0;
        if (slowing == 0) {
          EXPECT_NEAR(static_cast<double>(rest->count()), stepSeconds * (10 - step), 1) << step;
        }
      }
      EXPECT_EQ(growths > 0, slowing > 0) << stepSeconds << " " << slowing;
    }
  }
}

}  // namespace
}  // namespace ostria::host::test
