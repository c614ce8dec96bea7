// Text helpers on empty, long and non-ASCII text.
#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <clocale>

#include "services/string_handler_imp.h"

namespace ostria::storage::test {
namespace {

std::string fixedField(const std::string& bytes, std::size_t size = 16) {
  std::array<char, 16> out;
  out.fill('#');
  StringHandlerImp().copyFixedField(out.data(), size, bytes.data(), bytes.size());
  for (std::size_t i = std::char_traits<char>::length(out.data()); i < size; ++i) {
    EXPECT_EQ(out[i], 0) << "byte " << i;
  }
  return out.data();
}

TEST(StringHandlerTest, FixedFieldBecomesText) {
  EXPECT_EQ(fixedField("  AB C  "), "AB C");
  EXPECT_EQ(fixedField("        "), "");
  EXPECT_EQ(fixedField(""), "");
  EXPECT_EQ(fixedField(std::string("AB  \0CD", 7)), "AB");
  EXPECT_EQ(fixedField("A\x7F\xC3\x1F Z"), "A??? Z");
  EXPECT_EQ(fixedField("ABCDEFGH", 5), "ABCD");
  char shared[8] = {' ', ' ', 'X', 'Y', ' ', ' ', ' ', ' '};
  EXPECT_STREQ(StringHandlerImp().copyFixedField(shared, 8, shared, 8), "XY");
}

TEST(StringHandlerTest, BoundedCopiesNeverPassTheEnd) {
  StringHandlerImp strings;
  char out[6] = "#####";
  const auto leaves = [&out](int result, int expected, const char* text) {
    EXPECT_EQ(result, expected) << text;
    EXPECT_STREQ(out, text);
  };
  leaves(strings.copyN(out, 4, "abcdef", 3), 0, "abc");
  EXPECT_EQ(out[4], '#');
  leaves(strings.copyN(out, 4, "abcdef", 4), -1, "");
  leaves(strings.copyN(out, 4, "abcdef", SIZE_MAX), 80, "abc");
  leaves(strings.appendN(out, 6, "def", SIZE_MAX), 80, "abcde");
  leaves(strings.appendN(out, 6, "f", 1), -1, "");
  leaves(strings.copyN(out, 4, "ab", 9), 0, "ab");
  leaves(strings.appendN(out, 4, "cd", 1), 0, "abc");
  leaves(strings.appendN(out, 4, "d", 1), -1, "");
  EXPECT_NE(strings.copyN(nullptr, 4, "ab", 2), 0);
  EXPECT_NE(strings.copyN(out, 0, "ab", 2), 0);

  leaves(strings.copyExact(out, 4, "a\0c", 3), 0, "a");
  EXPECT_EQ(out[2], 'c');
  leaves(strings.copyExact(out, 4, "abcd", 4), -1, "");
  char block[8] = "abcdefg";
  EXPECT_EQ(strings.copyExact(block, 8, block + 3, 3), -1);  // the terminator would overlap
  EXPECT_STREQ(block, "");
  EXPECT_EQ(strings.copyExact(block, 4, block + 4, 3), 0);

  leaves(strings.formatBounded(out, 4, "%d", 123), 3, "123");
  leaves(strings.formatBounded(out, 4, "%d", 1234), -1, "123");
  leaves(strings.format(out, 4, "%d", 12345), 5, "123");
}

TEST(StringHandlerTest, WideConversionsCountTheTerminator) {
  StringHandlerImp strings;
  char narrow[8];
  wchar_t wide[8];
  std::size_t converted = 99;
  EXPECT_EQ(strings.wideToMultiByte(&converted, narrow, 8, L"disk", 8), 0);
  EXPECT_STREQ(narrow, "disk");
  EXPECT_EQ(converted, 5u);
  EXPECT_EQ(strings.multiByteToWide(&converted, wide, 8, "disk", 2), 0);
  EXPECT_EQ(std::wstring(wide), L"di");
  EXPECT_EQ(converted, 3u);
  // Neither a byte that no character begins with nor a character that is cut.
  for (const char* broken : {"a\xFF", "a\xC3"}) {
    const std::string before = std::setlocale(LC_CTYPE, nullptr);
    EXPECT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr);
    EXPECT_EQ(strings.multiByteToWide(&converted, wide, 8, broken, 8), EILSEQ);
    std::setlocale(LC_CTYPE, before.c_str());
  }
  EXPECT_NE(strings.multiByteToWide(&converted, wide, 4, "disk", 8), 0);
  EXPECT_EQ(wide[0], 0);
  EXPECT_EQ(converted, 0u);
}

TEST(StringHandlerTest, SelectsAndCuts) {
  StringHandlerImp strings;
  EXPECT_TRUE(strings.isDigits("", 4));
  EXPECT_TRUE(strings.isDigits("12x", 2));
  EXPECT_FALSE(strings.isDigits("12x", 3));

  std::string out = "<";
  strings.removeBlanks(" a\tb ", out);
  strings.keepPrintable("c\x7F\xC3 d", out);
  EXPECT_EQ(out, "<a\tbc d");
  strings.removeCharacters({'a', 'c'}, "abcabc", out);
  EXPECT_EQ(out, "bb");
  strings.removeCharacters({'a'}, "", out);
  EXPECT_EQ(out, "bb");

  for (const auto& [text, trimmed] :
       {std::pair<const char*, const char*>{"  a b ", "a b"}, {"    ", ""}, {"\ta ", "\ta"}}) {
    std::string value = text;
    strings.trim(value);
    EXPECT_EQ(value, trimmed);
  }
  for (const auto& [text, set, kept] : {std::array<const char*, 3>{"path\r\n", "\r\n", "path"},
                                        {"path\n", "\r\n", "pat"},
                                        {"\n", "\r\n", "\n"},
                                        {"path", "\r\n", "path"},
                                        {"", "\n", ""}}) {
    std::string value = text;
    strings.cutTrailing(value, set);
    EXPECT_EQ(value, kept);
  }
  EXPECT_EQ(strings.splitLines("a,,b,", ','), (std::vector<std::string>{"a", "", "b"}));
  EXPECT_EQ(strings.tokenize(",a;,b;", ",;"), (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(strings.fromBytes("a\0b", 3).size(), 3u);
  EXPECT_EQ(strings.widen("\xC3")[0], static_cast<wchar_t>(-61));
  EXPECT_FALSE(strings.isUpperCase(""));
  EXPECT_TRUE(strings.isUpperCase("A-1"));
  EXPECT_EQ(strings.compareNoCase("ABC", "abc"), 0);
  EXPECT_LT(strings.compareNoCase("ab", "ABc"), 0);
}

}  // namespace
}  // namespace ostria::storage::test
