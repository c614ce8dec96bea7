// Kept runs from the outside: what is kept, shown, compared, and whose files are never followed.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>

#include <functional>

#include "tests/host/run_program.h"
#include "tests/support/temporary_folder.h"

namespace ostria::host::test {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using testing::HasSubstr;
using testing::Not;

class KeptRunsTest : public testing::Test {
 protected:
  KeptRunsTest() { setenv("OSTRIA_RESULTS", store_.c_str(), 1); }
  ~KeptRunsTest() override { unsetenv("OSTRIA_RESULTS"); }

  std::vector<std::string> command(const std::vector<std::string>& arguments) const {
    return behind({"--virtual=" + folder_.file("pc"), "-Mstorage"}, arguments);
  }
  int run(const std::vector<std::string>& arguments) {
    ended_ = runProgram(OSTRIA_BIN_DIR, command(arguments));
    return ended_.code;
  }
  json document(const std::vector<std::string>& arguments, int code = 0) {
    EXPECT_EQ(run(behind(arguments, {"--json"})), code) << ended_.errors;
    return ended_.document();
  }
  // A disk and an NVMe drive.
  void plug(int pending, int used) {
    std::ofstream(folder_.file("pc"))
        << R"({"format": 1, "drives": [{"kind": "sata", "model": "DISK", "serial": "DISK-0001",
            "size_sectors": 131072, "rotation_rate": 7200, "smart": {"attributes": [{"id": 197, "value": 100, "raw": )"
        << pending << R"(}]}},
            {"kind": "nvme", "model": "FLASH", "serial": "FLASH-0002", "size_sectors": 131072,
             "nvme": {"pass_through": "storage_query", "health": {"percentage_used": )"
        << used << "}}}]}";
  }

  const storage::test::TemporaryFolder folder_;
  const std::string store_ = folder_.file("state/results.sqlite");
  Ended ended_;
};

TEST_F(KeptRunsTest, WhatChangedSinceTheLastKeptRunIsShown) {
  plug(1, 50);
  EXPECT_EQ(run({"--show", "0"}), 5);
  EXPECT_THAT(ended_.output, Not(HasSubstr("Since")));
  EXPECT_EQ(run({"-Qm,o", "--record"}), 5);
  EXPECT_THAT(ended_.output, HasSubstr("Kept as run 1 in " + store_));
  EXPECT_EQ(fs::status(store_).permissions(), fs::perms(0600));
  EXPECT_EQ(fs::status(folder_.file("state")).permissions(), fs::perms(0700));
  run({"--show"});
  EXPECT_THAT(ended_.output, HasSubstr("(run 1): no change"));
  plug(13, 51);
  run({"--show"});
  EXPECT_THAT(ended_.output, HasSubstr("(run 1): pending +12"));
  EXPECT_THAT(ended_.output, HasSubstr("(run 1): wear +1 %"));
  const json shown = document({"--show", "0", "--redact"}, 5);
  const json& change = shown.at("devices").at(0).at("since_last_time").at("changes").at(0);
  EXPECT_EQ(change, (json{{"name", "pending"}, {"before", 1}, {"now", 13}}));
  const std::string report = folder_.file("report.html");
  EXPECT_EQ(run({"-Qm", "DISK-0001", "--record", "--report", report}), 5);
  EXPECT_THAT(contentOf(report), HasSubstr("(run 1): pending +12"));

  const json all = document({"--history"});
  EXPECT_GE(all.at("records").size(), 3u);
  EXPECT_EQ(all.at("records").at(0).at("virtual"), true);
  const json flash = document({"--history", "flash-0002"});
  for (const json& record : flash.at("records")) {
    EXPECT_EQ(record.at("serial"), "FLASH-0002");
  }
  EXPECT_EQ(document({"--history", "--since", "2100"}).at("records"), json::array());
  EXPECT_EQ(document({"--history", "--test", "no such test"}).at("records"), json::array());
  EXPECT_EQ(run({"--history", "--redact"}), 0);
  EXPECT_THAT(ended_.output, Not(HasSubstr("DISK-0001")));

  const json compared = document({"--compare"});
  EXPECT_EQ(compared.at("before").at("run"), 1);
  EXPECT_EQ(compared.at("drives").size(), 2u);  // the second run had one of them
  EXPECT_EQ(compared.at("drives").at(0).at("changes").at(0).at("now"), 13);
  EXPECT_EQ(compared.at("drives").at(1).at("verdict_now"), nullptr);
  EXPECT_EQ(run({"--compare", "2", "1"}), 0);
  EXPECT_THAT(ended_.output, HasSubstr("pending -12"));
  EXPECT_THAT(ended_.output, HasSubstr("FLASH, FLASH-0002: not there -> good"));
}

TEST_F(KeptRunsTest, WrongUsageIsOneSentence) {
  plug(0, 0);
  const std::vector<std::pair<std::vector<std::string>, const char*>> rows = {
      {{"--compare", "1"}, "the numbers of two runs"},
      {{"--compare", "x", "y"}, "the numbers of two runs"},
      {{"--compare", "1", "2"}, "no kept run 1"},
  };
  for (const auto& [arguments, sentence] : rows) {
    EXPECT_EQ(run(arguments), 2) << sentence;
    EXPECT_THAT(ended_.errors, HasSubstr(sentence));
  }
  EXPECT_EQ(run({"--compare"}), 3);
}

// What somebody else has put where the store is to be.
TEST_F(KeptRunsTest, PlantedStoresAreRefusedAndNeverFollowed) {
  plug(0, 0);
  const std::string secret = folder_.file("secret");
  std::ofstream(secret) << "kept";
  fs::create_directory(folder_.file("state"));
  const auto sql = [&](const char* text) {
    sqlite3* database = nullptr;
    EXPECT_EQ(sqlite3_open(store_.c_str(), &database), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(database, text, nullptr, nullptr, nullptr), SQLITE_OK) << text;
    sqlite3_close(database);
  };
  const std::vector<std::function<void()>> plants = {
      [&] { fs::create_symlink(secret, store_); },
      [&] { fs::create_hard_link(secret, store_); },
      [&] { EXPECT_EQ(mkfifo(store_.c_str(), 0600), 0); },
      [&] { fs::create_directory(store_); },
      [&] { std::ofstream(store_) << "no database"; },
      [&] { sql("PRAGMA user_version = 9;"); },  // of a later version
      [&] {
        sql("CREATE VIEW runs AS WITH RECURSIVE n(run) AS (SELECT 1 UNION ALL SELECT run + 1 FROM "
            "n) SELECT run, 'a' AS started, 'b' AS machine, 1 AS virtual, '' AS program_version, "
            "'' AS module_version, '' AS outcome FROM n; PRAGMA user_version = 1;");
      },
  };
  for (std::size_t i = 0; i < plants.size(); ++i) {
    fs::remove_all(store_);
    plants[i]();
    EXPECT_EQ(run({"-Qm", "0", "--record"}), 6) << i << ended_.output << ended_.errors;
    EXPECT_THAT(ended_.output, HasSubstr("Cannot keep the results in " + store_)) << i;
    EXPECT_EQ(run({"--history"}), 6) << i;
    EXPECT_EQ(fs::file_size(secret), 4u);
  }
}

// Another program may hold the store for ever; who waits for it may stop waiting.
TEST_F(KeptRunsTest, ALockedStoreHearsTheUser) {
  plug(0, 0);
  ASSERT_EQ(run({"-Qm", "0", "--record"}), 0);
  sqlite3* holder = nullptr;
  ASSERT_EQ(sqlite3_open(store_.c_str(), &holder), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(holder, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr), SQLITE_OK);
  const std::vector<std::tuple<std::vector<std::string>, int, int>> rows = {
      {{"--history"}, SIGTERM, 4},
      {{"--show", "0", "--json"}, SIGINT, 4},
      {{"-Qm", "0", "--record", "--json"}, SIGINT, 4}};
  for (const auto& [arguments, number, code] : rows) {
    Program program(OSTRIA_BIN_DIR, command(arguments));
    usleep(700'000);
    const auto asked = std::chrono::steady_clock::now();
    program.send(number);
    EXPECT_EQ(program.finish(), code) << arguments[0] << program.output << program.errors;
    EXPECT_LT(std::chrono::steady_clock::now() - asked, std::chrono::seconds(3)) << arguments[0];
    json parsed = json::parse(program.output, nullptr, false);
    if (parsed.is_object()) {
      EXPECT_EQ(schemaComplaint(parsed), "");
      EXPECT_EQ(parsed.at("exit_code"), code);
      EXPECT_THAT(program.output, HasSubstr(store_));
    }
  }
  sqlite3_close(holder);
  EXPECT_EQ(run({"--history"}), 0);
}

}  // namespace
}  // namespace ostria::host::test
