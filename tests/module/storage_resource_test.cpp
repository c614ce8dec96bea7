// The tables that a command line is made from: names unique, letters unique in each diagnostic.
#include "module/storage_resource.h"

#include <gtest/gtest.h>

namespace ostria::storage::test {
namespace {

TEST(StorageResourceTest, CommandLineNamesAreTheOnesThatScriptsUse) {
  const struct {
    Identifier id;
    const char* letter;
    const char* name;
    std::uint32_t arguments;
  } rows[] = {{{1, 1, 1}, "m", "smart-status", 2},
              {{1, 1, 2}, "t", "targeted-read", 2},
              {{1, 1, 3}, "r", "random-seek", 2},
              {{1, 1, 4}, "f", "funnel-seek", 2},
              {{1, 1, 5}, "s", "short-self-test", 2},
              {{1, 1, 6}, "d", "drive-self-test", 2},
              {{1, 1, 7}, "u", "default-self-test", 2},
              {{1, 1, 11}, "e", "device-read-test", 2},
              {{1, 1, 14}, "o", "smart-wearout", 2},
              {{1, 1, 19}, "i", "smart-spare-space", 2},
              {{1, 1, 20}, "a", "smart-temperature", 2},
              {{1, 1, 21}, "b", "smart-reliability", 2},
              {{1, 1, 22}, "g", "controller-status", 2},
              {{1, 1, 25}, "h", "nvme-smart-health-test", 2},
              {{1, 2, 8}, "r", "extended-random_seek-test", 2},
              {{1, 2, 9}, "f", "extended-funnel-seek-test", 2},
              {{1, 2, 10}, "s", "extended-self-test", 2},
              {{1, 2, 12}, "w", "device-write-test", 2},
              {{1, 2, 13}, "n", "full-disk-scan-test", 0},
              {{1, 2, 16}, "l", "linear-read-test", 0},
              {{1, 2, 18}, "c", "conveyance-self-test", 2}};
  StorageResource resource({1, 0, 1});
  const auto options = resource.getTestOptions();
  EXPECT_EQ(options.size(), std::size(rows));
  EXPECT_EQ(resource.testName({1, 1, 15}), "SMART_HEALTH_TEST") << "texts, and no name";
  EXPECT_EQ(resource.testTooltip({1, 2, 12}), "EXTENDED_DEVICE_WRITE_TEST_TOOLTIP");
  EXPECT_EQ(resource.diagnosticName({1, 1, 0}), "QUICK_TESTS");
  EXPECT_EQ(resource.testName({1, 1, 0}) + resource.diagnosticName({1, 1, 1}), "");
  for (const auto& row : rows) {
    const auto found = options.find(row.id);
    ASSERT_NE(found, options.end()) << row.name;
    EXPECT_EQ(found->second.shortName, row.letter) << row.name;
    EXPECT_EQ(found->second.longName, row.name);
    EXPECT_EQ(found->second.argumentKind, row.arguments) << row.name;
    EXPECT_FALSE(resource.testName(row.id).empty() || resource.testTooltip(row.id).empty());
  }
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

}  // namespace
}  // namespace ostria::storage::test
