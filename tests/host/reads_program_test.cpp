// What is measured and kept of reads: times, bad blocks and sectors, runs that end early, in each
// output.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "tests/host/program.h"
#include "tests/host/schema_check.h"
#include "tests/support/source_folder.h"

namespace ostria::host::test {
namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::Not;

struct Ended {
  int code;
  std::string output;
  std::string errors;
};

Ended run(std::vector<std::string> arguments) {
  arguments.insert(
      arguments.begin(),
      {"--virtual=" + ::ostria::storage::test::sourceFile("tests/host/reads_machine.json"),
       "-Mstorage"});
  Program program(OSTRIA_BIN_DIR, arguments);
  const int code = program.finish();
  return {code, program.output, program.errors};
}

json document(std::vector<std::string> arguments) {
  arguments.push_back("--json");
  const json parsed = json::parse(run(arguments).output, nullptr, false);
  EXPECT_FALSE(parsed.is_discarded());
  EXPECT_EQ(schemaComplaint(parsed), "");
  return parsed;
}

std::string contentOf(const std::string& path) {
  std::stringstream content;
  content << std::ifstream(path).rdbuf();
  std::filesystem::remove(path);
  return content.str();
}

TEST(ReadsProgramTest, SectorsAreWrittenOneALineAndEachHasItsOutcome) {
  const std::string path = testing::TempDir() + "sectors.txt";
  EXPECT_EQ(run({"recover", "scan", "READS-1", "-o", path}).code, 1);
  EXPECT_EQ(contentOf(path), "5000\n5001\n100000\n");
  EXPECT_EQ(run({"recover", "scan", "-o" + path}).code, 1);
  EXPECT_EQ(contentOf(path),
            "# 0 READS - 67.1 MB READS-1\n5000\n5001\n100000\n# 1 SOUND - 67.1 MB READS-2\n");
  const Ended text = run({"recover", "repair", "READS-1", "--assume=yes"});
  EXPECT_THAT(text.output, HasSubstr("Sector 5001: repaired"));
  EXPECT_THAT(text.output, HasSubstr("Sector 100000: still bad"));
  const json repair = document({"recover", "repair", "READS-1", "--assume=yes"});
  EXPECT_EQ(repair.at("tool_runs").at(0).at("sectors").at("outcomes"),
            (json{"repaired", "repaired", "bad"}));
  EXPECT_EQ(run({"-Qm", "-o", path}).code, 2);
  EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(ReadsProgramTest, ReportHasTheMapTheSectorsAndWhatTheUserNoted) {
  const std::string path = testing::TempDir() + "reads.html";
  run({"-En(ERROR_LIMIT=0)", "--report", path, "--note", "Ticket=<4711>",
       "--note=Customer=M\u00FCller"});
  const std::string html = contentOf(path);
  for (const char* part :
       {"<dt>Ticket</dt><dd>&lt;4711&gt;</dd>", "M\u00FCller", "(local time ", "<dt>Program</dt>",
        "Bad blocks, in sectors: ", "class=\"f-bad\"", "prefers-color-scheme:dark"}) {
    EXPECT_THAT(html, HasSubstr(part));
  }
  run({"recover", "repair", "READS-1", "--assume=yes", "--report", path});
  EXPECT_THAT(contentOf(path), HasSubstr("5001 (repaired), 100000 (still bad)"));
  EXPECT_EQ(run({"-Qm", "--note", "=x"}).code, 2);
}

TEST(ReadsProgramTest, QuietPrintsOnlyWhatIsNotGood) {
  const Ended good = run({"-q", "-En", "READS-2"});
  EXPECT_EQ(good.code, 0);
  EXPECT_EQ(good.output + good.errors, "");
  const Ended bad = run({"-q", "-Ql", "-En", "READS-1", "READS-2"});
  EXPECT_EQ(bad.code, 2);  // -Ql does not exist: errors are never quiet
  EXPECT_THAT(bad.errors, HasSubstr("no test"));
  const Ended both = run({"-En", "-q"});
  EXPECT_EQ(both.code, 1);
  EXPECT_THAT(both.output, HasSubstr("READS-1"));
  EXPECT_THAT(both.output, Not(HasSubstr("READS-2")));
  EXPECT_EQ(both.errors, "");
}

// Every line is JSON, wrong usage too, and each result comes when its test ends.
TEST(ReadsProgramTest, JsonLinesCarryErrorsAndWholeResults) {
  const auto eventsOf = [](const std::string& text) {
    std::vector<json> events;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
      events.push_back(json::parse(line, nullptr, false));
      EXPECT_FALSE(events.back().is_discarded()) << line;
      EXPECT_TRUE(events.back().contains("time")) << line;
    }
    return events;
  };
  const auto events = eventsOf(run({"--progress=json", "-En", "-El"}).errors);
  std::vector<std::string> results;
  for (const json& event : events) {
    if (event.at("event") == "test_result") {
      results.push_back(event.at("result").at("outcome"));
      EXPECT_TRUE(event.at("result").contains("read_times"));
    } else {
      EXPECT_EQ(event.at("test_count"), 2);
      EXPECT_EQ(event.at("drive_count"), 2);
    }
  }
  EXPECT_EQ(results.size(), 4u);
  EXPECT_EQ(results[0], "failed");
  EXPECT_EQ(events.back().at("result").at("device_index"), 1);
  for (const auto& wrong :
       {std::vector<std::string>{"--progress=json", "-Qs", "99"}, {"-Qz", "--progress", "json"}}) {
    const auto lines = eventsOf(run(wrong).errors);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].at("event"), "error");
    EXPECT_EQ(lines[0].at("exit_code"), 2);
  }
}

// A volume that stays in use is named, and nothing is repaired without the serial number.
TEST(ReadsProgramTest, ForceMountedWantsTheSerialNumber) {
  const Ended refused = run({"recover", "repair", "READS-1", "--force-mounted", "--assume=yes"});
  EXPECT_EQ(refused.code, 3);
  EXPECT_THAT(refused.output, Not(HasSubstr("repaired")));
  EXPECT_EQ(
      run({"recover", "repair", "READS-1", "--force-mounted", "--assume-write", "READS-1"}).code,
      1);
  EXPECT_EQ(run({"recover", "filesystem", "READS-1", "--force-mounted"}).code, 2);
}

}  // namespace
}  // namespace ostria::host::test
