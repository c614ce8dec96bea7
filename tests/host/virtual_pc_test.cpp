// The program from the outside on the virtual PC: lists, tests, tools and reports of real runs.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <set>

#include "tests/host/run_program.h"
#include "tests/support/source_folder.h"
#include "tests/support/temporary_folder.h"

namespace ostria::host::test {
namespace {

using nlohmann::json;

// Two small drives, of which the second has bad sectors: whole scans take a moment only.
const std::string kSmallPc =
    "--virtual=" + ::ostria::storage::test::sourceFile("tests/host/two_drives.json");

TEST(VirtualPcProgramTest, EveryMessageHasAText) {
  for (const char* const device : {"0", "1"}) {
    const json all = runProgram(OSTRIA_BIN_DIR, {kSmallPc, "-Mstorage", "--json", "--assume=yes",
                                                 "-Q", "-E", device})
                         .document();
    EXPECT_GE(all.at("test_runs").size(), 8u);
    for (const json& run : all.at("test_runs")) {
      EXPECT_NE(run.at("outcome"), "could_not_start") << run;
      for (const json& message : run.at("messages")) {
        EXPECT_THAT(message.at("text"), testing::Not(testing::HasSubstr("_"))) << message;
      }
    }
  }
}

TEST(VirtualPcProgramTest, RefusedParametersAreTheModulesOwnWords) {
  const std::vector<std::pair<std::string, std::string>> rows = {
      {"-En(ERROR_LIMIT=101)", "ERROR_LIMIT: Use a numerical value between 0 and 100"},
      {"-En(ERROR_LIMIT=1,ERROR_LIMIT=2)", "ERROR_LIMIT: Duplicated parameter"},
      {"-En(LIMIT=1)", "LIMIT: Invalid parameter (known are ERROR_LIMIT)"},
      {"-El(START_RANGE=50,STOP_RANGE=50)", "The start value should be less than the end value."},
      {"-El(START_RANGE=)", "START_RANGE: Use a numerical value between 0 and 99"},
  };
  for (const auto& [choice, sentence] : rows) {
    const Ended ended = runProgram(OSTRIA_BIN_DIR, {kSmallPc, "-Mstorage", choice});
    EXPECT_EQ(ended.code, 2) << choice;
    EXPECT_THAT(ended.errors, testing::HasSubstr(sentence));
  }
}

TEST(VirtualPcProgramTest, CtrlCEndsEachTestAtItsNextCommand) {
  const storage::test::TemporaryFolder folder;
  const std::string path = folder.file("slow.json");
  // Slow enough to be in the middle of every test a second after its start.
  const std::string slow =
      R"("size_sectors": 131072, "rotation_rate": 7200, "access_microseconds": 20000,
         "bytes_per_second": 1000000,
         "bad_sectors": [{"lba": 200, "kind": "transient", "failures": 9}],
         "smart": {"self_tests": [{"code": 1, "seconds": 60}, {"code": 2, "seconds": 60},
                                  {"code": 3, "seconds": 60}, {"code": 80, "seconds": 60}]}})";
  std::ofstream(path) << R"({"format": 1, "real_time": true, "drives": [
      {"kind": "sata", "model": "SLOW START", "serial": "S0", "size_sectors": 131072, "bad_sectors":
         [{"lba": 3, "count": 10, "kind": "slow", "delay_milliseconds": 1500}]},
      {"kind": "sata", "model": "SLOW", "serial": "S1", )"
                      << slow << R"(, {"kind": "sas", "model": "SLOW", "serial": "S2", )" << slow
                      << "]}";
  const std::vector<std::pair<std::string, std::string>> tests = {
      {"-Qt", "0"}, {"-Qr", "1"}, {"-Qf", "1"}, {"-Qs", "1"}, {"-Qd", "1"}, {"-Qs", "2"},
      {"-Er", "2"}, {"-Ef", "2"}, {"-Es", "2"}, {"-El", "2"}, {"-En", "1"}, {"-Ec", "1"}};
  std::vector<std::unique_ptr<Program>> running;
  for (const auto& [test, device] : tests) {
    running.push_back(std::make_unique<Program>(
        OSTRIA_BIN_DIR, std::vector<std::string>{"--virtual=" + path, "-Mstorage", "--json",
                                                 "--progress=json", test, device}));
  }
  for (const auto& program : running) {
    EXPECT_TRUE(program->waitFor("test_started"));
  }
  usleep(1'000'000);
  for (const auto& program : running) {
    program->interrupt();
  }
  for (std::size_t i = 0; i < tests.size(); ++i) {
    EXPECT_EQ(running[i]->finish(), 4) << tests[i].first << tests[i].second;
    const json parsed = json::parse(running[i]->output, nullptr, false);
    ASSERT_FALSE(parsed.is_discarded());
    EXPECT_EQ(parsed.at("test_runs").at(0).at("outcome"), "stopped") << parsed;
    EXPECT_LT(parsed.at("test_runs").at(0).at("duration_seconds"), 9) << tests[i].first;
    // What drives say of their self-tests; SCSI has a time for the extended one alone.
    const std::set<std::string> timed = {"-Qs1", "-Es2", "-Ec1"};
    const std::string& errors = running[i]->errors;
    const json started = json::parse(errors.substr(0, errors.find('\n')), nullptr, false);
    EXPECT_EQ(started.value("seconds_left", 0),
              timed.contains(tests[i].first + tests[i].second) ? 60 : 0)
        << started;
  }
}

std::size_t countOf(const std::string& text, const std::string& part) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
    ++count;
  }
  return count;
}

TEST(VirtualPcProgramTest, ReportCoversEveryKindOfDrive) {
  const storage::test::TemporaryFolder folder;
  const std::string path = folder.file("kinds.html");
  const std::string machine = ::ostria::storage::test::sourceFile("tests/host/report_machine.json");
  const Ended ended = runProgram(OSTRIA_BIN_DIR, {"--virtual=" + machine, "-Mstorage", "-Qm,i",
                                                  "-En(ERROR_LIMIT=0)", "--report", path});
  EXPECT_EQ(ended.code, 1);
  const std::string html = takenFrom(path);
  // Each device has its row above and its own part; what needs attention stands in the row.
  for (const char* part :
       {"Device 0: REPORT HEALTHY", "Device 1: REPORT FAILING", "Device 2: REPORT NVME",
        "Device 3: REPORT MEMBER", "raid, RAID",
        "Reallocated Sector Count is at its limit: value 8", "100 % of the rated life is used",
        "41 °C", "badge health_good", "badge health_replace",
        "The spare space of the device is below its threshold", "&lt;script&gt;1&lt;/script&gt;",
        "cells hold bad sectors", "badge failed"}) {
    EXPECT_THAT(html, testing::HasSubstr(part));
  }
  EXPECT_EQ(countOf(html, "class=\"map\""), 4u);
  EXPECT_EQ(countOf(html, "<tr class=\"bad\">"), 4u);
  EXPECT_EQ(countOf(html, "<script"), 0u);
  EXPECT_EQ(countOf(html, "<h3>Partition</h3>"), 1u);
}

TEST(VirtualPcProgramTest, WithoutRightsOrDrivesThereIsOneSentence) {
  const storage::test::TemporaryFolder folder;
  const std::string path = folder.file("empty_pc.json");
  const std::tuple<const char*, int, const char*> rows[] = {
      {R"({"format": 1, "drives": []})", 3, "No storage device was found."},
      {R"({"format": 1, "drives": [], "administrator": false})", 6,
       "requires administrator privileges"},
  };
  for (const auto& [text, code, sentence] : rows) {
    std::ofstream(path) << text;
    for (const char* what : {"--list", "-Q"}) {
      const Ended ended = runProgram(OSTRIA_BIN_DIR, {"--virtual=" + path, "-Mstorage", what});
      EXPECT_EQ(ended.code, code) << text;
      EXPECT_EQ(ended.output, "");
      EXPECT_THAT(ended.errors, testing::HasSubstr(sentence));
      EXPECT_EQ(std::count(ended.errors.begin(), ended.errors.end(), '\n'), 1);
    }
  }
}

}  // namespace
}  // namespace ostria::host::test
