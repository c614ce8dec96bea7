// Disks that the module could not make devices of, by the reason.
#include "host/core/run/left_out.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace ostria::host::test {
namespace {

using storage::LeftOutDevice;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

struct Manager : storage::SystemComponentManager {
  Manager() : SystemComponentManager(storage::Identifier{}) {}
  bool hasDevices() override { return false; }
  storage::SystemComponent* refreshComponent(std::uint32_t) override { return nullptr; }
  void scan() override {}
  std::vector<LeftOutDevice> leftOutDevices() override {
    return {{"sda", "DEAD", LeftOutDevice::NotOpened},
            {"nvme0n1", "CLOSED", LeftOutDevice::NotIdentified},
            {"vda", "", LeftOutDevice::UnknownBus},
            {"sdb", "SET", LeftOutDevice::ControllerDisk}};
  }
};

TEST(LeftOutTest, SilenceIsShownAndWhatCannotBeTestedIsSaid) {
  Manager manager;
  const FindDeviceNames names = [](const std::string& id) {
    return DeviceNames{"/dev/" + id, {}, {}, {}};
  };
  // What a right is missing for is said elsewhere.
  const auto silent = silentDisks(manager, names, {"nvme0n1"});
  ASSERT_EQ(silent.size(), 1u);
  EXPECT_EQ(silent[0].id, "sda");
  const Texts texts;
  EXPECT_THAT(leftOutNotices(manager, false, names, texts),
              ElementsAre(HasSubstr("tested: /dev/vda."), HasSubstr("reached: /dev/sdb.")));
  EXPECT_THAT(leftOutNotices(manager, true, names, texts), ElementsAre(HasSubstr("/dev/vda")));
}

}  // namespace
}  // namespace ostria::host::test
