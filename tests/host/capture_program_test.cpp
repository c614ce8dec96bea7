// Recorded drives from the outside: what a capture says in place of the drives, and what a masked
// one no longer says. The captures in tests/recorded are of drives of the machine bench.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <map>
#include <set>

#include "tests/host/run_program.h"
#include "tests/support/source_folder.h"
#include "tests/support/temporary_folder.h"

namespace ostria::host::test {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using testing::HasSubstr;
using testing::Not;

// Beside times what no drive says: where it hangs, what lies on it, and how often anybody has asked
// it for a log that it does not have.
constexpr const char* kElsewhere[] = {
    "started_at",      "finished_at", "duration_seconds", "index", "id",
    "device_index",    "device_node", "partitions",       "bus",   "connection",
    "raid_controller", "raid_port",   "raid_sets"};
constexpr const char* kElsewhereRows[] = {"PARTITION_SCHEMA", "UNALLOCATED", "DRIVER_VERSION",
                                          "Error Information Log Entries"};

bool isElsewhere(const json& row) {
  for (const char* key : {"key", "description", "name"}) {
    const std::string value = row.is_object() ? row.value(key, json()).dump() : "";
    for (const char* name : kElsewhereRows) {
      if (value == json(name).dump()) {
        return true;
      }
    }
  }
  return false;
}

json whatTheDriveSays(json value) {
  if (value.is_object()) {
    for (const char* key : kElsewhere) {
      value.erase(key);
    }
  }
  if (value.is_array()) {
    value.erase(std::remove_if(value.begin(), value.end(), isElsewhere), value.end());
  }
  for (json& part : value) {
    part = part.is_structured() ? whatTheDriveSays(part) : part;
  }
  return value;
}

class CaptureTest : public testing::Test {
 protected:
  int run(const std::vector<std::string>& arguments) {
    ended_ = runProgram(OSTRIA_BIN_DIR, arguments);
    return ended_.code;
  }
  /// What is said of each drive, by its serial number.
  std::map<std::string, json> documentOf(const std::string& machine,
                                         const std::vector<std::string>& arguments) {
    run(behind({machine, "--json"}, arguments));
    json document = json::parse(ended_.output, nullptr, false);
    EXPECT_TRUE(document.is_object()) << ended_.errors;
    std::map<std::string, json> all;
    std::map<int, std::string> serials;
    for (const json& device : document["devices"]) {
      const std::string serial = device["serial"].dump();
      serials[device["index"]] = serial;
      all[serial].push_back(whatTheDriveSays(device));
    }
    for (const char* list : {"test_runs", "tool_runs"}) {
      for (const json& one : document.value(list, json::array())) {
        all[serials[one["device_index"]]].push_back(whatTheDriveSays(one));
      }
    }
    return all;
  }

  const storage::test::TemporaryFolder folder_;
  const std::string file_ = folder_.file("drives.json");
  Ended ended_;
};

// Members of RAID sets become plain drives. The quick tests are those that read no sector, as a
// capture does not either, and of the drives those whose self-tests find no bad one.
TEST_F(CaptureTest, SaysWhatTheDrivesSay) {
  run({"--virtual", "--capture", file_});
  EXPECT_THAT(ended_.errors, HasSubstr(file_));
  using Serials = std::set<std::string>;
  const struct {
    std::vector<std::string> what;
    Serials others;
  } rows[] = {
      {{"--show"}, {}},
      {{"-Mstorage", "smart"}, {}},
      {{"-Mstorage", "-Qs,u,m,o,g,a,b,i"}, {"\"VPC-BAD-0001\"", "\"VPC-NVM-0003\""}},
  };
  for (const auto& row : rows) {
    const auto drives = documentOf("--virtual", row.what);
    const auto recorded = documentOf("--virtual=" + file_, row.what);
    EXPECT_EQ(drives.size(), 19u);
    for (const auto& [serial, said] : drives) {
      if (row.others.contains(serial) || serial.starts_with("\"VPC-RAID")) {
        continue;
      }
      const auto found = recorded.find(serial);
      ASSERT_NE(found, recorded.end()) << serial;
      EXPECT_EQ(json::diff(said, found->second).dump(), "[]") << row.what.back() << " " << serial;
    }
  }
}

TEST_F(CaptureTest, MaskedNamesNoDrive) {
  run({"--virtual", "--capture", file_, "--redact"});
  const std::string text = contentOf(file_);
  // As text, and as the bytes of a page, swapped ones of ATA too.
  for (const char* secret :
       {"VPC-HDD-0001", "VPC-NVM-0002", "5650432d4e564d2d30303032", "50562d434448",
        "5650432d5341532d30303031", "VPC-PN-0001", "5650432d504e2d30303031"}) {
    EXPECT_THAT(text, Not(HasSubstr(secret)));
  }
  EXPECT_EQ(ended_.errors.find("VPC-"), std::string::npos);
  // The drives are what they were otherwise: no checksum has broken.
  const auto masked = documentOf("--virtual=" + file_, {"--show", "0"});
  ASSERT_EQ(masked.size(), 1u);
  const json& device = masked.begin()->second[0];
  EXPECT_EQ(device["model"], "VIRTUAL HDD 20GB");
  EXPECT_EQ(device["serial"], "XXXXXXXXXXXX");
  EXPECT_EQ(device["health"]["smart_state"], "value");
}

// What the drives of the machine bench say did not change since they were recorded; what is made of
// it must not either.
TEST_F(CaptureTest, DrivesOfTheBenchKeepTheirVerdicts) {
  const struct {
    const char* name;
    const char* model;
    const char* verdict;
    int quickTests;  ///< exit code
    int passed;
  } rows[] = {
      {"sata", "OSTRIABENCH ATA", "good", 3, 2},       {"nvme", "QEMU NVMe Ctrl", "good", 3, 5},
      {"scsi", "OSTRIABENCH SCSI", "not_known", 3, 0}, {"scsi-debug", "scsi_debug", "good", 3, 2},
      {"usb", "QEMU HARDDISK", "not_known", 3, 0},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const std::string machine =
        "--virtual=" +
        storage::test::sourceFile(std::string("tests/recorded/") + row.name + ".json");
    run({machine, "--list", "--json"});
    const json device = json::parse(ended_.output)["devices"][0];
    EXPECT_EQ(device["model"], row.model);
    EXPECT_EQ(device["health"]["verdict"], row.verdict);
    EXPECT_EQ(run({machine, "-Mstorage", "-Qs,u,m,o,g,a,b,i", "--json"}), row.quickTests)
        << ended_.errors;
    const json document = json::parse(ended_.output);
    EXPECT_EQ(std::ranges::count(document["test_runs"], "passed",
                                 [](const json& one) { return one.at("outcome"); }),
              row.passed);
  }
}

TEST_F(CaptureTest, FileIsItsOwnersAndReplacesNothingElse) {
  umask(0);
  ASSERT_EQ(run({"--virtual", "--capture", file_, "0"}), 0) << ended_.errors;
  EXPECT_EQ(fs::status(file_).permissions(), fs::perms(0600));
  const json machine = json::parse(contentOf(file_));
  EXPECT_EQ(machine["drives"].size(), 1u);
  const std::string link = folder_.file("link");
  fs::create_symlink(file_, link);
  EXPECT_EQ(run({"--virtual", "--capture", link}), 2);
  EXPECT_EQ(run({"--virtual", "--capture"}), 2);
  EXPECT_EQ(run({"--virtual", "--show", "--capture", file_}), 2);
}

}  // namespace
}  // namespace ostria::host::test
