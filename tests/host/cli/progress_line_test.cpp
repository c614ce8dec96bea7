// The progress line: its width, its pace, and what is left of it on the terminal.
#include "host/cli/progress_line.h"

#include <gtest/gtest.h>

#include "host/core/report/plain_text.h"

namespace ostria::host::test {
namespace {

TEST(ProgressLineTest, BarKeepsToTheWidth) {
  const Texts texts;
  for (std::size_t width = 8; width < 120; ++width) {
    const std::string bar = barLine("Full Disk Scan Test, device 10", "Reading sector 123456789",
                                    42, std::chrono::seconds(4000), width, texts);
    EXPECT_LE(columns(bar), width) << bar;
  }
  const std::string bar = barLine("T", "", 50, std::chrono::seconds(60), 79, texts);
  EXPECT_NE(bar.find(" 50% 1:00, 1:00 left"), std::string::npos) << bar;
}

}  // namespace
}  // namespace ostria::host::test
