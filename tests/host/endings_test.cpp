// How the program ends: signals, those that it was started with as ignored, limits of the system,
// and keys that were pressed too early.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/host/program.h"
#include "tests/support/temporary_folder.h"

namespace ostria::host::test {
namespace {

using testing::HasSubstr;

std::vector<std::string> waiting() { return {"--virtual", "-Mstorage", "-Qs", "0"}; }

TEST(EndingsTest, EachSignalStopsTheRun) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
    Program program(OSTRIA_FAKE_DIR, waiting());
    ASSERT_TRUE(program.waitFor("started"));
    program.send(signal);
    EXPECT_EQ(program.finish(), 4) << signal;
    EXPECT_THAT(program.output, HasSubstr("Stopped by the user."));
  }
}

TEST(EndingsTest, WhatIsIgnoredFromTheStartStaysIgnored) {
  for (const int signal : {SIGINT, SIGHUP, SIGQUIT}) {
    Program program(OSTRIA_FAKE_DIR, waiting(), 0, Program::Reader::Reads, {signal});
    ASSERT_TRUE(program.waitFor("started"));
    program.send(signal);
    EXPECT_FALSE(program.waitFor("Stopping", 1)) << signal;
    program.send(SIGTERM);
    EXPECT_EQ(program.finish(), 4) << signal;
  }
}

// A report that is cut by a limit of the system is one that was not written, and no memory is no
// crash: at whatever step it runs out.
TEST(EndingsTest, LimitsOfTheSystemAreExitCodes) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "the address sanitizer maps more memory than any limit leaves";
#endif
  const auto shell = [](const std::string& limit, const std::string& arguments) {
    const std::string command =
        "ulimit " + limit + "; exec " OSTRIA_FAKE_DIR "/OstriaDiagnosticsCLI --virtual -Mstorage " +
        arguments + " >/dev/null 2>&1";
    const int status = std::system(command.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  };
  const storage::test::TemporaryFolder folder;
  const std::string report = folder.file("limited.html");
  EXPECT_EQ(shell("-f 0", "-Qm 0 --report " + report), 6);
  EXPECT_FALSE(std::filesystem::exists(report));
  int ended = 0;
  for (int kilobytes = 6000; kilobytes < 60000; kilobytes += kilobytes < 11000 ? 250 : 2500) {
    const int code = shell("-v " + std::to_string(kilobytes), "-Qm 0");
    EXPECT_TRUE(code == 0 || code == 6 || code == 127) << kilobytes << ": " << code;
    ended += code == 6 ? 1 : 0;
  }
  EXPECT_GT(ended, 0);
}

TEST(EndingsTest, AKeyPressedTooEarlyIsNoAnswer) {
  Program asked(OSTRIA_FAKE_DIR, {"--virtual", "-Mstorage", "recover", "repair", "1"}, 100);
  asked.type("y\n");
  ASSERT_TRUE(asked.waitFor("[y/N]"));
  asked.type("\n");
  EXPECT_EQ(asked.finish(), 1);
  EXPECT_THAT(asked.output, HasSubstr("Declined"));
}

TEST(EndingsTest, AWidthThatNoTerminalHasIsAMistake) {
  for (const char* columns : {"99999999999", "-5", "x"}) {
    setenv("COLUMNS", columns, 1);
    Program program(OSTRIA_FAKE_DIR, {"--virtual", "-Mstorage", "-Qm", "0"}, Program::kNoWidth);
    EXPECT_EQ(program.finish(), 0) << columns;
    unsetenv("COLUMNS");
  }
}

}  // namespace
}  // namespace ostria::host::test
