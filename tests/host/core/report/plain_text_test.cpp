// Text from devices on a terminal: control characters escaped, widths by cells.
#include "host/core/report/plain_text.h"

#include <gtest/gtest.h>

namespace ostria::host::test {
namespace {

TEST(PlainTextTest, LinesKeepToTheWidth) {
  EXPECT_EQ(wrapped("one two three four five", 14, 2), "one two three\n  four five");
  EXPECT_EQ(wrapped("abcdefghijklmnop", 12, 2), "abcdefghijkl\n  mnop");
  EXPECT_EQ(wrapped("a b", 0, 2), "a b");
  EXPECT_EQ(fitted("35 °C warm", 6), "35 °C~");
  EXPECT_EQ(harmless("A\033[31mB\n\x7f\xC2\x9B"), "A?[31mB ??");
}

}  // namespace
}  // namespace ostria::host::test
