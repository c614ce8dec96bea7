// Drives tested at the same time, each by a process of its own: one document, one exit code, and
// what becomes of a process that is stopped or dies.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include "tests/host/run_program.h"
#include "tests/support/source_folder.h"

namespace ostria::host::test {
namespace {

using nlohmann::json;
using testing::HasSubstr;

// What differs from one run to the next: times.
json withoutTimes(json document) {
  for (json& run : document.at("test_runs")) {
    for (const char* key : {"started_at", "finished_at", "duration_seconds"}) {
      run.erase(key);
    }
    if (run.at("read_times").is_object()) {
      json& speed = run.at("read_times").at("bytes_per_second");
      speed = speed > 0;
      for (const char* key : {"classes", "slowest", "map"}) {
        run.at("read_times").erase(key);
      }
    }
  }
  document.erase("started_at");
  document.erase("finished_at");
  return document;
}

TEST(JobsProgramTest, TheDocumentIsThatOfOneProcess) {
  const std::string machine = ::ostria::storage::test::sourceFile("tests/host/two_drives.json");
  const auto with = [&](const char* jobs) {
    const Ended ended =
        runProgram(OSTRIA_BIN_DIR, {"--virtual=" + machine, "-Mstorage", "-Qm",
                                    "-En(ERROR_LIMIT=0)", "--json", "--jobs", jobs});
    EXPECT_EQ(ended.code, 1) << ended.errors;
    return withoutTimes(ended.document());
  };
  const json one = with("1");
  EXPECT_EQ(one.at("test_runs").size(), 4u);
  EXPECT_EQ(json::diff(one, with("2")).dump(), "[]");
}

TEST(JobsProgramTest, AnAbortReachesAllOfThem) {
  Program program(OSTRIA_FAKE_DIR, {"--virtual", "-Mstorage", "-Qs,m", "0", "1", "--jobs", "2"});
  ASSERT_TRUE(program.waitFor("Device 0"));
  ASSERT_TRUE(program.waitFor("Device 1"));
  program.interrupt();
  EXPECT_EQ(program.finish(), 4) << program.errors;
  EXPECT_THAT(program.output, HasSubstr("2 tests did not start."));
}

TEST(JobsProgramTest, TheDriveOfAProcessThatDiesWasNotTested) {
  Program program(OSTRIA_FAKE_DIR,
                  {"--virtual", "-Mstorage", "-Qs", "0", "1", "--jobs", "2", "--json"});
  ASSERT_TRUE(program.waitFor("Device 0"));
  ASSERT_TRUE(program.waitFor("Device 1"));
  const std::string process = std::to_string(program.process());
  std::ifstream children("/proc/" + process + "/task/" + process + "/children");
  pid_t first = 0;
  ASSERT_TRUE(children >> first);
  ASSERT_EQ(kill(first, SIGKILL), 0);
  program.interrupt();
  program.finish();
  const json document = json::parse(program.output, nullptr, false);
  ASSERT_EQ(schemaComplaint(document), "") << program.output;
  int died = 0;
  for (const json& run : document.at("test_runs")) {
    if (run.at("outcome") == "could_not_start" &&
        run.at("note").dump().find("ended early") != std::string::npos) {
      ++died;
    }
  }
  EXPECT_EQ(document.at("test_runs").size(), 2u);
  EXPECT_EQ(died, 1) << program.output;
}

}  // namespace
}  // namespace ostria::host::test
