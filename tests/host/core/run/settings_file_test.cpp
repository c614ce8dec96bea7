// The settings file: sections, keys, and the line of each mistake.
#include "host/core/run/settings_file.h"

#include <gtest/gtest.h>

#include "host/core/texts/texts.h"

namespace ostria::host::test {
namespace {

TEST(SettingsFileTest, SettingsAreReadAndMistakesHaveTheirLine) {
  const Texts texts;
  std::vector<std::string> blankEnded;
  const auto good = readConfiguration(
      "; of the host\n[storage]\r\nsec_num = 12 ; comment\nWHOLE_DISK_READ=1\r\n[Other]\n", "c.ini",
      &blankEnded);
  ASSERT_TRUE(std::holds_alternative<storage::ConfigurationMap>(good));
  EXPECT_EQ(blankEnded, std::vector<std::string>{"SEC_NUM"});
  const auto& map = std::get<storage::ConfigurationMap>(good);
  EXPECT_EQ(map.at("STORAGE"),
            (std::map<std::string, std::string>{{"SEC_NUM", "12"}, {"WHOLE_DISK_READ", "1"}}));
  const std::vector<std::pair<const char*, const char*>> wrong = {
      {"[A]\nB\n", "c.ini, line 2: expected [SECTION] or KEY=VALUE."},
      {"[A\n", "c.ini, line 1: missing closing bracket."},
      {"B=1\n", "c.ini, line 1: key B before any section."},
      {"[A]\nB=1\nb=2", "c.ini, line 3: duplicate key B in section [A]."},
      {"[A]\n[a]", "c.ini, line 2: duplicate section [A]."},
      {"[A]\nB= ;x", "c.ini, line 2: key B has no value."},
  };
  for (const auto& [text, sentence] : wrong) {
    const auto result = readConfiguration(text, "c.ini");
    ASSERT_TRUE(std::holds_alternative<UsageError>(result)) << sentence;
    EXPECT_EQ(texts.say(std::get<UsageError>(result)), sentence);
  }
  EXPECT_EQ(texts.say(refusedSetting({0, 1116, 0, "SEC_NUM", "STORAGE"}, "c.ini")),
            "c.ini: section [STORAGE], key SEC_NUM: out of range (code 1116).");
}

}  // namespace
}  // namespace ostria::host::test
