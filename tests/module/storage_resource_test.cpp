// The tables that a command line is made from: names unique, letters unique in each diagnostic.
#include "module/storage_resource.h"

#include <gtest/gtest.h>

#include <set>

namespace ostria::storage::test {
namespace {

TEST(StorageResourceTest, LettersAreUniqueInADiagnosticAndEachTestHasItsTexts) {
  StorageResource resource({1, 0, 1});
  std::set<std::pair<std::uint32_t, std::string>> letters;
  for (const auto& [id, option] : resource.getTestOptions()) {
    EXPECT_TRUE(letters.emplace(id.category, option.shortName).second) << option.longName;
    EXPECT_FALSE(resource.testName(id).empty()) << option.longName;
    EXPECT_FALSE(resource.testTooltip(id).empty()) << option.longName;
  }
  EXPECT_EQ(letters.size(), 21u);
  // The health test has texts but no name on the command line.
  EXPECT_EQ(resource.getTestOptions().count({1, 1, 15}), 0u);
  EXPECT_EQ(resource.testName({1, 1, 15}), "SMART_HEALTH_TEST");
}

TEST(StorageResourceTest, DiagnosticsAndTestsLiveInTablesOfTheirOwn) {
  StorageResource resource({1, 0, 1});
  EXPECT_EQ(resource.testName({1, 1, 0}), "");
  EXPECT_EQ(resource.diagnosticName({1, 1, 0}), "QUICK_TESTS");
  EXPECT_EQ(resource.diagnosticName({1, 1, 1}), "");
  EXPECT_EQ(resource.diagnosticTooltip({1, 3, 0}), "");
  EXPECT_EQ(resource.testName({1, 2, 12}), "DEVICE_WRITE_TEST");
  EXPECT_EQ(resource.testTooltip({1, 2, 12}), "EXTENDED_DEVICE_WRITE_TEST_TOOLTIP");
}

TEST(StorageResourceTest, HelpNamesEveryDiagnosticAndItsExamplesAreCommandLines) {
  StorageResource resource({1, 0, 1});
  const std::string help = resource.getHelpText();
  for (const auto& [id, option] : resource.getDiagnosticOptions()) {
    EXPECT_NE(help.find("\t-" + option.shortName + ", --" + option.longName + "\t"),
              std::string::npos);
  }
  EXPECT_NE(help.find("           OstriaDiagnosticsCLI -Mstorage -E\"f,s\" 0 1\n\n"),
            std::string::npos);
  EXPECT_NE(help.find("-E\"l(START_RANGE=0,STOP_RANGE=100,COVERAGE_AREA=100,ERROR_LIMIT=10)\"\n"),
            std::string::npos);
}

TEST(StorageResourceTest, LabelTableMayBeSetToItsOwnCopy) {
  StorageResource resource({1, 0, 1});
  EXPECT_TRUE(resource.getLabelTable().empty());
  resource.setLabelTable({{0, "a"}, {2, "c"}});
  resource.setLabelTable(resource.getLabelTable());
  EXPECT_EQ(resource.getLabelTable(), (std::map<int, std::string>{{0, "a"}, {2, "c"}}));
}

}  // namespace
}  // namespace ostria::storage::test
