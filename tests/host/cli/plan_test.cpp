// What the command line asks for, and the sentence for each mistake in it.
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
        {{1, 2, 12}, "DEVICE_WRITE_TEST", "d", "device-write-test", false, nullptr},
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
  for (const std::string& name : plan.selection.names) {
    text += name + ",";
  }
  return text;
}

TEST(PlanTest, PlansAreWhatTheArgumentsSay) {
  const std::vector<std::pair<std::vector<std::string>, std::string>> rows = {
      {{"-Mstorage", "-Qm,r", "0", "2"}, "1.1.1 1.1.3 @0,2,"},
      {{"-Mstorage", "-Q", "-E", "0", "1"},
       "1.1.1* 1.1.3* 1.1.15* 1.2.8* 1.2.16* 1.2.12* 1.2.13* @0,1,"},
      {{"-Mstorage", "-E", "--read-only", "0"}, "1.2.8* 1.2.16* 1.2.13* @0,"},
      {{"-Mstorage", "--quick=smart-status", "-Er"}, "1.1.1 1.2.8 @"},
      {{"-Mstorage", "--extended=random-seek"}, "1.2.8 @"},
      {{"-M", "STORAGE", "-E l ( START_RANGE = 0 , ERROR_LIMIT=10 ) , n"},
       "1.2.16(START_RANGE=0)(ERROR_LIMIT=10) 1.2.13 @"},
      {{"-Mstorage", "-El(ERROR_LIMIT=)"}, "1.2.16(ERROR_LIMIT=) @"},
      {{"--virtual", "-Mstorage", "-Qm", "--json", "--assume", "no", "1"}, "1.1.1 @1,"},
      {{"-Mstorage", "recover", "scan", "1"}, "recover scan @1,"},
      {{"smart"}, "smart  @"},
      {{"-Mstorage", "-Q", "/dev/sda", "S1"}, "1.1.1* 1.1.3* 1.1.15* @/dev/sda,S1,"},
  };
  for (const auto& [arguments, expected] : rows) {
    const auto plan = planOf(arguments);
    ASSERT_TRUE(std::holds_alternative<Plan>(plan)) << Texts().say(std::get<UsageError>(plan));
    EXPECT_EQ(written(std::get<Plan>(plan)), expected);
  }
}

TEST(PlanTest, WhatChangesADriveUnseenWantsItsOwnName) {
  const std::pair<std::vector<std::string>, bool> rows[] = {
      {{"recover", "repair", "0", "--assume", "yes"}, true},
      {{"recover", "filesystem", "0", "--assume", "yes"}, true},
      {{"recover", "scan", "0", "--assume", "yes"}, false},
      {{"recover", "repair", "0", "--assume", "no"}, false},
      {{"recover", "repair", "0"}, false},
      {{"--virtual", "recover", "repair", "0", "--assume", "yes"}, false},
  };
  for (const auto& [arguments, own] : rows) {
    EXPECT_EQ(std::get<Plan>(planOf(arguments)).namesTaken == NamesTaken::OwnOnly, own)
        << testing::PrintToString(arguments);
  }
}

TEST(PlanTest, WhatIsWrongIsSaidInOneSentence) {
  const Texts texts;
  const std::vector<std::pair<std::vector<std::string>, std::string>> rows = {
      {{"-Mdisplay"}, "Unknown module \"display\". The module is \"storage\"."},
      {{"-Mstorage", "-X"}, "Unknown option: -X. See --help."},
      {{"-Mstorage", "--quik"}, "Unknown option: --quik."},
      {{"-Mstorage", "-Qz"}, "-Q has no test \"z\". See --help."},
      {{"-Mstorage", "-Ql"}, "Did you mean -E\"l\" (--extended)?"},
      {{"-Mstorage", "-Qm,"}, "Empty entry in test list \"m,\"."},
      {{"-Mstorage", "--quick="}, "names no test"},
      {{"-Mstorage", "-Qm(ERROR_LIMIT=1)"}, "takes no parameters"},
      {{"-Mstorage", "-El(ERROR_LIMIT=1"}, "Missing closing bracket after test \"l\"."},
      {{"-Mstorage", "-El(ERROR_LIMIT=1(2)"}, "Missing closing bracket after test \"l\"."},
      {{"-Mstorage", "-El(ERROR_LIMIT)"}, "KEY=VALUE"},
      {{"-Mstorage", "-El(ERROR_LIMIT=1)n"}, "Missing comma before \"n\""},
      {{"-Mstorage", "-El()"}, "Empty brackets after test \"l\"."},
      {{"-Mstorage", "-Qm", "-Qm"}, "Duplicate test \"m\" of -Q."},
      {{"-Mstorage", "-Qm", "0", "0"}, "Duplicate device 0."},
      {{"-Mstorage", "-Q", "m,r"}, "follows -Q without a blank: -Qm,r."},
      {{"-Mstorage", "0"}, "No action for the devices."},
      {{"-Mstorage", "--list", "0"}, "--list takes no devices."},
      {{"-Mstorage", "scan", "0"}, "recover scan"},
      {{"-Mstorage", "recover"}, "recover needs an operation"},
      {{"-Mstorage", "recover", "destroy"}, "Unknown operation \"destroy\"."},
      {{"-Mstorage", "recover", "repair"},
       "recover repair changes the device and needs the name of one."},
      {{"-Mstorage", "-Qm", "smart"},
       "--list, --show, --history, --compare, tests and tools exclude each other."},
      {{"-Mstorage", "--assume", "maybe"}, "yes or no"},
      {{"-Mstorage", "--progress=bar"}, "Unknown form of progress \"bar\"."},
      {{"-Mstorage", "--json=1"}, "--json takes no value"},
      {{"--history", "--since", "yesterday"}, "Invalid date"},
      {{"--since", "2026"}, "go with --history"},
      {{"--compare", "--history"}, "exclude each other"},
      {{"-Qm", "--record", "--redact"}, "--record does not go with --redact"},
      {{"--jobs", "0", "-Qm"}, "a number from 1 to 99"},
      {{"--jobs", "2x", "-Qm"}, "a number from 1 to 99"},
      {{"--jobs", "2", "--list"}, "--jobs goes with tests"},
      {{"-Mstorage", "-Ed", "--read-only"}, "does not go with \"device-write-test\""},
      {{"-Mstorage", "recover", "repair", "--read-only", "0"}, "does not go with \"repair\""},
      {{"-Mstorage", "--report"}, "--report needs a value."},
      {{"-Mstorage", "-Q", "--report", "-E", "0"}, "--report needs a value."},
      {{"-Mstorage", "-o", "-Q"}, "-o needs a value."},
  };
  for (const auto& [arguments, expected] : rows) {
    const auto plan = planOf(arguments);
    ASSERT_TRUE(std::holds_alternative<UsageError>(plan)) << expected;
    const std::string sentence = texts.say(std::get<UsageError>(plan));
    EXPECT_NE(sentence.find(expected), std::string::npos) << sentence;
  }
}

}  // namespace
}  // namespace ostria::host::test
