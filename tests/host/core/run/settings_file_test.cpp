#include "host/core/run/settings_file.h"

#include <gtest/gtest.h>

namespace ostria::host::test {
namespace {

TEST(SettingsFileTest, SettingsAreReadAndMistakesHaveTheirPlace) {
  const auto good = readConfiguration(
      "; of the host\n[storage]\r\nsec_num = 12 ; comment\nWHOLE_DISK_READ=1\n[Other]\n", "c.ini");
  ASSERT_TRUE(std::holds_alternative<storage::ConfigurationMap>(good));
  const auto& map = std::get<storage::ConfigurationMap>(good);
  EXPECT_EQ(map.at("STORAGE"),
            (std::map<std::string, std::string>{{"SEC_NUM", "12"}, {"WHOLE_DISK_READ", "1"}}));
  const std::vector<std::pair<const char*, const char*>> wrong = {
      {"[A]\nB\n", "c.ini, line 2: neither a [SECTION] nor KEY=VALUE."},
      {"[A\n", "c.ini, line 1: the bracket of the section is not closed."},
      {"B=1\n", "c.ini, line 1: the key B stands before any section."},
      {"[A]\nB=1\nb=2", "c.ini, line 3: the key B is there already in section A."},
      {"[A]\n[a]", "c.ini, line 2: the section A is there already."},
      {"[A]\nB= ;x", "c.ini, line 2: the key B has no value."},
  };
  for (const auto& [text, sentence] : wrong) {
    const auto result = readConfiguration(text, "c.ini");
    ASSERT_TRUE(std::holds_alternative<UsageError>(result)) << sentence;
    EXPECT_EQ(std::get<UsageError>(result).sentence, sentence);
  }
  EXPECT_EQ(refusedSetting({0, 1116, 0, "SEC_NUM", "STORAGE"}, "c.ini").sentence,
            "c.ini: section STORAGE, key SEC_NUM: its value is outside the range that it allows "
            "(code 1116).");
}

}  // namespace
}  // namespace ostria::host::test
