// Text from devices on a terminal: control characters escaped, widths by cells.
#include "host/core/report/plain_text.h"

#include <gtest/gtest.h>

#include "host/core/texts/clean_text.h"

namespace ostria::host::test {
namespace {

TEST(PlainTextTest, LinesKeepToTheWidth) {
  EXPECT_EQ(wrapped("one two three four five", 14, 2), "one two three\n  four five");
  EXPECT_EQ(wrapped("abcdefghijklmnop", 12, 2), "abcdefghijkl\n  mnop");
  EXPECT_EQ(wrapped("a b", 0, 2), "a b");
  EXPECT_EQ(fitted("35 °C warm", 6), "35 °C~");
}

// What a name can hold to steer a terminal, to hide, or to read backwards.
TEST(PlainTextTest, WhatIsNoTextIsAQuestionMark) {
  const std::pair<const char*, const char*> rows[] = {
      {"A\033[31mB\n\x7f\xC2\x9B", "A?[31mB ??"},
      {"\x9B"
       "31m \xFF \xC0\xAF \xE0\x80\xAF \xED\xA0\x80 \xF4\x90\x80\x80 \xC3",
       "?31m ? ?? ??? ??? ???? ?"},
      {"a\u202Eb\u2066c\u200Bd\uFEFFe\u2028f\u00ADg\U000E0041h", "a?b?c?d?e?f?g?h"},
      {"Größe 35 °C 磁盘 \U0001F4BE", "Größe 35 °C 磁盘 \U0001F4BE"},
  };
  for (const auto& [text, shown] : rows) {
    EXPECT_EQ(harmless(text), shown);
  }
  EXPECT_EQ(asciiJson("\"°C \U0001F4BE\xFF\x7F\""), "\"\\u00b0C \\ud83d\\udcbe\\ufffd\\u007f\"");
}

}  // namespace
}  // namespace ostria::host::test
