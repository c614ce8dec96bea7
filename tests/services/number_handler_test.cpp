// Numbers as text, and text as numbers.
#include <gtest/gtest.h>

#include <limits>

#include "services/number_handler_imp.h"

namespace ostria::storage::test {
namespace {

TEST(NumberHandlerTest, SizesReadAsTheyAreShown) {
  const struct {
    std::uint64_t value;
    const char* unit;
    bool binary;
    const char* text;
  } rows[] = {
      {512, "B", true, "512.00 bytes"},
      {1, "B", true, "1.00 byte"},
      {0, "B", true, "0.00 byte"},
      {1536, "B", true, "1.50 KBs"},
      {1023, "B", true, "1023.00 bytes"},
      {1024, "B", true, "1.00 KB"},
      {999, "B", false, "999.00 bytes"},
      {1000, "B", false, "1.00 KB"},
      {1, "b", false, "1.00 bit"},
      {5, "Hz", false, "5.00Hzs"},
      {2000398934016, "B", false, "2.00 TBs"},
      {std::numeric_limits<std::uint64_t>::max(), "B", true, "16.00 EBs"},
  };
  NumberHandlerImp numbers;
  for (const auto& row : rows) {
    std::string text = "old";
    numbers.formatSize(text, row.value, row.unit, row.binary);
    EXPECT_EQ(text, row.text);
  }
}

TEST(NumberHandlerTest, ParsesAndLeavesTheOutputOnFailure) {
  NumberHandlerImp numbers;
  std::int64_t wide = -7;
  EXPECT_FALSE(numbers.parseSigned64(&wide, "12x", std::dec));
  EXPECT_FALSE(numbers.parseSigned64(&wide, "9223372036854775808", std::dec));
  EXPECT_FALSE(numbers.parseInteger64(&wide, "x12", std::dec));
  EXPECT_EQ(wide, -7);
  EXPECT_TRUE(numbers.parseInteger64(&wide, "12x", std::dec));
  EXPECT_EQ(wide, 12);
  EXPECT_TRUE(numbers.parseSigned64(&wide, "-1f", std::hex));
  EXPECT_EQ(wide, -31);
  std::uint32_t narrow = 7;
  EXPECT_FALSE(numbers.parseUnsigned(&narrow, "4294967296", std::dec));
  EXPECT_FALSE(numbers.parseUnsignedLong(&narrow, "", std::dec));
  EXPECT_EQ(narrow, 7u);
  double real = 0;
  EXPECT_TRUE(numbers.parseDouble(&real, "2.5", std::dec));
  EXPECT_EQ(real, 2.5);
  EXPECT_EQ(parseIntOrZero("42 percent"), 42);
  EXPECT_EQ(parseIntOrZero("percent"), 0);
  EXPECT_EQ(parseIntOrZero("99999999999"), 0);
}

}  // namespace
}  // namespace ostria::storage::test
