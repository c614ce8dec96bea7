// The progress line: its width, its pace, and what is left of it on the terminal.
#include "host/cli/progress_line.h"

#include <gtest/gtest.h>

#include <algorithm>

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

// Who reads a log file sees a line at least every 30 seconds, also of a drive that says nothing,
// and no more than the steps of a run that moves.
TEST(ProgressLineTest, ALogFileGetsALineEvery30Seconds) {
  const Texts texts;
  for (const ProgressForm form : {ProgressForm::Lines, ProgressForm::Json}) {
    Progress::Steady::time_point now{};
    Output error(Stream::Error);
    testing::internal::CaptureStderr();
    Progress progress(error, form, 80, texts, [&now] { return now; });
    progress.begin({"test", "1.1.1", 0, "Device 0: Extended Self-Test"});
    for (int second = 1; second <= 95; ++second) {
      now += seconds(1);
      progress.tick();
    }
    const std::string lines = testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 1 + 3) << lines;
    testing::internal::CaptureStderr();
    for (int percent = 1; percent <= 20; ++percent) {
      now += seconds(1);
      progress.update(static_cast<std::uint8_t>(percent), "", "");
    }
    const std::string steps = testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::count(steps.begin(), steps.end(), '\n'), form == ProgressForm::Lines ? 2 : 20)
        << steps;
  }
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

// A self-test of 90 seconds with its first tenth "done" at once, on a drive that said 120: its own
// time stands until its speed is known, and nothing ever grows.
TEST(ProgressLineTest, TheRestOfASelfTestIsThatOfTheDrive) {
  TimeLeft left;
  TimeLeft::Time now{};
  left.start(now, seconds(120));
  std::optional<seconds> before;
  for (int second = 0; second < 90; ++second, now += seconds(1)) {
    const int reached = 10 + second / 10 * 10;
    left.reached(reached, now);
    const auto rest = left.left(now);
    ASSERT_TRUE(rest) << second;
    EXPECT_TRUE(!before || *rest <= *before) << second;
    EXPECT_GE(rest->count(), 90 - second) << second;
    EXPECT_LE(rest->count(), 120 - second) << second;
    before = rest;
  }
}

}  // namespace
}  // namespace ostria::host::test
