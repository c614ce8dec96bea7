// The recover tool as a host sees it: events in their order, with their data.
#include "tools/recover_bad_sectors.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/support/bench.h"
#include "tests/support/fake_protocol.h"
#include "tests/support/tool_host.h"

namespace ostria::storage::test {
namespace {

using Lines = std::vector<std::string>;

constexpr const char* kMachineText = R"({"format": 1,
  "drives": [{"name": "d", "kind": "sata", "model": "DISK", "serial": "1", "size_sectors": 100000,
    "layout": {"style": "mbr", "partitions": [
      {"start_sector": 64, "sectors": 10000, "type": 7},
      {"start_sector": 20000, "sectors": 10000, "type": 7},
      {"start_sector": 40000, "sectors": 10000, "type": 7}]}}],
  "volumes": [
    {"letter": "C", "drive": "d", "partition": 1,
     "checker": {"exit_code": 1, "output": [
       {"text": "Looking.\r\n"}, {"text": "40 percent\r", "milliseconds": 900},
       {"text": "\r\nMended.\r\n"}]}},
    {"letter": "D", "drive": "d", "partition": 2,
     "checker": {"exit_code": 0, "schedule_result": 1,
                 "output": [{"text": "nothing to see\r\n", "repeat": 1500}]}},
    {"letter": "E", "drive": "d", "partition": 3, "checker": {"starts": false}}]})";

class RecoverBadSectorsTest : public ::testing::Test {
 protected:
  RecoverBadSectorsTest() : bench_(kMachineText), host_(tool_) {
    device_ = bench_.device("DISK");
    tool_.setDevices({device_});
  }

  /// Runs on partitions of four values each.
  Lines checkVolumes(const std::vector<std::string>& table) {
    host_.received.clear();
    tool_.setParameter("Operation", {"filesystem"});
    tool_.setParameter("partition_table" + device_->id(), table);
    tool_.run();
    return host_.received;
  }

  ModuleBench bench_;
  RecoverBadSectors tool_;
  ToolHost host_;
  StorageComponent* device_;
};

TEST_F(RecoverBadSectorsTest, FiltersDevices) {
  FakeDevice fine;
  FakeDevice empty(ProtocolKind::Ata, 0);
  std::array<FakeDevice<>, 5> others;
  auto& [raid, nvme, tiny, locked, lockedUsb] = others;
  raid.component->setConnection(DeviceConnection::RaidMember);
  nvme.component->setBusKind(StorageBusKind::Nvme);
  tiny.protocol->record().logicalSectorSize = 511;
  lockedUsb.component->setConnection(DeviceConnection::External);
  for (FakeDevice<>* device : {&locked, &lockedUsb}) {
    device->component->setSecuritySupported(true);
    device->component->setSecurityLocked(true);
  }
  tool_.setParameter("Operation", {"filterDevices"});
  tool_.setDevices({fine.component.get(), raid.component.get(), nvme.component.get(),
                    empty.component.get(), tiny.component.get(), locked.component.get(),
                    lockedUsb.component.get(), nullptr});
  tool_.run();
  EXPECT_EQ(*tool_.getParameter("DevicesFilter"), (Lines{"T", "F", "F", "F", "F", "T", "F", "F"}));
  tool_.setDevices({});
  tool_.run();
  EXPECT_TRUE(tool_.getParameter("DevicesFilter")->empty());
  EXPECT_TRUE(host_.received.empty());
}

TEST_F(RecoverBadSectorsTest, RunsThatTouchNoDevice) {
  for (const Lines& operation : {Lines{"format"}, Lines{}}) {
    tool_.setParameter("Operation", operation);
    tool_.run();
    EXPECT_EQ(*tool_.getParameter("Message"), Lines{"INVALID_PARAMETER"});
    EXPECT_TRUE(host_.received.empty());
  }
  tool_.setParameter("Operation", {"scan"});
  tool_.setDevices({});
  tool_.run();
  EXPECT_EQ(host_.received,
            (Lines{"OnRecoverInit", "OnOperationInit SCAN_TOOL", "OnRecoverFinish"}));

  const std::uint64_t calls = bench_.machine().faults().calls();
  tool_.eventReceiver = nullptr;
  tool_.setDevices({device_});
  tool_.setParameter("Operation", {"repair"});
  tool_.run();
  EXPECT_EQ(bench_.machine().faults().calls(), calls);
  EXPECT_EQ(tool_.getParameter("DeviceInit"), nullptr);
}

TEST_F(RecoverBadSectorsTest, OddDevicesAndMissingFlagsAreNoHarm) {
  FakeDevice raid;
  raid.component->setConnection(DeviceConnection::RaidMember);
  raid.component->setId("r");
  tool_.abortSource = nullptr;
  tool_.systemEvents = nullptr;
  tool_.setDevices({nullptr, raid.component.get(), device_});
  tool_.setParameter("Operation", {"scan"});
  tool_.run();
  EXPECT_EQ(host_.steps(), (Lines{"OnRecoverInit", "OnOperationInit SCAN_TOOL", "OnDeviceInit ",
                                  "OnDeviceFinish |6", "OnDeviceInit r", "OnDeviceFinish r|6",
                                  "OnDeviceInit 0", "OnDeviceFinish 0|0", "OnRecoverFinish"}));
}

TEST_F(RecoverBadSectorsTest, ChecksVolumesOneByOne) {
  Lines received = checkVolumes({"First", "x", "C:\\", "F", "Second", "x", "D:", "", "Third", "x",
                                 "E:\\", "f", "Fourth", "x", "X:\\", "F", "cut", "off"});
  // The second prints a thousand lines without a percentage and is ended.
  ASSERT_EQ(received.size(), 14u);
  const std::string second = received[7];
  EXPECT_EQ(second.substr(0, 42), "OnPartitionFinish 0|Second|nothing to see\n");
  EXPECT_EQ(second.substr(second.size() - 2), "|6");
  received.erase(received.begin() + 7);
  EXPECT_EQ(received, (Lines{"OnRecoverInit", "OnOperationInit |CHECK_FILESYSTEM_TOOL",
                             "OnDeviceInit 0", "OnPartitionInit 0|First", "OnProgress 40",
                             "OnPartitionFinish 0|First|Looking.\nMended.\n|9",
                             "OnPartitionInit 0|Second", "OnPartitionInit 0|Third",
                             "OnPartitionFinish 0|Third||6", "OnPartitionInit 0|Fourth",
                             "OnPartitionFinish 0|Fourth|There is no such volume.\n|6",
                             "OnDeviceFinish 0", "OnRecoverFinish"}));
}

TEST_F(RecoverBadSectorsTest, AsksBeforeItSchedules) {
  host_.answers = {InputRequest::No, InputRequest::Yes, InputRequest::Yes, 0};
  EXPECT_EQ(checkVolumes({"A", "", "C:\\", "T", "B", "", "D:\\", "T", "C", "", "C:\\", "T",
                          "D", "", "C:\\", "T", "E", "", "C:\\", "F", "F", "", "C:\\", "T"}),
            (Lines{"OnRecoverInit", "OnOperationInit |CHECK_FILESYSTEM_TOOL", "OnDeviceInit 0",
                   "OnPartitionInit 0|A", "OnPartitionFinish 0|A||8 :Not Scheduled",
                   "OnPartitionInit 0|B", "OnPartitionFinish 0|B||4", "OnPartitionInit 0|C",
                   "OnPartitionFinish 0|C||3", "OnPartitionInit 0|D",
                   "OnPartitionFinish 0|D||8 :Cannot execute on the operating system's partition",
                   "OnPartitionInit 0|E", "OnProgress 40",
                   "OnPartitionFinish 0|E|Looking.\nMended.\n|9", "OnPartitionInit 0|F",
                   "OnPartitionFinish 0|F||8", "OnDeviceFinish 0", "OnRecoverFinish"}));
  EXPECT_EQ(bench_.machine().checkedAtRestart(), std::set<char>{'C'});
  EXPECT_EQ(bench_.machine().commandsRun().back(),
            "cmd.exe /C cd C:\\Windows\\System32 & (echo 1|chkdsk.exe C: /F)");
  ASSERT_EQ(host_.requests.size(), 5u);
  EXPECT_EQ(host_.requests[0].title, "SCHEDULER_TITLE");
  EXPECT_EQ(host_.requests[0].question, "SCHEDULER_DESCRIPTION");
  EXPECT_EQ(host_.requests[0].defaultAnswer, InputRequest::Yes);
  host_.answers = {InputRequest::Yes};
  const std::size_t commands = bench_.machine().commandsRun().size();
  EXPECT_EQ(checkVolumes({"A", "", "C: & format D:", "T"})[4], "OnPartitionFinish 0|A||4");
  EXPECT_EQ(bench_.machine().commandsRun().size(), commands);
}

TEST_F(RecoverBadSectorsTest, AbortLeavesARunningCheckerToFinish) {
  host_.onEvent = [this](Tool&, const std::string& event) {
    if (event == "OnProgress") {
      host_.abort.setAborted(true);
    }
  };
  EXPECT_EQ(checkVolumes({"A", "", "C:\\", "F", "B", "", "C:\\", "F"}),
            (Lines{"OnRecoverInit", "OnOperationInit |CHECK_FILESYSTEM_TOOL", "OnDeviceInit 0",
                   "OnPartitionInit 0|A", "OnProgress 40",
                   "OnPartitionFinish 0|A|Looking.\nMended.\n|9", "OnPartitionInit 0|B",
                   "OnPartitionFinish 0|B||8", "OnDeviceFinish 0", "OnRecoverFinish"}));
}

TEST_F(RecoverBadSectorsTest, AnyCallOfACheckMayFail) {
  host_.answers = {InputRequest::Yes};
  virtual_pc::PlatformFaults& faults = bench_.machine().faults();
  const Lines table = {"A", "", "C:\\", "F", "B", "", "C:\\", "T"};
  faults.reset();
  checkVolumes(table);
  const std::uint64_t calls = faults.calls();
  const std::size_t handles = virtual_pc::openHandles();
  ASSERT_GT(calls, 50u);
  for (std::uint64_t call = 1; call <= calls; ++call) {
    faults.reset();
    faults.failCall(call, 31);
    const Lines received = checkVolumes(table);
    EXPECT_EQ(received.back(), "OnRecoverFinish") << call;
    const Lines finish = *tool_.getParameter("PartitionFinish");
    EXPECT_TRUE(finish.back() == "3" || finish.back() == "4") << call << " " << finish.back();
    EXPECT_EQ(virtual_pc::openHandles(), handles) << call;
  }
}

}  // namespace
}  // namespace ostria::storage::test
