// What is measured and kept of reads: times, bad blocks and sectors, runs that end early, in each
// output.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <string>

#include "tests/host/run_program.h"
#include "tests/support/source_folder.h"
#include "tests/support/temporary_folder.h"

namespace ostria::host::test {
namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::Not;

Ended run(const std::vector<std::string>& arguments) {
  const std::string machine = ::ostria::storage::test::sourceFile("tests/host/reads_machine.json");
  return runProgram(OSTRIA_BIN_DIR, behind({"--virtual=" + machine, "-Mstorage"}, arguments));
}
json document(const std::vector<std::string>& arguments) {
  return run(behind(arguments, {"--json"})).document();
}

TEST(ReadsProgramTest, BlocksAreListedOnceAndTheSlowestAreNamed) {
  const json scan = document({"-En(ERROR_LIMIT=0)", "READS-1"}).at("test_runs").at(0);
  std::uint64_t next = 0;
  std::set<std::uint64_t> bad = {5000, 5001, 100000};
  for (const json& range : scan.at("bad_ranges")) {
    const std::uint64_t first = range.at("first_sector");
    const std::uint64_t last = range.at("last_sector");
    EXPECT_GE(first, next);
    EXPECT_LE(first, last);
    next = last + 1;
    std::erase_if(bad, [&](std::uint64_t sector) { return sector >= first && sector <= last; });
  }
  EXPECT_TRUE(bad.empty());
  const json& times = scan.at("read_times");
  EXPECT_EQ(times.at("bad_blocks"), 2);
  EXPECT_EQ(times.at("classes").at(5).at("reads"), 1);
  const json& slowest = times.at("slowest").at(0);
  EXPECT_GE(slowest.at("milliseconds"), 4000);
  EXPECT_LE(slowest.at("first_sector"), 70000);
  EXPECT_GT(slowest.at("first_sector").get<int>() + slowest.at("sectors").get<int>(), 70000);
  EXPECT_GT(times.at("bytes_per_second"), 10'000'000);  // with the slow one
  EXPECT_EQ(times.at("position_sector"), 131072);
  const std::string map = times.at("map");
  EXPECT_EQ(map.size(), 768u);
  EXPECT_EQ(map.find('.'), std::string::npos) << map;
  EXPECT_EQ(map[70000 * 768 / 131072], '5');
  EXPECT_EQ(map[100000 * 768 / 131072], 'x');
  EXPECT_LT(map[767], '3');  // a block of 2 MB
}

TEST(ReadsProgramTest, TheEventOfTheEndHasTheLastCounts) {
  const Ended ended = run({"-En(ERROR_LIMIT=0)", "READS-1", "--json", "--progress=json"});
  const json times = ended.document().at("test_runs").at(0).at("read_times");
  json last;
  std::istringstream lines(ended.errors);
  for (std::string line; std::getline(lines, line);) {
    if (line.find("test_finished") != std::string::npos) {
      last = json::parse(line);
    }
  }
  EXPECT_EQ(last.at("bad_blocks"), times.at("bad_blocks"));
  EXPECT_EQ(last.at("position_sector"), times.at("position_sector"));
}

TEST(ReadsProgramTest, AScanThatEndsEarlySaysHowMuchItRead) {
  EXPECT_THAT(run({"-En", "READS-1"}).output,
              HasSubstr("Stopped at its first error: 3.1 % of the disk was read."));
  EXPECT_THAT(run({"-En(ERROR_LIMIT=2)", "READS-1"}).output,
              HasSubstr("Stopped at its limit of errors (2): "));
  for (const char* whole : {"-En(ERROR_LIMIT=0)", "-En(ERROR_LIMIT=3)"}) {
    EXPECT_THAT(run({whole, "READS-1"}).output, Not(HasSubstr("Stopped at")));
  }
  EXPECT_THAT(run({"-En", "READS-2"}).output, Not(HasSubstr("of the disk was read")));
}

TEST(ReadsProgramTest, SectorsAreWrittenOneALineAndEachHasItsOutcome) {
  const storage::test::TemporaryFolder folder;
  const std::string path = folder.file("sectors.txt");
  EXPECT_EQ(run({"recover", "scan", "READS-1", "-o", path}).code, 1);
  EXPECT_EQ(takenFrom(path), "5000\n5001\n100000\n");
  EXPECT_EQ(run({"recover", "scan", "-o" + path}).code, 1);
  EXPECT_EQ(takenFrom(path),
            "# 0 READS - 67.1 MB READS-1\n5000\n5001\n100000\n# 1 SOUND - 67.1 MB READS-2\n");
  const Ended text = run({"recover", "repair", "READS-1", "--assume=yes"});
  EXPECT_THAT(text.output, HasSubstr("Sector 5001: repaired"));
  EXPECT_THAT(text.output, HasSubstr("Sector 100000: still bad"));
  const json repair = document({"recover", "repair", "READS-1", "--assume=yes"}).at("tool_runs")[0];
  EXPECT_EQ(repair.at("status"), 10);
  const json& sectors = repair.at("sectors");
  EXPECT_EQ(sectors.at("scanned_sectors"), 131072);
  EXPECT_EQ(sectors.at("list"), (json{5000, 5001, 100000}));
  EXPECT_EQ(sectors.at("outcomes"), (json{"repaired", "repaired", "bad"}));
  EXPECT_EQ(sectors.at("repaired_sectors"), 2);
  EXPECT_EQ(sectors.at("repaired_list"), (json{5000, 5001}));
  EXPECT_EQ(document({"recover", "scan", "READS-2"}).at("outcome"), "passed");
  EXPECT_EQ(run({"-Qm", "-o", path}).code, 2);
  EXPECT_FALSE(std::filesystem::exists(path));
}

// Sectors of which nothing is known make a scan incomplete and end a test, and the drive is neither
// bad nor lost as long as it answers, but to be watched.
TEST(ReadsProgramTest, AScanWithGapsIsNoLostDrive) {
  const storage::test::TemporaryFolder folder;
  const auto ending = [&](std::vector<std::string> what, const std::string& fault) {
    folder.write("pc.json",
                 R"({"format": 1, "drives": [{"kind": "sas", "model": "GAPS", "serial": "G1",
        "size_sectors": 2600, "faults": [)" +
                     fault + R"(
        {"action": "device_error", "codes": [11, 0, 0], "command": 40, "occurrence": 6, "times": 400},
        {"action": "device_error", "codes": [11, 0, 0], "command": 136, "times": 400}]}]})");
    what.insert(what.begin(), {"--virtual=" + folder.file("pc.json"), "--json"});
    what.emplace_back("G1");
    const Ended ended = runProgram(OSTRIA_BIN_DIR, what);
    const json whole = ended.document();
    const json& run = whole.at(whole.contains("tool_runs") ? "tool_runs" : "test_runs").at(0);
    return std::to_string(ended.code) + " " + run.at("outcome").get<std::string>() + " " +
           run.at("lost").dump() + " " + run.value("status_text", "") + " " +
           whole.at("devices").at(0).at("health").at("verdict").get<std::string>();
  };
  const std::string gone = R"({"action": "vanish", "command": 40, "occurrence": 300},)";
  EXPECT_EQ(ending({"recover", "scan"}, ""), "6 could_not_start false incomplete watch");
  EXPECT_EQ(ending({"recover", "scan"}, gone),
            "1 failed true stopped, or the device no longer answers not_answering");
  for (const char* test : {"-El", "-En"}) {
    EXPECT_EQ(ending({test}, ""), "6 could_not_start false  watch");
    EXPECT_EQ(ending({test}, R"({"action": "vanish", "command": 40, "occurrence": 6},)"),
              "1 failed true  not_answering");
  }
}

TEST(ReadsProgramTest, ReportHasTheMapTheSectorsAndWhatTheUserNoted) {
  const storage::test::TemporaryFolder folder;
  const std::string path = folder.file("reads.html");
  run({"-En(ERROR_LIMIT=0)", "--report", path, "--note", "Ticket=<4711>",
       "--note=Customer=M\u00FCller"});
  const std::string html = takenFrom(path);
  for (const char* part : {"<dt>Ticket</dt><dd>&lt;4711&gt;</dd>", "M\u00FCller", "(local time ",
                           "<dt>Program</dt>", "Bad blocks, in sectors: ", "class=\"f-t5\"",
                           "class=\"f-bad\"", "500 ms and more", "prefers-color-scheme:dark"}) {
    EXPECT_THAT(html, HasSubstr(part));
  }
  run({"recover", "repair", "READS-1", "--assume=yes", "--report", path});
  EXPECT_THAT(takenFrom(path), HasSubstr("5001 (repaired), 100000 (still bad)"));
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

// A drive so slow that Ctrl-C meets the scan behind its first bad block.
TEST(ReadsProgramTest, CtrlCKeepsWhatAScanFound) {
  const storage::test::TemporaryFolder folder;
  const std::string path = folder.file("slow_reads.json");
  std::ofstream(path) << R"({"format": 1, "real_time": true, "drives": [{"kind": "sata",
      "model": "SLOW READS", "serial": "SLOW-1", "size_sectors": 13107200, "rotation_rate": 7200,
      "bytes_per_second": 20000000, "bad_sectors": [{"lba": 200000}]}]})";
  Program program(OSTRIA_BIN_DIR,
                  {"--virtual=" + path, "-Mstorage", "--progress=json", "-En(ERROR_LIMIT=0)", "0"});
  ASSERT_TRUE(program.waitFor("\"bad_blocks\":1", 40));
  program.interrupt();
  EXPECT_EQ(program.finish(), 1);
  EXPECT_THAT(program.output, HasSubstr("Bad blocks so far: 1."));
  EXPECT_THAT(program.output, HasSubstr("% of the disk was read."));
  EXPECT_THAT(program.errors, HasSubstr("\"percent_exact\""));
  EXPECT_THAT(program.errors, HasSubstr("\"bytes_per_second\""));
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
