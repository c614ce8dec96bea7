// The verdicts from the outside: exit codes and reasons in each output.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>

#include "tests/host/run_program.h"
#include "tests/support/source_folder.h"
#include "tests/support/temporary_folder.h"

namespace ostria::host::test {
namespace {

using nlohmann::json;
using testing::HasSubstr;

Ended ask(const std::vector<std::string>& arguments,
          const std::string& machine =
              ::ostria::storage::test::sourceFile("tests/host/health_machine.json")) {
  return runProgram(OSTRIA_BIN_DIR, behind({"--virtual=" + machine, "-Mstorage"}, arguments));
}

json document(const std::vector<std::string>& arguments) {
  return ask(behind(arguments, {"--json"})).document();
}

// The first text that does not stand behind the one before it.
std::string outOfOrder(const std::string& text, const std::vector<std::string>& parts) {
  std::size_t at = 0;
  for (const std::string& part : parts) {
    at = text.find(part, at);
    if (at == std::string::npos) {
      return part;
    }
  }
  return {};
}

// Serial number to index and verdict.
std::map<std::string, std::pair<int, std::string>> verdicts(const json& document) {
  std::map<std::string, std::pair<int, std::string>> out;
  for (const json& device : document.at("devices")) {
    out[device.at("serial")] = {device.at("index"), device.at("health").at("verdict")};
  }
  return out;
}

struct Drive {
  const char* serial;
  const char* listed;  ///< verdict of the list
  int listCode;
  const char* tested;  ///< verdict of the quick tests
  int testCode;
  const char* reason;  ///< part of the tests' text
};

constexpr Drive kDrives[] = {
    {"HEALTH-0", "good", 0, "good", 0, "4 tests passed"},
    {"HEALTH-1", "replace", 1, "replace", 1, "value 1, limit 36"},
    {"HEALTH-2", "replace", 1, "replace", 1, "240 % of the rated life is used"},
    {"HEALTH-3", "watch", 5, "watch", 5, "Sectors that cannot be read now: 900"},
    {"HEALTH-4", "not_answering", 1, "not_answering", 1, "Check cable and power supply."},
    {"HEALTH-5", "good", 0, "not_answering", 1, "the drive was lost during the test"},
    {"HEALTH-6", "not_known", 0, "good", 0, "The drive predicts no failure"},
    {"HEALTH-7", "not_known", 0, "not_known", 0, "The SMART data could not be read"},
    {"HEALTH-8", "not_known", 0, "good", 0, "2 tests passed"},
    {"HEALTH-9", "good", 0, "good", 0, "The drive predicts no failure"},
    {"HEALTH-10", "good", 0, "good", 0, "3 % used"},
    {"HEALTH-11", "good", 0, "good", 0, "No value is beyond its limit"},
    {"HEALTH-12", "not_known", 0, "good", 0, "1 test passed"},
    {"HEALTH-13", "not_answering", 1, "not_answering", 1, "Check cable and power supply."},
};

TEST(HealthProgramTest, EveryDriveHasItsVerdictAndItsExitCode) {
  const json list = document({});
  EXPECT_EQ(list.at("exit_code"), 1);
  const auto listed = verdicts(list);
  EXPECT_EQ(listed.size(), std::size(kDrives));
  for (const Drive& drive : kDrives) {
    ASSERT_EQ(listed.count(drive.serial), 1u) << drive.serial;
    const auto& [index, verdict] = listed.at(drive.serial);
    EXPECT_EQ(verdict, drive.listed) << drive.serial;
    EXPECT_EQ(ask({"--show", std::to_string(index)}).code, drive.listCode) << drive.serial;
    const json quick = document({"-Q", std::to_string(index)});
    EXPECT_EQ(quick.at("exit_code"), drive.testCode) << drive.serial << quick;
    EXPECT_EQ(verdicts(quick).at(drive.serial).second, drive.tested) << drive.serial;
    const Ended text = ask({"-Q", std::to_string(index)});
    EXPECT_THAT(text.output + text.errors, HasSubstr(drive.reason)) << drive.serial;
  }
}

// Each drive hangs one command later than the one before it. None may be missing, whatever the
// module could make of it, and none may look healthy.
TEST(HealthProgramTest, ADriveThatHangsWhileItIsIdentifiedIsListed) {
  constexpr int kDrivesThatHang = 12;
  json machine = {{"format", 1}, {"drives", json::array()}};
  for (int command = 1; command <= kDrivesThatHang; ++command) {
    machine["drives"].push_back(
        {{"kind", command % 2 != 0 ? "sata" : "usb_sat"},
         {"model", "HANGS AT " + std::to_string(command)},
         {"size_sectors", 40960},
         {"faults", {{{"action", "hang"}, {"occurrence", command}, {"times", 0}}}}});
  }
  const storage::test::TemporaryFolder folder;
  const std::string path = folder.file("hanging.json");
  std::ofstream(path) << machine;
  const json list = ask({"--json"}, path).document();
  EXPECT_EQ(list.at("exit_code"), 1);
  std::map<std::string, std::string> verdictByNode;
  for (const json& device : list.at("devices")) {
    verdictByNode[device.at("device_node")] = device.at("health").at("verdict");
  }
  EXPECT_EQ(list.at("devices").size(), kDrivesThatHang);
  ASSERT_EQ(verdictByNode.size(), kDrivesThatHang);
  for (const auto& [node, verdict] : verdictByNode) {
    // Of a USB drive the SATA side may be lost alone, which is found when it is asked for.
    EXPECT_NE(verdict, "good") << node;
    const Ended named = ask({"-Qm", node}, path);
    EXPECT_EQ(named.code, verdict == "not_answering" ? 1 : 3) << node << named.output;
  }
  EXPECT_EQ(verdictByNode.at("\\\\.\\PhysicalDrive2"), "not_answering");
  EXPECT_EQ(verdictByNode.at("\\\\.\\PhysicalDrive4"), "not_answering");
  EXPECT_EQ(ask({"recover", "filterDevices"}, path).code, 1);
}

TEST(HealthProgramTest, TheWorstStandsOnTop) {
  const storage::test::TemporaryFolder folder;
  const std::string path = folder.file("health.html");
  const std::string text = ask({"-Q", "--report", path}).output;
  EXPECT_EQ(
      outOfOrder(text, {"Summary:", "NOT ANSWERING ", "REPLACE ", "WATCH ", "NOT KNOWN ", "GOOD "}),
      "");
  EXPECT_EQ(outOfOrder(takenFrom(path),
                       {"badge health_not_answering", "badge health_replace", "badge health_watch",
                        "badge health_not_known", "badge health_good"}),
            "");
}

TEST(HealthProgramTest, SmartToolJudgesWhatItReads) {
  const auto listed = verdicts(document({}));
  const std::pair<const char*, int> rows[] = {{"HEALTH-0", 0}, {"HEALTH-1", 1}, {"HEALTH-2", 1},
                                              {"HEALTH-3", 5}, {"HEALTH-4", 1}, {"HEALTH-7", 3},
                                              {"HEALTH-8", 3}, {"HEALTH-9", 3}};
  for (const auto& [serial, code] : rows) {
    const json smart = document({"smart", std::to_string(listed.at(serial).first)});
    EXPECT_EQ(smart.at("exit_code"), code) << serial << smart;
    EXPECT_EQ(smart.at("tool_runs").at(0).at("smart").empty(),
              code == 3 || serial == std::string("HEALTH-4"))
        << serial;
  }
  // A refusal gives its reason, and a verdict its numbers.
  const json wear = document({"-Qo", std::to_string(listed.at("HEALTH-2").first)});
  EXPECT_THAT(wear.at("test_runs").at(0).at("note").dump(), HasSubstr("240 %"));
}

// Another drive in the old one's place, from a question's answer on: at each of its answers in
// turn.
TEST(HealthProgramTest, NothingIsWrittenToAnotherDrive) {
  const storage::test::TemporaryFolder folder;
  const std::string path = folder.file("swapped.json");
  struct Writer {
    const char* drive;
    int identify;  ///< the command that a drive says with who it is
    std::vector<std::string> arguments;
  };
  const char* const disk = R"("kind": "sata", "rotation_rate": 7200)";
  const char* const flash = R"("kind": "nvme", "nvme": {"pass_through": "storage_query"})";
  const std::vector<Writer> writers = {{disk, 236, {"--assume=yes", "recover", "repair", "0"}},
                                       {disk, 236, {"--assume=yes", "recover", "filesystem", "0"}},
                                       {flash, 6, {"--assume-write=SWAP-1", "-Ew", "0"}}};
  for (const Writer& writer : writers) {
    int refused = 0;
    for (int occurrence = 2; occurrence < 9 && refused == 0; ++occurrence) {
      std::ofstream(path) << R"({"format": 1, "drives": [{)" << writer.drive
                          << R"(, "model": "SWAPPED", "name": "d", "serial": "SWAP-1",
        "size_sectors": 8000000,
        "layout": {"style": "mbr", "partitions": [{"start_sector": 64, "sectors": 7000000}]},
        "faults": [{"action": "garbage", "times": 0, "command": )"
                          << writer.identify << R"(, "occurrence": )" << occurrence
                          << R"(}]}], "volumes": [{"letter": "D", "drive": "d", "partition": 1}]})";
      const Ended ended = runProgram(
          OSTRIA_BIN_DIR, behind({"--virtual=" + path, "-Mstorage", "--json"}, writer.arguments));
      const json run = json::parse(ended.output, nullptr, false);
      const char* runs = run.contains("tool_runs") ? "tool_runs" : "test_runs";
      if (ended.code == 2 || !run.contains(runs) || run.at(runs).empty()) {
        continue;  // the fault met the scan
      }
      const json& first = run.at(runs).at(0);
      if (first.at("outcome") == "could_not_start") {
        ++refused;
        EXPECT_EQ(ended.code, 6);
        EXPECT_THAT(first.at("note").dump(), HasSubstr("Nothing was written"));
        EXPECT_FALSE(first.contains("sectors")) << first;
        EXPECT_TRUE(first.value("partitions", json::array()).empty()) << first;
      }
    }
    EXPECT_GT(refused, 0) << writer.arguments[1];
  }
}

// Which drive is to be pulled, and what a drive's field for an address means that it left empty.
TEST(HealthProgramTest, ARaidMemberSaysWhereItIs) {
  const std::string machine =
      ::ostria::storage::test::sourceFile("docs/examples/raid-machine.json");
  std::map<std::string, std::string> sets;
  const json listed = ask({"--json"}, machine).document();
  for (const json& device : listed.at("devices")) {
    sets[device.at("serial")] = device.at("raid_sets").dump();
  }
  EXPECT_EQ(sets["RPC-SYS-01"], "[]");
  EXPECT_EQ(sets["RPC-SPA-01"], "[]");
  EXPECT_EQ(sets["RPC-STR-02"], R"([{"level":"RAID 5","number":0}])");
  EXPECT_EQ(sets["RPC-MIR-02"], R"([{"level":"RAID 1","number":0}])");
  const std::string list = ask({}, machine).output;
  EXPECT_THAT(list, HasSubstr("controller 0, drive 5, set 0"));
  EXPECT_THAT(list, HasSubstr("phy 2, set 0"));
  EXPECT_THAT(list, HasSubstr("Behind RAID Adapter 9000 - SN0042: 2, 3, 4, 5"));
  const Ended failed = ask({"-Qd", "RPC-MIR-02"}, machine);
  EXPECT_EQ(failed.code, 1);
  EXPECT_THAT(failed.output, HasSubstr("The drive names no sector"));
  EXPECT_THAT(failed.output, testing::Not(HasSubstr("281474976710655")));
}

TEST(HealthProgramTest, ADriveIsNamedBySerialNumberAndNode) {
  const auto listed = verdicts(document({}));
  const std::string number = std::to_string(listed.at("HEALTH-10").first);
  for (const std::string& name : {number, std::string("health-10")}) {
    const json shown = document({"--show", name});
    EXPECT_EQ(shown.at("exit_code"), 0) << name;
    EXPECT_EQ(shown.at("devices").at(0).at("serial"), "HEALTH-10");
    const std::string node = shown.at("devices").at(0).at("device_node");
    EXPECT_THAT(node, HasSubstr("PhysicalDrive"));
    EXPECT_EQ(document({"--show", node}).at("devices").at(0).at("serial"), "HEALTH-10");
  }
  EXPECT_THAT(ask({"-Q", "/dev/sdzz"}).errors, HasSubstr("No device is called \"/dev/sdzz\"."));
  EXPECT_EQ(ask({"-Qm", "HEALTH-10", number}).code, 2);
}

TEST(HealthProgramTest, SleepingDrivesAreWokenOnlyByWhatNeedsThem) {
  const struct {
    std::vector<std::string> arguments;
    const char* verdict;
    bool woken;
  } rows[] = {
      {{"--list"}, "not_known", false},
      {{"--list", "--wake"}, "good", true},
      {{"smart", "HEALTH-6"}, "not_known", false},
      {{"-Qm", "HEALTH-6"}, "good", true},
      {{"-Qm", "HEALTH-0"}, nullptr, false},
  };
  for (const auto& row : rows) {
    const json answer = document(row.arguments);
    const std::string notices = answer.at("notices").dump();
    EXPECT_EQ(notices.find("HEALTH ASLEEP, was asleep and was woken") != std::string::npos,
              row.woken)
        << row.arguments.back() << notices;
    if (row.verdict != nullptr) {
      EXPECT_EQ(verdicts(answer)["HEALTH-6"].second, row.verdict) << row.arguments.back();
    }
  }
  EXPECT_THAT(ask({"--list"}).output, HasSubstr("asleep"));
}

}  // namespace
}  // namespace ostria::host::test
