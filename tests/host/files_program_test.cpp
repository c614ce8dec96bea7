// Files that the program reads and writes, and what somebody else may have put in their stead.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <functional>

#include "tests/host/run_program.h"
#include "tests/support/source_folder.h"
#include "tests/support/temporary_folder.h"

namespace ostria::host::test {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

class FilesTest : public testing::Test {
 protected:
  FilesTest() {
    fs::current_path(folder_.path());
    write("secret", "kept\n");
  }
  ~FilesTest() override { fs::current_path(before_); }

  void write(const std::string& name, const std::string& text) {
    folder_.write(name, text);
    fs::permissions(name, fs::perms(0644));
  }
  int run(const std::vector<std::string>& arguments, const std::string& machine = "--virtual") {
    const Ended ended = runProgram(machine == "--virtual" ? OSTRIA_FAKE_DIR : OSTRIA_BIN_DIR,
                                   behind({machine, "-Mstorage"}, arguments));
    output_ = ended.output;
    errors_ = ended.errors;
    return ended.code;
  }

  const fs::path before_ = fs::current_path();
  storage::test::TemporaryFolder folder_;
  std::string output_;
  std::string errors_;
};

TEST_F(FilesTest, ReportsReplaceNothingButFiles) {
  fs::create_symlink("secret", "link");
  fs::create_hard_link("secret", "hard");
  ASSERT_EQ(mkfifo("pipe", 0600), 0);
  fs::create_directory("sub");
  for (const char* name : {"link", "pipe", "sub", "sub/", "/dev/full", "nowhere/r"}) {
    EXPECT_EQ(run({"-Qm", "0", "--report", name}), 2) << name;
    EXPECT_EQ(std::count(errors_.begin(), errors_.end(), '\n'), 1) << errors_;
    EXPECT_THAT(errors_, HasSubstr(name));
  }
  umask(0);
  EXPECT_EQ(run({"-Qm", "0", "--report", "hard"}), 0);
  EXPECT_EQ(run({"-Qm", "0", "--report", "new"}), 0);
  umask(022);
  EXPECT_EQ(contentOf("secret"), "kept\n");
  EXPECT_THAT(contentOf("hard"), HasSubstr("<html"));
  EXPECT_EQ(fs::status("new").permissions(), fs::perms(0600));
  // Nothing half was left.
  EXPECT_EQ(folder_.entries(), 6u);
}

TEST_F(FilesTest, LimitOfAFileSizeIsAnErrorAndLeavesNothing) {
  write("old", "old\n");
  const rlimit small{2000, RLIM_INFINITY};
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  setrlimit(RLIMIT_FSIZE, &small);
  const int code = run({"-Qm", "0", "--report", "old"});
  setrlimit(RLIMIT_FSIZE, &before);
  EXPECT_EQ(code, 6) << errors_;
  EXPECT_EQ(contentOf("old"), "old\n");
  EXPECT_THAT(output_, HasSubstr("could not be written"));
  EXPECT_EQ(folder_.entries(), 2u);
}

TEST_F(FilesTest, SettingsOfTheCurrentFolderAreReadOnlyWhenTheyCanBeTrusted) {
  const std::string good = "[STORAGE]\nENABLE_SMART_HEALTH_TEST=1\n";
  struct Row {
    std::function<void()> plant;
    int code;
    const char* notice;
  };
  std::vector<Row> rows = {
      {[&] { write("config.ini", good); }, 0, "config.ini in the current folder are in force"},
      {[&] {
         write("config.ini", good);
         fs::permissions("config.ini", fs::perms(0666));
       },
       0, "others can write to it"},
      {[&] {
         write("other", good);
         fs::create_symlink("other", "config.ini");
       },
       0, "config.ini is a link"},
      {[] { EXPECT_EQ(mkfifo("config.ini", 0600), 0); }, 0, "config.ini is no regular file"},
      {[&] { write("config.ini", std::string(1 << 20, ';') + "\n"); }, 0, "larger than 1 MiB"},
      {[&] { write("config.ini", "[STORAG]\nX=1\n"); }, 0, "section [STORAG] is not known"},
      {[&] { write("config.ini", "[STORAGE]\nENABLE_SMART_HEALTH=1\n"); }, 0,
       "key ENABLE_SMART_HEALTH of section [STORAGE] is not known"},
      {[&] { write("config.ini", "[STORAGE]\nENABLE_SMART_HEALTH_TEST=yes\n"); }, 0,
       "takes 0 or 1; \"yes\" counts as 0"},
      {[&] { write("config.ini", "[STORAGE]\nENABLE_OSTRIA_DRIVE_INFO=1 \n"); }, 0,
       "blanks follow the value of key ENABLE_OSTRIA_DRIVE_INFO, so it counts as 0"},
      {[&] { write("config.ini", "[STORAGE\n"); }, 2, "line 1: missing closing bracket"},
  };
  const auto ofAnother = [&] {
    write("config.ini", good);
    EXPECT_EQ(chown("config.ini", 65534, 65534), 0);
  };
  if (geteuid() == 0) {  // nobody else can give a file away
    rows.push_back({ofAnother, 0, "config.ini is a link, or others can write to it"});
  }
  for (const Row& row : rows) {
    fs::remove("config.ini");
    row.plant();
    EXPECT_EQ(run({"-Qm", "0"}), row.code) << row.notice << errors_;
    EXPECT_THAT(output_ + errors_, HasSubstr(row.notice));
  }
}

TEST_F(FilesTest, TheSettingsOfTheDocumentSwitchOnWhatTheySay) {
  const std::string page = contentOf(storage::test::sourceFile("docs/cli.md"));
  const std::size_t begin = page.find("```\n[STORAGE]\n") + 4;
  const std::string shown = page.substr(begin, page.find("```", begin) - begin);
  write("pc", R"({"format": 1, "drives": [
      {"kind": "sata", "model": "M", "serial": "S1", "size_sectors": 2000, "part_number": "SPARE1"},
      {"kind": "nvme", "model": "N", "serial": "S2", "size_sectors": 2000}]})");
  for (const bool isOn : {false, true}) {
    write("config.ini", isOn ? shown : "");
    std::string text;
    for (const char* drive : {"0", "1"}) {
      EXPECT_EQ(run({"--show", drive}, "--virtual=pc"), 0);
      text += output_ + errors_;
    }
    for (const char* row :
         {"SMART Health Test", "NVMe Health Prediction Test", "Vendor log page"}) {
      EXPECT_EQ(text.find(row) != std::string::npos, isOn) << row << text;
    }
    EXPECT_THAT(text, testing::Not(HasSubstr("not known")));
  }
}

TEST_F(FilesTest, WhatIsReadHasABoundAndIsAFile) {
  ASSERT_EQ(mkfifo("pipe", 0600), 0);
  write("deep", "{\"format\": 1, \"drives\": " + std::string(100000, '['));
  std::string many = R"({"format": 1, "drives": [{"kind": "sata", "model": "M", "serial": "S",
      "size_sectors": 20000000, "bad_sectors": [)";
  for (int i = 0; i < 10; ++i) {
    many += std::string(i == 0 ? "" : ",") + R"({"lba": )" + std::to_string(i * 1000000) +
            R"(, "count": 1000000})";
  }
  write("many", many + "]}]}");
  write("refused", "[STORAGE]\nSEC_NUM=x\n");
  const std::vector<std::pair<std::vector<std::string>, const char*>> rows = {
      {{"--config", "/dev/zero"}, "/dev/zero is no regular file"},
      {{"--config", "pipe"}, "pipe is no regular file"},
      {{"--config", "nothing.ini"}, "There is no file nothing.ini"},
      {{"--config", "refused"}, "section [STORAGE], key SEC_NUM: not a number (code 1115)"},
      {{"--texts", "/dev/zero"}, "/dev/zero is no regular file"},
      {{"--virtual=/dev/zero"}, "/dev/zero is no regular file"},
      {{"--virtual=refused"}, "line 1: this is no JSON."},
      {{"--virtual=deep"}, "more than 32 deep"},
      {{"--virtual=many"}, "more than 4000000 bad sectors"},
      {{"--set", "ENABLE_SMART_HEALTH=1"}, "Unknown setting ENABLE_SMART_HEALTH"},
      {{"--set", "WHOLE_DISK_READ=yes"}, "takes 0 or 1"},
      {{"--set", "X"}, "Expected KEY=VALUE"},
      {{"--set", "ENABLE_OSTRIA_DRIVE_INFO=1"}, "Unknown setting"},
      {{"--set", "SEC_NUM=x"}, "key SEC_NUM: not a number"},
  };
  for (const auto& [arguments, sentence] : rows) {
    EXPECT_EQ(run(arguments), 2) << sentence;
    EXPECT_THAT(errors_, HasSubstr(sentence));
  }
}

TEST_F(FilesTest, SettingsCanBeGivenAndARiskyRoutineOfAFileIsAskedFor) {
  write("pc", R"({"format": 1, "drives": [{"kind": "sata", "model": "M", "serial": "S1234567",
      "size_sectors": 131072, "rotation_rate": 7200}]})");
  write("captive", "[STORAGE]\nSEC_NUM=129\n");
  write("plain", "[STORAGE]\nSEC_NUM=1\n");
  const auto test = [&](std::vector<std::string> arguments) {
    arguments.insert(arguments.end(), {"-Qd", "0"});
    return run(arguments, "--virtual=pc");
  };
  const char* asks = "asks for self-test routine 129";
  EXPECT_EQ(test({"--config", "captive"}), 3);
  EXPECT_THAT(errors_, HasSubstr(asks));
  EXPECT_EQ(test({"--config", "captive", "--assume", "no"}), 3);
  EXPECT_THAT(errors_, HasSubstr("Declined"));
  for (const std::vector<std::string>& given :
       {std::vector<std::string>{"--config", "captive", "--assume", "yes"},
        {"--config", "captive", "--set", "SEC_NUM=129"},
        {"--config", "plain"},
        {"--set", "SEC_NUM=1"}}) {
    test(given);
    EXPECT_THAT(output_, HasSubstr("SMART Drive Self-Test")) << errors_;
  }
  // What a maker's own routine does nobody can tell.
  for (const std::string routine : {"5", "126", "255"}) {
    write("makers", "[STORAGE]\nSEC_NUM=" + routine + "\n");
    EXPECT_EQ(test({"--config", "makers"}), 3);
    EXPECT_THAT(errors_, HasSubstr("asks for self-test routine " + routine));
  }
  // A test that no letter chooses is offered by its setting alone.
  EXPECT_EQ(run({"--show", "0"}, "--virtual=pc"), 0);
  EXPECT_THAT(output_, testing::Not(HasSubstr("SMART Health Test")));
  EXPECT_EQ(run({"--show", "0", "--set", "ENABLE_SMART_HEALTH_TEST=1"}, "--virtual=pc"), 0);
  EXPECT_THAT(output_, HasSubstr("SMART Health Test"));
}

}  // namespace
}  // namespace ostria::host::test
