// The module's own reader of config.ini, with broken and missing files.
#include "services/config_file.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <cctype>
#include <clocale>
#include <cstdlib>

#include "tests/support/temporary_folder.h"

namespace ostria::storage::test {
namespace {

class ConfigFileTest : public ::testing::Test {
 protected:
  bool read(const std::string& text) {
    folder_.write("config.ini", text);
    return readConfigurationFile(folder_.file("config.ini"), contents_, error_);
  }

  const TemporaryFolder folder_;
  ConfigurationMap contents_;
  ConfigurationError error_;
};

TEST_F(ConfigFileTest, FoldsNamesAndKeepsValuesAsTheyStand) {
  ASSERT_TRUE(
      read("; a note\r\n\r\nloose = 1\n[storage]\r\nenable_it=1 ; on\r\npath = C:\\a b=c\n"
           "[My Section]\n\tkey\t=\tvalue\n[two] in = one"));
  EXPECT_EQ(contents_, (ConfigurationMap{
                           {"", {{"LOOSE", "1"}}},
                           {"STORAGE", {{"ENABLE_IT", "1 "}, {"PATH", "C:\\a b=c"}}},
                           {"MY SECTION", {{"KEY", "value"}}},
                           {"TWO", {{"IN", "one"}}},
                       }));
}

// A capital of the Turkish small i has a dot.
TEST_F(ConfigFileTest, FoldsAsciiWhateverTheLocale) {
  const std::string make = "localedef -i tr_TR -f ISO-8859-9 '" + folder_.file("tr") + "' 2>&1";
  ::setenv("LOCPATH", folder_.path().c_str(), 1);
  const bool made = std::system(make.c_str()) == 0 && std::setlocale(LC_ALL, "tr") != nullptr;
  const bool folded = made && read("[section]\nenable_it=i\n");
  const bool isTurkish = std::toupper('i') != 'I';
  std::setlocale(LC_ALL, "C");
  ::unsetenv("LOCPATH");
  if (!isTurkish) {
    GTEST_SKIP() << "no Turkish locale can be made here";
  }
  EXPECT_TRUE(folded);
  EXPECT_EQ(contents_["SECTION"]["ENABLE_IT"], "i");
}

TEST_F(ConfigFileTest, MalformedLineEndsTheReadingWithItsCodeAndLine) {
  const std::pair<const char*, std::uint32_t> lines[] = {{"no sign at all", 1010},
                                                         {"[a[b]", 1001},
                                                         {"[a]b]", 1002},
                                                         {"a = b=c", 1003},
                                                         {"a==b", 1003},
                                                         {"a=[b", 1006},
                                                         {"[a", 1007},
                                                         {"a[", 1007},
                                                         {"a]", 1008},
                                                         {"]a", 1008},
                                                         {"]a[", 1009},
                                                         {"[ ]", 1011},
                                                         {" = value", 1012},
                                                         {"key =", 1014},
                                                         {"[FIRST]", 1},
                                                         {"a=2", 2}};
  for (const auto& [line, code] : lines) {
    EXPECT_FALSE(read(std::string("[first]\na=1\n") + line + "\nb=1\n")) << line;
    EXPECT_EQ(error_.code, code) << line;
    EXPECT_EQ(error_.reserved1, 3u) << line;
    EXPECT_EQ(contents_["FIRST"].count("B"), 0u) << line;
  }
}

TEST_F(ConfigFileTest, HostileFilesAreRefused) {
  // Long lines cost neither stack nor more than one look at each character.
  EXPECT_TRUE(read("[a]\nkey = " + std::string(1000000, 'x')));
  for (const char* part : {"a ", "a_", "[ ", "= ", "] ", "[a", "a=", "[=]"}) {
    std::string line;
    while (line.size() < 900000) {
      line += part;
    }
    (void)read(line + "=");
  }
  EXPECT_FALSE(read(std::string(2 << 20, ';')));
  EXPECT_EQ(error_.code, config_file_error::kNotReadable);
  EXPECT_FALSE(readConfigurationFile("/dev/zero", contents_, error_));
  EXPECT_FALSE(readConfigurationFile("/nowhere/config.ini", contents_, error_));
  // A comment may be as long as it likes.
  EXPECT_TRUE(read("[a]\nkey = 1;" + std::string(100000, 'x')));
}

}  // namespace
}  // namespace ostria::storage::test
