// The program from the outside, beside a module that needs no disk: exit codes, JSON, progress,
// Ctrl-C.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/run_program.h"
#include "tests/support/temporary_folder.h"

namespace ostria::host::test {
namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::Not;

std::vector<std::string> onFake(const std::vector<std::string>& arguments) {
  return behind({"--virtual", "-Mstorage"}, arguments);
}
Ended run(const std::vector<std::string>& arguments) {
  return runProgram(OSTRIA_FAKE_DIR, onFake(arguments));
}

TEST(ProgramTest, EndsWithTheWorstOutcome) {
  const std::vector<std::pair<std::vector<std::string>, int>> rows = {
      {{}, 1},  // device 1 is below its limit, whatever its tests say
      {{"--show", "0"}, 0},
      {{"-Qm", "0"}, 0},
      {{"-Qm", "1"}, 1},
      {{"-Qm,t", "1"}, 1},
      {{"-Qm,o", "0"}, 3},
      {{"-E", "0", "--assume", "no"}, 1},
      {{"-Ew", "0"}, 3},  // nobody can be asked
      {{"-Ew", "--assume", "no", "0"}, 3},
      {{"-Ew", "--assume=yes", "0"}, 3},  // does not cover what writes
      {{"-Ew", "--assume-write", "SN 12345678", "0"}, 0},
      {{"-Ew", "--assume-write", "SN 1234567", "0"}, 3},
      {{"recover", "scan", "0"}, 0},
      {{"recover", "scan"}, 1},
      {{"recover", "repair", "0"}, 3},
      {{"recover", "repair", "1", "--assume", "yes"}, 1},
      {{"recover", "filterDevices"}, 0},
      {{"-Qm", "2"}, 2},
      {{"-En(ERROR_LIMIT=x)"}, 2},
      {{"--show", "0", "--config", "/nonexistent.ini"}, 2},
      {{"--config", "/"}, 2},
      {{"--virtual=/nonexistent.json"}, 2},
      {{"-Qm", "--report", "/nonexistent/report.html"}, 2},
      {{"--help"}, 0},
      {{"--version"}, 0},
  };
  for (const auto& [arguments, code] : rows) {
    const Ended ended = run(arguments);
    EXPECT_EQ(ended.code, code) << testing::PrintToString(arguments) << ended.errors;
    if (code == 2) {
      // One sentence, and nothing else.
      EXPECT_EQ(ended.output, "");
      EXPECT_EQ(std::count(ended.errors.begin(), ended.errors.end(), '\n'), 1) << ended.errors;
    }
  }
}

TEST(ProgramTest, RefusedTestsSayWhyAndAreNotFailed) {
  const Ended ended = run({"-Qo,t", "0"});
  EXPECT_THAT(ended.output, HasSubstr("The device does not support SMART"));
  EXPECT_THAT(ended.output, HasSubstr("does not offer this test"));
  EXPECT_THAT(ended.output, Not(HasSubstr("FAILED")));
  // What was not asked for by name is left out.
  EXPECT_THAT(run({"-Qm", "0"}).output, Not(HasSubstr("NOT PERFORMED")));
}

TEST(ProgramTest, JsonIsOneValidDocumentForEveryCommand) {
  EXPECT_EQ(run({"--json"}).document().at("devices").size(), 2u);
  const json shown = run({"--json", "--show", "1"}).document();
  EXPECT_EQ(shown.at("devices").at(0).at("smart").at(0).at("below_threshold"), true);

  const json tests = run({"--json", "-Qm,t,o", "-En(ERROR_LIMIT=5)", "1"}).document();
  EXPECT_EQ(tests.at("exit_code"), 1);
  EXPECT_EQ(tests.at("devices").at(0).at("size_bytes_text"), "9223372036854775808");
  EXPECT_EQ(tests.at("devices").at(0).at("temperature_celsius"), nullptr);
  const json& failed = tests.at("test_runs").at(1);
  EXPECT_EQ(failed.at("outcome"), "failed");
  EXPECT_EQ(failed.at("messages").at(0).at("key"), "TOO_MANY_BAD_SECTORS_FOUND: 10");
  EXPECT_EQ(failed.at("messages").at(0).at("text"), "Too many bad sectors found: 10");
  EXPECT_EQ(tests.at("test_runs").at(2).at("outcome"), "not_supported");
  EXPECT_EQ(tests.at("test_runs").at(3).at("parameters").at("ERROR_LIMIT"), "5");

  for (const char* operation : {"scan", "repair", "filesystem", "filterDevices"}) {
    const json tool = run({"--json", "recover", operation, "1", "--assume=yes"}).document();
    EXPECT_EQ(tool.at("operation"), operation);
  }
  for (const char* help : {"--help", "-h"}) {
    EXPECT_THAT(run({"--json", help}).document().at("text"), HasSubstr("--json"));
  }
  EXPECT_EQ(run({"--json", "--version"}).document().at("module_version"), "4.46.0.0");
  json error = run({"--json", "-Qz"}).document();
  EXPECT_EQ(error.at("kind"), "error");
  EXPECT_EQ(error.at("exit_code"), 2);
  error.erase("error");
  EXPECT_NE(schemaComplaint(error), "");
}

TEST(ProgramTest, ProgressAsJsonLines) {
  const Ended ended = run({"-Qt", "1", "--progress=json"});
  std::istringstream lines(ended.errors);
  std::vector<std::string> events;
  for (std::string line; std::getline(lines, line);) {
    const json event = json::parse(line, nullptr, false);
    ASSERT_FALSE(event.is_discarded()) << line;
    events.push_back(event.at("event"));
  }
  ASSERT_GE(events.size(), 2u);
  EXPECT_EQ(events.front(), "test_started");
  EXPECT_EQ(events[events.size() - 2], "test_finished");
  EXPECT_EQ(events.back(), "test_result");
}

TEST(ProgramTest, RedactedOutputsHoldNoSerialNumber) {
  const storage::test::TemporaryFolder folder;
  const std::string report = folder.file("redacted.html");
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{"--show"}, {"--show", "--json"}, {"-Qm", "-Ew", "--assume=yes"}}) {
    const Ended ended = run(behind(arguments, {"--redact", "--report", report}));
    for (const std::string& text : {ended.output, ended.errors, takenFrom(report)}) {
      EXPECT_THAT(text, Not(HasSubstr("12345678")));
      EXPECT_THAT(text, Not(HasSubstr("alert(1)")));
    }
  }
}

TEST(ProgramTest, ReportEscapesWhatADriveCallsItself) {
  const storage::test::TemporaryFolder folder;
  const std::string path = folder.file("report.html");
  run({"-Qm,t", "-En", "--report", path});
  const std::string html = takenFrom(path);
  EXPECT_THAT(html, HasSubstr("&lt;script&gt;alert(1)&lt;/script&gt;"));
  EXPECT_THAT(html, HasSubstr("class=\"map\""));
  for (const char* unescaped : {"<script", "<b>Disk", "\033"}) {
    EXPECT_THAT(html, Not(HasSubstr(unescaped)));
  }
}

// The drive's name holds an escape, a change of direction, a stray byte and a blank of no width.
TEST(ProgramTest, NoOutputHoldsWhatANameHides) {
  for (const auto& arguments : {std::vector<std::string>{},
                                {"--show", "1"},
                                {"--json"},
                                {"-Qm", "1", "--progress=json"},
                                {"recover", "repair", "1", "--assume=no"}}) {
    const Ended ended = run(arguments);
    for (const char* hidden : {"\033", "\u202E", "\xFF", "\u200B", "\uFFFD"}) {
      EXPECT_THAT(ended.output + ended.errors, Not(HasSubstr(hidden)));
    }
    EXPECT_THAT(ended.output, HasSubstr("Bad?[31m???Disk"));
  }
}

TEST(ProgramTest, FirstInterruptStopsAndFurtherOnesAreReported) {
  Program program(OSTRIA_FAKE_DIR, onFake({"-Qs,m", "0", "1"}));
  ASSERT_TRUE(program.waitFor("started"));
  program.interrupt();
  ASSERT_TRUE(program.waitFor("Stopping: waiting"));
  program.interrupt();
  ASSERT_TRUE(program.waitFor("Still waiting"));
  EXPECT_EQ(program.finish(), 4);
  EXPECT_THAT(program.output, HasSubstr("Stopped by the user."));
  EXPECT_THAT(program.output, HasSubstr("3 tests did not start."));
}

TEST(ProgramTest, ClosedOutputEndsTheRun) {
  Program program(OSTRIA_FAKE_DIR, onFake({"-Qm,s", "0", "1"}), 0,
                  Program::Reader::GoneFromTheStart);
  EXPECT_EQ(program.finish(), 6);
  EXPECT_THAT(program.errors, Not(HasSubstr("Stopping")));
  EXPECT_THAT(program.errors, HasSubstr("Nobody reads the output any more"));
}

// What is lost is reported, and the exit code says that it is lost. A program without a standard
// output must not write its text to the next file that it opens.
TEST(ProgramTest, OutputThatCannotBeWrittenIsNoSuccess) {
  const auto shell = [](const std::string& command) {
    const int status = std::system(
        (OSTRIA_FAKE_DIR "/OstriaDiagnosticsCLI --virtual -Mstorage " + command).c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  };
  const storage::test::TemporaryFolder folder;
  const std::string report = folder.file("lost.txt");
  EXPECT_EQ(shell("--json --show 0 >/dev/full 2>" + report), 6);
  std::ifstream file(report);
  std::string sentence;
  std::getline(file, sentence);
  EXPECT_THAT(sentence, HasSubstr("The output cannot be written: No space left on device."));
  EXPECT_EQ(shell("-Qm 0 <&- >&- 2>&-"), 6);
  EXPECT_EQ(shell("-Qm 0 <&- >/dev/null 2>&-"), 0);
  // What was there stays until there is something better, and nothing half is left.
  std::filesystem::create_directories(report + ".d");
  std::ofstream(report + ".d/r") << "old";
  EXPECT_EQ(shell("-Qz --report " + report + ".d/r >/dev/null 2>&1"), 2);
  EXPECT_EQ(std::filesystem::file_size(report + ".d/r"), 3u);
  EXPECT_EQ(shell("-Qm 0 --report " + report + ".d/r >/dev/null 2>&1"), 0);
  EXPECT_GT(std::filesystem::file_size(report + ".d/r"), 300u);
  setenv("OSTRIA_RESULTS", "/dev/null/results", 1);
  EXPECT_EQ(shell("-Qm 0 --record >/dev/null 2>&1"), 6);
  unsetenv("OSTRIA_RESULTS");
  using Files = std::filesystem::directory_iterator;
  EXPECT_EQ(std::distance(Files(report + ".d"), Files()), 1);
  std::filesystem::remove_all(report + ".d");
}

TEST(ProgramTest, NarrowTerminalIsNeverOverrun) {
  for (const auto& arguments : {std::vector<std::string>{},
                                {"--show"},
                                {"-Qm,t,o", "0", "1"},
                                {"-Ql"},
                                {"recover", "scan"}}) {
    Program program(OSTRIA_FAKE_DIR, onFake(arguments), 40);
    EXPECT_NE(program.finish(), -1);
    std::istringstream lines(program.output);
    for (std::string line; std::getline(lines, line);) {
      // What is drawn last on a line, without colours.
      line.erase(std::remove(line.begin(), line.end(), '\r'), line.end());
      std::size_t width = 0;
      for (std::size_t i = 0; i < line.size(); ++i) {
        if (line[i] == '\033') {
          const std::size_t end = line.find_first_of("mK", i);
          if (line[end] == 'K') {
            width = 0;
          }
          i = end;
        } else if ((static_cast<unsigned char>(line[i]) & 0xC0u) != 0x80u) {
          ++width;
        }
      }
      EXPECT_LE(width, 40u) << line;
    }
  }
}

TEST(ProgramTest, TerminalIsAskedBeforeADeviceIsChanged) {
  for (const bool agree : {true, false}) {
    Program program(OSTRIA_FAKE_DIR, onFake({"recover", "repair", "1"}), 100);
    ASSERT_TRUE(program.waitFor("[y/N]"));
    EXPECT_THAT(program.output, HasSubstr("serial number"));
    program.type(agree ? "perhaps\ny\n" : "\n");
    EXPECT_EQ(program.finish(), 1);
    EXPECT_EQ(program.output.find("Declined") == std::string::npos, agree);
  }
}

}  // namespace
}  // namespace ostria::host::test
