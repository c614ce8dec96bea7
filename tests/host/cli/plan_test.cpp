#include "host/cli/plan.h"

#include <gtest/gtest.h>

namespace ostria::host::test {
namespace {

Catalogue smallCatalogue() {
  Catalogue catalogue;
  catalogue.moduleName = "STORAGE";
  catalogue.diagnostics = {
      {{1, 1, 0},
       "QUICK_TESTS",
       "Q",
       "quick",
       {{{1, 1, 1}, "SMART_STATUS_TEST", "m", "smart-status", false, nullptr},
        {{1, 1, 3}, "RANDOM_SEEK_TEST", "r", "random-seek", false, nullptr},
        {{1, 1, 15}, "SMART_HEALTH_TEST", "", "", false, nullptr}}},
      {{1, 2, 0},
       "EXTENDED_TESTS",
       "E",
       "extended",
       {{{1, 2, 8}, "EXTENDED_RANDOM_SEEK_TEST", "r", "extended-random_seek-test", false, nullptr},
        {{1, 2, 16}, "LINEAR_READ_TEST", "l", "linear-read-test", true, nullptr},
        {{1, 2, 13}, "FULL_DISK_SCAN_TEST", "n", "full-disk-scan-test", true, nullptr}}}};
  catalogue.tools = {{"recover", "RECOVER_BAD_SECTORS", nullptr}, {"smart", "SMART_TOOL", nullptr}};
  return catalogue;
}

OrUsageError<Plan> planOf(const std::vector<std::string>& arguments) {
  auto line = readCommandLine(arguments);
  if (auto* error = std::get_if<UsageError>(&line)) {
    return *error;
  }
  return makePlan(std::get<CommandLine>(line), smallCatalogue());
}

// "1.1.1 1.2.16(ERROR_LIMIT=5) @0,2": tests and devices of a plan in one text.
std::string written(const Plan& plan) {
  const Catalogue catalogue = smallCatalogue();
  std::string text;
  for (const TestChoice& choice : plan.selection.tests) {
    text += identifierText(catalogue.diagnostics[choice.diagnostic].tests[choice.test].id);
    for (const ParameterText& pair : choice.parameters) {
      text += "(" + pair.key + "=" + pair.value + ")";
    }
    text += choice.named ? " " : "* ";
  }
  if (plan.action == Action::RunTool) {
    text += catalogue.tools[plan.selection.tool].commandName + " " + plan.selection.operation + " ";
  }
  text += "@";
  for (const std::uint32_t device : plan.selection.devices) {
    text += std::to_string(device) + ",";
  }
  return text;
}

TEST(PlanTest, PlansAreWhatTheArgumentsSay) {
  const std::vector<std::pair<std::vector<std::string>, std::string>> rows = {
      {{"-Mstorage", "-Qm,r", "0", "2"}, "1.1.1 1.1.3 @0,2,"},
      {{"-Mstorage", "-Q", "-E", "0", "1"}, "1.1.1* 1.1.3* 1.1.15* 1.2.8* 1.2.16* 1.2.13* @0,1,"},
      {{"-Mstorage", "--quick=smart-status", "-Er"}, "1.1.1 1.2.8 @"},
      {{"-M", "STORAGE", "-E l ( START_RANGE = 0 , ERROR_LIMIT=10 ) , n"},
       "1.2.16(START_RANGE=0)(ERROR_LIMIT=10) 1.2.13 @"},
      {{"-Mstorage", "-El(ERROR_LIMIT=)"}, "1.2.16(ERROR_LIMIT=) @"},
      {{"--virtual", "-Mstorage", "-Qm", "--json", "--assume", "no", "1"}, "1.1.1 @1,"},
      {{"-Mstorage", "recover", "scan", "1"}, "recover scan @1,"},
      {{"smart"}, "smart  @"},
  };
  for (const auto& [arguments, expected] : rows) {
    const auto plan = planOf(arguments);
    ASSERT_TRUE(std::holds_alternative<Plan>(plan)) << std::get<UsageError>(plan).sentence;
    EXPECT_EQ(written(std::get<Plan>(plan)), expected);
  }
}

TEST(PlanTest, WhatIsWrongIsSaidInOneSentence) {
  const std::vector<std::pair<std::vector<std::string>, std::string>> rows = {
      {{}, "Nothing to do"},
      {{"-Mdisplay"}, "no module \"display\""},
      {{"-Mstorage", "-X"}, "no option -X"},
      {{"-Mstorage", "--quik"}, "no option --quik"},
      {{"-Mstorage", "-Qz"}, "-Q has no test \"z\"; --help"},
      {{"-Mstorage", "-Ql"}, "that is a test of -E (--extended): -E\"l\"."},
      {{"-Mstorage", "-Qm,"}, "has an empty place"},
      {{"-Mstorage", "--quick="}, "names no test"},
      {{"-Mstorage", "-Qm(ERROR_LIMIT=1)"}, "takes no parameters"},
      {{"-Mstorage", "-El(ERROR_LIMIT=1"}, "is not closed"},
      {{"-Mstorage", "-El(ERROR_LIMIT=1(2)"}, "is not closed"},
      {{"-Mstorage", "-El(ERROR_LIMIT)"}, "KEY=VALUE"},
      {{"-Mstorage", "-El(ERROR_LIMIT=1)n"}, "comma is missing before \"n\""},
      {{"-Mstorage", "-El()"}, "are empty"},
      {{"-Mstorage", "-Qm", "-Qm"}, "given twice"},
      {{"-Mstorage", "-Qm", "0", "0"}, "Device 0 is given twice"},
      {{"-Mstorage", "-Q", "f,r"}, "directly behind -Q, without a blank: -Q\"f,r\""},
      {{"-Mstorage", "-Qm", "4294967296"}, "neither a device number"},
      {{"-Mstorage", "-Qm", "--", "-1"}, "\"-1\" is neither a device number"},
      {{"-Mstorage", "0"}, "what to do with the devices"},
      {{"-Mstorage", "--list", "0"}, "--list shows all devices"},
      {{"-Mstorage", "scan", "0"}, "recover scan"},
      {{"-Mstorage", "recover"}, "recover needs to know"},
      {{"-Mstorage", "recover", "destroy"}, "cannot do \"destroy\""},
      {{"-Mstorage", "recover", "repair"}, "name the device numbers"},
      {{"-Mstorage", "-Qm", "smart"}, "Only one of"},
      {{"-Mstorage", "--assume", "maybe"}, "yes or no"},
      {{"-Mstorage", "--progress=bar"}, "--progress knows"},
      {{"-Mstorage", "--json=1"}, "--json takes no value"},
      {{"-Mstorage", "--report"}, "--report needs a value"},
  };
  for (const auto& [arguments, expected] : rows) {
    const auto plan = planOf(arguments);
    ASSERT_TRUE(std::holds_alternative<UsageError>(plan)) << expected;
    EXPECT_NE(std::get<UsageError>(plan).sentence.find(expected), std::string::npos)
        << std::get<UsageError>(plan).sentence;
  }
}

TEST(PlanTest, DeviceNumbersAreCheckedAgainstTheList) {
  Selection selection;
  selection.devices = {1, 3};
  EXPECT_EQ(checkDevices(selection, 4).sentence, "");
  EXPECT_EQ(checkDevices(selection, 3).sentence, "There is no device 3; the devices are 0 to 2.");
  EXPECT_EQ(checkDevices(selection, 0).sentence,
            "There is no device 1; no storage device was found.");
}

}  // namespace
}  // namespace ostria::host::test
