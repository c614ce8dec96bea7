// The program's words from the outside: what it explains, and in which language.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <set>

#include "tests/host/run_program.h"
#include "tests/support/source_folder.h"
#include "tests/support/temporary_folder.h"

namespace ostria::host::test {
namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::Not;

std::map<std::string, std::string> textsOf(const std::string& language) {
  std::map<std::string, std::string> rows;
  std::ifstream file(storage::test::sourceFile("host/core/texts/" + language + ".txt"));
  for (std::string line; std::getline(file, line);) {
    const std::size_t tab = line.find('\t');
    if (!line.empty() && line[0] != '#' && tab != std::string::npos) {
      rows[line.substr(0, tab)] = line.substr(tab + 1);
    }
  }
  return rows;
}

// The names in braces, and what stands between them.
std::set<std::string> pieces(const std::string& text, bool names) {
  std::set<std::string> out;
  std::size_t from = 0;
  for (std::size_t i = 0; i <= text.size(); ++i) {
    if (i == text.size() || text[i] == '{' || text[i] == '}') {
      const bool name = i < text.size() && text[i] == '}';
      if (i > from && name == names) {
        out.insert(text.substr(from, i - from));
      }
      from = i + 1;
    }
  }
  return out;
}

class WordsTest : public testing::Test {
 protected:
  WordsTest() { speak({}); }
  ~WordsTest() override { speak({}); }

  /// The environment says nothing else of the language.
  static void speak(const std::map<std::string, std::string>& variables) {
    for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG", "LANGUAGE"}) {
      unsetenv(name);
    }
    for (const auto& [name, value] : variables) {
      setenv(name.c_str(), value.c_str(), 1);
    }
  }
};

Ended run(const std::vector<std::string>& arguments) {
  return runProgram(OSTRIA_BIN_DIR, arguments);
}

TEST_F(WordsTest, GermanHasEveryTextWithTheSameNames) {
  const auto english = textsOf("en");
  const auto german = textsOf("de");
  ASSERT_GT(english.size(), 400u);
  for (const auto& [key, text] : english) {
    ASSERT_EQ(german.count(key), 1u) << key << " is missing in host/core/texts/de.txt";
    EXPECT_EQ(pieces(text, true), pieces(german.at(key), true)) << key;
  }
  EXPECT_EQ(german.size(), english.size());
}

TEST_F(WordsTest, GermanReportHasNoEnglishSentence) {
  speak({{"LC_ALL", "de_DE.UTF-8"}});
  const storage::test::TemporaryFolder folder;
  const std::string path = folder.file("german.html");
  const Ended ended =
      run({"--virtual=" + storage::test::sourceFile("tests/host/report_machine.json"), "-Q",
           "-En(ERROR_LIMIT=0)", "--report", path, "--assume=no"});
  EXPECT_EQ(ended.code, 1) << ended.errors;
  const std::string html = takenFrom(path);
  EXPECT_THAT(html, HasSubstr("<html lang=\"de\">"));
  EXPECT_THAT(html, HasSubstr("Das Laufwerk sagt keinen Ausfall voraus"));
  const auto german = textsOf("de");
  for (const auto& [key, text] : textsOf("en")) {
    for (const std::string& piece : pieces(text, false)) {
      const bool sentence = piece.size() >= 12 && piece.find(' ', 1) < piece.size() - 1;
      if (sentence && german.at(key).find(piece) == std::string::npos) {
        EXPECT_THAT(html, Not(HasSubstr(piece))) << key;
        EXPECT_THAT(ended.output, Not(HasSubstr(piece))) << key;
      }
    }
  }
}

TEST_F(WordsTest, LanguageIsThatOfTheEnvironment) {
  const std::vector<std::pair<std::map<std::string, std::string>, bool>> rows = {
      {{}, false},
      {{{"LANG", "de_AT.UTF-8"}}, true},
      {{{"LC_MESSAGES", "de"}, {"LANG", "en_US"}}, true},
      {{{"LC_ALL", "en_GB"}, {"LANG", "de_DE"}}, false},
      {{{"LANG", "fr_FR"}, {"LANGUAGE", "tlh:de:en"}}, true},
      {{{"LANG", "de_DE"}, {"LANGUAGE", "en:de"}}, false},
      {{{"LC_ALL", "C"}, {"LANGUAGE", "de"}}, false},
      {{{"LC_ALL", "../../de"}}, false},
  };
  for (const auto& [variables, german] : rows) {
    speak(variables);
    const Ended ended = run({"--virtual", "-Qz"});
    EXPECT_EQ(ended.code, 2);
    EXPECT_THAT(ended.errors, HasSubstr(german ? "hat keinen Test" : "has no test"));
  }
}

TEST_F(WordsTest, TopicsAreExplained) {
  const std::vector<std::pair<std::string, std::vector<const char*>>> rows = {
      {"m", {"SMART Status Test (-Qm, --quick=smart-status)", "a few seconds", "Writes nothing."}},
      {"random-seek", {"-Qr", "-Er"}},
      {"linear-read-test",
       {"START_RANGE: 0 to 99, default 0.", "COVERAGE_AREA: 1 to 100", "ERROR_LIMIT: 0 to 100"}},
      {"w", {"Writes to the volumes", "free space"}},
      {"repair", {"recover repair", "cannot be read"}},
      {"recover", {"recover scan", "recover filterDevices"}},
      {"smart", {"health log"}},
      {"settings", {"SEC_NUM", "WHOLE_DISK_READ"}},
      {"tests", {"only with setting ENABLE_SMART_HEALTH_TEST=1", "SMART Conveyance"}},
  };
  for (const auto& [word, parts] : rows) {
    const Ended ended = run({"--virtual", "--help", word});
    EXPECT_EQ(ended.code, 0) << word;
    for (const char* part : parts) {
      EXPECT_THAT(ended.output, HasSubstr(part));
    }
  }
  const Ended unknown = run({"--virtual", "--help", "x"});
  EXPECT_EQ(unknown.code, 2);
  EXPECT_THAT(unknown.errors, HasSubstr("no help on \"x\""));
}

// The program knows every test of the help by its letter and by its name; the man page and the
// completions know the names, and every option.
TEST_F(WordsTest, WhatTheHelpKnowsIsKnownByAll) {
  std::set<std::string> words;
  std::string option;
  std::istringstream lines(run({"--virtual", "--help"}).output);
  for (std::string line; std::getline(lines, line);) {
    if (line == "  Quick Tests:" || line == "  Extended Tests:") {
      option = line[2] == 'Q' ? "--quick=" : "--extended=";
    } else if (line.rfind('\t', 0) == 0 && line.find(", ") == 2) {
      const std::string name = line.substr(4, line.find(' ', 4) - 4);
      words.insert(name);
      // No such device, so nothing runs.
      const Ended ended = run({"--virtual", "-Mstorage", option + line[1] + "," + name, "4000"});
      EXPECT_EQ(ended.code, 2);
      EXPECT_THAT(ended.errors, HasSubstr("Duplicate test")) << line;
    } else if (line.rfind("  --", 0) == 0) {
      words.insert(line.substr(2, line.find_first_of(" =[,", 2) - 2));
    }
  }
  EXPECT_GT(words.size(), 35u);
  for (const char* name :
       {"man/OstriaDiagnosticsCLI.8", "completion/OstriaDiagnosticsCLI.bash",
        "completion/OstriaDiagnosticsCLI.fish", "completion/_OstriaDiagnosticsCLI"}) {
    std::string text = contentOf(storage::test::sourceFile("host/cli/" + std::string(name)));
    std::erase(text, '\\');
    const bool fish = std::string(name).ends_with("fish");
    for (const std::string& word : words) {
      EXPECT_THAT(text, HasSubstr(fish && word.starts_with("--") ? "-l " + word.substr(2) : word))
          << name;
    }
  }
}

TEST_F(WordsTest, AloneTheProgramListsAndAnEmptyListIsAList) {
  EXPECT_THAT(run({"--virtual"}).output, HasSubstr("VIRTUAL"));
  const storage::test::TemporaryFolder folder;
  const std::string path = folder.file("no_drives.json");
  std::ofstream(path) << R"({"format": 1, "drives": []})";
  const Ended empty = run({"--virtual=" + path, "--json"});
  EXPECT_EQ(empty.code, 3);
  const json list = empty.document();
  EXPECT_EQ(list.at("kind"), "device_list");
  EXPECT_EQ(list.at("devices"), json::array());
  EXPECT_EQ(list.at("exit_code"), 3);
  const json shown = json::parse(run({"--virtual", "--show", "0", "--json"}).output);
  const json& partition = shown.at("devices").at(0).at("partitions").at(0);
  EXPECT_EQ(partition.at("size_bytes_about"), 104857600);
  EXPECT_EQ(partition.at("free_bytes_about"), nullptr);
}

}  // namespace
}  // namespace ostria::host::test
