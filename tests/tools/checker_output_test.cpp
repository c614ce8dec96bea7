// What a disk checker prints: percentages apart from text.
#include "tools/checker_output.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace ostria::storage::test {
namespace {

std::string same(const std::string& line) { return line; }

struct Printed {
  explicit Printed(const std::string& text) : output(same) {
    for (const char c : text) {
      if (const auto percent = output.accept(c)) {
        percents.push_back(*percent);
      }
    }
  }
  CheckerOutput output;
  std::vector<int> percents;
};

TEST(CheckerOutputTest, PercentagesAreReportedAndEverythingElseIsText) {
  const Printed run(
      "The type is NTFS.\r\n\r\n12 percent completed.\r 12 percent\r7 percent\r  13 percent\r\n"
      "2048 KB in 3 files.\r\n50\rDone\nnow.\r\nlost");
  EXPECT_EQ(run.percents, (std::vector<int>{12, 12, 50}));
  EXPECT_EQ(run.output.message(), "The type is NTFS.\n  13 percent\n\nDone\nnow.");
}

TEST(CheckerOutputTest, StatusLinesShowThePercentageOfTheWhole) {
  std::string text;
  for (int i = 0; i < 1500; ++i) {
    text += "Progress: " + std::to_string(i) + " of 1500 done; Stage: " + std::to_string(i / 15) +
            "%; Total: " + std::to_string(i / 30) + "%; ETA:   0:00:12 ..\r";
  }
  const Printed run(text + "The volume is 45% full.\r\nTotal: 100%\r\r\n");
  EXPECT_FALSE(run.output.isStuck());
  ASSERT_FALSE(run.percents.empty());
  EXPECT_EQ(run.percents.front(), 0);
  EXPECT_EQ(run.percents.back(), 100);
  EXPECT_TRUE(std::is_sorted(run.percents.begin(), run.percents.end()));
  EXPECT_EQ(run.output.message(), "The volume is 45% full.\n");
}

TEST(CheckerOutputTest, AThousandLinesWithoutAPercentageAreStuck) {
  std::string text;
  while (text.size() < 999 * 6) {
    text += "line\r\n";
  }
  EXPECT_FALSE(Printed(text).output.isStuck());
  EXPECT_TRUE(Printed(text + "line\r\n").output.isStuck());
  EXPECT_FALSE(Printed("1 percent\r" + text + "line\r\n").output.isStuck());
}

}  // namespace
}  // namespace ostria::storage::test
