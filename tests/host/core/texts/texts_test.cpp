// Message keys become text: composed messages, tables, other languages, and no key without a text.
#include "host/core/texts/texts.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <regex>
#include <set>
#include <sstream>

#include "tests/support/source_folder.h"

namespace ostria::host::test {
namespace {

/// Calls for each match in the sources below a folder, whose long literals are joined.
void forEachMatch(
    const std::string& folder, const std::regex& pattern,
    const std::function<void(const std::smatch& match, const std::string& path)>& act) {
  const std::regex join("\"\\s*\n\\s*\"");
  for (const auto& entry :
       std::filesystem::recursive_directory_iterator(storage::test::sourceFile(folder))) {
    if (entry.path().extension() == ".cpp" || entry.path().extension() == ".h") {
      std::stringstream content;
      content << std::ifstream(entry.path()).rdbuf();
      const std::string text = std::regex_replace(content.str(), join, "");
      for (std::sregex_iterator it(text.begin(), text.end(), pattern), end; it != end; ++it) {
        act(*it, entry.path().string());
      }
    }
  }
}
/// The keys of the English texts.
std::set<std::string> englishKeys() {
  std::ifstream file(storage::test::sourceFile("host/core/texts/en.txt"));
  std::set<std::string> known;
  for (std::string line; std::getline(file, line);) {
    known.insert(line.substr(0, line.find('\t')));
  }
  return known;
}

TEST(TextsTest, UnknownKeysAreReadByTheRuleOfKeys) {
  EXPECT_EQ(readableKey("READING_A_NEW_THING"), "Reading a new thing");
  EXPECT_EQ(readableKey("_E|F|I_SYSTEM_PARTITION"), "EFI system partition");
  EXPECT_EQ(readableKey("_HIDDEN_|I|F|S,_HIDDEN_|N|T|F|S,_HIDDEN_EX|F|A|T"),
            "Hidden IFS, hidden NTFS, hidden exFAT");
  EXPECT_EQ(readableKey("IT_FAILED._|PLEASE_BACK_UP."), "It failed. Please back up.");
}

TEST(TextsTest, ComposedMessagesAreTranslatedPartByPart) {
  Texts texts;
  const std::vector<std::pair<std::string, std::string>> rows = {
      {"TOO_MANY_BAD_SECTORS_FOUND: 10", "Too many bad sectors found: 10"},
      {"READING_SECTOR 1234", "Unreadable sector 1234"},
      {"HARD_DISK_IS_PASSWORD_PROTECTED. |TRY_TO_DISABLE_THE_PASSWORD_PROTECTION",
       "The hard disk is password protected. Try to disable the password protection"},
      {"ERROR_LIMIT: USE_A_NUMERICAL_VALUE_BETWEEN_0_AND_100; |START_RANGE: INVALID_PARAMETER",
       "Error limit: Use a numerical value between 0 and 100; Start range: Invalid parameter"},
      {"POSSIBLE_DEFECTIVE_COMPONENTS: STORAGE_DEVICE, SYSTEM_BOARD",
       "Possible defective components: storage device, system board"},
      {"BAD_SECTORS_WERE_FOUND NUMBER_OF_BLOCKS_WITH_BAD_SECTORS 2. "
       "BAD_SECTORS_IN_THE_FOLLOWING_RANGE [8, 15], [32, 39].",
       "Bad sectors were found. Number of blocks with bad sectors: 2. Bad sectors in the following "
       "range: [8, 15], [32, 39]."},
      {"BAD_SECTOR_TOOL_STARTED SCAN_TOOL", "Started: Scan for bad sectors"},
      {"A_KEY_OF_TOMORROW: 5", "A key of tomorrow: 5"},
      {"Not Scheduled", "The check was not scheduled"},
      {"NVME Controller Test: Execution Supports failed.",
       "The status of a controller cannot be read here"},
      {"Not a key", "Not a key"},
      // Tables become rows of cells.
      {"<table width=\"60%\"><tr><th align=\"left\"> Attribute </th><th> Value </th></tr><tr><td> "
       "CW "
       "</td><td> <font color=red>Fail</font> </td></tr></table>",
       "Attribute\tValue\nCW\tFail"},
      {"", ""},
  };
  for (const auto& [message, expected] : rows) {
    EXPECT_EQ(texts.message(message), expected);
  }
}

TEST(TextsTest, DeviceWordsAreNotTakenForKeys) {
  Texts texts;
  EXPECT_EQ(texts.propertyValue("MODEL", "STORAGE_DEVICE"), "STORAGE_DEVICE");
  EXPECT_EQ(texts.propertyValue("TEMPERATURE", "NOT_AVAILABLE"), "Not available");
  EXPECT_EQ(texts.propertyValue("FILE_SYSTEM", "_HIDDEN_|F|A|T32"), "Hidden FAT32");
  EXPECT_EQ(texts.propertyValue("FILE_SYSTEM", "FAT32"), "FAT32");
}

TEST(TextsTest, AnotherLanguageWinsAndABrokenFileChangesNothing) {
  Texts texts;
  const std::string german =
      "# Deutsch\r\nMODEL\tModell\r\nusage.no_value\t{option}: kein Wert {x} {\r\n";
  EXPECT_FALSE(texts.add(german, "de.txt").isSet());
  EXPECT_EQ(texts.say("usage.no_value", {{"option", "--{x}"}}), "--{x}: kein Wert {x} {");
  EXPECT_EQ(texts.text("MODEL"), "Modell");
  EXPECT_EQ(texts.text("SERIAL"), "Serial number");
  EXPECT_EQ(texts.say(texts.add("MODEL\tx\nSERIAL\n", "de.txt")),
            "de.txt, line 2: expected a key, a tab and a text.");
  EXPECT_EQ(texts.text("MODEL"), "Modell");
}

// Every key that stands in the module's sources has a text of its own.
TEST(TextsTest, EveryKeyOfTheModuleHasAnEnglishText) {
  const std::set<std::string> known = englishKeys();
  ASSERT_GT(known.size(), 150u);

  const std::regex key("\"([A-Z|][A-Z0-9|'.()%]*_[A-Zs0-9_|'.()%]+)\"");
  // Names that are no messages: settings, names in reports and of the system's own tables.
  const std::regex other(
      "ENABLE_.*|SEC_.*|.*_SIZE|WHOLE_DISK_READ|RAID_SETS|.*_TIMES|OSTRIA_.*|PCI.*|USBSTOR.*|ID_.*|"
      "UDEV_.*|PATH_.*|MAJOR_.*|PCI_.*|RECORDING_.*");
  for (const char* room :
       {"module", "inventory", "transport", "checks", "diagnostics", "tools", "raid"}) {
    forEachMatch("src/" + std::string(room), key, [&](const auto& match, const auto& path) {
      const std::string found = match[1];
      EXPECT_TRUE(std::regex_match(found, other) || known.contains(found))
          << found << " in " << path;
    });
  }
}

// Every key of the host's own that stands in its sources has a text, and every text is used: a key
// that is put together ("outcome." and a word) uses all keys of its beginning.
TEST(TextsTest, EveryKeyOfTheHostHasATextAndEveryTextIsUsed) {
  std::set<std::string> known = englishKeys();
  std::erase_if(known, [](const std::string& key) {
    return key.find('.') == std::string::npos || key[0] < 'a' || key[0] > 'z';
  });
  ASSERT_GT(known.size(), 150u);
  std::set<std::string> rooms;
  for (const std::string& key : known) {
    rooms.insert(key.substr(0, key.find('.')));
  }
  std::set<std::string> unused = known;
  const std::regex literal("\"([a-z]+)\\.([a-z_]*)\"");
  forEachMatch("host", literal, [&](const auto& match, const auto& path) {
    const std::string key = match[1].str() + "." + match[2].str();
    if (!rooms.contains(match[1]) || key == "config.ini") {
      return;
    }
    EXPECT_TRUE(match[2].length() == 0 || known.contains(key)) << key << " in " << path;
    std::erase_if(unused, [&](const std::string& row) {
      return match[2].length() == 0 ? row.starts_with(key) : row == key;
    });
  });
  EXPECT_EQ(unused, std::set<std::string>());
}

}  // namespace
}  // namespace ostria::host::test
