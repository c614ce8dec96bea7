// The SMART tool: events, reports, and devices without one.
#include "tools/smart_tool.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <set>
#include <stdexcept>

#include "ostria/storage/system_component.h"
#include "tests/support/bench.h"
#include "tests/support/tool_host.h"
#include "virtual_pc/description/description.h"

namespace ostria::storage::test {
namespace {

/// A component that gives the reports that a test sets.
class ReportingComponent : public SystemComponent {
 public:
  ReportingComponent(std::string id, std::map<std::string, std::string> reports)
      : reports_(std::move(reports)) {
    id_ = std::move(id);
  }
  std::uint32_t hostQuery4() override { return 0; }
  bool getReport(const std::string& key, std::string& value) override {
    const auto report = reports_.find(key);
    value = report == reports_.end() ? "rubbish" : report->second;
    if (value == "throw") {
      throw std::runtime_error("device");
    }
    return report != reports_.end();
  }
  bool hostQuery6() override { return true; }
  void hostNotice7() override {}
  bool hostQuery8() override { return true; }
  void hostNotice9() override {}

 private:
  std::map<std::string, std::string> reports_;
};

TEST(SmartToolTest, HandsOutTheReportsOfEachDevice) {
  ReportingComponent whole("a",
                           {{"SMART", "[1]"}, {"OSTRIA_LOG_PAGE", ""}, {"protocol_type", "ata"}});
  ReportingComponent logOnly("b", {{"OSTRIA_LOG_PAGE", "[2]"}, {"protocol_type", "nvme"}});
  ReportingComponent nameless("c", {{"SMART", "[3]"}});
  ReportingComponent failing("d", {{"SMART", "throw"}, {"protocol_type", "scsi"}});
  SmartTool tool;
  ToolHost host(tool);
  tool.setDevices({&whole, nullptr, &logOnly, &nameless, &failing});
  tool.run();
  EXPECT_EQ(host.received, (std::vector<std::string>{
                               "OnSmartToolInit", "OnDeviceInit a", "OnDeviceFinish a|0|ata|[1]|",
                               "OnDeviceInit b", "OnDeviceFinish b|0|nvme||[2]", "OnDeviceInit c",
                               "OnDeviceFinish c|1||[3]|", "OnDeviceInit d",
                               "OnDeviceFinish d|1|scsi||", "OnSmartToolFinish"}));
}

TEST(SmartToolTest, EveryKindOfDriveAnswersAndEveryReportIsJson) {
  struct Kind {
    const char* model;
    const char* protocol;
    std::size_t columns;  // of a row of the SMART report; 0 for none
  };
  const Kind kinds[] = {{"VIRTUAL HDD 20GB", "ata", 6},
                        {"VIRTUAL SSD 16GB", "ata", 6},
                        {"VIRTUAL OLDDISK 10GB", "ata", 6},
                        {"SAS DISK 18GB", "scsi", 0},
                        {"VIRTUAL NVME 16GB", "nvme", 3},
                        {"VIRTUAL NVME PORT 8GB", "nvme", 3},
                        {"VIRTUAL NVME MINI 2GB", "nvme", 3},
                        {"VIRTUAL NVME PLA", "nvme", 0},
                        {"VEMMC8", "", 0},
                        {"VSD2", "", 0},
                        {"VIRTUAL PORTABLE 4GB", "scsi", 6},
                        {"VIRTUAL CASE-J 2GB", "scsi", 0},
                        {"FLASH STICK 1GB", "scsi", 0}};
  ModuleBench bench{std::string(virtual_pc::builtInMachineText())};
  SmartTool tool;
  ToolHost host(tool);
  for (const Kind& kind : kinds) {
    StorageComponent* const device = bench.device(kind.model);
    ASSERT_NE(device, nullptr) << kind.model;
    tool.setDevices({device});
    tool.run();
    const auto values = *tool.getParameter("DeviceFinish");
    ASSERT_EQ(values.size(), 5u) << kind.model;
    EXPECT_EQ(values[1], *kind.protocol == 0 ? "1" : "0") << kind.model;
    EXPECT_EQ(values[2], kind.protocol) << kind.model;
    EXPECT_EQ(values[3].empty(), kind.columns == 0) << kind.model << values[3];
    if (values[3].empty()) {
      continue;
    }
    const auto rows = nlohmann::json::parse(values[3], nullptr, false);
    ASSERT_TRUE(rows.is_array() && !rows.empty()) << values[3];
    std::set<std::string> ids;
    for (const auto& row : rows) {
      EXPECT_EQ(row.size(), kind.columns) << row;
      for (const auto& value : row) {
        EXPECT_TRUE(value.is_string()) << row;
      }
      EXPECT_TRUE(ids.insert(row.at("id")).second) << row;
      EXPECT_NE(row.at("description"), "");
    }
  }
}

TEST(SmartToolTest, RunsWithoutAHostAndLetsNothingThrough) {
  ReportingComponent device("a", {});
  SmartTool tool;
  tool.setDevices({&device});
  tool.run();
  EXPECT_EQ(*tool.getParameter("DeviceFinish"), (std::vector<std::string>{"a", "1", "", "", ""}));
  ToolHost host(tool);
  host.onEvent = [](Tool&, const std::string&) { throw std::runtime_error("host"); };
  EXPECT_NO_THROW(tool.run());
  EXPECT_FALSE(tool.isApplicable(&device));
  EXPECT_FALSE(tool.isApplicable(nullptr));
}

}  // namespace
}  // namespace ostria::storage::test
