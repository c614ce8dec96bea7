#include "tools/smart_tool.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "ostria/storage/system_component.h"
#include "tests/support/tool_host.h"

namespace ostria::storage {
namespace {

/// A component that gives the reports it was told to.
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
    if (value == "throw") throw std::runtime_error("device");
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
  testing::ToolHost host(tool);
  tool.setDevices({&whole, nullptr, &logOnly, &nameless, &failing});
  tool.run();
  EXPECT_EQ(host.heard, (std::vector<std::string>{
                            "OnSmartToolInit", "OnDeviceInit a", "OnDeviceFinish a|0|ata|[1]|",
                            "OnDeviceInit b", "OnDeviceFinish b|0|nvme||[2]", "OnDeviceInit c",
                            "OnDeviceFinish c|1||[3]|", "OnDeviceInit d",
                            "OnDeviceFinish d|1|scsi||", "OnSmartToolFinish"}));
}

TEST(SmartToolTest, RunsWithoutAHostAndLetsNothingThrough) {
  ReportingComponent device("a", {});
  SmartTool tool;
  tool.setDevices({&device});
  tool.run();
  EXPECT_EQ(*tool.getParameter("DeviceFinish"), (std::vector<std::string>{"a", "1", "", "", ""}));
  testing::ToolHost host(tool);
  host.onEvent = [](Tool&, const std::string&) { throw std::runtime_error("host"); };
  EXPECT_NO_THROW(tool.run());
  EXPECT_FALSE(tool.isApplicable(&device));
  EXPECT_FALSE(tool.isApplicable(nullptr));
}

}  // namespace
}  // namespace ostria::storage
